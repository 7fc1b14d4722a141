// ResizeCommand — "pxtool resize": a picture with more or fewer pixels.

#include "PXAccelerate/PXAccelerate.h"
#include "PXCore/PXImageDerived.h"
#include "pxtool/Geometry.h"
#include "pxtool/PictureCommand.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace px::tool {

namespace {

constexpr double kLeastPercent = 0.001;
constexpr double kMostPercent = 100000;

class ResizeCommand final : public Command {
public:
    const char* Name() const override { return "resize"; }
    const char* Summary() const override { return "give a picture another size in pixels"; }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharedOfWriters; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure CheckOptions();
    Failure ChooseSize(const PictureLayout& layout, PXSize* size) const;
    Failure Resize(Picture* picture, Progress& progress) const;

    PictureFiles files_;
    std::string sizeText_;
    std::string boxText_;
    std::string filterName_ = "lanczos";
    double percent_ = 0;
    PXSize size_ = {};
    PXSize box_ = {};
    PXBlitFilter filter_ = kPXBlitLanczos3;
};

std::string ResizeCommand::Details() const
{
    return "Samples are filtered in the depth and encoding that they have in the file, alpha as "
           "any other channel: nothing is converted to linear light. A picture that shrinks is "
           "averaged over all of its pixels, except by the filter nearest."
           "\n\n" +
           std::string(kPictureNotes);
}

std::vector<Option> ResizeCommand::Options()
{
    return WithFiles(&files_, {{.name = "--size",
                                .value = &sizeText_,
                                .help = "the new size, whatever becomes of the proportions",
                                .typeName = "WIDTHxHEIGHT"},
                               {.name = "--fit",
                                .value = &boxText_,
                                .help = "as large as fits into this size with the proportions kept",
                                .typeName = "WIDTHxHEIGHT"},
                               {.name = "--percent",
                                .value = &percent_,
                                .help = "both sides in percent of what they are",
                                .typeName = "P",
                                .least = kLeastPercent,
                                .most = kMostPercent},
                               {.name = "--filter",
                                .value = &filterName_,
                                .help = "how samples are averaged",
                                .typeName = "FILTER",
                                .choices = kFilters}});
}

Failure ResizeCommand::CheckOptions()
{
    const int given = !sizeText_.empty() + !boxText_.empty() + (percent_ > 0);
    if (given != 1) {
        return UsageFailure("one of --size, --fit and --percent says how large the picture becomes",
                            "", {}, Name());
    }
    for (const auto& [text, size] : {std::pair{&sizeText_, &size_}, std::pair{&boxText_, &box_}}) {
        if (!text->empty() && !ReadSize(*text, size)) {
            return UsageFailure("'" + *text + "' is no size such as 1500x1000", "", {}, Name());
        }
    }
    filter_ = FilterOf(filterName_);
    return Done();
}

Failure ResizeCommand::ChooseSize(const PictureLayout& layout, PXSize* size) const
{
    *size = size_;
    if (sizeText_.empty()) {
        const double factor = boxText_.empty() ? percent_ / 100
                                               : std::min(double(box_.width) / layout.width,
                                                          double(box_.height) / layout.height);
        const auto side = [&](int32_t pixels) {
            constexpr double kMost = std::numeric_limits<int32_t>::max() - 1;
            return static_cast<int32_t>(std::clamp(std::floor(pixels * factor + 0.5), 1.0, kMost));
        };
        *size = {side(layout.width), side(layout.height)};
    }
    PictureLayout resized = layout;
    resized.width = size->width;
    resized.height = size->height;
    return CheckRoom(resized, files_.output);
}

Failure ResizeCommand::Resize(Picture* picture, Progress& progress) const
{
    PXSize size = {};
    if (Failure failure = ChooseSize(picture->layout, &size)) return failure;
    const CallProgress call(progress);
    const PXImageScaleOptions options = {filter_, kPXDataSourceDefault, 0, call.Get()};
    ImageOwner resized;
    const PXStatus status = PXImageCreateScaled(
        picture->image.Get(), {0, 0, size.width, size.height}, &options, resized.Receive());
    if (status) return CallProgress::FailureOf(status, files_.input);
    TakeImage(std::move(resized), picture);
    return Done();
}

Failure ResizeCommand::Run()
{
    if (Failure failure = CheckOptions()) return failure;
    PXAccelerateInit();
    return ChangePicture(files_, Settings(), [this](Picture* picture, Progress& progress) {
        return Resize(picture, progress);
    });
}

}  // namespace

std::unique_ptr<Command> MakeResizeCommand()
{
    return std::make_unique<ResizeCommand>();
}

}  // namespace px::tool
