// What a container grants: control groups of both versions, and the marks of known sandboxes.

#include "Base/Platform/Platform_linux_process.h"

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <vector>

namespace px::os {

namespace {

// A controller's folder of this process, and how far up its parents may be seen.
struct ControlGroup {
    std::string mount;
    std::string path;  // below the mount: "" or "/a/b"
};

bool HasWord(const std::string& list, const std::string& word)
{
    return ("," + list + ",").find("," + word + ",") != std::string::npos;
}

// The group's path as the hierarchy names it, from the lines "ID:CONTROLLERS:PATH".
bool FindPath(const std::string& groups, const char* controller, std::string* path)
{
    std::istringstream lines(groups);
    for (std::string line; std::getline(lines, line);) {
        const size_t first = line.find(':');
        const size_t second = line.find(':', first + 1);
        if (first == std::string::npos || second == std::string::npos) continue;
        const std::string controllers = line.substr(first + 1, second - first - 1);
        const bool isWanted = controller ? HasWord(controllers, controller) : controllers.empty();
        if (!isWanted) continue;
        *path = line.substr(second + 1);
        return true;
    }
    return false;
}

// The mount of a hierarchy: "ID PARENT DEVICE ROOT MOUNT OPTIONS… - TYPE SOURCE SUPEROPTIONS".
bool FindMount(const std::string& mounts, const char* controller, std::string* root,
               std::string* mount)
{
    std::istringstream lines(mounts);
    for (std::string line; std::getline(lines, line);) {
        const size_t dash = line.find(" - ");
        if (dash == std::string::npos) continue;
        std::istringstream left(line.substr(0, dash));
        std::istringstream right(line.substr(dash + 3));
        std::string skipped;
        std::string type;
        std::string options;
        left >> skipped >> skipped >> skipped >> *root >> *mount;
        right >> type >> skipped >> options;
        if (controller ? type == "cgroup" && HasWord(options, controller) : type == "cgroup2")
            return !mount->empty();
    }
    return false;
}

// `controller` null: the single hierarchy of version 2.
bool FindGroup(const char* controller, ControlGroup* group)
{
    std::string groups;
    std::string mounts;
    std::string path;
    std::string root;
    if (ReadSystemFile("/proc/self/cgroup", &groups) != 0 ||
        ReadSystemFile("/proc/self/mountinfo", &mounts) != 0 ||
        !FindPath(groups, controller, &path) ||
        !FindMount(mounts, controller, &root, &group->mount)) {
        return false;
    }
    // Inside a container only the part below the mounted root is there to be read.
    if (root == "/") {
        group->path = path;
    } else if (path.compare(0, root.size(), root) == 0) {
        group->path = path.substr(root.size());
    }
    while (!group->path.empty() && group->path.back() == '/') group->path.pop_back();
    return true;
}

// Asks the group and all its visible parents; the tightest limit counts. `limitOf` answers
// UINT64_MAX where there is none.
template <class LimitOf>
uint64_t Tightest(const ControlGroup& group, LimitOf limitOf)
{
    uint64_t least = UINT64_MAX;
    std::string path = group.path;
    for (;;) {
        least = std::min(least, limitOf(group.mount + path + "/"));
        if (path.empty()) return least;
        path.resize(std::min(path.rfind('/'), path.size() - 1));
    }
}

uint64_t NumberInFile(const std::string& path)
{
    uint64_t number = UINT64_MAX;
    NumberIn(FirstLineOf(path), &number);  // "max" is no number
    return number;
}

uint64_t Processors(uint64_t quota, uint64_t period)
{
    if (quota == UINT64_MAX || period == UINT64_MAX || period == 0) return UINT64_MAX;
    return std::max<uint64_t>(1, quota / period + (quota % period != 0));
}

uint64_t ProcessorsOfVersion2(const std::string& folder)
{
    const std::string line = FirstLineOf(folder + "cpu.max");
    uint64_t quota = UINT64_MAX;
    uint64_t period = UINT64_MAX;
    const size_t blank = line.find(' ');
    if (blank == std::string::npos || !NumberIn(line, &quota)) return UINT64_MAX;
    NumberIn(line.substr(blank + 1), &period);
    return Processors(quota, period);
}

}  // namespace

int ProcessorQuota(uint32_t* count)
{
    uint64_t least = UINT64_MAX;
    ControlGroup group;
    if (FindGroup(nullptr, &group)) least = Tightest(group, ProcessorsOfVersion2);
    ControlGroup old;
    if (FindGroup("cpu", &old)) {
        least = std::min(least, Tightest(old, [](const std::string& folder) {
                             return Processors(NumberInFile(folder + "cpu.cfs_quota_us"),
                                               NumberInFile(folder + "cpu.cfs_period_us"));
                         }));
    }
    if (least > UINT32_MAX) return ENOENT;
    *count = static_cast<uint32_t>(least);
    return 0;
}

int MemoryQuota(uint64_t* bytes)
{
    // Version 1 says "no limit" with the largest multiple of a page.
    constexpr uint64_t kNoLimit = uint64_t{1} << 62;
    uint64_t least = UINT64_MAX;
    ControlGroup group;
    if (FindGroup(nullptr, &group)) {
        least = Tightest(
            group, [](const std::string& folder) { return NumberInFile(folder + "memory.max"); });
    }
    ControlGroup old;
    if (FindGroup("memory", &old)) {
        least = std::min(least, Tightest(old, [](const std::string& folder) {
                             return NumberInFile(folder + "memory.limit_in_bytes");
                         }));
    }
    if (least >= kNoLimit) return ENOENT;
    *bytes = least;
    return 0;
}

bool IsSandboxed()
{
    for (const char* mark : {"/.flatpak-info", "/.dockerenv", "/run/.containerenv"}) {
        FileFacts facts;
        if (Os().factsOfPath(mark, &facts) == 0) return true;
    }
    for (const char* name : {"SNAP", "FLATPAK_ID", "container"}) {
        const char* value = Os().environment(name);
        if (value && *value) return true;
    }
    return false;
}

}  // namespace px::os
