// ManCommand — "pxtool man": the manual pages.

#include "pxtool/Files.h"
#include "pxtool/Help.h"
#include "pxtool/ListFile.h"
#include "pxtool/ManPage.h"
#include "pxtool/Plan.h"

namespace px::tool {

namespace {

class ManCommand final : public Command {
public:
    const char* Name() const override { return "man"; }
    const char* Summary() const override { return "print a manual page"; }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharesDryRun | kSharesForce; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure Write(std::string_view command, const std::string& page) const;
    Failure WriteAll() const;

    std::string command_;
    std::string second_;
    std::string folder_;
};

std::string ManCommand::Details() const
{
    return "The page is in roff, for man --local-file - or a file in a folder of manual pages. "
           "Without COMMAND it is that of the whole tool. With --into all pages are written.";
}

std::vector<Option> ManCommand::Options()
{
    return {{.name = "COMMAND",
             .value = &command_,
             .help = "a command, or the group of one",
             .expects = Expects::kCommand},
            {.name = "SECOND", .value = &second_, .help = "the command of a group"},
            {.name = "--into",
             .value = &folder_,
             .help = "a folder that all pages are written to",
             .typeName = "FOLDER",
             .expects = Expects::kFolder}};
}

Failure ManCommand::Write(std::string_view command, const std::string& page) const
{
    const std::string path = folder_ + '/' + PageName(command) + ".1";
    if (!Settings().isDryRun) {
        return WriteFileBytes(path, Settings().mayReplace, page.data(), page.size());
    }
    if (Failure failure = CheckOutputPath(path, Settings().mayReplace)) return failure;
    return Print(WouldWrite(path, ""));
}

Failure ManCommand::WriteAll() const
{
    const Commands commands = MakeCommands();
    for (const auto& command : commands) {
        if (Failure failure = Write(command->Name(), ManPageFor(*command))) return failure;
    }
    return Write("", ManPageForTool(commands));
}

Failure ManCommand::Run()
{
    if (!folder_.empty()) {
        if (command_.empty()) return WriteAll();
        return UsageFailure("--into writes all pages, not that of one command", "", {}, Name());
    }
    const Commands commands = MakeCommands();
    if (command_.empty()) return Print(ManPageForTool(commands));
    const std::string name = second_.empty() ? command_ : command_ + ' ' + second_;
    for (const auto& command : commands) {
        if (command->Name() == name) return Print(ManPageFor(*command));
    }
    return UsageFailure("there is no command '" + name + "'", name, NamesOf(commands), Name());
}

}  // namespace

std::unique_ptr<Command> MakeManCommand()
{
    return std::make_unique<ManCommand>();
}

}  // namespace px::tool
