#include "pxtool/ConvertCommand.h"

#include "Base/Platform/Platform.h"
#include "PXCore/PXColorProfileImages.h"
#include "pxtool/Codec.h"
#include "pxtool/Exif.h"
#include "pxtool/Files.h"
#include "pxtool/Picture.h"
#include "pxtool/PictureCommand.h"
#include "pxtool/Profiles.h"
#include "pxtool/Progress.h"

namespace px::tool {

namespace {

// One conversion on its way from file to file.
class Conversion {
public:
    Conversion(const ConvertOptions& options, const SharedOptions& shared)
        : options_(options),
          shared_(shared),
          progress_(options.files.input, options.files.output, shared.isQuiet)
    {
    }

    Failure Run();

private:
    Failure CheckArguments();
    Failure ChooseSourceProfile();
    Failure FitModelToProfile();
    Failure DecideOnAlpha();
    Failure ConvertPixels();
    Failure RunTransform(PXImage destination);
    Failure FailureOf(int status) const;
    void DescribeResult();

    PictureLayout DestinationLayout() const;

    const ConvertOptions& options_;
    const SharedOptions& shared_;
    Progress progress_;
    Format outputFormat_ = Format::kUnknown;
    ProfileOwner source_;
    ProfileOwner destination_;
    PXColorSpaceType destinationModel_ = kPXColorSpaceByChannels;
    Picture picture_;
    bool keepsAlpha_ = false;
    int storedOrientation_ = 1;
};

Failure Conversion::Run()
{
    if (Failure failure = CheckArguments()) return failure;
    if (Failure failure = ReadPicture(options_.files.input, progress_, &picture_)) return failure;
    const PictureLayout read = picture_.layout;
    if (Failure failure = ChooseSourceProfile()) return failure;
    if (Failure failure = FitModelToProfile()) return failure;
    if (Failure failure = DecideOnAlpha()) return failure;
    storedOrientation_ = picture_.orientation;
    if (Failure failure = MakeUpright(options_.files.input, &picture_)) return failure;
    if (Failure failure = ConvertPixels()) return failure;
    DescribeResult();
    return FinishPicture(options_.files, shared_, read, picture_, progress_);
}

// Finds out before any work what can be known before it.
Failure Conversion::CheckArguments()
{
    if (Failure failure = CheckOutput(options_.files.output, shared_.mayReplace, &outputFormat_))
        return failure;
    if (Failure failure = OpenProfile(options_.to, &destination_)) return failure;
    if (!options_.from.empty()) {
        if (Failure failure = OpenProfile(options_.from, &source_)) return failure;
    }
    destinationModel_ = PXColorProfileGetColorSpaceType(destination_.Get());
    if (destinationModel_ == kPXColorSpaceByChannels) {
        return CannotRead(options_.to, "it is a profile for neither grey, RGB nor CMYK",
                          "choose another profile");
    }
    if (destinationModel_ == kPXColorSpaceCMYK && outputFormat_ == Format::kPNG) {
        return CannotWrite(options_.files.output, "PNG cannot hold CMYK",
                           "write a .tif or .jpg file");
    }
    return Done();
}

Failure Conversion::ChooseSourceProfile()
{
    if (source_.Get()) return Done();
    if (picture_.hasBrokenICC) {
        return CannotRead(options_.files.input, "its embedded profile is damaged",
                          "name its profile with --from");
    }
    if (!picture_.icc.empty())
        return OpenEmbeddedProfile(options_.files.input, picture_.icc, &source_);
    if (picture_.layout.model == kPXColorSpaceCMYK) {
        return CannotRead(options_.files.input, "it is CMYK without an embedded profile",
                          "name its profile with --from");
    }
    return OpenSRGB(&source_);
}

Failure Conversion::FitModelToProfile()
{
    const PXColorSpaceType model = PXColorProfileGetColorSpaceType(source_.Get());
    if (model == picture_.layout.model) return Done();
    if (picture_.layout.model == kPXColorSpaceGrey && model == kPXColorSpaceRGB) {
        return ExpandGreyToRGB(options_.files.input, &picture_);
    }
    std::string reason = "its pixels are ";
    reason += ModelName(picture_.layout.model);
    reason += options_.from.empty() ? ", but its embedded profile is for "
                                    : ", but the profile given with --from is for ";
    reason += ModelName(model);
    return CannotRead(options_.files.input, reason, "name a fitting profile with --from");
}

Failure Conversion::DecideOnAlpha()
{
    const bool canHold = outputFormat_ != Format::kJPEG && destinationModel_ != kPXColorSpaceCMYK;
    keepsAlpha_ = picture_.layout.hasAlpha && canHold;
    // An alpha channel without a transparent pixel says nothing and may go.
    if (canHold || IsOpaque(picture_)) return Done();
    if (outputFormat_ == Format::kJPEG) return TransparentJPEG(options_.files.output);
    return CannotWrite(options_.files.output, "the picture is transparent, which CMYK cannot be",
                       "convert to an RGB profile, or flatten the picture first");
}

PictureLayout Conversion::DestinationLayout() const
{
    PictureLayout layout = picture_.layout;
    layout.model = destinationModel_;
    if (outputFormat_ == Format::kJPEG) layout.depth = 8;
    layout.hasAlpha = layout.hasAlpha && keepsAlpha_;
    return layout;
}

// Where both sides are RGB, alpha travels with the colours; else it waits in an image of its own.
Failure Conversion::ConvertPixels()
{
    ImageOwner alpha;
    if (picture_.layout.hasAlpha &&
        (picture_.layout.model != kPXColorSpaceRGB || destinationModel_ != kPXColorSpaceRGB)) {
        if (Failure failure = SplitAlpha(options_.files.input, &picture_, &alpha)) return failure;
    }
    const PictureLayout layout = DestinationLayout();
    const bool isInPlace = layout.model == picture_.layout.model &&
                           layout.depth == picture_.layout.depth &&
                           layout.hasAlpha == picture_.layout.hasAlpha;
    if (isInPlace) {
        if (Failure failure = RunTransform(picture_.image.Get())) return failure;
    } else {
        ImageOwner converted;
        if (Failure failure = MakeImage(layout, options_.files.input, &converted)) return failure;
        if (Failure failure = RunTransform(converted.Get())) return failure;
        picture_.image = std::move(converted);
        picture_.layout = layout;
    }
    if (!alpha || !keepsAlpha_) return Done();
    return MergeAlpha(options_.files.input, alpha.Get(), &picture_);
}

Failure Conversion::RunTransform(PXImage destination)
{
    const int32_t bands =
        options_.bands > 0 ? options_.bands : static_cast<int32_t>(os::Os().processorCount());
    const CallProgress call(progress_);
    const int status = PXColorProfileConvertProfile4(
        source_.Get(), destination_.Get(), picture_.image.Get(), destination,
        PXImageGetBounds(destination), bands, options_.intent, call.Get());
    // A small picture is done before its progress is told.
    return IsCancelled() ? Cancelled() : FailureOf(status);
}

Failure Conversion::FailureOf(int status) const
{
    switch (status) {
        case kPXOK:
            return Done();
        case kPXErrSoft:
            return Cancelled();
        case kPXErrCreate:
            return OutOfMemory(options_.files.input);
        case kPXErrTransform:
            return CannotRead(options_.files.input,
                              "its profile and the one given with --to cannot be combined",
                              "choose a profile of a display, a printer or a working space");
        default:
            return {ExitCode::kResources,
                    "cannot convert '" + options_.files.input + "': unexpected event " +
                        std::to_string(status),
                    "try another profile"};
    }
}

// Makes what stands beside the pixels true for the converted ones.
void Conversion::DescribeResult()
{
    picture_.icc = BytesOf(destination_);
    const bool isSRGB = PXColorProfileGetStandard(destination_.Get()) == kPXColorStandardSRGB;
    ChangeExif(picture_.exif, {.colour = isSRGB ? ExifColour::kSRGB : ExifColour::kUncalibrated,
                               .dropsPreview = storedOrientation_ != 1,
                               .swapsSides = storedOrientation_ >= 5});
}

}  // namespace

Failure RunConvert(const ConvertOptions& options, const SharedOptions& shared)
{
    return Conversion(options, shared).Run();
}

}  // namespace px::tool
