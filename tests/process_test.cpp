#include "Base/PXProcess.h"
#include "Base/PXThread.h"
#include "Base/ProcessVersion.h"
#include "Base/ProcessWatcher.h"
#include "Base/UTF8Text.h"
#include "support/FakePlatform.h"
#include "support/Gate.h"
#include "support/TempFolder.h"
#include "support/Test.h"

#include <csignal>

namespace {

namespace fs = std::filesystem;
using px::os::Os;
using namespace px::test;

class Process : public TempFolder {};

TEST_F(Process, ListsTheFirst2048ProcessesAndNothingElse)
{
    const auto isListed = [](int64_t id) {
        return CFSetContainsValue(Owned<CFSetRef>(PXProcessGetPIDSCopy()), Number(id));
    };
    EXPECT_TRUE(isListed(Os().processId()));

    FakeTable fake;
    static int error;
    error = 0;
    fake->listFolder = [](const char*, px::os::FolderVisitor visit, void* context) {
        for (const char* other : {"self", "12x", "", "99999999999999999999", "4294967295"})
            EXPECT_TRUE(visit(other, context));
        for (int id = 1; id <= 3000; ++id)
            if (!visit(std::to_string(id).c_str(), context)) break;
        return error;
    };
    EXPECT_EQ(2048, CFSetGetCount(Owned<CFSetRef>(PXProcessGetPIDSCopy())));
    EXPECT_TRUE(isListed(1) && isListed(2048));
    error = EIO;
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

    FakeSystemFiles fake(root_);
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
    for (int cpu = 0; cpu < 4; ++cpu)
        fake.Write("/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/topology/" +
                       (cpu < 2 ? "core_cpus_list" : "thread_siblings_list"),
                   cpu % 2 ? "1,3\n" : "0,2\n");
    fake.Write("/sys/devices/system/cpu/cpufreq/topology/core_cpus_list", "7\n");
    EXPECT_EQ(2U, PXProcessGetNumPhysicalProcessors());
}

TEST_F(Process, HonoursTheLimitsOfContainers)
{
    const std::string v2 = "30 1 0:26 / /sys/fs/cgroup rw,nosuid shared:4 - cgroup2 cgroup2 rw\n";
    const std::string v1 =
        "31 1 0:27 /docker/ab /sys/fs/cgroup/memory rw - cgroup cgroup rw,memory\n"
        "32 1 0:28 / /sys/fs/cgroup/cpu rw - cgroup cgroup rw,cpu,cpuacct\n";
    constexpr uint64_t kAll = uint64_t{1} << 33;
    // Of the files: paths and what stands in them, separated by "=" and ";".
    const Rows<std::string, std::string, std::string, uint64_t, uint32_t> rows = {
        {"no group", "", v2, "memory.max=5", kAll, 6},
        {"no mount", "0::/a\n", "", "a/memory.max=5", kAll, 6},
        {"no limit", "0::/a\n", v2, "a/memory.max=max;a/cpu.max=max 100000", kAll, 6},
        {"own group", "0::/a\n", v2, "a/memory.max=1048576;a/cpu.max=250000 100000", 1048576, 3},
        {"a parent's is tighter", "1:net:/x\n0::/a/b\n", v2,
         "a/memory.max=4096;a/b/memory.max=8192;cpu.max=1 100000", 4096, 1},
        {"more than the machine has", "0::/\n", v2,
         "memory.max=99999999999999;cpu.max=9000000 100000", kAll, 6},
        {"period of zero", "0::/\n", v2, "cpu.max=100000 0", kAll, 6},
        {"version 1 below the mounted root", "4:memory:/docker/ab\n3:cpu,cpuacct:/c\n", v1,
         "memory/memory.limit_in_bytes=65536;cpu/c/cpu.cfs_quota_us=200000;"
         "cpu/c/cpu.cfs_period_us=100000",
         65536, 2},
        {"version 1 without limits", "4:memory:/docker/ab\n3:cpu,cpuacct:/\n", v1,
         "memory/memory.limit_in_bytes=9223372036854771712;cpu/cpu.cfs_quota_us=-1;"
         "cpu/cpu.cfs_period_us=100000",
         kAll, 6},
    };
    FakeSystemFiles fake(root_);
    fake->physicalMemory = [] { return kAll; };
    fake->processorCount = [] { return 6U; };
    for (const auto& [name, groups, mounts, files, memory, processors] : rows) {
        SCOPED_TRACE(name);
        fs::remove_all(root_);
        fake.Write("/proc/self/cgroup", groups);
        fake.Write("/proc/self/mountinfo", mounts);
        std::istringstream pairs(files);
        for (std::string path, text; std::getline(pairs, path, '=');) {
            std::getline(pairs, text, ';');
            fake.Write("/sys/fs/cgroup/" + path, text + "\n");
        }
        EXPECT_EQ(memory, PXProcessGetEffectiveMemLimit());
        EXPECT_EQ(processors, PXProcessGetEffectiveProcessorCount());
    }
}

TEST_F(Process, FindsProcessesByApplicationId)
{
    FakeTable fake;
    fake->listProcesses = [](px::os::ProcessVisitor visit, void* context) {
        for (uint32_t id = 10; id < 15 && visit(id, context); ++id) {
        }
        return 0;
    };
    fake->processExecutable = [](uint32_t id, char* buffer, size_t size) {
        const char* paths[] = {nullptr, "/opt/org.example.Viewer", "kworker", "/usr/bin/viewer",
                               "/usr/bin/Editor"};
        if (!paths[id - 10]) return EACCES;
        std::snprintf(buffer, size, "%s", paths[id - 10]);
        return 0;
    };
    const std::map<std::string, uint32_t> ids = {
        {"kworker", 12},          {"viewer", 13}, {"Viewer", 0}, {"org.example.Viewer", 11},
        {"net.other.EDITOR", 14}, {"editor", 0},  {"a.none", 0}, {"", 0}};
    for (const auto& [name, id] : ids) EXPECT_EQ(id, PXProcessGetPIDWithAppID(Text(name))) << name;
    EXPECT_EQ(0U, PXProcessGetPIDWithAppID(nullptr));
}

TEST_F(Process, TellsWhatItIs)
{
    EXPECT_EQ(Os().processId(), PXProcessGetPID());
    EXPECT_NE(0U, PXProcessGetPIDWithAppID(CFSTR("process_test")));  // another may run, too
    const Owned<CFURLRef> path(PXProcessCreateCurrentProcessPath());
    EXPECT_EQ("process_test", fs::path(px::PathOf(path)).filename());
    EXPECT_GT(CFStringGetLength(PXProcessGetUserName()), 0);
    EXPECT_FALSE(PXProcessIsAppWinArm64());
    EXPECT_NE(std::string::npos, Taken(PXProcessGetCmdLineCopy()).find("process_test"));

    FakeTable fake;
    fake->commandLine = [](px::os::TextVisitor visit, void* context) {
        for (const char* argument : {"a", "", "b c", "d\"e\\", "\xC3\xA9\xFF"})
            visit(argument, context);
        return 0;
    };
    EXPECT_EQ(R"(a "" "b c" "d\"e\\" )"
              "\u00E9\uFFFD",
              Taken(PXProcessGetCmdLineCopy()));
    fake->commandLine = [](px::os::TextVisitor, void*) { return EACCES; };
    fake->executablePath = [](char*, size_t) { return ENOENT; };
    EXPECT_EQ(nullptr, PXProcessGetCmdLineCopy());
    EXPECT_EQ(nullptr, PXProcessCreateCurrentProcessPath());
}

TEST_F(Process, KnowsMachineAndSandboxByTheirMarks)
{
    FakeSystemFiles fake(root_);
    fake.SetEnvironment({});
    EXPECT_FALSE(PXProcessGetSandboxed());
    EXPECT_EQ(nullptr, PXProcessGetCopyHWMachineModel());
    for (const char* mark : {"/.flatpak-info", "/.dockerenv", "/run/.containerenv"}) {
        fake.Write(mark, "");
        EXPECT_TRUE(PXProcessGetSandboxed()) << mark;
        fs::remove(root_.string() + mark);
    }
    fake.SetEnvironment({{"SNAP", ""}});
    EXPECT_FALSE(PXProcessGetSandboxed());
    fake.SetEnvironment({{"SNAP", "/snap/x"}});
    EXPECT_TRUE(PXProcessGetSandboxed());

    fake.Write("/proc/device-tree/model", std::string("Board 5\0", 8));
    EXPECT_EQ("Board 5", Taken(PXProcessGetCopyHWMachineModel()));
    fake.Write("/sys/class/dmi/id/product_name", "  Tower 9 \n");
    EXPECT_EQ("Tower 9", Taken(PXProcessGetCopyHWMachineModel()));
    fake.Write("/sys/class/dmi/id/sys_vendor", "Maker\n");
    EXPECT_EQ("Maker Tower 9", Taken(PXProcessGetCopyHWMachineModel()));
    fake.Write("/sys/class/dmi/id/product_name", "Maker Tower\n");
    EXPECT_EQ("Maker Tower", Taken(PXProcessGetCopyHWMachineModel()));
}

TEST_F(Process, VersionIsOneNumber)
{
    const struct {
        const char* version;
        uint32_t number;
        const char* bad = nullptr;  // the piece that is no number
        int index = 0;
    } rows[] = {
        {"3.4.5", 345},       {"7.1", 710},
        {"12.3.4.x", 1234},   {"0.0.1", 1},
        {"2.10.0", 300},      {"2.b.5", 200, "b", 1},
        {"1.2.", 120, "", 2}, {"x.1.2", 0, "x", 0},
        {"", 0, "", 0},       {"99999999999.1", 0, "99999999999", 0},
        {"-1.2.3", 0},        {"2147483647.2147483647", UINT32_MAX},
        {"0.0", 0},           {nullptr, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.version ? row.version : "null");
        std::vector<std::string> want;
        if (row.bad)
            want.push_back("Could not convert '" + std::string(row.bad) + "' to integer at index " +
                           std::to_string(row.index) + " in version string '" + row.version + "'.");
        if (row.number == 0) want.emplace_back("Version should not be zero.");
        EventLog events;
        PXLogSetLevel(1);
        EXPECT_EQ(row.number,
                  px::VersionNumberOf(row.version ? Text(row.version) : Owned<CFStringRef>()));
        EXPECT_EQ(want, events.Messages());
        PXLogSetLevel(4);
    }
}

TEST_F(Process, BuildTextsComeFromTheInformationList)
{
    const auto list = DictionaryOf({});
    const auto texts = [&](const char* version, const char* build) {
        CFDictionarySetValue(list, CFSTR("CFBundleShortVersionString"), Text(version));
        CFDictionarySetValue(list, CFSTR("CFBundleVersion"), Text(build));
        return std::to_string(px::BuildNumberOf(list)) + ": " +
               Utf8Of(px::BuildStringOf(list, false).Get()) + ", " +
               Utf8Of(px::BuildStringOf(list, true).Get());
    };
    EXPECT_EQ("0 (local)", Utf8Of(px::BuildStringOf(list, true).Get()));
    EXPECT_EQ("0: 3.4.5 (local), 3.4.5 (local)", texts("3.4.5", "12x"));
    CFDictionarySetValue(list, CFSTR("PXDeveloperBranchName"), CFSTR("fix"));
    EXPECT_EQ("0: 3 (local), 3 (local) fix", texts("3", "4294967296"));
    CFDictionarySetValue(list, CFSTR("PXBuildBranchName"), CFSTR("release"));
    EXPECT_EQ("1234: 3.4.5 (1234), 3.4.5 (1234) release fix", texts("3.4.5", "1234"));
}

// In a process of its own, because the main bundle and the main thread are set once.
TEST_F(Process, StartsWithoutMainThreadAndReadsItsBundle)
{
    Write("Info.plist",
          "<dict><key>CFBundleShortVersionString</key><string>3.4.5</string>"
          "<key>CFBundleVersion</key><integer>77</integer></dict>");
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto inNewProcess = [this] {
        EventLog events;
        FakeTable fake;
        static int debugTexts;
        fake->writeDebugText = [](const char* text) {
            debugTexts += std::string(text) == "PXProcess has not been initialized";
        };
        const auto isMain = [] { return PXProcessGetIsMainThread(); };
        EXPECT_FALSE(isMain() || isMain() || std::async(std::launch::async, isMain).get());
        EXPECT_EQ(3, debugTexts);
        EXPECT_EQ(0U, PXProcessGetMainThreadID());
        const auto nothing = [](void*, void*) {};
        EXPECT_EQ(kPXErrNotFound, PXProcessRunOnMainThread(nothing, nullptr, nullptr));
        EXPECT_EQ(0U, PXProcessRunMainThreadCalls());
        EXPECT_EQ(-1, PXProcessGetMainThreadFileDescriptor());

        fake->makeEvent = [](px::os::File*) { return EMFILE; };
        EXPECT_EQ(kPXOK, PXProcessInit());
        EXPECT_EQ(kPXOK, PXProcessRunOnMainThread(nothing, nullptr, nullptr));
        EXPECT_EQ(-1, PXProcessGetMainThreadFileDescriptor());
        EXPECT_EQ(2, events.Count(1002));
        fake->makeEvent = px::os::NativeTable().makeEvent;
        const px::os::File event = PXProcessGetMainThreadFileDescriptor();
        for (const uint32_t calls : {1U, 0U}) {  // one came before the event was there
            bool ready = false;
            EXPECT_EQ(0, Os().waitForFiles(&event, &ready, 1, 0));
            EXPECT_EQ(calls > 0, ready);
            EXPECT_EQ(calls, PXProcessRunMainThreadCalls());
        }
        std::thread([] { EXPECT_EQ(kPXOK, PXProcessInit()); }).join();
        EXPECT_EQ(PXProcessGetCurrentThreadID(), PXProcessGetMainThreadID());
        EXPECT_TRUE(isMain() && !std::async(std::launch::async, isMain).get());
        EXPECT_EQ(3, debugTexts);

        setenv("PXCF_RESOURCES", root_.c_str(), 1);
        EXPECT_EQ(345U, PXProcessGetAppVersionBCD());
        EXPECT_EQ(345U, PXProcessGetAppVersionBCD());
        EXPECT_EQ("3.4.5", Utf8Of(PXProcessGetAppVersion()));
        EXPECT_EQ("3.4.5 (77)", Utf8Of(PXProcessGetBuildString()));
        EXPECT_EQ(PXProcessGetFullBuildString(), PXProcessGetFullBuildString());
        EXPECT_TRUE(!PXProcessIsLocalBuild() && !PXProcessGetBuildBranchName());
        std::exit(HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(inNewProcess(), testing::ExitedWithCode(0), "");
}

TEST_F(Process, LoadsModulesAndFindsFunctions)
{
    EventLog events;
    PXModule module = nullptr, again = nullptr;
    EXPECT_EQ(kPXErrNotFound, PXProcessOpenFrameworkAgain(CFSTR("px_test_module"), &module));
    ASSERT_EQ(kPXOK, PXProcessLoadFramework(CFSTR("px_test_module"), &module));
    EXPECT_EQ(kPXOK, PXProcessOpenFrameworkAgain(CFSTR("libpx_test_module.so"), &again));
    EXPECT_EQ(module, again);
    void* found = PXProcessGetDylibFunctionPointForName(module, CFSTR("pxTestAnswer"));
    ASSERT_NE(nullptr, found);
    EXPECT_EQ(42, reinterpret_cast<int (*)()>(found)());
    EXPECT_EQ(nullptr, PXProcessGetDylibFunctionPointForName(module, CFSTR("pxTestNothing")));
    EXPECT_EQ(nullptr, PXProcessGetFunctionPointForName(CFSTR("pxTestAnswer")));
    EXPECT_NE(nullptr, PXProcessGetFunctionPointForName(CFSTR("malloc")));
    EXPECT_EQ(kPXOK, PXProcessUnloadDylib(module));
    EXPECT_EQ(kPXOK, PXProcessUnloadDylib(again));
    EXPECT_EQ(1, events.Count(1003));

    Write("text.so", "no module");
    const auto url = FileURL(Path("text.so"));
    EXPECT_EQ(kPXErrNotFound, PXProcessLoadDylib(url, &module));
    EXPECT_EQ(nullptr, module);
    EXPECT_EQ(2, events.Count(1003));
    EXPECT_EQ(kPXErrBadArgument, PXProcessLoadDylib(url, nullptr));
    EXPECT_EQ(kPXErrBadArgument, PXProcessLoadDylib(nullptr, &module));
    for (const char* name : {"", "a/b", "..\\x"})
        EXPECT_EQ(kPXErrBadArgument, PXProcessLoadFramework(Text(name), &module));
    // The last one is unloaded already; the loader itself would follow either pointer.
    for (PXModule none : {PXModule{}, reinterpret_cast<PXModule>(&events), again}) {
        EXPECT_EQ(kPXErrBadArgument, PXProcessUnloadDylib(none));
        EXPECT_EQ(nullptr, PXProcessGetDylibFunctionPointForName(none, CFSTR("malloc")));
    }
    EXPECT_EQ(8, events.Count(1005));
}

TEST_F(Process, GivesMemoryAndDumpsTheStack)
{
    EventLog events;
    auto* bytes = static_cast<char*>(PXProcessAllocateVirtualMemory(10 << 20));
    ASSERT_NE(nullptr, bytes);
    EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(bytes) % 64);
    EXPECT_EQ(0, bytes[0] | bytes[5 << 20] | bytes[(10 << 20) - 1]);
    PXProcessFreeVirtualMemory(bytes, 10 << 20);
    PXProcessFreeVirtualMemory(PXProcessAllocateVirtualMemory(1 << 20), 1 << 20);
    PXProcessFreeVirtualMemory(nullptr, 5);
    for (const uint64_t size : {uint64_t{0}, uint64_t{1} << 62, UINT64_MAX})
        EXPECT_EQ(nullptr, PXProcessAllocateVirtualMemory(size));
    PXProcessDumpStack();
    const std::vector<std::string> messages = events.Messages();
    ASSERT_GT(messages.size(), 6U);
    EXPECT_THAT(messages[0], testing::StartsWith("Event (1005)"));
    EXPECT_EQ(2, events.Count(1002));
    EXPECT_THAT(messages[3], testing::StartsWith("#0 0x"));
    EXPECT_THAT(messages[4], testing::HasSubstr("process_test"));
}

// Watches a process and waits for the report.
class Report {
public:
    PXStatus Watch(uint32_t processId)
    {
        return PXProcessWatchProcessTermination(
            processId,
            [](void* self, uint32_t, int32_t exitCode) {
                static_cast<Report*>(self)->promise_.set_value(exitCode);
            },
            this);
    }
    int32_t ExitCode() { return promise_.get_future().get(); }

private:
    std::promise<int32_t> promise_;
};

// Two who ask one after the other both hear how it ended.
void ExpectExit(int32_t wanted, uint32_t processId)
{
    for (int i = 0; i < 2; ++i) {
        Report report;
        ASSERT_EQ(kPXOK, report.Watch(processId));
        EXPECT_EQ(wanted, report.ExitCode());
        EXPECT_FALSE(Os().isProcessRunning(processId));
    }
}

uint32_t LaunchShell(const std::string& script, CFURLRef folder = nullptr)
{
    uint32_t processId = 99;
    EXPECT_EQ(kPXOK,
              PXProcessLaunchApplication2(FileURL("/bin/sh"), ArrayOf({CFSTR("-c"), Text(script)}),
                                          folder, &processId));
    return processId;
}

class ProcessThreads : public Process {
protected:
    // Tables are static in the tests: the watcher's thread may still read them afterwards.
    void TearDown() override { px::os::ReplaceTable(&px::os::NativeTable()); }

    void LaunchesWatchesAndKills();
};

void ProcessThreads::LaunchesWatchesAndKills()
{
    const std::string quoted = "'" + root_.string() + "'";
    std::FILE* open = std::fopen("/dev/null", "r");
    std::signal(SIGPIPE, SIG_IGN);
    const std::map<std::string, int32_t> scripts = {
        {"exit 7", 7},
        {"kill -TERM $$", -15},
        {"[ \"$(pwd)\" = " + quoted + " ] && exit 3", 3},
        {"read line || exit 4", 4},  // no input
        {"[ -e /proc/self/fd/" + std::to_string(fileno(open)) + " ] || exit 6", 6},
        {"kill -PIPE $$; exit 1", -13},  // no signal is ignored
    };
    const auto folder = FileURL(root_, true);
    for (const auto& [script, exitCode] : scripts) {
        SCOPED_TRACE(script);
        ExpectExit(exitCode, LaunchShell(script, folder));
    }
    std::fclose(open);
    std::signal(SIGPIPE, SIG_DFL);

    Report killed, also;
    const uint32_t sleeper = LaunchShell("exec sleep 1000");
    ASSERT_EQ(kPXOK, killed.Watch(sleeper));
    ASSERT_EQ(kPXOK, also.Watch(sleeper));
    EXPECT_EQ(kPXOK, PXProcessKill(sleeper));
    EXPECT_EQ(-9, killed.ExitCode());
    EXPECT_EQ(-9, also.ExitCode());
    EXPECT_EQ(kPXErrNotFound, PXProcessKill(sleeper));

    // Ended, and collected, before anybody asks.
    const uint32_t quick = LaunchShell("exit 5");
    while (Os().isProcessRunning(quick)) std::this_thread::yield();
    ExpectExit(5, quick);

    // Somebody else's child.
    Report stranger;
    ExpectExit(0, LaunchShell("sleep 1000 >/dev/null & echo $! > note", folder));
    const auto other = static_cast<uint32_t>(std::stoul(Content(Path("note"))));
    ASSERT_EQ(kPXOK, stranger.Watch(other));
    EXPECT_EQ(kPXOK, PXProcessKill(other));
    EXPECT_EQ(kPXProcessExitUnknown, stranger.ExitCode());
}

TEST_F(ProcessThreads, LaunchWatchAndKillWhateverTheSystemGives)
{
    LaunchesWatchesAndKills();
    static px::os::Table withoutHelp = px::os::NativeTable(), failingWaits = withoutHelp;
    withoutHelp.openProcess = [](uint32_t, px::os::File*) { return ENOSYS; };
    failingWaits.waitForFiles = [](const px::os::File* files, bool* ready, size_t count, int ms) {
        return count > 0 ? ENOMEM : px::os::NativeTable().waitForFiles(files, ready, 0, ms);
    };
    for (px::os::Table* table : {&withoutHelp, &failingWaits}) {
        SCOPED_TRACE(table == &withoutHelp ? "no process handles" : "waiting fails");
        px::os::ReplaceTable(table);
        LaunchesWatchesAndKills();
    }
}

TEST_F(ProcessThreads, RefuseWhatCannotBeLaunchedOrWatched)
{
    const auto shell = FileURL("/bin/sh"), missing = FileURL(Path("missing"));
    const auto launch = [](CFURLRef application, CFTypeRef argument, CFURLRef folder) {
        EventLog events;
        uint32_t processId = 5;
        const PXStatus status = PXProcessLaunchApplication2(
            application, argument ? ArrayOf({argument}) : Owned<CFMutableArrayRef>(), folder,
            &processId);
        EXPECT_EQ(0U, processId);
        EXPECT_EQ(1, events.Count(status));
        return status;
    };
    const auto zero = Text(std::u16string_view(u"a\0b", 3));
    EXPECT_EQ(kPXErrBadArgument, launch(nullptr, nullptr, nullptr));
    EXPECT_EQ(kPXErrBadArgument, launch(shell, kCFBooleanTrue, nullptr));
    EXPECT_EQ(kPXErrBadArgument, launch(shell, zero, nullptr));
    EXPECT_EQ(kPXErrNotFound, launch(missing, nullptr, nullptr));
    EXPECT_EQ(kPXErrNotFound, launch(FileURL(root_, true), nullptr, nullptr));
    EXPECT_EQ(kPXErrNotFound, launch(shell, nullptr, missing));
    Report report;
    for (const uint32_t id : {0U, 0x80000000U, UINT32_MAX}) {
        EXPECT_EQ(kPXErrBadArgument, PXProcessKill(id));
        EXPECT_EQ(kPXErrBadArgument, report.Watch(id));
    }
    EXPECT_EQ(kPXErrNotFound, report.Watch(INT32_MAX));
    EXPECT_EQ(kPXErrBadArgument, PXProcessWatchProcessTermination(1, nullptr, nullptr));

    static px::os::Table table = px::os::NativeTable();
    table.launchProcess = [](const px::os::Launch&, uint32_t*) { return EAGAIN; };
    table.makeEvent = [](px::os::File*) { return EMFILE; };
    px::os::ReplaceTable(&table);
    EXPECT_EQ(kPXErrCreate, PXProcessLaunchApplication(shell, nullptr));
    const auto nobody = [](void*, uint32_t, int32_t) {};
    px::ProcessWatcher watcher;
    EXPECT_EQ(EMFILE, watcher.Watch(PXProcessGetPID(), nobody, nullptr));
    static px::os::Table noThread = px::os::NativeTable();
    noThread.startThread = [](px::os::ThreadEntry, void*, px::os::Thread*) { return EAGAIN; };
    px::os::ReplaceTable(&noThread);
    EXPECT_EQ(EAGAIN, watcher.Watch(PXProcessGetPID(), nobody, nullptr));
}

// Each thread's calls come in its own order, all on the main thread, while a loop polls for them.
TEST_F(ProcessThreads, HandCallsToAPollingMainThread)
{
    ASSERT_EQ(kPXOK, PXProcessInit());
    constexpr size_t kThreads = 8, kCalls = 300;
    static std::vector<size_t> next;
    static bool allOnMain;
    next.assign(kThreads, 0);
    allOnMain = true;
    const auto take = [](void* thread, void* number) {
        size_t& wanted = next[reinterpret_cast<size_t>(thread)];
        EXPECT_EQ(wanted, reinterpret_cast<size_t>(number));
        ++wanted;
        allOnMain = allOnMain && PXProcessGetIsMainThread();
    };
    std::thread callers([take] {
        RunOnThreads(kThreads, [take](int thread) {
            const auto i = static_cast<size_t>(thread);
            for (size_t call = 0; call < kCalls; ++call) {
                const bool waits = call % 10 == 9;
                PXProcessRunOnMainThread2(take, reinterpret_cast<void*>(i),
                                          reinterpret_cast<void*>(call), waits);
                EXPECT_TRUE(!waits || next[i] == call + 1);
            }
        });
    });
    const px::os::File event = PXProcessGetMainThreadFileDescriptor();
    for (size_t ran = 0; ran < kThreads * kCalls;) {
        bool ready = false;
        ASSERT_EQ(0, Os().waitForFiles(&event, &ready, 1, -1));
        EXPECT_TRUE(ready);
        ran += PXProcessRunMainThreadCalls();
    }
    callers.join();
    EXPECT_TRUE(allOnMain);
    EventLog events;
    std::thread([] { EXPECT_EQ(0U, PXProcessRunMainThreadCalls()); }).join();
    EXPECT_EQ(kPXErrBadArgument, PXProcessRunOnMainThread(nullptr, nullptr, nullptr));
    EXPECT_EQ(2, events.Count(1005));
}

TEST_F(ProcessThreads, MainThreadDoesNotWaitForItself)
{
    ASSERT_EQ(kPXOK, PXProcessInit());
    static std::string order;
    order.clear();
    const auto note = [](void*, void* letter) { order += static_cast<const char*>(letter); };
    const auto again = [](void* self, void*) {
        order += "r";
        PXProcessRunOnMainThread(reinterpret_cast<PXProcessMainThreadProc>(self), self, nullptr);
    };
    const auto nested = [](void*, void*) { PXProcessRunMainThreadCalls(); };
    char a[] = "a", b[] = "b";
    PXProcessRunOnMainThread(nested, nullptr, nullptr);
    PXProcessRunOnMainThread(note, nullptr, a);
    PXProcessRunOnMainThread(again, reinterpret_cast<void*>(+again), nullptr);
    EXPECT_EQ(kPXOK, PXProcessRunOnMainThread2(note, nullptr, b, true));
    EXPECT_EQ("b", order);
    PXProcessRunMainThreadCalls();
    EXPECT_EQ("bar", order);  // what queues itself again runs once
    PXProcessRunMainThreadCalls();
    EXPECT_EQ("barr", order);
}

TEST_F(ProcessThreads, AreToldApart)
{
    const uint32_t mine = PXProcessGetCurrentThreadID();
    EXPECT_EQ(mine, PXThreadGetCurrentThreadID());
    EXPECT_FALSE(PXProcessGetIsGPUThread() || PXProcessGetIsPXFilterThread());
    PXProcessSetGPUThreadID(mine);
    std::thread([mine] {
        PXProcessSetPXFilterThreadID(PXProcessGetCurrentThreadID());
        EXPECT_TRUE(PXProcessGetIsPXFilterThread() && !PXProcessGetIsGPUThread());
        EXPECT_NE(mine, PXProcessGetCurrentThreadID());
    }).join();
    EXPECT_TRUE(PXProcessGetIsGPUThread() && !PXProcessGetIsPXFilterThread());
    EXPECT_EQ(mine, PXProcessGetGPUThreadID());
    EXPECT_NE(0U, PXProcessGetPXFilterThreadID());
}

}  // namespace
