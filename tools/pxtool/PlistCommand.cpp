// PlistCommand — "pxtool plist": property lists from one form to another.

#include "CoreFoundation/CoreFoundation.h"
#include "pxtool/Command.h"
#include "pxtool/Json.h"
#include "pxtool/ListFile.h"
#include "pxtool/Records.h"

#include <array>

namespace px::tool {

namespace {

constexpr std::string_view kActions[] = {"convert", "lint"};
constexpr std::string_view kFormats[] = {"xml", "binary"};

const char* FormatName(CFPropertyListFormat format)
{
    return format == kCFPropertyListXMLFormat_v1_0      ? "xml"
           : format == kCFPropertyListBinaryFormat_v1_0 ? "binary"
                                                        : "text";
}

class PlistCommand final : public Command {
public:
    const char* Name() const override { return "plist"; }
    const char* About() const override;
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure Convert() const;
    Failure Lint() const;

    std::string action_;
    std::string input_;
    std::string output_;
    std::string format_ = "xml";
    bool isJson_ = false;
};

const char* PlistCommand::About() const
{
    return "Reads property lists in XML, binary and the older text form.\n"
           "\n"
           "convert IN OUT   writes IN as XML or, with --format binary, in binary form\n"
           "lint IN          tells whether IN can be read, and its form";
}

std::vector<Option> PlistCommand::Options()
{
    return {{"ACTION", &action_, "convert or lint", "", true},
            {"IN", &input_, "the list to read", "", true},
            {"OUT", &output_, "the file to write"},
            {"--format", &format_, "xml (as set without this option) or binary", "FORMAT"},
            {"--json", &isJson_, "answer lint in JSON"}};
}

Failure PlistCommand::Convert() const
{
    if (output_.empty())
        return UsageFailure("convert needs the name of a file to write", "", {}, Name());
    size_t format = 0;
    if (Failure failure = ChooseWord(format_, kFormats, "format", Name(), &format)) return failure;
    CFRef<CFPropertyListRef> list;
    CFPropertyListFormat found = 0;
    if (Failure failure = ReadListFile(input_, &list, &found)) return failure;
    const auto bytes = CFRef<CFDataRef>::Adopt(CFPropertyListCreateData(
        kCFAllocatorDefault, list.Get(),
        format == 0 ? kCFPropertyListXMLFormat_v1_0 : kCFPropertyListBinaryFormat_v1_0, 0,
        nullptr));
    if (!bytes)
        return CannotWrite(output_, "the list holds what this form cannot", "try --format binary");
    return WriteFileBytes(output_, CFDataGetBytePtr(bytes.Get()),
                          static_cast<size_t>(CFDataGetLength(bytes.Get())));
}

Failure PlistCommand::Lint() const
{
    if (!output_.empty()) return UsageFailure("lint writes no file", "", {}, Name());
    CFRef<CFPropertyListRef> list;
    CFPropertyListFormat format = 0;
    Failure failure = ReadListFile(input_, &list, &format);
    if (isJson_) {
        const Failure printed = Print("{\"file\": " + JsonText(input_) + ", \"format\": " +
                                      (failure ? "null" : JsonText(FormatName(format))) + "}\n");
        return failure ? failure : printed;
    }
    return failure ? failure : Print(TextOf(Record{{input_.c_str(), FormatName(format)}}));
}

Failure PlistCommand::Run()
{
    size_t action = 0;
    if (Failure failure = ChooseWord(action_, kActions, "action", Name(), &action)) return failure;
    return action == 0 ? Convert() : Lint();
}

}  // namespace

std::unique_ptr<Command> MakePlistCommand()
{
    return std::make_unique<PlistCommand>();
}

}  // namespace px::tool
