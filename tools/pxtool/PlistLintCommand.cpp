// PlistLintCommand — "pxtool plist lint": whether a property list can be read.

#include "CoreFoundation/CoreFoundation.h"
#include "pxtool/Command.h"
#include "pxtool/ListFile.h"

namespace px::tool {

namespace {

class PlistLintCommand final : public Command {
public:
    const char* Name() const override { return "plist lint"; }
    const char* Summary() const override
    {
        return "tell whether a property list can be read, and its form";
    }
    uint32_t Shares() const override { return kSharesJSON; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    std::string input_;
};

std::vector<Option> PlistLintCommand::Options()
{
    return {{.name = "IN",
             .value = &input_,
             .help = "the list to read",
             .isRequired = true,
             .expects = Expects::kFile}};
}

Failure PlistLintCommand::Run()
{
    CFRef<CFPropertyListRef> list;
    CFPropertyListFormat format = 0;
    Failure failure = ReadListFile(input_, &list, &format);
    if (failure && !Settings().wantsJSON) return failure;
    const Failure told =
        Tell({{"file", input_}, {"format", failure ? Value() : Value(ListFormatName(format))}});
    return failure ? failure : told;
}

}  // namespace

std::unique_ptr<Command> MakePlistLintCommand()
{
    return std::make_unique<PlistLintCommand>();
}

}  // namespace px::tool
