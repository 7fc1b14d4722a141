#include "pxtool/ProfileFacts.h"

#include "Base/Ref.h"

namespace px::tool {

namespace {

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

}  // namespace

Fields FactsOf(PXColorProfileDesc desc)
{
    return {{"name", UTF8Of(PXColorProfileDescGetDisplayName(desc))},
            {"model", ModelName(PXColorProfileDescGetColorSpaceType(desc))},
            {"type", TypeName(PXColorProfileDescGetType(desc))},
            {"path", UTF8Of(PXColorProfileGetPathFromDesc(desc))}};
}

// Fields of the header are read as Little CMS writes it back.
Fields FactsOf(const ProfileOwner& profile)
{
    constexpr size_t kHeaderBytes = 128, kVersionAt = 8, kClassAt = 12, kSpaceAt = 20;
    const std::vector<uint8_t> icc = BytesOf(profile);
    const auto signatureAt = [&icc](size_t at) {
        return static_cast<uint32_t>(icc[at] << 24 | icc[at + 1] << 16 | icc[at + 2] << 8 |
                                     icc[at + 3]);
    };
    const auto name = CFRef<CFStringRef>::Adopt(PXColorProfileGetDisplayNameCopy(profile.Get()));
    const uint32_t standard = PXColorProfileGetStandard(profile.Get());
    Fields facts = {
        {"name", UTF8Of(name.Get())},
        {"file", UTF8Of(PXColorProfileGetICCName(profile.Get()))},
        {"standard", standard > kPXColorStandardOther ? Value(Four(standard)) : Value()}};
    if (icc.size() < kHeaderBytes) return facts;
    facts.push_back({"model", ModelName(PXColorProfileGetColorSpaceType(profile.Get()))});
    facts.push_back({"type", TypeName(signatureAt(kClassAt))});
    facts.push_back({"connectsBy", Four(signatureAt(kSpaceAt))});
    facts.push_back({"version", std::to_string(icc[kVersionAt]) + '.' +
                                    std::to_string(icc[kVersionAt + 1] >> 4)});
    facts.push_back({"bytes", static_cast<int64_t>(icc.size())});
    return facts;
}

Fields MonitorFacts()
{
    constexpr const char* kSources[] = {"none", "set", "colour management", "display server"};
    PXColorProfileInitialize(nullptr);
    Fields facts = {{"source", kSources[PXColorProfileGetMonitorSource()]}};
    const auto profile = ProfileOwner::Adopt(PXColorProfileCreateStandard(kPXColorStandardDisplay));
    if (!profile.Get()) return facts;
    for (Field& field : FactsOf(profile)) facts.push_back(std::move(field));
    return facts;
}

}  // namespace px::tool
