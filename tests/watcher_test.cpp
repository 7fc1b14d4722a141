#include "PXCore/PXPresetWatcher.h"
#include "PXCore/PresetDebounce.h"
#include "support/FakePlatform.h"
#include "support/Gate.h"
#include "support/TempFolder.h"
#include "support/Test.h"

namespace {

using px::PresetDebounce;
using namespace px::test;

TEST(PresetDebounce, MakesOneOfManyChanges)
{
    PresetDebounce debounce(100);
    EXPECT_EQ(-1, debounce.Left(0));
    debounce.Note(1000);
    EXPECT_EQ(100, debounce.Left(1000));
    debounce.Note(1060);
    EXPECT_EQ(50, debounce.Left(1110));
    EXPECT_EQ(0, debounce.Left(1161));
    // Without a pause, ten times the quiet time after the first.
    for (int64_t now = 1100; now < 1990; now += 50) debounce.Note(now);
    EXPECT_EQ(10, debounce.Left(1990));
    EXPECT_EQ(0, debounce.Left(2000));
    debounce.Clear();
    EXPECT_EQ(-1, debounce.Left(2000));
}

class PresetWatcherThread : public TempFolder {
protected:
    static void Count(void* self) { Add(static_cast<PresetWatcherThread*>(self)->calls_); }
    PXString Folder() const { return PXString(root_.c_str()); }

    std::atomic<int> calls_{0};
};

TEST_F(PresetWatcherThread, TellsOfChangesInOldAndNewCategories)
{
    Write("Old/a", "");
    PXPresetWatcher watcher(Folder(), 1, Count, this);
    EXPECT_TRUE(watcher.isWatching());
    int seen = 0;
    for (const char* file : {"Old/a", "New/a", "New/b", "c"}) {
        SCOPED_TRACE(file);
        Write(file, "changed");
        // Ends when the change arrives, and not before.
        for (int now = calls_; now == seen; now = calls_) calls_.wait(now);
        seen = calls_;
    }
}

TEST_F(PresetWatcherThread, IsQuietAfterItsEnd)
{
    {
        PXPresetWatcher watcher(Folder(), 3600000, Count, this);
        Write("a", "");
    }
    EXPECT_EQ(0, calls_);
}

TEST_F(PresetWatcherThread, SaysWhatItCannotWatch)
{
    EventLog events;
    EXPECT_FALSE(PXPresetWatcher(PXString("\xFF"), 1, Count, this).isWatching());
    EXPECT_FALSE(PXPresetWatcher(Folder(), 1, nullptr, this).isWatching());
    EXPECT_EQ(2, events.Count(1005));
    EXPECT_FALSE(PXPresetWatcher(PXString(Path("none").c_str()), 1, Count, this).isWatching());
    EXPECT_EQ("Could not watch '" + Path("none") + "': no such file or folder", events.Last());
    FakeTable table;
    table->openWatch = [](px::os::File*) { return EMFILE; };
    EXPECT_FALSE(PXPresetWatcher(Folder(), 1, Count, this).isWatching());
    table->openWatch = px::os::NativeTable().openWatch;
    table->startThread = [](px::os::ThreadEntry, void*, px::os::Thread*) { return EAGAIN; };
    EXPECT_FALSE(PXPresetWatcher(Folder(), 1, Count, this).isWatching());
    EXPECT_EQ(5U, events.Messages().size());
}

}  // namespace
