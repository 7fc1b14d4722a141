// ProfileCommand — "pxtool profile": lists, shows and imports colour profiles.

#include "Base/Ref.h"
#include "PXCore/PXColorProfileDesc.h"
#include "pxtool/Command.h"
#include "pxtool/Profiles.h"
#include "pxtool/Records.h"

#include <filesystem>
#include <system_error>

namespace px::tool {

namespace {

constexpr std::string_view kActions[] = {"list", "info", "import", "monitor"};
enum Action : size_t { kList, kInfo, kImport, kMonitor };

class ProfileCommand final : public Command {
public:
    const char* Name() const override { return "profile"; }
    const char* About() const override;
    const char* Footer() const override;
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure List() const;
    Failure Info() const;
    Failure Import() const;
    Failure Monitor() const;
    Failure Tell(const Record& record) const
    {
        return Print(isJSON_ ? JSONOf(record) : TextOf(record));
    }

    std::string action_;
    std::string profile_;
    bool isJSON_ = false;
    bool printersOnly_ = false;
    bool importedOnly_ = false;
};

const char* ProfileCommand::About() const
{
    return "Lists, shows and imports colour profiles.\n"
           "\n"
           "list      the profiles in the system's colour folders and those imported\n"
           "info      what is known of PROFILE\n"
           "import    copies the RGB profile in the file PROFILE into the user's profile folder\n"
           "monitor   the monitor's profile, and where it comes from";
}

const char* ProfileCommand::Footer() const
{
    return "\nPROFILE is srgb, adobergb, prophoto or prophoto22, the path of an ICC file, or the "
           "name of\n"
           "one in the system's colour folders; for import it is a path.\n"
           "\n"
           "Exit codes: 0 done, 2 wrong arguments, 3 input, 4 output, 5 resources.";
}

std::vector<Option> ProfileCommand::Options()
{
    return {{"ACTION", &action_, "list, info, import or monitor", "ACTION", true},
            {"PROFILE", &profile_, "the profile to show or import", "PROFILE"},
            {"--json", &isJSON_, "write JSON"},
            {"--printers", &printersOnly_, "list the system's profiles of printers alone"},
            {"--imported", &importedOnly_, "list the imported profiles alone"}};
}

std::string Four(uint32_t signature)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(signature >> shift);
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

std::string TypeName(uint32_t type)
{
    switch (type) {
        case kPXColorProfileTypeNone:
            return "";
        case kPXColorProfileTypeDisplay:
            return "display";
        case kPXColorProfileTypePrinter:
            return "printer";
        case kPXColorProfileTypeScanner:
            return "scanner";
        case kPXColorProfileTypeColorSpace:
            return "colour space";
        case kPXColorProfileTypeLink:
            return "link";
        case kPXColorProfileTypeAbstract:
            return "abstract";
        case kPXColorProfileTypeNamed:
            return "named colours";
        default:
            return Four(type);
    }
}

Record RecordOf(PXColorProfileDesc desc)
{
    return {{"name", UTF8Of(PXColorProfileDescGetDisplayName(desc))},
            {"model", ModelName(PXColorProfileDescGetColorSpaceType(desc))},
            {"type", TypeName(PXColorProfileDescGetType(desc))},
            {"path", UTF8Of(PXColorProfileGetPathFromDesc(desc))}};
}

Failure AddList(int (*get)(CFArrayRef*), std::vector<Record>* records)
{
    CFArrayRef list = nullptr;
    if (get(&list) != kPXOK) return OutOfMemory("the list of profiles");
    const auto owner = CFRef<CFArrayRef>::Adopt(list);
    for (CFIndex i = 0; i < CFArrayGetCount(list); ++i) {
        records->push_back(RecordOf(
            static_cast<PXColorProfileDesc>(const_cast<void*>(CFArrayGetValueAtIndex(list, i)))));
    }
    return Done();
}

// A field of the header as Little CMS writes it back.
Record RecordOf(const ProfileOwner& profile)
{
    constexpr size_t kHeaderBytes = 128, kVersionAt = 8, kClassAt = 12, kSpaceAt = 20;
    const std::vector<uint8_t> icc = BytesOf(profile);
    const auto signatureAt = [&icc](size_t at) {
        return static_cast<uint32_t>(icc[at] << 24 | icc[at + 1] << 16 | icc[at + 2] << 8 |
                                     icc[at + 3]);
    };
    const auto name = CFRef<CFStringRef>::Adopt(PXColorProfileGetDisplayNameCopy(profile.Get()));
    Record record = {{"name", UTF8Of(name.Get())},
                     {"file", UTF8Of(PXColorProfileGetICCName(profile.Get()))}};
    const uint32_t standard = PXColorProfileGetStandard(profile.Get());
    if (standard > kPXColorStandardOther) record.push_back({"standard", Four(standard)});
    if (icc.size() < kHeaderBytes) return record;
    record.push_back({"model", ModelName(PXColorProfileGetColorSpaceType(profile.Get()))});
    record.push_back({"type", TypeName(signatureAt(kClassAt))});
    record.push_back({"connects by", Four(signatureAt(kSpaceAt))});
    record.push_back({"version", std::to_string(icc[kVersionAt]) + '.' +
                                     std::to_string(icc[kVersionAt + 1] >> 4)});
    record.push_back({"bytes", std::to_string(icc.size())});
    return record;
}

Failure ProfileCommand::List() const
{
    std::vector<Record> records;
    Failure failure = Done();
    if (printersOnly_) {
        failure = AddList(PXColorProfileGetPrinterProfilesCopy, &records);
    } else {
        failure = AddList(PXColorProfileGetUserProfilesCopy, &records);
        if (!failure && !importedOnly_) {
            failure = AddList(PXColorProfileGetICCProfilesCopy, &records);
        }
    }
    if (failure) return failure;
    return Print(isJSON_ ? JSONOf(records) : TableOf(records));
}

Failure ProfileCommand::Info() const
{
    ProfileOwner profile;
    if (Failure failure = OpenProfile(profile_, &profile)) return failure;
    return Tell(RecordOf(profile));
}

Failure ProfileCommand::Import() const
{
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(profile_, error);
    if (error) return CannotRead(profile_, error.message(), "give an absolute path");
    const std::string path = absolute.string();
    const auto url = CFRef<CFURLRef>::Adopt(CFURLCreateFromFileSystemRepresentation(
        nullptr, reinterpret_cast<const UInt8*>(path.data()), static_cast<CFIndex>(path.size()),
        false));
    PXColorProfileDesc desc = nullptr;
    const int status =
        url ? PXColorProfileImportUserColorProfile(url.Get(), &desc) : kPXErrBadArgument;
    if (status == kPXErrReservedName) {
        return {ExitCode::kInput, "'" + profile_ + "' has the name of a standard profile",
                "rename the file"};
    }
    if (status != kPXOK) {
        return CannotRead(profile_, "it could not be imported",
                          "it must be an RGB profile in a file *.icc or *.icm, and the user's "
                          "profile folder must be writable");
    }
    const Record record = RecordOf(desc);
    PXColorProfileDescRelease(desc);
    return Tell(record);
}

Failure ProfileCommand::Monitor() const
{
    constexpr const char* kSources[] = {"none", "set", "colour management", "display server"};
    PXColorProfileInitialize(nullptr);
    const PXMonitorSource source = PXColorProfileGetMonitorSource();
    Record record = {{"source", kSources[source]}};
    const ProfileOwner profile(PXColorProfileCreateStandard(kPXColorStandardDisplay));
    if (profile.Get()) {
        const Record rest = RecordOf(profile);
        record.insert(record.end(), rest.begin(), rest.end());
    }
    return Tell(record);
}

Failure ProfileCommand::Run()
{
    size_t action = 0;
    if (Failure failure = ChooseWord(action_, kActions, "action", Name(), &action)) return failure;
    const bool needsProfile = action == kInfo || action == kImport;
    if (needsProfile == profile_.empty()) {
        return UsageFailure("'" + action_ + (needsProfile ? "' needs" : "' takes no") + " PROFILE",
                            "", {}, Name());
    }
    if ((printersOnly_ || importedOnly_) && (action != kList || printersOnly_ == importedOnly_)) {
        return UsageFailure("--printers or --imported goes with 'list'", "", {}, Name());
    }
    switch (action) {
        case kList:
            return List();
        case kInfo:
            return Info();
        case kImport:
            return Import();
        default:
            return Monitor();
    }
}

}  // namespace

std::unique_ptr<Command> MakeProfileCommand()
{
    return std::make_unique<ProfileCommand>();
}

}  // namespace px::tool
