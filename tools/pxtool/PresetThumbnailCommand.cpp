// PresetThumbnailCommand — "pxtool preset thumbnail": the picture beside a preset.

#include "PXCore/PXImageDerived.h"
#include "pxtool/Paths.h"
#include "pxtool/PictureCommand.h"
#include "pxtool/PresetCommand.h"

#include <algorithm>
#include <cmath>

namespace px::tool {

namespace {

class PresetThumbnailCommand final : public PresetCommand {
public:
    const char* Name() const override { return "preset thumbnail"; }
    const char* Summary() const override { return "make a preset's thumbnail from a picture"; }
    uint32_t Shares() const override { return kSharedOfWriters; }

protected:
    std::vector<Option> MoreOptions() override;
    Failure Work() override;

private:
    Failure Scale(Picture* picture, Progress& progress) const;

    std::string category_;
    std::string name_;
    PictureFiles files_;
    int32_t side_ = 256;
};

std::vector<Option> PresetThumbnailCommand::MoreOptions()
{
    return {CategoryOption(&category_),
            NameOption(&name_),
            {.name = "PICTURE",
             .value = &files_.input,
             .help = "the picture to read",
             .isRequired = true,
             .expects = Expects::kFile},
            {.name = "--size",
             .value = &side_,
             .help = "longer side of the thumbnail, of a picture that is larger",
             .typeName = "PIXELS",
             .least = 16,
             .most = 4096}};
}

Failure PresetThumbnailCommand::Scale(Picture* picture, Progress& progress) const
{
    const PictureLayout& layout = picture->layout;
    const double factor = std::min(1.0, double(side_) / std::max(layout.width, layout.height));
    const auto side = [&](int32_t pixels) {
        return std::max(1, static_cast<int32_t>(std::floor(pixels * factor + 0.5)));
    };
    const CallProgress call(progress);
    const PXImageScaleOptions options = {kPXBlitLanczos3, kPXDataSourceDefault, 0, call.Get()};
    ImageOwner scaled;
    if (const PXStatus status = PXImageCreateScaled(picture->image.Get(),
                                                    {0, 0, side(layout.width), side(layout.height)},
                                                    &options, scaled.Receive())) {
        return CallProgress::FailureOf(status, files_.input);
    }
    TakeImage(std::move(scaled), picture);
    return Done();
}

Failure PresetThumbnailCommand::Work()
{
    if (Failure failure = CheckPreset(category_, name_)) return failure;
    files_.output = PathOf(Manager().getCategoryImagePath(Text(category_), Text(name_)));
    return ChangePicture(files_, Settings(), [this](Picture* picture, Progress& progress) {
        return Scale(picture, progress);
    });
}

}  // namespace

std::unique_ptr<Command> MakePresetThumbnailCommand()
{
    return std::make_unique<PresetThumbnailCommand>();
}

}  // namespace px::tool
