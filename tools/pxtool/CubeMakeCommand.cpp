// CubeMakeCommand — "pxtool cube make": the colours of one profile for another's, as a file.

#include "Base/Ref.h"
#include "pxtool/Command.h"
#include "pxtool/CubeFiles.h"
#include "pxtool/Files.h"
#include "pxtool/Plan.h"

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
    Failure Sample(CFRef<CFDataRef>* samples);
    Failure Write(const CubeOwner& cube) const;

    std::string output_;
    CubeSource source_;
    std::string proofName_;
    int32_t size_ = 33;
    bool showsPaper_ = false;
    bool warns_ = false;
};

std::string CubeMakeCommand::Details() const
{
    return "With --proof the cube shows on the display of --to what that device makes of the "
           "colours.";
}

std::vector<Option> CubeMakeCommand::Options()
{
    std::vector<Option> options = source_.Options();
    options.insert(options.begin(), {.name = "OUT",
                                     .value = &output_,
                                     .help = "the .cube file to write",
                                     .isRequired = true,
                                     .expects = Expects::kFile});
    options.push_back({.name = "--size",
                       .value = &size_,
                       .help = "points along an edge",
                       .typeName = "N",
                       .least = 2,
                       .most = kPXColorCubeMaxGridSize});
    options.push_back(ProfileOption("--proof", &proofName_, "a device to proof for"));
    options.push_back({.name = "--paper",
                       .value = &showsPaper_,
                       .help = "with --proof: show its white and black as they are"});
    options.push_back({.name = "--gamut",
                       .value = &warns_,
                       .help = "with --proof: show colours that it does not have in pure red"});
    return options;
}

Failure CubeMakeCommand::Sample(CFRef<CFDataRef>* samples)
{
    const auto size = static_cast<uint32_t>(size_);
    CFDataRef made = nullptr;
    int status = kPXOK;
    if (proofName_.empty()) {
        status = PXColorProfileCreateRGBColorCube3(source_.From(), source_.To(), source_.Intent(),
                                                   size, &made);
    } else {
        ProfileOwner proof;
        if (Failure failure = OpenProfile(proofName_, &proof)) return failure;
        status = PXColorProfileCreateRGBColorCubeSoftProof(source_.From(), proof.Get(),
                                                           source_.Intent(), source_.To(), size,
                                                           warns_, showsPaper_, &made);
    }
    *samples = CFRef<CFDataRef>::Adopt(made);
    return CubeFailureOf(status);
}

Failure CubeMakeCommand::Make(CubeOwner* cube)
{
    CFRef<CFDataRef> samples;
    if (Failure failure = Sample(&samples)) return failure;
    *cube = CubeOwner::Adopt(PXColorCubeCreate());
    if (!*cube) return CubeFailureOf(kPXErrCreate);
    PXColorCubeSetMode(cube->Get(), kPXColorCubeModeFloat);
    PXColorCubeSetGridSize(cube->Get(), static_cast<uint32_t>(size_));
    PXColorCubeSetData(cube->Get(), samples.Get());
    return Done();
}

Failure CubeMakeCommand::Write(const CubeOwner& cube) const
{
    const auto text = CFRef<CFDataRef>::Adopt(PXColorCubeCreateFileData(cube.Get(), nullptr));
    if (!text) {
        return {ExitCode::kInput, "the profiles give colours that are no numbers",
                "choose other profiles"};
    }
    OutputFile file;
    if (Failure failure = file.Create(output_, Settings().mayReplace)) return failure;
    if (file.Write(CFDataGetBytePtr(text.Get()),
                   static_cast<size_t>(CFDataGetLength(text.Get())))) {
        return file.FailureFor(file.Error());
    }
    return file.Commit();
}

Failure CubeMakeCommand::Run()
{
    if (proofName_.empty() && (showsPaper_ || warns_)) {
        return UsageFailure("--paper and --gamut need --proof", "", {}, Name());
    }
    if (Failure failure = CheckOutputPath(output_, Settings().mayReplace)) return failure;
    if (Failure failure = source_.Open()) return failure;
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
