#include "pxtool/Doctor.h"

#include "Base/PXFolders.h"
#include "Base/PXProcess.h"
#include "Base/PXServer.h"
#include "Base/Platform/Platform.h"
#include "Base/Ref.h"
#include "PXAccelerate/PXAccelerate.h"
#include "PXCore/PXImageCache.h"
#include "pxtool/Codec.h"
#include "pxtool/ListFile.h"
#include "pxtool/Messages.h"
#include "pxtool/Paths.h"
#include "pxtool/ProfileFacts.h"

#include <jpeglib.h>
#include <lcms2.h>
#include <png.h>
#include <tiffio.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace px::tool {

namespace {

namespace fs = std::filesystem;

constexpr uint64_t kLittleSpace = uint64_t{1} << 30;  // a few hundred tiles fill it

constexpr struct {
    PXCPUCapabilities bit;
    const char* name;
} kFeatures[] = {
    {kPXCPUSSE2, "SSE2"},         {kPXCPUSSSE3, "SSSE3"},       {kPXCPUSSE41, "SSE4.1"},
    {kPXCPUSSE42, "SSE4.2"},      {kPXCPUAVX, "AVX"},           {kPXCPUAVX2, "AVX2"},
    {kPXCPUFMA, "FMA"},           {kPXCPUBMI2, "BMI2"},         {kPXCPUAVX512F, "AVX512F"},
    {kPXCPUAVX512VL, "AVX512VL"}, {kPXCPUAVX512BW, "AVX512BW"}, {kPXCPUAVX512DQ, "AVX512DQ"},
};

// The value of an environment variable that holds an absolute path; else the other one.
std::string PathVariable(const char* name, const std::string& otherwise)
{
    const char* value = os::Os().environment(name);
    return value && value[0] == '/' ? value : otherwise;
}

std::string FirstLine(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

Fields Versions()
{
    const int lcms = cmsGetEncodedCMMversion();
    return {{"pxtool", PXTOOL_VERSION},
            {"compiler", __VERSION__},
            {"lcms", std::to_string(lcms / 1000) + '.' + std::to_string(lcms % 1000 / 10)},
            {"png", png_get_libpng_ver(nullptr)},
            {"jpeg",
             std::to_string(JPEG_LIB_VERSION / 10) + '.' + std::to_string(JPEG_LIB_VERSION % 10)},
            {"tiff", FirstLine(TIFFGetVersion())}};
}

Fields Processor()
{
    PXAccelerateInit();
    const PXCPUCapabilities capabilities = PXAccelerateCPUCapabilities();
    Values features;
    for (const auto& each : kFeatures) {
        if (capabilities & each.bit) features.emplace_back(each.name);
    }
    return {{"processors", static_cast<int64_t>(PXProcessGetNumProcessors())},
            {"usable", static_cast<int64_t>(PXProcessGetEffectiveProcessorCount())},
            {"features", std::move(features)},
            {"blitKernels", PXAccelerateGetKernelName(kPXAccelerateBlit)},
            {"resizeKernels", PXAccelerateGetKernelName(kPXAccelerateResize)},
            {"transformKernels", PXAccelerateGetKernelName(kPXAccelerateTransform)}};
}

Fields Memory()
{
    const auto physical = static_cast<int64_t>(PXProcessGetActualPhysicalMem());
    const auto limit = static_cast<int64_t>(PXProcessGetEffectiveMemLimit());
    return {{"physicalBytes", physical},
            {"limitBytes", limit},
            {"limitSource", limit < physical ? "container" : "machine"}};
}

// Whether a file can be made in a folder.
bool IsWritable(const std::string& folder)
{
    const std::string path =
        folder + "/.pxtool-doctor-" + std::to_string(os::Os().processId()) + ".tmp";
    os::File file = os::kNoFile;
    if (os::Os().openFile(path.c_str(), os::OpenMode::kCreateNew, &file)) return false;
    os::Os().closeFile(file);
    os::Os().removeFile(path.c_str());
    return true;
}

Fields Cache(Diagnosis* diagnosis)
{
    PXImageCacheStatistics statistics = {};
    PXImageGetCacheStatistics(&statistics);
    const std::string folder = CacheRoot();
    os::VolumeFacts volume;
    const bool isThere = os::Os().volumeFacts(folder.c_str(), &volume) == 0;
    const bool isWritable = isThere && IsWritable(folder);
    if (!isWritable) {
        diagnosis->problems.push_back("the cache folder '" + folder +
                                      "' takes no files: set TMPDIR to one that does");
    } else if (volume.freeBytes < kLittleSpace) {
        diagnosis->notes.push_back("the cache folder '" + folder +
                                   "' has less than 1 GiB left for large pictures");
    }
    if (std::string_view(volume.kind) == "tmpfs") {
        diagnosis->notes.push_back("the cache folder '" + folder +
                                   "' lies in memory, where tiles save none");
    }
    return {{"folder", folder},
            {"writable", isWritable},
            {"fileSystem", isThere ? Value(volume.kind) : Value()},
            {"freeBytes", static_cast<int64_t>(volume.freeBytes)},
            {"totalBytes", static_cast<int64_t>(volume.totalBytes)},
            {"limitBytes", statistics.limitBytes}};
}

int64_t CountProfiles(const std::string& folder)
{
    int64_t count = 0;
    std::error_code error;
    auto entry = fs::recursive_directory_iterator(folder, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        std::string ending = entry->path().extension().string();
        std::transform(ending.begin(), ending.end(), ending.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
        count += ending == ".icc" || ending == ".icm";
    }
    return count;
}

std::string Owned(CFURLRef url)
{
    return PathOf(CFRef<CFURLRef>::Adopt(url).Get());
}

std::vector<std::string> ProfileFolderList()
{
    const std::string home = PathVariable("HOME", "");
    std::vector<std::string> folders = {Owned(PXFoldersCopyInstalledData()) + "/Profiles",
                                        Owned(PXFoldersCopyUserData()) + "/Profiles"};
    const char* shared = os::Os().environment("XDG_DATA_DIRS");
    std::string list = shared && shared[0] ? shared : "/usr/local/share:/usr/share";
    while (!list.empty()) {
        const size_t end = std::min(list.find(':'), list.size());
        if (end > 0) folders.push_back(list.substr(0, end) + "/color/icc");
        list.erase(0, end + 1);
    }
    folders.push_back(PathVariable("XDG_DATA_HOME", home + "/.local/share") + "/icc");
    if (!home.empty()) folders.push_back(home + "/.color/icc");
    return folders;
}

Values Profiles(Diagnosis* diagnosis)
{
    Values list;
    for (const std::string& folder : ProfileFolderList()) {
        os::FileFacts facts;
        const bool isThere = os::Os().factsOfPath(folder.c_str(), &facts) == 0 && facts.isFolder;
        list.emplace_back(Fields{{"folder", folder},
                                 {"exists", isThere},
                                 {"profiles", isThere ? CountProfiles(folder) : 0}});
    }
    for (const char* name : {"srgb", "adobergb", "prophoto", "prophoto22"}) {
        ProfileOwner profile;
        if (const Failure failure = OpenProfile(name, &profile)) {
            diagnosis->problems.push_back(failure.text);
        }
    }
    return list;
}

Values Servers()
{
    Values list;
    std::error_code error;
    for (fs::directory_iterator entry(Owned(PXFoldersCopyUserData()), error), end;
         !error && entry != end; entry.increment(error)) {
        const std::string product = entry->path().filename().string();
        int32_t port = 0;
        int32_t process = 0;
        if (PXUtilsReadServerData(StringFrom(product).Get(), &port, &process) != kPXOK) continue;
        list.emplace_back(Fields{{"product", product}, {"port", port}, {"process", process}});
    }
    return list;
}

Fields Limits()
{
    PXServerSettings server = {};
    PXServerSettingsGetDefault(&server);
    return {{"pictureBytes", static_cast<int64_t>(os::Os().physicalMemory() / 2)},
            {"profileBytes", static_cast<int64_t>(kMaxICCBytes)},
            {"listBytes", kMaxListBytes},
            {"messageBytes", static_cast<int64_t>(server.limits.bodyBytes)},
            {"headerBytes", static_cast<int64_t>(server.limits.headerBytes)}};
}

}  // namespace

std::string CacheRoot()
{
    return PathVariable("TMPDIR", "/var/tmp");
}

Diagnosis Diagnose()
{
    Diagnosis found;
    found.facts = {{"versions", Versions()},    {"processor", Processor()},
                   {"memory", Memory()},        {"cache", Cache(&found)},
                   {"monitor", MonitorFacts()}, {"profileFolders", Profiles(&found)},
                   {"servers", Servers()},      {"limits", Limits()}};
    return found;
}

}  // namespace px::tool
