#include "pxtool/Warp.h"

#include "Base/Platform/Platform.h"
#include "PXCore/PXImageAffineTransform.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

namespace px::tool {

namespace {

// In the order of their codes, which begin at 1.
constexpr std::string_view kMethods[] = {"nearest", "bilinear", "bicubic"};

// A float for each channel: from the option, or white and opaque.
Failure ChooseFill(const WarpSettings& settings, std::string_view command,
                   const PictureLayout& layout, std::vector<float>* fill)
{
    const auto colorants = static_cast<size_t>(layout.Colorants());
    const auto channels = static_cast<size_t>(layout.Channels());
    // CMYK counts ink, and white is none.
    const bool isInk = layout.model == kPXColorSpaceCMYK;
    fill->assign(channels, settings.fill.empty() && isInk ? 0.0F : 1.0F);
    if (settings.fill.empty()) return Done();
    std::vector<double> numbers;
    (void)ReadNumberList(settings.fill, &numbers);  // it was checked
    if (numbers.size() == 1) numbers.resize(colorants, numbers[0]);
    if (numbers.size() != colorants && numbers.size() != channels) {
        return UsageFailure("the picture has " + std::to_string(colorants) + " colours" +
                                (layout.hasAlpha ? " and alpha" : "") + ", --fill gives " +
                                std::to_string(numbers.size()) + " numbers",
                            "", {}, command);
    }
    std::transform(numbers.begin(), numbers.end(), fill->begin(),
                   [](double number) { return static_cast<float>(number); });
    return Done();
}

// One image of the new size and the same layout.
Failure WarpImage(PXImage source, const PictureLayout& layout, const PXAffineTransform& transform,
                  const PXImageTransformOptions& options, const std::string& path,
                  ImageOwner* warped)
{
    if (Failure failure = MakeImage(layout, path, warped)) return failure;
    return CallProgress::FailureOf(
        static_cast<PXStatus>(PXImageTransformImageWithOptions(
            source, warped->Get(), {0, 0, layout.width, layout.height}, transform, &options)),
        path);
}

}  // namespace

std::vector<Option> WithWarp(WarpSettings* settings, std::vector<Option> options)
{
    options.push_back({.name = "--method",
                       .value = &settings->method,
                       .help = "how samples are averaged",
                       .typeName = "METHOD",
                       .choices = kMethods});
    options.push_back({.name = "--fill",
                       .value = &settings->fill,
                       .help = "what lies beyond the picture: a number from 0 to 1 for all colours "
                               "or for each one, and one more for alpha",
                       .typeName = "N,N,...",
                       .standard = "transparent, or white where there is no alpha"});
    options.push_back({.name = "--replicate",
                       .value = &settings->repeatsEdges,
                       .help = "repeat the picture's edge pixels beyond it"});
    return WithFiles(&settings->files, std::move(options));
}

bool ReadNumberList(const std::string& text, std::vector<double>* numbers)
{
    const char* at = text.data();
    const char* const end = at + text.size();
    while (true) {
        double number = 0;
        const auto [next, error] = std::from_chars(at, end, number);
        if (error != std::errc() || !std::isfinite(number)) return false;
        numbers->push_back(number);
        if (next == end) return true;
        if (*next != ',') return false;
        at = next + 1;
    }
}

Failure CheckWarp(const WarpSettings& settings, std::string_view command)
{
    if (settings.fill.empty()) return Done();
    if (settings.repeatsEdges) {
        return UsageFailure("only one of --fill and --replicate says what lies beyond", "", {},
                            command);
    }
    std::vector<double> numbers;
    if (ReadNumberList(settings.fill, &numbers) &&
        std::all_of(numbers.begin(), numbers.end(), [](double n) { return n >= 0 && n <= 1; })) {
        return Done();
    }
    return UsageFailure("'" + settings.fill + "' is no list of numbers from 0 to 1", "", {},
                        command);
}

Failure WarpPicture(const WarpSettings& settings, std::string_view command, PXSize size,
                    const PXAffineTransform& transform, Picture* picture, Progress& progress)
{
    const std::string& path = settings.files.input;
    std::vector<float> fill;
    if (Failure failure = ChooseFill(settings, command, picture->layout, &fill)) return failure;
    const CallProgress call(progress);
    PXImageTransformOptions options = {};
    options.method =
        static_cast<uint32_t>(IndexOf(settings.method, kMethods)) + kPXTransformNearest;
    options.fillColor = fill.data();
    options.replicatesEdges = settings.repeatsEdges;
    options.bands = static_cast<int32_t>(os::Os().processorCount());
    options.progress = call.Get();

    ImageOwner alpha;
    if (picture->layout.hasAlpha && settings.fill.empty() && !settings.repeatsEdges) {
        // Colours that blend with a transparent fill would show it at the edge.
        if (Failure failure = SplitAlpha(path, picture, &alpha)) return failure;
        options.replicatesEdges = 1;
    }
    PictureLayout layout = picture->layout;
    layout.width = size.width;
    layout.height = size.height;
    if (Failure failure = CheckRoom(layout, settings.files.output)) return failure;
    ImageOwner warped;
    if (Failure failure =
            WarpImage(picture->image.Get(), layout, transform, options, path, &warped)) {
        return failure;
    }
    TakeImage(std::move(warped), picture);
    if (!alpha) return Done();

    layout.model = kPXColorSpaceGrey;
    options.replicatesEdges = 0;
    options.fillColor = nullptr;
    options.progress = nullptr;
    ImageOwner warpedAlpha;
    if (Failure failure = WarpImage(alpha.Get(), layout, transform, options, path, &warpedAlpha)) {
        return failure;
    }
    if (IsCancelled()) return Cancelled();
    return MergeAlpha(path, warpedAlpha.Get(), picture);
}

}  // namespace px::tool
