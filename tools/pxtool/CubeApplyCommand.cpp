// CubeApplyCommand — "pxtool cube apply": the colours of a picture through a cube.

#include "pxtool/CubeFiles.h"
#include "pxtool/PictureCommand.h"

namespace px::tool {

namespace {

class CubeApplyCommand final : public Command {
public:
    const char* Name() const override { return "cube apply"; }
    const char* Summary() const override
    {
        return "send the colours of a picture through a .cube file";
    }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharedOfWriters; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure Apply(Picture* picture, Progress& progress) const;

    PictureFiles files_;
    std::string cubeName_;
    std::string profileName_;
    CubeOwner cube_;
    ProfileOwner profile_;
};

std::string CubeApplyCommand::Details() const
{
    return "Colours between the points of the cube are interpolated. The picture keeps its "
           "profile unless --profile names the one that results are in."
           "\n\n" +
           std::string(kPictureNotes);
}

std::vector<Option> CubeApplyCommand::Options()
{
    return WithFiles(&files_, {{.name = "--cube",
                                .value = &cubeName_,
                                .help = "the .cube file",
                                .typeName = "FILE",
                                .isRequired = true,
                                .expects = Expects::kFile},
                               {.name = "--profile",
                                .value = &profileName_,
                                .help = "the profile to embed in OUT",
                                .typeName = "PROFILE",
                                .standard = "that of IN",
                                .expects = Expects::kProfile}});
}

Failure CubeApplyCommand::Apply(Picture* picture, Progress& progress) const
{
    if (picture->layout.model == kPXColorSpaceCMYK) {
        return CannotRead(files_.input, "a cube takes RGB, and its pixels are CMYK",
                          "convert it with pxtool convert --to srgb");
    }
    if (picture->layout.model == kPXColorSpaceGrey) {
        if (Failure failure = ExpandGreyToRGB(files_.input, picture)) return failure;
    }
    const CallProgress call(progress);
    const PXImage image = picture->image.Get();
    const PXStatus status =
        PXColorCubeInterpolateImage(cube_.Get(), image, image, PXImageGetBounds(image), call.Get());
    if (profile_.Get()) picture->icc = BytesOf(profile_);
    return CallProgress::FailureOf(status, files_.input);
}

Failure CubeApplyCommand::Run()
{
    if (Failure failure = ReadCube(cubeName_, &cube_)) return failure;
    if (!profileName_.empty()) {
        if (Failure failure = OpenProfile(profileName_, &profile_)) return failure;
        if (PXColorProfileGetColorSpaceType(profile_.Get()) != kPXColorSpaceRGB) {
            return CannotRead(profileName_, "the results of a cube are RGB",
                              "choose another profile");
        }
    }
    return ChangePicture(files_, Settings(), [this](Picture* picture, Progress& progress) {
        return Apply(picture, progress);
    });
}

}  // namespace

std::unique_ptr<Command> MakeCubeApplyCommand()
{
    return std::make_unique<CubeApplyCommand>();
}

}  // namespace px::tool
