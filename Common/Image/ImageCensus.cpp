#include "Image/ImageCensus.h"

#include "Base/NeverDestroyed.h"
#include "Base/PXLog.h"
#include "Image/ImageRec.h"

#include <cstdio>

namespace px {

namespace {

constexpr double kMegabytesPerByte = 9.5367431640625e-7;  // 1 / 1048576

}  // namespace

ImageCensus& ImageCensus::Shared()
{
    static NeverDestroyed<ImageCensus> census;
    return *census;
}

void ImageCensus::Add(const CImageRec& image)
{
    if (!isOn_.load(std::memory_order_relaxed)) return;
    {
        const MutexLocker lock(mutex_);
        images_.emplace(&image, Facts{});
    }
    const int32_t count = count_.fetch_add(1, std::memory_order_relaxed) + 1;
    PXLog(CFSTR("CImageRec count is: %d"), count);
}

void ImageCensus::Update(const CImageRec& image)
{
    // Whoever finds no image here has not added its own: it would have seen that itself.
    if (TotalImages() == 0) return;
    const MutexLocker lock(mutex_);
    const auto found = images_.find(&image);
    if (found == images_.end()) return;
    found->second = {image.bounds, image.hiPlane - image.loPlane + 1, image.depth, image.size,
                     image.KindLetter()};
}

void ImageCensus::Remove(const CImageRec& image)
{
    if (TotalImages() == 0) return;
    const MutexLocker lock(mutex_);
    if (images_.erase(&image) != 0) count_.fetch_sub(1, std::memory_order_relaxed);
}

// The lines of the images, and the sums.
std::string ImageCensus::Report(std::vector<std::string>* lines)
{
    const MutexLocker lock(mutex_);
    double resident = 0;
    double total = 0;
    std::string bar;
    char text[160];
    for (const auto& [image, facts] : images_) {
        std::snprintf(text, sizeof(text), "%p - rc:%d x:%d y:%d w:%d h:%d planes:%d, depth:%d",
                      static_cast<const void*>(image), image->RetainCount(), facts.bounds.x,
                      facts.bounds.y, facts.bounds.width, facts.bounds.height, facts.planes,
                      facts.depth);
        lines->push_back(text);
        resident += static_cast<double>(image->ResidentBytes());
        total += static_cast<double>(facts.size);
        bar += facts.letter;
    }
    std::snprintf(text, sizeof(text), "PXImage: Resident/Total MB: (%0.2f/%0.2f) ",
                  resident * kMegabytesPerByte, total * kMegabytesPerByte);
    return text + bar;
}

void ImageCensus::LogReport()
{
    if (!isOn_.load(std::memory_order_relaxed)) {
        PXLogNoArgs(CFSTR("Need to turn on log image trace (PXImageSetLogObjectUse)"));
        return;
    }
    std::vector<std::string> lines;
    lines.push_back(Report(&lines));
    for (const std::string& line : lines) PXLog(CFSTR("%s"), line.c_str());
}

}  // namespace px
