#include "PXCore/PresetArchive.h"

#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PresetFiles.h"
#include "PXCore/PresetNames.h"

#include <minizip/unzip.h>
#include <minizip/zip.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>

namespace px {

namespace {

constexpr size_t kMaxNameBytes = 600;  // a folder and a name
constexpr uint64_t kRatioFreeBytes = 64 << 10;
constexpr unsigned kEncrypted = 1;
constexpr unsigned kUTF8Names = 1 << 11;
constexpr uLong kFirstDay = (1U << 21) | (1U << 16);  // 1980-01-01, so that equal gives equal

// The archive as the file that minizip works on.
struct ArchiveMemory {
    const char* first = nullptr;  // what is read
    std::string written;
    uint64_t size = 0;
    uint64_t position = 0;
};

voidpf Open(voidpf opaque, const void*, int)
{
    return opaque;
}

uLong Read(voidpf, voidpf stream, void* buffer, uLong size)
{
    auto* memory = static_cast<ArchiveMemory*>(stream);
    const uint64_t left = memory->size - std::min(memory->position, memory->size);
    const uint64_t count = std::min<uint64_t>(size, left);
    const char* first = memory->first ? memory->first : memory->written.data();
    if (count) std::memcpy(buffer, first + memory->position, count);
    memory->position += count;
    return count;
}

uLong Write(voidpf, voidpf stream, const void* buffer, uLong size)
{
    auto* memory = static_cast<ArchiveMemory*>(stream);
    if (memory->position + size > memory->size) {
        memory->size = memory->position + size;
        memory->written.resize(memory->size);
    }
    std::memcpy(memory->written.data() + memory->position, buffer, size);
    memory->position += size;
    return size;
}

ZPOS64_T Tell(voidpf, voidpf stream)
{
    return static_cast<ArchiveMemory*>(stream)->position;
}

long Seek(voidpf, voidpf stream, ZPOS64_T offset, int origin)
{
    auto* memory = static_cast<ArchiveMemory*>(stream);
    uint64_t base = 0;
    if (origin == ZLIB_FILEFUNC_SEEK_CUR) base = memory->position;
    if (origin == ZLIB_FILEFUNC_SEEK_END) base = memory->size;
    const uint64_t target = base + offset;
    if (target > memory->size) return -1;
    memory->position = target;
    return 0;
}

int Close(voidpf, voidpf)
{
    return 0;
}

int Error(voidpf, voidpf)
{
    return 0;
}

zlib_filefunc64_def Functions(ArchiveMemory* memory)
{
    return {Open, Read, Write, Tell, Seek, Close, Error, memory};
}

struct UnzipCloser {
    void operator()(void* archive) const { unzClose(archive); }
};
using Unzip = std::unique_ptr<void, UnzipCloser>;

// What the directory of an archive tells about its entries, until something is wrong.
class Directory {
public:
    Directory(unzFile archive, const std::vector<std::string>& suffixes)
        : archive_(archive), suffixes_(suffixes)
    {
    }

    // Looks at the current entry. *isFolder: there is nothing in it to read.
    const char* Check(std::string* name, unz_file_info64* facts, bool* isFolder)
    {
        char path[kMaxNameBytes + 1] = "";
        if (unzGetCurrentFileInfo64(archive_, facts, path, kMaxNameBytes, nullptr, 0, nullptr, 0))
            return "it is damaged";
        if (facts->size_filename > kMaxNameBytes || std::strlen(path) != facts->size_filename)
            return "it holds a name that is too long or no text";
        if (++count_ > kMaxArchiveEntries) return "it has too many entries";
        if (const char* fault = CheckName(path, name, isFolder)) return fault;
        return CheckSize(*facts);
    }

private:
    const char* CheckName(const std::string& path, std::string* name, bool* isFolder)
    {
        const size_t slash = path.find('/');
        *isFolder = slash != std::string::npos && slash + 1 == path.size();
        *name = slash == std::string::npos ? path : path.substr(slash + 1);
        if (slash != std::string::npos && !IsGood(path.substr(0, slash)))
            return "it holds a folder with a name that is refused";
        if (*isFolder) return nullptr;
        if (!IsGood(*name)) return "it holds a name that is refused";
        if (std::none_of(suffixes_.begin(), suffixes_.end(), [&](const std::string& suffix) {
                return name->size() > suffix.size() && name->ends_with(suffix);
            }))
            return "it holds what is no preset of this module";
        return names_.insert(FoldedName(*name)).second ? nullptr : "it holds a name twice";
    }

    static bool IsGood(const std::string& name)
    {
        const CFRef<CFStringRef> text = StringOf(name);
        return text && !FaultOfNewName(text.Get(), 0);
    }

    const char* CheckSize(const unz_file_info64& facts)
    {
        if (facts.flag & kEncrypted) return "it is encrypted";
        const uint64_t size = facts.uncompressed_size;
        if (size > kMaxArchiveEntryBytes) return "it holds a file that is too large";
        if (size > kRatioFreeBytes && size / kMaxArchiveRatio > facts.compressed_size)
            return "it holds a file that is packed too well to be a preset";
        total_ += size;
        return total_ > kMaxArchiveBytes ? "it unpacks to too much" : nullptr;
    }

    unzFile archive_;
    const std::vector<std::string>& suffixes_;
    std::set<std::string> names_;
    size_t count_ = 0;
    uint64_t total_ = 0;
};

// Reads no byte more than the directory told, whatever the packed stream has.
bool Unpack(unzFile archive, uint64_t size, CFRef<CFDataRef>* bytes)
{
    if (unzOpenCurrentFile(archive) != UNZ_OK) return false;
    std::unique_ptr<UInt8, decltype(&free)> buffer(static_cast<UInt8*>(malloc(size + 1)), free);
    uint64_t total = 0;
    while (buffer && total <= size) {
        const int got = unzReadCurrentFile(archive, buffer.get() + total,
                                           static_cast<unsigned>(size + 1 - total));
        if (got <= 0) break;
        total += static_cast<uint64_t>(got);
    }
    // Closing tells whether the checksum is right.
    if (unzCloseCurrentFile(archive) != UNZ_OK || !buffer || total != size) return false;
    *bytes = CFRef<CFDataRef>::Adopt(
        CFDataCreate(kCFAllocatorDefault, buffer.get(), static_cast<CFIndex>(size)));
    return static_cast<bool>(*bytes);
}

// Calls `visit` for each entry until it finds fault.
template <class Visit>
const char* ForEachEntry(unzFile archive, Visit visit)
{
    int more = unzGoToFirstFile(archive);
    while (more == UNZ_OK) {
        if (const char* fault = visit()) return fault;
        more = unzGoToNextFile(archive);
    }
    return more == UNZ_END_OF_LIST_OF_FILE ? nullptr : "it is damaged";
}

}  // namespace

const char* ReadArchive(CFDataRef archive, const std::vector<std::string>& suffixes,
                        std::vector<ArchiveEntry>* entries)
{
    ArchiveMemory memory;
    memory.first = reinterpret_cast<const char*>(CFDataGetBytePtr(archive));
    memory.size = static_cast<uint64_t>(CFDataGetLength(archive));
    if (memory.size > kMaxArchiveBytes) return "it is too large";
    zlib_filefunc64_def functions = Functions(&memory);
    const Unzip unzip(unzOpen2_64("", &functions));
    if (!unzip) return "it is no zip archive";
    std::string name;
    unz_file_info64 facts;
    bool isFolder = false;
    Directory first(unzip.get(), suffixes);
    if (const char* fault =
            ForEachEntry(unzip.get(), [&] { return first.Check(&name, &facts, &isFolder); }))
        return fault;
    if (!entries) return nullptr;
    Directory second(unzip.get(), suffixes);
    std::vector<ArchiveEntry> read;
    const char* fault = ForEachEntry(unzip.get(), [&]() -> const char* {
        if (const char* changed = second.Check(&name, &facts, &isFolder)) return changed;
        if (isFolder) return nullptr;
        ArchiveEntry entry{name, {}};
        if (!Unpack(unzip.get(), facts.uncompressed_size, &entry.bytes)) return "it is damaged";
        read.push_back(std::move(entry));
        return nullptr;
    });
    if (!fault) entries->insert(entries->end(), read.begin(), read.end());
    return fault;
}

CFRef<CFDataRef> WriteArchive(const std::string& category, const std::vector<ArchiveEntry>& entries)
{
    ArchiveMemory memory;
    zlib_filefunc64_def functions = Functions(&memory);
    zipFile zip = zipOpen2_64("", APPEND_STATUS_CREATE, nullptr, &functions);
    bool isGood = zip != nullptr;
    zip_fileinfo facts = {};
    facts.dosDate = kFirstDay;
    for (const ArchiveEntry& entry : entries) {
        const std::string path = category + "/" + entry.name;
        isGood =
            isGood &&
            zipOpenNewFileInZip4_64(zip, path.c_str(), &facts, nullptr, 0, nullptr, 0, nullptr,
                                    Z_DEFLATED, Z_DEFAULT_COMPRESSION, 0, -MAX_WBITS, DEF_MEM_LEVEL,
                                    Z_DEFAULT_STRATEGY, nullptr, 0, 0, kUTF8Names, 0) == ZIP_OK &&
            zipWriteInFileInZip(zip, CFDataGetBytePtr(entry.bytes.Get()),
                                static_cast<unsigned>(CFDataGetLength(entry.bytes.Get()))) ==
                ZIP_OK &&
            zipCloseFileInZip(zip) == ZIP_OK;
    }
    isGood = zip && zipClose(zip, nullptr) == ZIP_OK && isGood;
    if (!isGood) return {};
    return CFRef<CFDataRef>::Adopt(
        CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(memory.written.data()),
                     static_cast<CFIndex>(memory.size)));
}

}  // namespace px
