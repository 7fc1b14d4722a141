// SelfTestCommand — "pxtool selftest": whether this installation works.

#include "Base/Platform/Platform.h"
#include "pxtool/Command.h"
#include "pxtool/Doctor.h"
#include "pxtool/LogCapture.h"
#include "pxtool/Progress.h"
#include "pxtool/SelfTest.h"

#include <filesystem>
#include <system_error>

namespace px::tool {

namespace {

class SelfTestCommand final : public Command {
public:
    const char* Name() const override { return "selftest"; }
    const char* Summary() const override { return "check whether this installation works"; }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharesJSON | kSharesStats; }
    Failure Run() override;
};

std::string SelfTestCommand::Details() const
{
    return "Pictures are made up, written, read, converted and scaled; tiles go through the cache "
           "folder, a preset through a file, and a message through a server on this machine. All "
           "files lie in a new folder beside the cache, which is removed. A failed check ends "
           "with exit code 1.";
}

Failure SelfTestCommand::Run()
{
    const std::string folder =
        CacheRoot() + "/pxtool-selftest-" + std::to_string(os::Os().processId());
    if (const int error = os::Os().makePrivateFolder(folder.c_str())) {
        return CannotWrite(folder, os::TextOf(error), "see pxtool doctor");
    }
    std::string text;
    Values checks;
    bool isSound = true;
    for (const SelfCheck& check : SelfChecks()) {
        if (IsCancelled()) break;
        const LogCapture quiet;
        const std::string wrong = check.run(folder);
        isSound = isSound && wrong.empty();
        text += std::string(wrong.empty() ? "ok      " : "failed  ") + check.name +
                (wrong.empty() ? "" : ": " + Plain(wrong)) + '\n';
        checks.emplace_back(Fields{{"check", check.name},
                                   {"ok", wrong.empty()},
                                   {"problem", wrong.empty() ? Value() : Value(wrong)}});
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    if (IsCancelled()) return Cancelled();
    if (Failure failure = Tell({{"ok", isSound}, {"checks", std::move(checks)}}, text)) {
        return failure;
    }
    return {isSound ? ExitCode::kDone : ExitCode::kDifferent, "", ""};
}

}  // namespace

std::unique_ptr<Command> MakeSelfTestCommand()
{
    return std::make_unique<SelfTestCommand>();
}

}  // namespace px::tool
