// PlistConvertCommand — "pxtool plist convert": property lists from one form to another.

#include "CoreFoundation/CoreFoundation.h"
#include "pxtool/Command.h"
#include "pxtool/Files.h"
#include "pxtool/ListFile.h"
#include "pxtool/Plan.h"

namespace px::tool {

namespace {

constexpr std::string_view kFormats[] = {"xml", "binary"};

class PlistConvertCommand final : public Command {
public:
    const char* Name() const override { return "plist convert"; }
    const char* Summary() const override { return "write a property list in another form"; }
    uint32_t Shares() const override { return kSharesDryRun | kSharesForce; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    std::string input_;
    std::string output_;
    std::string format_{kFormats[0]};
};

std::vector<Option> PlistConvertCommand::Options()
{
    return {{.name = "IN",
             .value = &input_,
             .help = "the list to read, in XML, binary or the older text form",
             .isRequired = true,
             .expects = Expects::kFile},
            {.name = "OUT",
             .value = &output_,
             .help = "the file to write",
             .isRequired = true,
             .expects = Expects::kFile},
            {.name = "--format",
             .value = &format_,
             .help = "the form of OUT",
             .typeName = "FORMAT",
             .choices = kFormats}};
}

Failure PlistConvertCommand::Run()
{
    if (Failure failure = CheckOutputPath(output_, Settings().mayReplace)) return failure;
    CFRef<CFPropertyListRef> list;
    CFPropertyListFormat found = 0;
    if (Failure failure = ReadListFile(input_, &list, &found)) return failure;
    const CFPropertyListFormat wanted =
        format_ == kFormats[0] ? kCFPropertyListXMLFormat_v1_0 : kCFPropertyListBinaryFormat_v1_0;
    const auto bytes = CFRef<CFDataRef>::Adopt(
        CFPropertyListCreateData(kCFAllocatorDefault, list.Get(), wanted, 0, nullptr));
    if (!bytes) {
        return CannotWrite(output_, "the list holds what this form cannot", "try --format binary");
    }
    const auto size = static_cast<size_t>(CFDataGetLength(bytes.Get()));
    if (Settings().isDryRun) {
        return Print(WouldRead(input_, ListFormatName(found)) +
                     WouldWrite(output_, format_ + ", " + std::to_string(size) + " bytes"));
    }
    return WriteFileBytes(output_, Settings().mayReplace, CFDataGetBytePtr(bytes.Get()), size);
}

}  // namespace

std::unique_ptr<Command> MakePlistConvertCommand()
{
    return std::make_unique<PlistConvertCommand>();
}

}  // namespace px::tool
