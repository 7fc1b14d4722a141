#include "Base/LogLine.h"
#include "Base/PXProcess.h"
#include "Base/UTF8Text.h"
#include "support/FakePlatform.h"
#include "support/Gate.h"
#include "support/TempFolder.h"
#include "support/Test.h"

namespace {

namespace fs = std::filesystem;
using px::os::Os;
using namespace px::test;
using testing::ElementsAre;
using testing::MatchesRegex;

// A logger that keeps whole lines and the order of its own calls.
struct Recorder {
    std::vector<std::string> calls;
    PXLogger logger = PXLoggerCreate();

    Recorder()
    {
        const PXLoggerProcs procs = {
            [](void* self) { static_cast<Recorder*>(self)->calls.emplace_back("open"); },
            [](void* self, CFStringRef line) {
                static_cast<Recorder*>(self)->calls.push_back(px::UTF8Of(line));
            },
            [](void* self) { static_cast<Recorder*>(self)->calls.emplace_back("close"); }};
        PXLoggerSetProcs(logger, &procs, this);
    }
    ~Recorder()
    {
        PXLogRemoveLogger(logger);
        PXLoggerRelease(logger);
    }
};

TEST(Log, LineCarriesTimeSourceErrorNumberAndEnd)
{
    Recorder recorder;
    PXLogAddLogger(recorder.logger);
    PXLog(CFSTR("plain %d"), 5);
    PXLogWithParams(2, CFSTR("Painter"), 1074, CFSTR("%@ failed"), CFSTR("reading"));
    PXLogSetSource(CFSTR("Gallery"));
    PXLogNoArgs(CFSTR("100% as it is"));
    PXLogSetSource(nullptr);
    PXLogStyle bare = {};
    bare.level = 4;
    PXLogWithStyle(&bare, CFSTR("bare"));
    PXLogRemoveLogger(recorder.logger);
    PXLogRemoveLogger(recorder.logger);  // unknown now: nothing happens
    PXLogWithStyle(&bare, CFSTR("nobody hears this"));
    const std::string stamp = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{1,2}:[0-9]{2}:[0-9]{2} ";
    EXPECT_THAT(recorder.calls,
                ElementsAre("open", MatchesRegex(stamp + "[A-Za-z_]+ - plain 5\n"),
                            MatchesRegex(stamp + "Painter - reading failed Error Number = 1074\n"),
                            MatchesRegex(stamp + "Gallery - 100% as it is\n"), "bare", "close"));
}

TEST(Log, ComposesEachPieceInItsPlace)
{
    FakeTable fake;
    static int debugTexts;
    debugTexts = 0;
    fake->currentThreadId = [] { return 77U; };
    fake->writeDebugText = [](const char* text) {
        debugTexts += std::string(text) == "PXProcess has not been initialized";
    };
    px::LogLineComposer composer;
    const auto composed = [&](PXLogStyle style, int32_t errorNumber = 0) {
        return px::UTF8Of(
            composer.Compose(style, {CFSTR("S"), nullptr, errorNumber, CFSTR("m")}).Get());
    };
    EXPECT_EQ("m", composed({0, 0, 0, 0, 0, 4}));
    EXPECT_EQ("m\n", composed({1, 0, 0, 0, 0, 4}));
    EXPECT_EQ("m Error Number = -5\n", composed({1, 0, 0, 0, 0, 4}, -5));
    EXPECT_EQ("[ 77] m", composed({0, 0, 1, 0, 0, 4}));
    EXPECT_EQ(" m", composed({0, 0, 0, 1, 0, 4}));
    EXPECT_THAT(composed({1, 1, 1, 1, 1, 4}, 3),
                MatchesRegex(" \\[ 77\\] [0-9]{4}-.* S - m Error Number = 3\n"));
    EXPECT_EQ(2, debugTexts);
}

// The time is kept for a while, which must not show: neither at half seconds, where it changes, nor
// when the clock is set back or the zone exchanged.
TEST(Log, StampsWholeSecondsOfTheDefaultZone)
{
    static int64_t micros;
    FakeTable fake;
    fake->wallClockMicros = [] { return micros; };
    constexpr int64_t kMorning = 1'773'050'706;  // 2026-03-09 10:05:06 UTC
    px::LogLineComposer composer;
    const auto stamp = [&](int64_t later) {
        micros = kMorning * 1'000'000 + later;
        const PXLogStyle style = {0, 1, 0, 0, 0, 4};
        const auto line = composer.Compose(style, {CFSTR("S"), CFSTR("D"), 0, CFSTR("")});
        return px::UTF8Of(line.Get());
    };
    CFTimeZoneSetDefault(FixedZone(0));
    for (const int64_t later : {400'000, 499'999, 500'000})
        EXPECT_EQ("2026-03-09 10:05:06 S - ", stamp(later));
    for (const int64_t later : {500'001, 999'999})
        EXPECT_EQ("2026-03-09 10:05:07 S - ", stamp(later));
    EXPECT_EQ("2026-03-09 10:05:60 S - ", stamp(53'600'000));
    for (const int64_t later : {54'000'000, 54'000'001})
        EXPECT_EQ("2026-03-09 10:06:00 S - ", stamp(later));
    CFTimeZoneSetDefault(FixedZone(-2 * 3600));
    EXPECT_EQ("2026-03-09 8:06:00 S - ", stamp(54'000'001));
    CFTimeZoneSetDefault(FixedZone(14.5 * 3600));
    EXPECT_EQ("2026-03-10 0:36:00 S - ", stamp(54'000'001));
    EXPECT_EQ("2026-03-10 0:35:06 S - ", stamp(400'000));
    CFTimeZoneSetDefault(nullptr);
}

TEST(Log, IndentsByOrdinalAndWrapsAfterAHundred)
{
    FakeTable fake;
    static uint32_t thread;
    fake->currentThreadId = [] { return thread; };
    const PXLogStyle plain = {0, 0, 0, 1, 0, 4}, wrapping = {0, 0, 0, 1, 1, 4};
    px::LogLineComposer composer, endless;
    const auto blanks = [](px::LogLineComposer& of, const PXLogStyle& style, int id) {
        thread = static_cast<uint32_t>(id);
        return CFStringGetLength(of.Compose(style, {nullptr, nullptr, 0, CFSTR("")}).Get());
    };
    for (int i = 1; i <= 205; ++i) {
        EXPECT_EQ((i - 1) % 100 + 1, blanks(composer, wrapping, 5000 + i));
        EXPECT_EQ(i, blanks(endless, plain, 5000 + i));
    }
    EXPECT_EQ(100, blanks(composer, plain, 5100));    // a thread keeps its number
    EXPECT_EQ(206, blanks(endless, wrapping, 6000));  // the flag looks after the number is given
    EXPECT_EQ(1, blanks(endless, plain, 6001));
}

TEST(Log, TakesAnyContent)
{
    EventLog events;
    PXLogUTF8("%s %d%%", "caf\xC3\xA9", 5);
    PXLogUTF8("bad \xFF\xC3 tail \xE2\x82");
    PXLogUTF8("zero%cinside", 0);
    PXLogUTF8("%*d", 3'000'000, 1);
    PXLogUTF8(nullptr);
    PXLog(CFSTR("two\nlines %@"), Text(std::u16string(1, char16_t{0xD800})).Get());
    PXLogEvent(1, "\xFF\xFE", 2);
    PXLogEvent(1003, "C:\\work\\Common\\PXImage", 7);  // what follows the last backslash
    PXLogEvent(1002, nullptr, 1);
    PXLogNoArgs(nullptr);
    PXLog(nullptr);
    PXLogWithStyle(nullptr, CFSTR("x"));
    EXPECT_THAT(events.Messages(),
                ElementsAre("caf\xC3\xA9 5%", "bad \uFFFD\uFFFD tail \uFFFD\uFFFD",
                            std::string("zero\0inside", 11), std::string(1'048'574, ' '),
                            "two\nlines ?", "Event (1) on line 2 of \uFFFD\uFFFD",
                            "Event (1003) on line 7 of PXImage", "Event (1002) on line 1 of "));
}

TEST(Log, LevelDecidesAndHasAName)
{
    EventLog events;
    PXLogWithParams(5, nullptr, 0, CFSTR("too fine"));
    PXLogSetLevel(2);
    PXLogNoArgs(CFSTR("dropped"));
    PXLogWithParams(2, nullptr, 0, CFSTR("kept"));
    EXPECT_EQ(2, PXLogGetLevel());
    PXLogSetLevel(4);
    EXPECT_EQ(std::vector<std::string>{"kept"}, events.Messages());
    const char* names[] = {"<null>", "Warn", "Error", "Debug", "Verbose", "<null>"};
    for (int32_t level = 0; level <= 5; ++level)
        EXPECT_EQ(names[level], Utf8Of(PXLogGetLevelName(level)));
}

// A logger that logs would wait for itself, or for who waits for it.
TEST(Log, IgnoresWhatALoggerDoesToTheLog)
{
    const PXLogger logger = PXLoggerCreate();
    static int lines;
    lines = 0;
    const PXLoggerProcs procs = {[](void*) { PXLog(CFSTR("opened")); },
                                 [](void* self, CFStringRef) {
                                     ++lines;
                                     PXLogUTF8("inside");
                                     PXLogEvent(1005, "x", 1);
                                     PXLogRemoveLogger(static_cast<PXLogger>(self));
                                     PXLogAddLogger(static_cast<PXLogger>(self));
                                     PXLogSetSource(CFSTR("y"));
                                     PXLogFlush();
                                 },
                                 [](void*) { PXLogRemoveAllLoggers(); }};
    EXPECT_EQ(kPXOK, PXLoggerSetProcs(logger, &procs, logger));
    EventLog events;
    const uint32_t before = PXLogGetIgnoredCount();
    PXLogAddLogger(logger);
    EXPECT_EQ(2, PXLoggerGetRetainCount(logger));
    PXLog(CFSTR("one"));
    PXLogRemoveLogger(logger);
    EXPECT_EQ(1, lines);
    EXPECT_EQ(8U, PXLogGetIgnoredCount() - before);
    EXPECT_EQ(std::vector<std::string>{"one"}, events.Messages());
    EXPECT_EQ(1, PXLoggerGetRetainCount(logger));
    PXLoggerRelease(logger);
}

// A logger that belongs to the log alone gives its own reference back as soon as it is there.
TEST(Log, LoggerMayReleaseItselfInEachProcedure)
{
    static bool isIn[3];
    static PXLogger self;
    static const auto release = [](int in) {
        if (isIn[in]) PXLoggerRelease(self);
        isIn[in] = false;
    };
    const PXLoggerProcs procs = {[](void*) { release(0); }, [](void*, CFStringRef) { release(1); },
                                 [](void*) { release(2); }};
    for (int in = 0; in < 3; ++in) {
        SCOPED_TRACE(in);
        isIn[in] = true;
        self = PXLoggerCreate();
        EXPECT_EQ(kPXOK, PXLoggerSetProcs(self, &procs, nullptr));
        PXLogAddLogger(self);
        EXPECT_EQ(in == 0 ? 1 : 2, PXLoggerGetRetainCount(self));
        PXLog(CFSTR("line"));
        PXLogRemoveLogger(self);
        EXPECT_FALSE(isIn[in]);
    }
}

constexpr PXLogStyle kBare = {1, 0, 0, 0, 0, 4};
constexpr PXLogStyle kUrgent = {1, 0, 0, 0, 0, 1};

class LogFile : public TempFolder {
protected:
    ~LogFile() override
    {
        PXLogRemoveAllLoggers();
        PXLogSetFileLimits(16 << 20, 3);
    }

    void Add() const { EXPECT_EQ(kPXOK, PXLogAddFileLogger(px::URLOf(path_, false).Get())); }

    const std::string path_ = Path("log.txt");
};

TEST_F(LogFile, AppendsWholeLinesAtOnceWhenUrgentAndWhenRemoved)
{
    Add();
    PXLogWithStyle(&kBare, CFSTR("first"));
    PXLogWithStyle(&kUrgent, CFSTR("urgent \u00E9"));
    EXPECT_EQ("first\nurgent \xC3\xA9\n", Content(path_));
    PXLogWithStyle(&kBare, CFSTR("last"));
    PXLogRemoveAllLoggers();
    Add();
    fs::remove(path_);
    PXLogWithStyle(&kBare, CFSTR("in a new file"));
    PXLogFlush();
    EXPECT_EQ("in a new file\n", Content(path_));
    const PXLogger logger = PXLoggerCreateFile(px::URLOf(path_, false).Get());
    EXPECT_EQ(kPXErrBadArgument, PXLoggerSetProcs(logger, nullptr, nullptr));
    PXLoggerRelease(logger);
    EXPECT_EQ(nullptr, PXLoggerCreateFile(nullptr));
}

TEST_F(LogFile, WritesWaitingLinesByItself)
{
    Add();
    for (const char* line : {"a", "b"}) {
        PXLogWithStyle(&kBare, CFSTR("%s"), line);
        while (Content(path_).find(std::string(line) + "\n") == std::string::npos)
            std::this_thread::yield();
    }
    EXPECT_EQ("a\nb\n", Content(path_));
}

// A forked child ends after the log's exit handler, which was registered later, and before the leak
// check, which would miss what the parent's threads hold.
bool isForkedChild = false;
const int kRegistered = std::atexit([] {
    if (isForkedChild) std::_Exit(0);
});

TEST_F(LogFile, IsWrittenAtExitOnceByEachProcess)
{
    ASSERT_EQ(0, kRegistered);
    Add();
    PXLogWithStyle(&kBare, CFSTR("parent"));
    EXPECT_EXIT(
        {
            isForkedChild = true;
            PXLogWithStyle(&kBare, CFSTR("child"));
            std::exit(1);
        },
        testing::ExitedWithCode(0), "");
    PXLogRemoveAllLoggers();
    const std::string content = Content(path_);
    EXPECT_TRUE(content == "child\nparent\n" || content == "parent\nchild\n") << content;
}

TEST_F(LogFile, RotatesAtTheLimit)
{
    const auto logFifty = [](const PXLogStyle& style) {
        for (int i = 10; i < 60; ++i) PXLogWithStyle(&style, CFSTR("line number %d"), i);
    };
    // The files kept, and the least of the lines, of which six fill a file.
    const Rows<uint32_t, const PXLogStyle&, size_t> rows = {
        {"one file", 0, kUrgent, 2}, {"three files", 2, kUrgent, 14}, {"late", 2, kBare, 3}};
    for (const auto& [name, kept, style, leastLines] : rows) {
        SCOPED_TRACE(name);
        PXLogSetFileLimits(100, kept);
        Add();
        logFifty(style);
        PXLogRemoveAllLoggers();
        std::string all;
        for (const char* file : {"log.txt.2", "log.txt.1", "log.txt"}) {
            EXPECT_LE(Content(Path(file)).size(), 100U);
            all += Content(Path(file));
        }
        const size_t count = all.size() / 15;
        EXPECT_TRUE(&style == &kUrgent ? count == leastLines : count >= leastLines);
        std::string wanted;
        for (size_t i = 60 - count; i < 60; ++i)
            wanted += "line number " + std::to_string(i) + "\n";
        EXPECT_EQ(wanted, all);
        EXPECT_FALSE(fs::exists(Path(kept ? "log.txt.3" : "log.txt.1")));
        fs::remove_all(root_);
        fs::create_directories(root_);
    }
    FakePlatform fake(Faulty::kRename, EACCES);
    Add();
    logFifty(kUrgent);
    EXPECT_EQ(50U * 15, Content(path_).size());
    EXPECT_LE(fake.Calls(), 2 * 8);  // not tried again with every line
}

// A disk that is full now and then, in the middle of lines too. Whatever happens, the file holds
// whole lines in order, and the missing ones are counted where they are missing.
TEST_F(LogFile, CountsTheLinesOfAFullDisk)
{
    static std::atomic<size_t> space;
    static std::atomic<int64_t> now;
    space = 0;
    now = 0;
    FakeTable fake;
    fake->startThread = [](px::os::ThreadEntry, void*, px::os::Thread*) { return EAGAIN; };
    fake->monotonicNanos = [] { return now.load(); };
    fake->writeFile = [](px::os::File file, const void* bytes, size_t size, size_t* written) {
        const size_t most = std::min(size, space.load());
        if (most == 0) return ENOSPC;
        space -= most;
        return px::os::NativeTable().writeFile(file, bytes, most, written);
    };
    fake->openFile = [](const char* path, px::os::OpenMode mode, px::os::File* file) {
        return space == 0 ? EACCES : px::os::NativeTable().openFile(path, mode, file);
    };
    std::mt19937_64 random(Seed(20));
    Add();
    constexpr int kLines = 3000;
    for (int i = 0; i < kLines; ++i) {
        if (random() % 4 == 0) space = random() % 300;
        if (random() % 3 == 0) now += 1'000'000'000;
        PXLogWithStyle(random() % 8 ? &kBare : &kUrgent, CFSTR("line %d"), i);
    }
    space = SIZE_MAX;
    PXLogRemoveAllLoggers();

    std::istringstream lines(Content(path_));
    int next = 0, notices = 0;
    for (std::string line; std::getline(lines, line);) {
        int missing = 0;
        char end = 0;
        const bool isNotice = std::sscanf(line.c_str(), "[%d line%c", &missing, &end) == 2;
        ASSERT_TRUE(isNotice || line == "line " + std::to_string(next)) << next << ": " << line;
        notices += isNotice;
        next += isNotice ? missing : 1;
    }
    EXPECT_EQ(kLines, next);
    EXPECT_GT(notices, 20);
}

TEST_F(LogFile, DefaultFileLiesInTheUsersDataFolder)
{
    FakeTable fake;
    const auto fileWith = [&](const char* data, const std::string& home) {
        fake.SetEnvironment({{"XDG_DATA_HOME", data}, {"HOME", home}});
        const Owned<CFURLRef> url(PXLogGetLogFilePathCopy());
        return url ? px::PathOf(url) : "";
    };
    const std::string data = Path("data");
    EXPECT_EQ(Path("a/.local/share/Quarvo/QuarvoLog.txt"), fileWith("", Path("a")));
    EXPECT_EQ(Path("b/.local/share/Quarvo/QuarvoLog.txt"), fileWith("relative", Path("b")));
    EXPECT_EQ(data + "/Quarvo/QuarvoLog.txt", fileWith(data.c_str(), "/nowhere"));
    EXPECT_EQ(fs::perms::owner_all, fs::status(data + "/Quarvo").permissions());
    {
        EventLog events;
        EXPECT_EQ(kPXOK, PXLogAddFileLogger(nullptr));  // not the first: adds nothing
        EXPECT_EQ("", fileWith("", ""));
        fake->makePrivateFolder = [](const char*) { return EACCES; };
        EXPECT_EQ("", fileWith("", Path("refused")));
        EXPECT_EQ(2, events.Count(1003));
    }
    EXPECT_NE("", fileWith(data.c_str(), ""));
    EXPECT_EQ(kPXOK, PXLogAddFileLogger(nullptr));
    PXLogWithStyle(&kUrgent, CFSTR("x"));
    EXPECT_EQ("x\n", Content(data + "/Quarvo/QuarvoLog.txt"));
}

// Recorders have no lock of their own: the log's must do.
TEST_F(LogFile, ThreadsLinesStayWholeAndInOrderForEveryLogger)
{
    constexpr int kThreads = 8, kLines = 300;
    PXLogSetFileLimits(0, 0);
    Recorder first, second;
    PXLogAddLogger(first.logger);
    Add();
    PXLogAddLogger(second.logger);
    RunOnThreads(kThreads, [](int i) {
        for (int line = 0; line < kLines; ++line) {
            const PXLogStyle& style = line % 50 == 1 ? kUrgent : kBare;
            line % 2 ? PXLogWithStyle(&style, CFSTR("%d %d"), i, line)
                     : PXLogUTF8("%d %d", i, line);
        }
    });
    PXLogRemoveAllLoggers();

    EXPECT_EQ(first.calls, second.calls);
    std::string text;
    std::map<int, int> next;
    ASSERT_EQ(size_t{2 + kThreads * kLines}, first.calls.size());
    for (size_t i = 1; i + 1 < first.calls.size(); ++i) {
        const std::string& line = first.calls[i];
        text += line;
        int thread = -1, number = -1;
        std::istringstream(line.substr(line.find_last_of('-') + 1)) >> thread >> number;
        EXPECT_EQ(next[thread]++, number);
    }
    EXPECT_EQ(kThreads, static_cast<int>(next.size()));
    EXPECT_EQ(text, Content(path_));
}

}  // namespace
