// CompletionsCommand — "pxtool completions": a script that completes the tool's words in a shell.

#include "pxtool/Completions.h"

namespace px::tool {

namespace {

constexpr std::string_view kShells[] = {"bash", "zsh", "fish"};

class CompletionsCommand final : public Command {
public:
    const char* Name() const override { return "completions"; }
    const char* Summary() const override { return "print a shell's completions of this tool"; }
    std::string Details() const override;
    uint32_t Shares() const override { return 0; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    std::string shell_;
};

std::string CompletionsCommand::Details() const
{
    return "They are installed with the tool. By hand: source <(pxtool completions bash) in bash, "
           "a file _pxtool in a folder of fpath in zsh, and pxtool completions fish | source in "
           "fish.";
}

std::vector<Option> CompletionsCommand::Options()
{
    return {{.name = "SHELL",
             .value = &shell_,
             .help = "the shell",
             .isRequired = true,
             .choices = kShells}};
}

Failure CompletionsCommand::Run()
{
    const Commands commands = MakeCommands();
    if (shell_ == "bash") return Print(CompletionsForBash(commands));
    return Print(shell_ == "zsh" ? CompletionsForZsh(commands) : CompletionsForFish(commands));
}

}  // namespace

std::unique_ptr<Command> MakeCompletionsCommand()
{
    return std::make_unique<CompletionsCommand>();
}

}  // namespace px::tool
