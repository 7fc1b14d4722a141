// The texts of statuses and the note of a thread's latest failure.

#include "Base/PXError.h"
#include "Base/PXServer.h"
#include "Base/PXThread.h"
#include "PXCore/PXImage.h"
#include "PXCore/PXPreset.h"
#include "support/Test.h"

namespace {

// The pages of the statuses show that each has a text of its own.
TEST(Error, StatusesHaveTexts)
{
    EXPECT_STREQ("unknown status", PXErrorGetText(1001000));
    EXPECT_STREQ("no space left on the device", PXErrorGetText(28));
    EXPECT_STREQ("the time was over before a signal came", PXErrorGetText(kPXWaitTimeout));
    const auto mismatch = static_cast<PXStatus>(kPXServerVersionMismatch);
    EXPECT_STRNE("unknown status", PXErrorGetText(mismatch));
}

TEST(Error, LatestFailureOfAThreadIsNoted)
{
    PXErrorClearLast();
    PXErrorRecord record;
    EXPECT_FALSE(PXErrorGetLast(&record));
    EXPECT_EQ(kPXOK, record.status);
    EXPECT_STREQ("", record.function);

    EXPECT_EQ(0, PXImageGetDepth(nullptr));
    ASSERT_TRUE(PXErrorGetLast(&record));
    EXPECT_EQ(kPXErrBadArgument, record.status);
    EXPECT_STREQ("PXImageGetDepth", record.function);
    EXPECT_STREQ("image", record.argument);
    EXPECT_GT(record.line, 0);

    PXPreset preset;
    EXPECT_EQ(kPXErrNotSupported,
              preset.applyToImage(nullptr, nullptr, 0, nullptr, nullptr, {}, 0));
    std::thread([] {
        EXPECT_FALSE(PXErrorGetLast(nullptr));
        (void)PXImageGetDepth(nullptr);
    }).join();
    // Success does not wipe it out, nor does another thread.
    PXImage image = nullptr;
    ASSERT_EQ(kPXOK, PXImageCreateWithParams({0, 0, 2, 2}, 8, 3, &image));
    PXImageRelease(image);
    ASSERT_TRUE(PXErrorGetLast(&record));
    EXPECT_EQ(kPXErrNotSupported, record.status);
    EXPECT_STREQ("applyToImage", record.function);
    EXPECT_STREQ("PXPreset", record.source);
    PXErrorClearLast();
    EXPECT_FALSE(PXErrorGetLast(nullptr));
}

}  // namespace
