#include "Base/Platform/Platform_linux_facts.h"

#include <linux/magic.h>
#include <sys/resource.h>
#include <sys/statfs.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace px::os {

namespace {

// Those that have no name in the system's header beside those that have.
constexpr uint64_t kXFS = 0x58465342;
constexpr uint64_t kZFS = 0x2FC12FC1;
constexpr uint64_t kExFAT = 0x2011BAB0;
constexpr uint64_t kNTFS3 = 0x7366746E;

constexpr struct {
    uint64_t magic;
    const char* name;
} kKinds[] = {
    {EXT4_SUPER_MAGIC, "ext4"},
    {BTRFS_SUPER_MAGIC, "btrfs"},
    {kXFS, "xfs"},
    {TMPFS_MAGIC, "tmpfs"},
    {OVERLAYFS_SUPER_MAGIC, "overlay"},
    {NFS_SUPER_MAGIC, "nfs"},
    {kZFS, "zfs"},
    {F2FS_SUPER_MAGIC, "f2fs"},
    {RAMFS_MAGIC, "ramfs"},
    {FUSE_SUPER_MAGIC, "fuse"},
    {MSDOS_SUPER_MAGIC, "vfat"},
    {kExFAT, "exfat"},
    {kNTFS3, "ntfs3"},
    {CIFS_SUPER_MAGIC, "cifs"},
    {SMB2_SUPER_MAGIC, "smb2"},
};

}  // namespace

int PeakMemory(uint64_t* bytes)
{
    rusage usage = {};
    if (getrusage(RUSAGE_SELF, &usage) < 0) return errno;
    *bytes = static_cast<uint64_t>(usage.ru_maxrss) * 1024;
    return 0;
}

int FactsOfVolume(const char* path, VolumeFacts* facts)
{
    struct statfs found = {};
    int result = 0;
    do {
        result = statfs(path, &found);
    } while (result < 0 && errno == EINTR);
    if (result < 0) return errno;
    const auto block = static_cast<uint64_t>(found.f_bsize);
    *facts = {};
    facts->freeBytes = static_cast<uint64_t>(found.f_bavail) * block;
    facts->totalBytes = static_cast<uint64_t>(found.f_blocks) * block;
    const uint64_t magic = static_cast<uint32_t>(found.f_type);
    std::snprintf(facts->kind, sizeof(facts->kind), "0x%llx",
                  static_cast<unsigned long long>(magic));
    for (const auto& each : kKinds) {
        if (each.magic == magic) std::snprintf(facts->kind, sizeof(facts->kind), "%s", each.name);
    }
    return 0;
}

}  // namespace px::os
