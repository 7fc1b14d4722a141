// ProfileImportCommand — "pxtool profile import": a profile for the user's folder.

#include "Base/Ref.h"
#include "PXCore/PXColorProfileDesc.h"
#include "pxtool/Command.h"
#include "pxtool/Plan.h"
#include "pxtool/ProfileFacts.h"

#include <filesystem>
#include <system_error>

namespace px::tool {

namespace {

class ProfileImportCommand final : public Command {
public:
    const char* Name() const override { return "profile import"; }
    const char* Summary() const override
    {
        return "copy an RGB profile into the user's profile folder";
    }
    uint32_t Shares() const override { return kSharesJSON | kSharesDryRun; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    std::string path_;
};

std::vector<Option> ProfileImportCommand::Options()
{
    return {{.name = "FILE",
             .value = &path_,
             .help = "the ICC file, *.icc or *.icm",
             .isRequired = true,
             .expects = Expects::kFile}};
}

Failure ProfileImportCommand::Run()
{
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path_, error);
    if (error) return CannotRead(path_, error.message(), "give an absolute path");
    const std::string path = absolute.string();
    if (Settings().isDryRun) {
        ProfileOwner profile;
        if (Failure failure = OpenProfile(path, &profile)) return failure;
        return Print(WouldRead(path_, "") + "would copy it to the user's profile folder\n");
    }
    const auto url = CFRef<CFURLRef>::Adopt(CFURLCreateFromFileSystemRepresentation(
        nullptr, reinterpret_cast<const UInt8*>(path.data()), static_cast<CFIndex>(path.size()),
        false));
    PXColorProfileDesc desc = nullptr;
    const int status =
        url ? PXColorProfileImportUserColorProfile(url.Get(), &desc) : kPXErrBadArgument;
    if (status == kPXErrReservedName) {
        return {ExitCode::kInput, "'" + path_ + "' has the name of a standard profile",
                "rename the file"};
    }
    if (status != kPXOK) {
        return CannotRead(path_, "it could not be imported",
                          "it must be an RGB profile in a file *.icc or *.icm, and the user's "
                          "profile folder must be writable");
    }
    const Fields facts = FactsOf(desc);
    PXColorProfileDescRelease(desc);
    return Tell(facts);
}

}  // namespace

std::unique_ptr<Command> MakeProfileImportCommand()
{
    return std::make_unique<ProfileImportCommand>();
}

}  // namespace px::tool
