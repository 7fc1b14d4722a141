// The file that tells clients where a server is.

#include "Base/PXServer.h"

#include "Base/Folders.h"
#include "Base/Platform/Platform.h"
#include "Base/Ref.h"
#include "Base/Status.h"
#include "Base/UTF8Text.h"
#include "PXCore/PXUtils.h"

#include <cerrno>
#include <string>

namespace {

constexpr char kEventSource[] = "PXServerData";

using px::os::Os;

constexpr char kFileName[] = "ServerData.plist";
// Far more than two numbers take.
constexpr int64_t kMostBytes = 64 << 10;
constexpr uint32_t kWritableByOthers = 0022;

// The product's folder; empty when the name is not one file name.
std::string FolderOf(CFStringRef productName)
{
    const std::string name = px::UTF8Of(productName);
    const bool isPlain = !name.empty() && name != "." && name != ".." &&
                         name.find_first_of("/\\") == std::string::npos &&
                         name.find('\0') == std::string::npos;
    const std::string folder = px::UserDataFolder();
    return isPlain && !folder.empty() ? folder + "/" + name : "";
}

CFRef<CFDataRef> XMLFor(int32_t port)
{
    const auto list = CFRef<CFMutableDictionaryRef>::Adopt(PXUtilsCFDictionaryCreateMutable2());
    PXUtilsCFDictionarySetValueInt(list.Get(), CFSTR("listen_port"), port);
    PXUtilsCFDictionarySetValueInt(list.Get(), CFSTR("pid"), static_cast<int>(Os().processId()));
    return CFRef<CFDataRef>::Adopt(PXUtilsCreateXMLData(nullptr, list.Get()));
}

int WriteNewFile(const std::string& path, CFDataRef bytes)
{
    px::os::File file = px::os::kNoFile;
    Os().removeFile(path.c_str());  // what a process of the same id may have left
    if (const int error = Os().openFile(path.c_str(), px::os::OpenMode::kCreateNew, &file))
        return error;
    int error = px::os::WriteAll(file, CFDataGetBytePtr(bytes),
                                 static_cast<size_t>(CFDataGetLength(bytes)));
    const int closeError = Os().closeFile(file);
    return error ? error : closeError;
}

int WriteInPlace(const std::string& folder, CFDataRef bytes)
{
    if (const int error = px::MakeFolders(folder)) return error;
    const std::string path = folder + "/" + kFileName;
    const std::string beside = path + "." + std::to_string(Os().processId());
    int error = WriteNewFile(beside, bytes);
    if (!error) error = Os().renameFile(beside.c_str(), path.c_str());
    if (error) Os().removeFile(beside.c_str());
    return error;
}

int ReadTrusted(px::os::File file, std::string* text)
{
    px::os::EntryFacts facts;
    if (const int error = Os().factsOfEntry(file, &facts)) return error;
    if (!facts.isOurs || !facts.file.isRegular || (facts.file.permissions & kWritableByOthers)) {
        return EPERM;
    }
    if (facts.file.size > kMostBytes) return EFBIG;
    text->resize(static_cast<size_t>(facts.file.size));
    return px::os::ReadAllAt(file, text->data(), text->size(), 0);
}

int ReadFrom(const std::string& folder, std::string* text)
{
    px::os::File opened = px::os::kNoFile;
    if (const int error = Os().openFolder(folder.c_str(), &opened)) return error;
    px::os::File file = px::os::kNoFile;
    int error = Os().openFileAt(opened, kFileName, px::os::EntryMode::kRead, &file);
    if (!error) {
        error = ReadTrusted(file, text);
        Os().closeFile(file);
    }
    Os().closeFile(opened);
    return error;
}

}  // namespace

PXStatus PXUtilsWriteServerData(CFStringRef productName, int32_t port) noexcept
{
    const std::string folder = productName ? FolderOf(productName) : "";
    PX_REQUIRE(!folder.empty());
    const auto bytes = XMLFor(port);
    const int error = bytes ? WriteInPlace(folder, bytes.Get()) : ENOMEM;
    if (error) PXLogWithParams(1, nullptr, error, CFSTR("PXUtilsWriteServerData failed"));
    return static_cast<PXStatus>(error);
}

PXStatus PXUtilsReadServerData(CFStringRef productName, int32_t* outPort,
                               int32_t* outProcessId) noexcept
{
    PX_REQUIRE(outPort && outProcessId);
    *outPort = *outProcessId = 0;
    const std::string folder = productName ? FolderOf(productName) : "";
    PX_REQUIRE(!folder.empty());
    std::string text;
    if (const int error = ReadFrom(folder, &text)) {
        // No file is how clients that wait for a server learn that there is none yet.
        if (error != ENOENT)
            PXLogWithParams(1, nullptr, error, CFSTR("PXUtilsReadServerData failed"));
        return static_cast<PXStatus>(error);
    }
    const auto data = CFRef<CFDataRef>::Adopt(CFDataCreate(
        nullptr, reinterpret_cast<const UInt8*>(text.data()), static_cast<CFIndex>(text.size())));
    const auto list = CFRef<CFMutableDictionaryRef>::Adopt(
        PXUtilsCreateDictionaryFromXMLData(nullptr, data.Get(), kCFPropertyListImmutable, nullptr));
    if (!list) return kPXErrListRead;
    const int32_t port =
        PXUtilsCFValueGetInt(CFDictionaryGetValue(list.Get(), CFSTR("listen_port")));
    const int32_t processId = PXUtilsCFValueGetInt(CFDictionaryGetValue(list.Get(), CFSTR("pid")));
    if (processId > 0 && !Os().isProcessRunning(static_cast<uint32_t>(processId))) return ESRCH;
    *outPort = port;
    *outProcessId = processId;
    return kPXOK;
}

PXStatus PXUtilsDeleteServerData(CFStringRef productName) noexcept
{
    const std::string folder = productName ? FolderOf(productName) : "";
    PX_REQUIRE(!folder.empty());
    const int error = Os().removeFile((folder + "/" + kFileName).c_str());
    if (error == 0 || error == ENOENT) return kPXOK;
    PXLogWithParams(1, nullptr, error, CFSTR("PXUtilsDeleteServerData failed"));
    return static_cast<PXStatus>(error);
}
