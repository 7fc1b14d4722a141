#include "pxtool/Profiles.h"

#include "Base/Platform/Platform.h"
#include "Base/Ref.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <numeric>
#include <system_error>

namespace px::tool {

namespace {

struct ShortName {
    std::string_view name;
    uint32_t signature;
};

constexpr ShortName kShortNames[] = {
    {"srgb", kPXColorStandardSRGB},
    {"adobergb", kPXColorStandardAdobeRGB1998},
    {"prophoto", kPXColorStandardProPhoto},
    {"prophoto22", kPXColorStandardProPhoto22},
};

// What may be meant by a mistyped name. The library knows more spellings than are worth suggesting.
constexpr std::string_view kSuggestions[] = {
    "srgb",         "adobergb",     "prophoto",          "prophoto22",       "AdobeRGB1998.icc",
    "ProPhoto.icm", "ProPhoto RGB", "ProPhoto(2.2) RGB", "Adobe RGB (1998)", "sRGB IEC61966-2.1"};

CFRef<CFStringRef> StringOf(const std::string& text)
{
    return CFRef<CFStringRef>::Adopt(
        CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8));
}

char ToLower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EqualsIgnoringCase(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return ToLower(x) == ToLower(y); });
}

// Insertions, removals and exchanges of letters between two words.
size_t EditDistance(std::string_view a, std::string_view b)
{
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i + 1;
        for (size_t j = 0; j < b.size(); ++j) {
            const size_t replaced = diagonal + (ToLower(a[i]) == ToLower(b[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, row[j + 1] + 1, replaced});
        }
    }
    return row.back();
}

// The signature of a standard name, 0 when it is none.
uint32_t StandardOf(const std::string& name, CFStringRef text)
{
    for (const ShortName& row : kShortNames) {
        if (EqualsIgnoringCase(name, row.name)) return row.signature;
    }
    const uint32_t signature = PXColorProfileGetStandardFromName(text);
    return signature == kPXColorStandardOther ? 0 : signature;
}

Failure UnknownName(const std::string& name)
{
    const std::string_view nearest = Nearest(name, kSuggestions);
    return {ExitCode::kUsage, "there is no profile '" + name + "'",
            nearest.empty() ? "see pxtool profile list, or give the path of an ICC file"
                            : "did you mean '" + std::string(nearest) + "'?"};
}

Failure NotAProfile(const std::string& name)
{
    return CannotRead(name, "it is not a valid ICC profile",
                      "use srgb, adobergb, prophoto, prophoto22, or the path of an ICC file");
}

// A path is looked at first, so that the reason can be told.
Failure OpenFile(const std::string& name, ProfileOwner* profile)
{
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(name, error);
    if (error) return CannotRead(name, os::TextOf(error.value()), "give an absolute path");
    const CFRef<CFStringRef> path = StringOf(absolute.string());
    // CoreFoundation strings hold no bytes outside UTF-8.
    if (!path) return CannotRead(name, "its name is not UTF-8", "rename it");
    os::File file = os::kNoFile;
    if (const int status = os::Os().openFile(name.c_str(), os::OpenMode::kRead, &file)) {
        return CannotRead(name, os::TextOf(status), "check the path of the profile");
    }
    // Opening tells nothing of a failing disk.
    char first = 0;
    size_t got = 0;
    const int status = os::Os().readFile(file, &first, 1, &got);
    os::Os().closeFile(file);
    if (status) return CannotRead(name, os::TextOf(status), "check the disk");
    *profile = ProfileOwner::Adopt(PXColorProfileCreateFromDisk(path.Get()));
    return profile->Get() ? Done() : NotAProfile(name);
}

}  // namespace

std::string_view Nearest(std::string_view word, std::span<const std::string_view> candidates)
{
    constexpr size_t kMaxWord = 64;
    std::string_view nearest;
    if (word.size() > kMaxWord) return nearest;
    // A third of the letters, or two that changed places: another word of the length is not near.
    size_t best = std::max<size_t>(word.size() / 3, 2) + 1;
    for (const std::string_view candidate : candidates) {
        const size_t distance = EditDistance(word, candidate);
        if (distance < best) {
            best = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

Failure OpenProfile(const std::string& name, ProfileOwner* profile)
{
    const CFRef<CFStringRef> text = StringOf(name);
    if (const uint32_t signature = text ? StandardOf(name, text.Get()) : 0) {
        *profile = ProfileOwner::Adopt(PXColorProfileCreateStandard(signature));
        if (profile->Get()) return Done();
        // Missing, unreadable or damaged: the library keeps the reason to itself.
        return {ExitCode::kResources, "the standard profile '" + name + "' could not be loaded",
                "check the tool's share folder and the disk, or give the path of an ICC file"};
    }
    os::FileFacts facts;
    const int missing = os::Os().factsOfPath(name.c_str(), &facts);
    const bool isPath = name.find('/') != std::string::npos;
    if (!missing && !facts.isRegular) {
        return CannotRead(name, facts.isFolder ? os::TextOf(EISDIR) : "it is not a regular file",
                          "give the path of an ICC file");
    }
    if (!missing || isPath) return OpenFile(name, profile);
    if (!text || name.empty()) return UnknownName(name);
    *profile = ProfileOwner::Adopt(PXColorProfileCreateFromDisk(text.Get()));
    return profile->Get() ? Done() : UnknownName(name);
}

Failure OpenEmbeddedProfile(const std::string& path, std::span<const uint8_t> icc,
                            ProfileOwner* profile)
{
    const auto bytes = CFRef<CFDataRef>::Adopt(
        CFDataCreate(nullptr, icc.data(), static_cast<CFIndex>(icc.size())));
    *profile = ProfileOwner::Adopt(PXColorProfileCreate());
    if (!bytes || !profile->Get()) return OutOfMemory(path);
    if (PXColorProfileSetICCData(profile->Get(), bytes.Get()) == kPXOK) return Done();
    return CannotRead(path, "its embedded profile is damaged", "name its profile with --from");
}

Failure OpenSRGB(ProfileOwner* profile)
{
    *profile = ProfileOwner::Adopt(PXColorProfileCreateStandard(kPXColorStandardSRGB));
    if (profile->Get()) return Done();
    return {ExitCode::kResources, "the built-in sRGB profile could not be made",
            "close other programs"};
}

std::vector<uint8_t> BytesOf(const ProfileOwner& profile)
{
    const auto data = CFRef<CFDataRef>::Adopt(PXColorProfileCreateICCData(profile.Get()));
    if (!data) return {};
    const UInt8* bytes = CFDataGetBytePtr(data.Get());
    return {bytes, bytes + CFDataGetLength(data.Get())};
}

const char* ModelName(PXColorSpaceType model)
{
    switch (model) {
        case kPXColorSpaceGrey:
            return "grey";
        case kPXColorSpaceRGB:
            return "RGB";
        case kPXColorSpaceCMYK:
            return "CMYK";
        default:
            return "other";
    }
}

}  // namespace px::tool
