// CropCommand — "pxtool crop": a rectangle of a picture.

#include "PXCore/PXImageDerived.h"
#include "pxtool/Geometry.h"
#include "pxtool/PictureCommand.h"

#include <algorithm>

namespace px::tool {

namespace {

class CropCommand final : public Command {
public:
    const char* Name() const override { return "crop"; }
    const char* Summary() const override { return "cut a rectangle out of a picture"; }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharedOfWriters; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure Crop(Picture* picture) const;

    PictureFiles files_;
    std::string rectText_;
    PXRect rect_ = {};
};

std::string CropCommand::Details() const
{
    return "The rectangle is counted in pixels from the upper left corner of the upright "
           "picture. What of it lies outside is left out."
           "\n\n" +
           std::string(kPictureNotes);
}

std::vector<Option> CropCommand::Options()
{
    return WithFiles(&files_, {{.name = "--rect",
                                .value = &rectText_,
                                .help = "the rectangle to keep",
                                .typeName = "X,Y,WIDTH,HEIGHT",
                                .isRequired = true}});
}

Failure CropCommand::Crop(Picture* picture) const
{
    const int64_t left = std::max(rect_.x, 0);
    const int64_t top = std::max(rect_.y, 0);
    const int64_t right = std::min<int64_t>(int64_t{rect_.x} + rect_.width, picture->layout.width);
    const int64_t bottom =
        std::min<int64_t>(int64_t{rect_.y} + rect_.height, picture->layout.height);
    if (right <= left || bottom <= top) {
        return UsageFailure("the rectangle " + rectText_ + " lies outside of a picture of " +
                                std::to_string(picture->layout.width) + " x " +
                                std::to_string(picture->layout.height) + " pixels",
                            "", {}, Name());
    }
    ImageOwner part;
    const PXStatus status =
        PXImageCreateCrop(picture->image.Get(),
                          {static_cast<int32_t>(left), static_cast<int32_t>(top),
                           static_cast<int32_t>(right - left), static_cast<int32_t>(bottom - top)},
                          part.Receive());
    if (status) return CallProgress::FailureOf(status, files_.input);
    TakeImage(std::move(part), picture);
    return Done();
}

Failure CropCommand::Run()
{
    if (!ReadRect(rectText_, &rect_)) {
        return UsageFailure("'" + rectText_ + "' is no rectangle such as 10,20,300,200", "", {},
                            Name());
    }
    return ChangePicture(files_, Settings(),
                         [this](Picture* picture, Progress&) { return Crop(picture); });
}

}  // namespace

std::unique_ptr<Command> MakeCropCommand()
{
    return std::make_unique<CropCommand>();
}

}  // namespace px::tool
