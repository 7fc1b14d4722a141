// ProofCommand — "pxtool proof": a picture as a display shows what a printer or another device
// makes of it.

#include "PXCore/PXColorProfileImages.h"
#include "pxtool/PictureCommand.h"
#include "pxtool/ProfileOptions.h"

namespace px::tool {

namespace {

class ProofCommand final : public Command {
public:
    const char* Name() const override { return "proof"; }
    const char* Summary() const override
    {
        return "show on a display what another device makes of a picture's colours";
    }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharedOfWriters; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure OpenProfiles();
    Failure Proof(Picture* picture, Progress& progress);

    PictureFiles files_;
    std::string proofName_;
    std::string displayName_ = "srgb";
    std::string intentName_{kIntents[1]};
    bool showsPaper_ = false;
    bool warns_ = false;

    ProfileOwner proof_;
    ProfileOwner display_;
    int32_t intent_ = kPXIntentRelativeColorimetric;
};

std::string ProofCommand::Details() const
{
    return "The picture goes into the colours of the device and from there to the display, whose "
           "profile is embedded in OUT. Without --paper white and black are the display's own."
           "\n\n" +
           std::string(kPictureNotes);
}

std::vector<Option> ProofCommand::Options()
{
    return WithFiles(
        &files_, {ProfileOption("--proof", &proofName_, "the profile of the device to proof for",
                                Needed::kYes),
                  ProfileOption("--display", &displayName_, "the display's profile"),
                  IntentOption(&intentName_),
                  {.name = "--paper",
                   .value = &showsPaper_,
                   .help = "show the device's white and black as they are"},
                  {.name = "--gamut",
                   .value = &warns_,
                   .help = "show colours that the device does not have in pure red"}});
}

Failure ProofCommand::OpenProfiles()
{
    if (Failure failure = OpenProfile(proofName_, &proof_)) return failure;
    if (Failure failure = OpenProfile(displayName_, &display_)) return failure;
    if (PXColorProfileGetColorSpaceType(display_.Get()) == kPXColorSpaceRGB) return Done();
    return CannotRead(displayName_, "a display's profile is for RGB", "choose another profile");
}

Failure ProofCommand::Proof(Picture* picture, Progress& progress)
{
    ProfileOwner profile;
    if (Failure failure = ProfileOfPicture(files_.input, *picture, &profile)) return failure;
    if (PXColorProfileGetColorSpaceType(profile.Get()) != kPXColorSpaceRGB ||
        picture->layout.model == kPXColorSpaceCMYK) {
        return CannotRead(files_.input, "only RGB pictures can be proofed",
                          "convert it with pxtool convert --to srgb");
    }
    if (picture->layout.model == kPXColorSpaceGrey) {
        if (Failure failure = ExpandGreyToRGB(files_.input, picture)) return failure;
    }
    const CallProgress call(progress);
    const PXImage image = picture->image.Get();
    const int status = PXColorProfileSoftProofImage(profile.Get(), proof_.Get(), intent_,
                                                    display_.Get(), warns_, showsPaper_, image,
                                                    image, PXImageGetBounds(image), call.Get());
    if (status == kPXErrNotFound) {
        return CannotRead(proofName_, "it cannot be used to proof for",
                          "choose a profile of a printer or a display");
    }
    picture->icc = BytesOf(display_);
    return CallProgress::FailureOf(static_cast<PXStatus>(status), files_.input);
}

Failure ProofCommand::Run()
{
    intent_ = IntentOf(intentName_);
    if (Failure failure = OpenProfiles()) return failure;
    return ChangePicture(files_, Settings(), [this](Picture* picture, Progress& progress) {
        return Proof(picture, progress);
    });
}

}  // namespace

std::unique_ptr<Command> MakeProofCommand()
{
    return std::make_unique<ProofCommand>();
}

}  // namespace px::tool
