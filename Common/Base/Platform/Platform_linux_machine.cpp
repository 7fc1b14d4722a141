// Processors, memory and model of the machine, from /proc and /sys.

#include "Base/Platform/Platform_linux_process.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <set>

namespace px::os {

namespace {

constexpr size_t kMostBytes = 1 << 20;
constexpr char kProcessorFolder[] = "/sys/devices/system/cpu";
// What a process of x86-64 and of 64-bit Arm may map.
constexpr uint64_t kUserAddressSpace = uint64_t{1} << 47;

// "Name:   123 kB" of /proc/meminfo, in bytes; 0 when it is missing.
uint64_t MemoryLine(const std::string& text, const char* name)
{
    const std::string key = std::string("\n") + name + ":";
    const size_t at = ("\n" + text).find(key);
    if (at == std::string::npos) return 0;
    const size_t digits = text.find_first_not_of(' ', at + key.size() - 1);
    uint64_t kibibytes = 0;
    if (digits == std::string::npos || !NumberIn(text.substr(digits), &kibibytes)) return 0;
    return kibibytes > UINT64_MAX / 1024 ? 0 : kibibytes * 1024;
}

}  // namespace

int ReadSystemFile(const std::string& path, std::string* text)
{
    File file = kNoFile;
    if (const int error = Os().openFile(path.c_str(), OpenMode::kRead, &file)) return error;
    text->clear();
    int error = 0;
    size_t got = 0;
    do {
        char piece[4096];
        error = Os().readFile(file, piece, sizeof(piece), &got);
        if (!error) text->append(piece, got);
    } while (!error && got > 0 && text->size() < kMostBytes);
    Os().closeFile(file);
    return error;
}

std::string FirstLineOf(const std::string& path)
{
    std::string text;
    if (ReadSystemFile(path, &text) != 0) return "";
    text.resize(std::min(text.find('\n'), text.size()));
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool NumberIn(const std::string& text, uint64_t* number)
{
    uint64_t found = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), found);
    if (result.ec != std::errc()) return false;
    *number = found;
    return true;
}

uint32_t OnlineProcessorCount()
{
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? static_cast<uint32_t>(online) : 1;
}

int CoreCount(uint32_t* count)
{
    // Processors that share a core name the same list of them.
    std::set<std::string> cores;
    const int error = Os().listFolder(
        kProcessorFolder,
        [](const char* name, void* context) {
            uint64_t number = 0;
            if (std::strncmp(name, "cpu", 3) != 0 || !NumberIn(name + 3, &number)) return true;
            const std::string topology = std::string(kProcessorFolder) + "/" + name + "/topology/";
            std::string siblings = FirstLineOf(topology + "core_cpus_list");
            if (siblings.empty()) siblings = FirstLineOf(topology + "thread_siblings_list");
            if (!siblings.empty()) static_cast<std::set<std::string>*>(context)->insert(siblings);
            return true;
        },
        &cores);
    if (error) return error;
    if (cores.empty()) return ENOENT;
    *count = static_cast<uint32_t>(cores.size());
    return 0;
}

int ReadMemoryFacts(MemoryFacts* facts)
{
    std::string text;
    if (const int error = ReadSystemFile("/proc/meminfo", &text)) return error;
    MemoryFacts found;
    found.physical = MemoryLine(text, "MemTotal");
    found.available = MemoryLine(text, "MemAvailable");
    // The slab is the pool (its reclaimable half the paged one); stacks and page tables stay put.
    found.kernel =
        MemoryLine(text, "Slab") + MemoryLine(text, "KernelStack") + MemoryLine(text, "PageTables");
    if (found.physical == 0) return EIO;
    *facts = found;
    return 0;
}

int AvailableAddressSpace(uint64_t* bytes)
{
    uint64_t usedPages = 0;
    if (!NumberIn(FirstLineOf("/proc/self/statm"), &usedPages)) return EIO;
    uint64_t total = kUserAddressSpace;
    rlimit limit = {};
    if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY)
        total = std::min<uint64_t>(total, limit.rlim_cur);
    const auto pageSize = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    const uint64_t used = usedPages > total / pageSize ? total : usedPages * pageSize;
    *bytes = total - used;
    return 0;
}

int MachineModel(char* buffer, size_t size)
{
    const std::string maker = FirstLineOf("/sys/class/dmi/id/sys_vendor");
    std::string model = FirstLineOf("/sys/class/dmi/id/product_name");
    if (model.empty()) {
        // Boards without firmware tables describe themselves here, with a zero at the end.
        model = FirstLineOf("/proc/device-tree/model").c_str();
    } else if (!maker.empty() && model.compare(0, maker.size(), maker) != 0) {
        model = maker + " " + model;
    }
    if (model.empty()) return ENOENT;
    if (model.size() >= size) return ERANGE;
    std::memcpy(buffer, model.c_str(), model.size() + 1);
    return 0;
}

}  // namespace px::os
