// InfoCommand — "pxtool info": what a picture file holds.

#include "Base/Ref.h"
#include "pxtool/PictureCommand.h"
#include "pxtool/Profiles.h"

namespace px::tool {

namespace {

// In the order of Format.
constexpr const char* kFormatNames[] = {"", "JPEG", "PNG", "TIFF"};

// Null without a profile, and of one that cannot be read.
Value ProfileName(const Picture& picture)
{
    ProfileOwner profile;
    if (picture.icc.empty() || OpenEmbeddedProfile("", picture.icc, &profile)) return {};
    const auto name = CFRef<CFStringRef>::Adopt(PXColorProfileGetDisplayNameCopy(profile.Get()));
    return UTF8Of(name.Get());
}

class InfoCommand final : public Command {
public:
    const char* Name() const override { return "info"; }
    const char* Summary() const override { return "tell what a picture file holds"; }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharesJSON | kSharesQuiet | kSharesStats; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    std::string input_;
};

std::string InfoCommand::Details() const
{
    return "The picture is decoded whole, so that damage is found.";
}

std::vector<Option> InfoCommand::Options()
{
    return {{.name = "IN",
             .value = &input_,
             .help = "the JPEG, PNG or TIFF picture to read",
             .isRequired = true,
             .expects = Expects::kFile}};
}

Failure InfoCommand::Run()
{
    Progress progress(input_, input_, Settings().isQuiet);
    Picture picture;
    InputFile file;
    if (Failure failure = file.Open(input_)) return failure;
    const Format format = FormatOfContent(file);
    if (Failure failure = Decode(file, progress, &picture)) return failure;
    progress.Clear();
    const PictureLayout& layout = picture.layout;
    return Tell({{"file", input_},
                 {"format", kFormatNames[static_cast<size_t>(format)]},
                 {"bytes", file.Size()},
                 {"width", layout.width},
                 {"height", layout.height},
                 {"depth", layout.depth},
                 {"model", ModelName(layout.model)},
                 {"alpha", layout.hasAlpha},
                 {"orientation", int32_t{picture.orientation}},
                 {"dpiX", picture.dpiX > 0 ? Value(picture.dpiX) : Value()},
                 {"dpiY", picture.dpiY > 0 ? Value(picture.dpiY) : Value()},
                 {"profile", ProfileName(picture)},
                 {"profileBytes", static_cast<int64_t>(picture.icc.size())},
                 {"exifBytes", static_cast<int64_t>(picture.exif.size())},
                 {"xmpBytes", static_cast<int64_t>(picture.xmp.size())}});
}

}  // namespace

std::unique_ptr<Command> MakeInfoCommand()
{
    return std::make_unique<InfoCommand>();
}

}  // namespace px::tool
