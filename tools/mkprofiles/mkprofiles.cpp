// mkprofiles FOLDER — makes the standard colour profiles from their published primaries, white
// points and transfer curves. Equal calls give equal bytes.

#include <lcms2.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Gammas as the 8.8 fixed-point numbers that a version 2 profile stores.
constexpr double kGamma18 = 461.0 / 256;  // 1.80078125
constexpr double kGamma22 = 563.0 / 256;  // 2.19921875

constexpr cmsCIExyY kD65 = {0.3127, 0.3290, 1.0};
constexpr cmsCIExyY kD50 = {0.3457, 0.3585, 1.0};
constexpr cmsCIExyYTRIPLE kAdobeRGBPrimaries = {
    {0.6400, 0.3300, 1.0}, {0.2100, 0.7100, 1.0}, {0.1500, 0.0600, 1.0}};
constexpr cmsCIExyYTRIPLE kReferenceOutputPrimaries = {
    {0.7347, 0.2653, 1.0}, {0.1596, 0.8404, 1.0}, {0.0366, 0.0001, 1.0}};

struct Recipe {
    const char* fileName;
    const wchar_t* description;
    const cmsCIExyY& whitePoint;
    const cmsCIExyYTRIPLE& primaries;
    double gamma;
    uint32_t deviceModel;  // 0: none
};

constexpr uint32_t kModelROMM = 0x524F4D4D;  // 'ROMM'

constexpr Recipe kRecipes[] = {
    {"AdobeRGB1998.icc", L"Adobe RGB (1998)", kD65, kAdobeRGBPrimaries, kGamma22, 0},
    {"ProPhoto.icm", L"ProPhoto RGB", kD50, kReferenceOutputPrimaries, kGamma18, kModelROMM},
    {"ProPhoto(2.2) RGB.icc", L"ProPhoto(2.2) RGB", kD50, kReferenceOutputPrimaries, kGamma22,
     kModelROMM},
};

// Little CMS writes the present time and the system it runs on; neither may show in the bytes.
constexpr size_t kDateAt = 24;
constexpr uint8_t kDate[12] = {0x07, 0xEA, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0};
constexpr size_t kPlatformAt = 40;

bool WriteText(cmsHPROFILE profile, cmsTagSignature tag, const wchar_t* text)
{
    cmsMLU* record = cmsMLUalloc(nullptr, 1);
    const bool isWritten =
        record && cmsMLUsetWide(record, "en", "US", text) && cmsWriteTag(profile, tag, record);
    cmsMLUfree(record);
    return isWritten;
}

std::vector<uint8_t> Save(cmsHPROFILE profile)
{
    cmsUInt32Number size = 0;
    if (!cmsSaveProfileToMem(profile, nullptr, &size)) return {};
    std::vector<uint8_t> bytes(size);
    if (!cmsSaveProfileToMem(profile, bytes.data(), &size)) return {};
    std::memcpy(bytes.data() + kDateAt, kDate, sizeof(kDate));
    std::memset(bytes.data() + kPlatformAt, 0, 4);
    return bytes;
}

std::vector<uint8_t> Make(const Recipe& recipe)
{
    cmsToneCurve* curve = cmsBuildGamma(nullptr, recipe.gamma);
    if (!curve) return {};
    cmsToneCurve* curves[3] = {curve, curve, curve};
    cmsHPROFILE profile = cmsCreateRGBProfile(&recipe.whitePoint, &recipe.primaries, curves);
    cmsFreeToneCurve(curve);
    if (!profile) return {};
    // Version 2.1 is what every reader of profiles takes.
    cmsSetProfileVersion(profile, 2.1);
    cmsSetHeaderModel(profile, recipe.deviceModel);
    std::vector<uint8_t> bytes;
    if (WriteText(profile, cmsSigProfileDescriptionTag, recipe.description) &&
        WriteText(profile, cmsSigCopyrightTag, L"No copyright, use freely")) {
        bytes = Save(profile);
    }
    cmsCloseProfile(profile);
    return bytes;
}

bool WriteFile(const std::string& path, const std::vector<uint8_t>& bytes)
{
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    const bool isWritten = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return std::fclose(file) == 0 && isWritten;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: mkprofiles FOLDER\n");
        return 2;
    }
    for (const Recipe& recipe : kRecipes) {
        const std::vector<uint8_t> bytes = Make(recipe);
        const std::string path = std::string(argv[1]) + "/" + recipe.fileName;
        if (bytes.empty() || !WriteFile(path, bytes)) {
            std::fprintf(stderr, "mkprofiles: cannot make %s\n", path.c_str());
            return 1;
        }
    }
    return 0;
}
