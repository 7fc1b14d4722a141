#include "Base/PXProcess.h"
#include "support/CF.h"
#include "support/FakePlatform.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>

namespace {

namespace fs = std::filesystem;
using px::os::Os;
using px::test::FakeTable;
using px::test::Owned;

class Process : public testing::Test {
protected:
    Process()
        : root_(fs::temp_directory_path() / ("px_process_" + std::to_string(Os().processId())))
    {
        fs::create_directories(root_);
    }
    ~Process() override { fs::remove_all(root_); }

    fs::path root_;
};

bool Holds(CFSetRef ids, int64_t id)
{
    return CFSetContainsValue(ids, px::test::Number(id));
}

TEST_F(Process, ListsTheFirst2048ProcessesAndNothingElse)
{
    EXPECT_TRUE(Holds(Owned<CFSetRef>(PXProcessGetPIDSCopy()), Os().processId()));

    FakeTable fake;
    static bool fails;
    fake->listFolder = [](const char*, px::os::FolderVisitor visit, void* context) {
        for (const char* other : {"self", "12x", "", "99999999999999999999", "4294967295"})
            EXPECT_TRUE(visit(other, context));
        for (int id = 1; id <= 3000; ++id)
            if (!visit(std::to_string(id).c_str(), context)) break;
        return fails ? EIO : 0;
    };
    fails = false;
    const Owned<CFSetRef> ids(PXProcessGetPIDSCopy());
    EXPECT_EQ(2048, CFSetGetCount(ids));
    EXPECT_TRUE(Holds(ids, 1) && Holds(ids, 2048) && !Holds(ids, 2049));
    fails = true;
    EXPECT_EQ(0, CFSetGetCount(Owned<CFSetRef>(PXProcessGetPIDSCopy())));
}

// What the machine and its container grant, from the text of the system's files.
TEST_F(Process, ReadsMemoryProcessorsAndLimits)
{
    const uint64_t total = PXProcessGetActualPhysicalMem();
    EXPECT_GT(total, uint64_t{64} << 20);
    EXPECT_LT(PXProcessGetPhysicalMem(), total);
    EXPECT_GT(PXProcessGetAvailableMem(), total);
    EXPECT_LE(PXProcessGetNumPhysicalProcessors(), PXProcessGetNumProcessors());

    px::test::FakeSystemFiles fake(root_);
    fake->physicalMemory = [] { return uint64_t{8} << 30; };
    fake->processorCount = [] { return 6U; };
    // Nothing can be read: the kernel counts as nothing, one core, no limits.
    EXPECT_EQ(uint64_t{8} << 30, PXProcessGetPhysicalMem());
    EXPECT_EQ(0U, PXProcessGetAvailableMem());
    EXPECT_EQ(1U, PXProcessGetNumPhysicalProcessors());
    EXPECT_EQ(6U, PXProcessGetEffectiveProcessorCount());
    EXPECT_EQ(uint64_t{8} << 30, PXProcessGetEffectiveMemLimit());

    fake.Write("/proc/meminfo",
               "MemTotal: 8388608 kB\nMemAvailable:  2048 kB\nSlab:  300 kB\n"
               "SReclaimable: 200 kB\nKernelStack: 20 kB\nPageTables: 4 kB\n");
    EXPECT_EQ((uint64_t{8} << 30) - 324 * 1024, PXProcessGetPhysicalMem());
    EXPECT_EQ(uint64_t{2048} * 1024, PXProcessGetAvailableMem());
    fake.Write("/proc/self/statm", "1 1 1\n");
    EXPECT_GT(PXProcessGetAvailableMem(), uint64_t{1} << 40);
    for (int cpu = 0; cpu < 4; ++cpu) {
        fake.Write("/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/topology/" +
                       (cpu < 2 ? "core_cpus_list" : "thread_siblings_list"),
                   cpu % 2 ? "1,3\n" : "0,2\n");
    }
    fake.Write("/sys/devices/system/cpu/cpufreq/topology/core_cpus_list", "7\n");
    EXPECT_EQ(2U, PXProcessGetNumPhysicalProcessors());
}

TEST_F(Process, HonoursTheLimitsOfContainers)
{
    const std::string v2 = "30 1 0:26 / /sys/fs/cgroup rw,nosuid shared:4 - cgroup2 cgroup2 rw\n";
    const std::string v1 =
        "31 1 0:27 /docker/ab /sys/fs/cgroup/memory rw - cgroup cgroup rw,memory\n"
        "32 1 0:28 / /sys/fs/cgroup/cpu rw - cgroup cgroup rw,cpu,cpuacct\n";
    const struct {
        const char* name;
        std::string groups;
        std::string mounts;
        std::vector<std::pair<const char*, const char*>> files;
        uint64_t memory;
        uint32_t processors;
    } rows[] = {
        {"no group", "", v2, {{"/memory.max", "5"}}, uint64_t{1} << 33, 6},
        {"no mount", "0::/a\n", "", {{"/a/memory.max", "5"}}, uint64_t{1} << 33, 6},
        {"no limit",
         "0::/a\n",
         v2,
         {{"/a/memory.max", "max\n"}, {"/a/cpu.max", "max 100000\n"}},
         uint64_t{1} << 33,
         6},
        {"own group",
         "0::/a\n",
         v2,
         {{"/a/memory.max", "1048576\n"}, {"/a/cpu.max", "250000 100000\n"}},
         1048576,
         3},
        {"a parent's is tighter",
         "1:net:/x\n0::/a/b\n",
         v2,
         {{"/a/memory.max", "4096\n"}, {"/a/b/memory.max", "8192\n"}, {"/cpu.max", "1 100000\n"}},
         4096,
         1},
        {"more than the machine has",
         "0::/\n",
         v2,
         {{"/memory.max", "99999999999999\n"}, {"/cpu.max", "9000000 100000\n"}},
         uint64_t{1} << 33,
         6},
        {"period of zero", "0::/\n", v2, {{"/cpu.max", "100000 0\n"}}, uint64_t{1} << 33, 6},
        {"version 1 below the mounted root",
         "4:memory:/docker/ab\n3:cpu,cpuacct:/c\n",
         v1,
         {{"/memory/memory.limit_in_bytes", "65536\n"},
          {"/cpu/c/cpu.cfs_quota_us", "200000\n"},
          {"/cpu/c/cpu.cfs_period_us", "100000\n"}},
         65536,
         2},
        {"version 1 without limits",
         "4:memory:/docker/ab\n3:cpu,cpuacct:/\n",
         v1,
         {{"/memory/memory.limit_in_bytes", "9223372036854771712\n"},
          {"/cpu/cpu.cfs_quota_us", "-1\n"},
          {"/cpu/cpu.cfs_period_us", "100000\n"}},
         uint64_t{1} << 33,
         6},
    };
    px::test::FakeSystemFiles fake(root_);
    fake->physicalMemory = [] { return uint64_t{1} << 33; };
    fake->processorCount = [] { return 6U; };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        fs::remove_all(root_);
        fake.Write("/proc/self/cgroup", row.groups);
        fake.Write("/proc/self/mountinfo", row.mounts);
        for (const auto& [path, text] : row.files)
            fake.Write("/sys/fs/cgroup" + std::string(path), text);
        EXPECT_EQ(row.memory, PXProcessGetEffectiveMemLimit());
        EXPECT_EQ(row.processors, PXProcessGetEffectiveProcessorCount());
    }
}

TEST(ProcessThreads, EveryThreadHasItsOwnId)
{
    const uint32_t mine = PXProcessGetCurrentThreadID();
    EXPECT_EQ(mine, PXThreadGetCurrentThreadID());
    EXPECT_NE(0U, mine);
    std::thread([mine] { EXPECT_NE(mine, PXProcessGetCurrentThreadID()); }).join();
}

}  // namespace
