#include "pxtool/ListFile.h"

#include "CoreFoundation/CoreFoundation.h"
#include "pxtool/Files.h"
#include "pxtool/Values.h"

#include <vector>

namespace px::tool {

Failure ReadFileBytes(const std::string& path, CFRef<CFDataRef>* bytes)
{
    InputFile file;
    if (Failure failure = file.Open(path)) return failure;
    if (file.Size() > kMaxListBytes)
        return CannotRead(path, "it is larger than 64 MiB", "check that it is the right file");
    std::vector<UInt8> read(static_cast<size_t>(file.Size()));
    size_t got = 0;
    if (const int error = file.Read(read.data(), read.size(), &got))
        return CannotRead(path, os::TextOf(error), "check the disk");
    *bytes = CFRef<CFDataRef>::Adopt(
        CFDataCreate(kCFAllocatorDefault, read.data(), static_cast<CFIndex>(got)));
    return Done();
}

Failure ReadListFile(const std::string& path, CFRef<CFPropertyListRef>* list,
                     CFPropertyListFormat* format)
{
    CFRef<CFDataRef> bytes;
    if (Failure failure = ReadFileBytes(path, &bytes)) return failure;
    CFErrorRef error = nullptr;
    *list = CFRef<CFPropertyListRef>::Adopt(CFPropertyListCreateWithData(
        kCFAllocatorDefault, bytes.Get(), kCFPropertyListImmutable, format, &error));
    const auto owned = CFRef<CFErrorRef>::Adopt(error);
    if (*list) return Done();
    const auto reason = CFRef<CFStringRef>::Adopt(CFErrorCopyDescription(error));
    std::string text = UTF8Of(reason.Get());
    while (text.ends_with('.')) text.pop_back();
    return CannotRead(path, text, "check that it is a property list");
}

const char* ListFormatName(CFPropertyListFormat format)
{
    return format == kCFPropertyListXMLFormat_v1_0      ? "xml"
           : format == kCFPropertyListBinaryFormat_v1_0 ? "binary"
                                                        : "text";
}

Failure WriteFileBytes(const std::string& path, bool mayReplace, const void* bytes, size_t size)
{
    OutputFile file;
    if (Failure failure = file.Create(path, mayReplace)) return failure;
    if (const int error = file.Write(bytes, size)) return file.FailureFor(error);
    return file.Commit();
}

}  // namespace px::tool
