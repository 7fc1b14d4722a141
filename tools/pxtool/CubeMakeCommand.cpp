// CubeMakeCommand — "pxtool cube make": the colours of one profile for another's, as a file.

#include "pxtool/Command.h"
#include "pxtool/CubeFiles.h"
#include "pxtool/Files.h"
#include "pxtool/Plan.h"
#include "pxtool/ProfileOptions.h"

namespace px::tool {

namespace {

class CubeMakeCommand final : public Command {
public:
    const char* Name() const override { return "cube make"; }
    const char* Summary() const override
    {
        return "sample the way from one RGB profile to another into a .cube file";
    }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharesDryRun | kSharesForce | kSharesStats; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure Make(CubeOwner* cube);
    Failure MakeProof(CFDataRef* samples);
    Failure Write(const CubeOwner& cube) const;

    std::string output_;
    std::string fromName_ = "srgb";
    std::string toName_;
    std::string proofName_;
    std::string intentName_{kIntents[1]};
    int32_t size_ = 33;
    bool showsPaper_ = false;
    bool warns_ = false;

    ProfileOwner from_;
    ProfileOwner to_;
    int32_t intent_ = kPXIntentRelativeColorimetric;
};

std::string CubeMakeCommand::Details() const
{
    return "With --proof the cube shows on the display of --to what that device makes of the "
           "colours.";
}

std::vector<Option> CubeMakeCommand::Options()
{
    return {{.name = "OUT",
             .value = &output_,
             .help = "the .cube file to write",
             .isRequired = true,
             .expects = Expects::kFile},
            {.name = "--to",
             .value = &toName_,
             .help = "the profile that results are in",
             .typeName = "PROFILE",
             .isRequired = true,
             .expects = Expects::kProfile},
            {.name = "--from",
             .value = &fromName_,
             .help = "the profile that colours come in",
             .typeName = "PROFILE",
             .expects = Expects::kProfile},
            {.name = "--size",
             .value = &size_,
             .help = "points along an edge",
             .typeName = "N",
             .least = 2,
             .most = kPXColorCubeMaxGridSize},
            {.name = "--intent",
             .value = &intentName_,
             .help = "how colours are fitted",
             .typeName = "INTENT",
             .choices = kIntents},
            {.name = "--proof",
             .value = &proofName_,
             .help = "a device to proof for",
             .typeName = "PROFILE",
             .expects = Expects::kProfile},
            {.name = "--paper",
             .value = &showsPaper_,
             .help = "with --proof: show its white and black as they are"},
            {.name = "--gamut",
             .value = &warns_,
             .help = "with --proof: show colours that it does not have in pure red"}};
}

Failure CubeMakeCommand::MakeProof(CFDataRef* samples)
{
    ProfileOwner proof;
    if (Failure failure = OpenProfile(proofName_, &proof)) return failure;
    return CubeFailureOf(PXColorProfileCreateRGBColorCubeSoftProof(
        from_.Get(), proof.Get(), intent_, to_.Get(), static_cast<uint32_t>(size_), warns_,
        showsPaper_, samples));
}

Failure CubeMakeCommand::Make(CubeOwner* cube)
{
    CFDataRef samples = nullptr;
    if (!proofName_.empty()) {
        if (Failure failure = MakeProof(&samples)) return failure;
    } else if (Failure failure = CubeFailureOf(PXColorProfileCreateRGBColorCube3(
                   from_.Get(), to_.Get(), intent_, static_cast<uint32_t>(size_), &samples))) {
        return failure;
    }
    *cube = CubeOwner(PXColorCubeCreate());
    if (cube->Get()) {
        PXColorCubeSetMode(cube->Get(), kPXColorCubeModeFloat);
        PXColorCubeSetGridSize(cube->Get(), static_cast<uint32_t>(size_));
        PXColorCubeSetData(cube->Get(), samples);
    }
    CFRelease(samples);
    return cube->Get() ? Done() : CubeFailureOf(kPXErrCreate);
}

Failure CubeMakeCommand::Write(const CubeOwner& cube) const
{
    CFDataRef text = PXColorCubeCreateFileData(cube.Get(), nullptr);
    if (!text) {
        return {ExitCode::kInput, "the profiles give colours that are no numbers",
                "choose other profiles"};
    }
    OutputFile file;
    Failure failure = file.Create(output_, Settings().mayReplace);
    if (!failure &&
        file.Write(CFDataGetBytePtr(text), static_cast<size_t>(CFDataGetLength(text)))) {
        failure = file.FailureFor(file.Error());
    }
    CFRelease(text);
    return failure ? failure : file.Commit();
}

Failure CubeMakeCommand::Run()
{
    intent_ = IntentOf(intentName_);
    if (proofName_.empty() && (showsPaper_ || warns_)) {
        return UsageFailure("--paper and --gamut need --proof", "", {}, Name());
    }
    if (Failure failure = CheckOutputPath(output_, Settings().mayReplace)) return failure;
    if (Failure failure = OpenCubeProfiles(fromName_, toName_, &from_, &to_)) return failure;
    CubeOwner cube;
    if (Failure failure = Make(&cube)) return failure;
    if (Settings().isDryRun) {
        return Print(WouldWrite(output_, std::to_string(size_) + " points along an edge"));
    }
    return Write(cube);
}

}  // namespace

std::unique_ptr<Command> MakeCubeMakeCommand()
{
    return std::make_unique<CubeMakeCommand>();
}

}  // namespace px::tool
