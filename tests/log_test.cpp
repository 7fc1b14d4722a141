#include "Base/LogMgr.h"
#include "Base/Platform/Platform.h"
#include "support/EventLog.h"

#include "CoreFoundation/CoreFoundation.h"
#include "Base/UTF8Text.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace {

using px::test::EventLog;

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

TEST(Log, EventNamesWhatFollowsTheLastBackslash)
{
    EventLog events;
    PXLogEvent(1005, "PXString", 120);
    PXLogEvent(1003, "C:\\work\\Common\\PXImage", 7);
    PXLogEvent(1002, nullptr, 1);
    EXPECT_EQ((std::vector<std::string>{"Event (1005) on line 120 of PXString",
                                        "Event (1003) on line 7 of PXImage",
                                        "Event (1002) on line 1 of "}),
              events.Messages());
}

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
    const std::string stamp = R"(\d{4}-\d\d-\d\d \d{1,2}:\d\d:\d\d )";
    const std::vector<std::string> patterns = {
        "open",
        stamp + "\\w+ - plain 5\n",
        stamp + "Painter - reading failed Error Number = 1074\n",
        stamp + "Gallery - 100% as it is\n",
        "bare",
    };
    ASSERT_EQ(patterns.size(), recorder.calls.size());
    for (size_t i = 0; i < patterns.size(); ++i) {
        EXPECT_TRUE(std::regex_match(recorder.calls[i], std::regex(patterns[i])))
            << recorder.calls[i];
    }
}

TEST(Log, DropsWhatIsAboveTheLevel)
{
    EventLog events;
    PXLogWithParams(5, nullptr, 0, CFSTR("too fine"));
    PXLogWithParams(4, nullptr, 0, CFSTR("fine"));
    PXLogError(CFSTR("Any"), 1, "a", 2);
    EXPECT_EQ(2U, events.Messages().size());
}

TEST(Log, LoggersAreCalledInOrderOpenedAndClosed)
{
    Recorder first;
    Recorder second;
    PXLogAddLogger(first.logger);
    PXLogAddLogger(second.logger);
    PXLogRemoveLogger(first.logger);
    PXLogRemoveLogger(first.logger);  // unknown now: nothing happens
    PXLogStyle bare = {};
    PXLogWithStyle(&bare, CFSTR("x"));
    PXLogRemoveAllLoggers();
    PXLogWithStyle(&bare, CFSTR("nobody hears this"));
    EXPECT_EQ((std::vector<std::string>{"open", "close"}), first.calls);
    EXPECT_EQ((std::vector<std::string>{"open", "x", "close"}), second.calls);
}

TEST(LogThreads, LinesOfManyThreadsStayWhole)
{
    constexpr int kThreads = 4;
    constexpr int kLines = 200;
    EventLog events;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([i] {
            for (int line = 0; line < kLines; ++line) PXLogEvent(1005, "PXImage", i);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(kThreads * kLines, events.Count(1005));
}

}  // namespace
