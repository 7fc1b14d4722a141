// Streams in memory and on files, and error objects.

#include "support/FakePlatform.h"
#include "support/TempFolder.h"
#include "support/Test.h"

namespace {

using namespace px::test;

class Streams : public InTempFolder<LeakCheck> {
protected:
    Owned<CFReadStreamRef> Reader() const
    {
        return Owned<CFReadStreamRef>(CFReadStreamCreateWithFile(nullptr, FileURL(Path("f"))));
    }
    Owned<CFWriteStreamRef> Writer() const
    {
        return Owned<CFWriteStreamRef>(CFWriteStreamCreateWithFile(nullptr, FileURL(Path("f"))));
    }
};
class Errors : public LeakCheck {};

const UInt8* Bytes(const char* text)
{
    return reinterpret_cast<const UInt8*>(text);
}

Owned<CFReadStreamRef> MemoryReader(const char* text)
{
    return Owned<CFReadStreamRef>(CFReadStreamCreateWithBytesNoCopy(
        nullptr, Bytes(text), static_cast<CFIndex>(std::strlen(text)), kCFAllocatorNull));
}

Owned<CFWriteStreamRef> GrowingWriter()
{
    return Owned<CFWriteStreamRef>(CFWriteStreamCreateWithAllocatedBuffers(nullptr, nullptr));
}

std::string Written(CFWriteStreamRef stream)
{
    Owned<CFTypeRef> data(CFWriteStreamCopyProperty(stream, kCFStreamPropertyDataWritten));
    return data ? BytesOf(As<CFDataRef>(data)) : "<none>";
}

int64_t OffsetOf(CFWriteStreamRef stream)
{
    const Owned<CFTypeRef> offset(
        CFWriteStreamCopyProperty(stream, kCFStreamPropertyFileCurrentOffset));
    int64_t value = -1;
    if (offset) CFNumberGetValue(As<CFNumberRef>(offset), kCFNumberSInt64Type, &value);
    return value;
}

void ExpectError(CFStreamError error, SInt32 code)
{
    EXPECT_EQ(code ? kCFStreamErrorDomainPOSIX : 0, error.domain);
    EXPECT_EQ(code, error.error);
}

TEST_F(Streams, ReadMemoryToItsEnd)
{
    auto stream = MemoryReader("abcde");
    UInt8 buffer[8] = {};
    const auto expect = [&](CFIndex read, CFIndex asked, CFStreamStatus status) {
        EXPECT_EQ(read, CFReadStreamRead(stream, buffer, asked));
        EXPECT_EQ(status, CFReadStreamGetStatus(stream));
    };
    CFReadStreamClose(stream);  // without effect before it is open
    expect(-1, 3, kCFStreamStatusNotOpen);
    EXPECT_FALSE(CFReadStreamHasBytesAvailable(stream));
    EXPECT_TRUE(CFReadStreamOpen(stream));
    EXPECT_FALSE(CFReadStreamOpen(stream));
    EXPECT_TRUE(CFReadStreamHasBytesAvailable(stream));
    expect(0, 0, kCFStreamStatusOpen);
    expect(3, 3, kCFStreamStatusOpen);
    EXPECT_STREQ("abc", reinterpret_cast<char*>(buffer));
    expect(2, 5, kCFStreamStatusOpen);
    EXPECT_STREQ("dec", reinterpret_cast<char*>(buffer));
    expect(0, 3, kCFStreamStatusAtEnd);
    expect(0, 3, kCFStreamStatusAtEnd);
    for (int i = 0; i < 2; ++i) {
        CFReadStreamClose(stream);
        expect(-1, 3, kCFStreamStatusClosed);
    }
    EXPECT_FALSE(CFReadStreamOpen(stream));
    EXPECT_EQ(kCFStreamStatusClosed, CFReadStreamGetStatus(stream));
    ExpectError(CFReadStreamGetError(stream), 0);
    EXPECT_EQ(nullptr, CFReadStreamCopyError(stream));
}

TEST_F(Streams, MemoryIsLent)
{
    const char* bytes = "abcde";
    const auto stream = MemoryReader(bytes);
    const auto expectLent = [&](const char* first, CFIndex length, CFIndex asked) {
        CFIndex count = 7;
        EXPECT_EQ(Bytes(first), CFReadStreamGetBuffer(stream, asked, &count));
        EXPECT_EQ(length, count);
    };
    expectLent(nullptr, 0, 0);
    CFReadStreamOpen(stream);
    expectLent(bytes, 2, 2);
    expectLent(nullptr, 0, -1);
    expectLent(bytes + 2, 3, 0);
    EXPECT_EQ(kCFStreamStatusOpen, CFReadStreamGetStatus(stream));
    expectLent(nullptr, 0, 0);
    EXPECT_EQ(kCFStreamStatusAtEnd, CFReadStreamGetStatus(stream));
}

TEST_F(Streams, GrowingOneKeepsAllAndHandsOutSnapshots)
{
    auto stream = GrowingWriter();
    EXPECT_EQ("<none>", Written(stream));
    EXPECT_EQ(-1, CFWriteStreamWrite(stream, Bytes("x"), 1));
    EXPECT_FALSE(CFWriteStreamCanAcceptBytes(stream));
    ASSERT_TRUE(CFWriteStreamOpen(stream));
    EXPECT_EQ("", Written(stream));
    EXPECT_TRUE(CFWriteStreamCanAcceptBytes(stream));
    EXPECT_EQ(3, CFWriteStreamWrite(stream, Bytes("abc"), 3));
    Owned<CFTypeRef> snapshot(CFWriteStreamCopyProperty(stream, kCFStreamPropertyDataWritten));
    EXPECT_EQ(4, CFWriteStreamWrite(stream, Bytes("defg"), 4));
    EXPECT_EQ("abc", BytesOf(As<CFDataRef>(snapshot)));
    EXPECT_EQ(nullptr, CFWriteStreamCopyProperty(stream, CFSTR("unknown")));
    EXPECT_EQ(-1, CFWriteStreamWrite(stream, Bytes("x"), -1));
    EXPECT_EQ(-1, CFWriteStreamWrite(stream, nullptr, 1));
    CFWriteStreamClose(stream);
    EXPECT_EQ("abcdefg", Written(stream));
    EXPECT_EQ(-1, CFWriteStreamWrite(stream, Bytes("x"), 1));
}

TEST_F(Streams, FixedBufferTakesWhatFits)
{
    UInt8 buffer[6] = {0, 0, 0, 0, 0x55, 0x55};
    Owned<CFWriteStreamRef> stream(CFWriteStreamCreateWithBuffer(nullptr, buffer, 4));
    ASSERT_TRUE(CFWriteStreamOpen(stream));
    EXPECT_EQ(4, CFWriteStreamWrite(stream, Bytes("abcdef"), 6));
    EXPECT_EQ(kCFStreamStatusAtEnd, CFWriteStreamGetStatus(stream));
    EXPECT_FALSE(CFWriteStreamCanAcceptBytes(stream));
    EXPECT_EQ(0, CFWriteStreamWrite(stream, Bytes("g"), 1));
    EXPECT_EQ(0, std::memcmp(buffer, "abcd\x55\x55", 6));
    EXPECT_EQ("<none>", Written(stream));
}

TEST_F(Streams, FilesAreCreatedEmptiedAndReadBack)
{
    auto missing = Reader();
    UInt8 buffer[16] = {};
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(CFReadStreamOpen(missing));
        EXPECT_EQ(-1, CFReadStreamRead(missing, buffer, 1));
        EXPECT_EQ(kCFStreamStatusError, CFReadStreamGetStatus(missing));
        ExpectError(CFReadStreamGetError(missing), ENOENT);
    }
    const ShortTransfers slow(2);
    for (const std::string text : {"a longer text", "short"}) {
        auto writer = Writer();
        EXPECT_EQ(-1, OffsetOf(writer));
        ASSERT_TRUE(CFWriteStreamOpen(writer));
        const auto size = static_cast<CFIndex>(text.size());
        EXPECT_EQ(size, CFWriteStreamWrite(writer, Bytes(text.c_str()), size));
        EXPECT_EQ(size, OffsetOf(writer));
        EXPECT_EQ("<none>", Written(writer));
    }
    const auto reader = Reader();
    ASSERT_TRUE(CFReadStreamOpen(reader));
    CFIndex at = 0, got = 0;
    while ((got = CFReadStreamRead(reader, buffer + at, 5)) > 0) at += got;
    EXPECT_STREQ("short", reinterpret_cast<char*>(buffer));
    EXPECT_EQ(0, CFReadStreamRead(reader, buffer, 10));
    EXPECT_EQ(kCFStreamStatusAtEnd, CFReadStreamGetStatus(reader));
}

TEST_F(Streams, FilesAreAppendedAndReadFromAnywhere)
{
    Write("f", "abc");
    const auto sink = Writer();
    const CFStringRef appends = kCFStreamPropertyAppendToFile;
    EXPECT_FALSE(CFWriteStreamSetProperty(sink, appends, Number(int64_t{1})));
    EXPECT_TRUE(CFWriteStreamSetProperty(sink, appends, kCFBooleanTrue));
    EXPECT_EQ(kCFBooleanTrue, CFWriteStreamCopyProperty(sink, appends));
    ASSERT_TRUE(CFWriteStreamOpen(sink));
    EXPECT_FALSE(CFWriteStreamSetProperty(sink, appends, kCFBooleanFalse));
    EXPECT_EQ(3, OffsetOf(sink));
    CFWriteStreamWrite(sink, Bytes("def"), 3);
    CFWriteStreamClose(sink);

    const auto source = Reader();
    const CFStringRef key = kCFStreamPropertyFileCurrentOffset;
    const auto moves = [&](CFTypeRef to) { return bool(CFReadStreamSetProperty(source, key, to)); };
    EXPECT_FALSE(moves(Number(int64_t{4})));
    CFReadStreamOpen(source);
    UInt8 bytes[8] = {};
    EXPECT_EQ(6, CFReadStreamRead(source, bytes, 8));
    EXPECT_STREQ("abcdef", reinterpret_cast<char*>(bytes));
    EXPECT_EQ(0, CFReadStreamRead(source, bytes, 8));
    EXPECT_EQ(nullptr, CFReadStreamGetBuffer(source, 0, nullptr));
    EXPECT_TRUE(moves(Number(int64_t{4})));
    EXPECT_TRUE(
        CFEqual(Number(int64_t{4}), Owned<CFTypeRef>(CFReadStreamCopyProperty(source, key))));
    EXPECT_EQ(2, CFReadStreamRead(source, bytes, 8));
    EXPECT_EQ('e', bytes[0]);
    EXPECT_FALSE(moves(Number(int64_t{-1})) || moves(CFSTR("4")));
    EXPECT_FALSE(CFReadStreamSetProperty(source, kCFStreamPropertyDataWritten, CFSTR("4")));
    CFReadStreamClose(source);
    EXPECT_FALSE(moves(Number(int64_t{0})));
    EXPECT_FALSE(CFReadStreamSetProperty(MemoryReader("x"), key, Number(int64_t{0})));
}

TEST_F(Streams, FileErrorsAreReportedAndFinal)
{
    {
        auto writer = Writer();
        ASSERT_TRUE(CFWriteStreamOpen(writer));
        FakePlatform full(Faulty::kWrite, ENOSPC, 1);
        EXPECT_EQ(3, CFWriteStreamWrite(writer, Bytes("abc"), 3));
        EXPECT_EQ(-1, CFWriteStreamWrite(writer, Bytes("def"), 3));
        EXPECT_EQ(kCFStreamStatusError, CFWriteStreamGetStatus(writer));
        ExpectError(CFWriteStreamGetError(writer), ENOSPC);
        EXPECT_EQ(-1, CFWriteStreamWrite(writer, Bytes("def"), 3));
        EXPECT_EQ(2, full.Calls());
        Owned<CFErrorRef> error(CFWriteStreamCopyError(writer));
        EXPECT_EQ(ENOSPC, CFErrorGetCode(error));
        EXPECT_TRUE(CFEqual(kCFErrorDomainPOSIX, CFErrorGetDomain(error)));
        EXPECT_THAT(Taken(CFErrorCopyDescription(error)),
                    testing::HasSubstr("NSPOSIXErrorDomain error 28"));
    }
    auto reader = Reader();
    ASSERT_TRUE(CFReadStreamOpen(reader));
    FakePlatform broken(Faulty::kRead, EIO);
    UInt8 buffer[4];
    EXPECT_EQ(-1, CFReadStreamRead(reader, buffer, 4));
    ExpectError(CFReadStreamGetError(reader), EIO);
    FakePlatform refusing(Faulty::kOpen, EACCES);
    auto other = Writer();
    EXPECT_FALSE(CFWriteStreamOpen(other));
    ExpectError(CFWriteStreamGetError(other), EACCES);
}

TEST_F(Streams, MisuseIsHarmless)
{
    UInt8 byte = 0;
    for (auto stream : {CFReadStreamRef{}, As<CFReadStreamRef>(CFSTR("no stream"))}) {
        EXPECT_FALSE(CFReadStreamOpen(stream));
        EXPECT_EQ(-1, CFReadStreamRead(stream, &byte, 1));
        EXPECT_EQ(kCFStreamStatusNotOpen, CFReadStreamGetStatus(stream));
        EXPECT_EQ(nullptr, CFReadStreamCopyError(stream));
    }
    EXPECT_EQ(nullptr, CFReadStreamCreateWithFile(nullptr, nullptr));
    EXPECT_EQ(nullptr, CFWriteStreamCreateWithBuffer(nullptr, nullptr, 4));
}

Owned<CFErrorRef> MakeError(CFIndex code, const char* key, const char* text)
{
    const auto info = DictionaryOf({{Text(key), Text(text)}});
    return Owned<CFErrorRef>(CFErrorCreate(nullptr, CFSTR("domain"), code, info));
}

TEST_F(Errors, TellWhatTheirInformationSays)
{
    const Rows<const char*, const char*, const char*> rows = {
        {"NSLocalizedDescription", "text", "<null>", "<null>"},
        {"NSLocalizedFailureReason", "domain error 7: text", "text", "<null>"},
        {"NSLocalizedRecoverySuggestion", "domain error 7", "<null>", "text"},
        {"NSDescription", "domain error 7: text", "<null>", "<null>"},
        {"NSFilePath", "domain error 7", "<null>", "<null>"},
    };
    for (const auto& [key, description, reason, suggestion] : rows) {
        SCOPED_TRACE(key);
        const auto error = MakeError(7, key, "text");
        EXPECT_EQ(description, Taken(CFErrorCopyDescription(error)));
        EXPECT_EQ(reason, Taken(CFErrorCopyFailureReason(error)));
        EXPECT_EQ(suggestion, Taken(CFErrorCopyRecoverySuggestion(error)));
    }
    EXPECT_EQ("<null>", Taken(CFErrorCopyRecoverySuggestion(nullptr)));
}

TEST_F(Errors, CompareByDomainCodeAndInfo)
{
    auto error = MakeError(7, "k", "v"), same = MakeError(7, "k", "v");
    EXPECT_TRUE(CFEqual(error, same));
    EXPECT_EQ(CFHash(error), CFHash(same));
    EXPECT_FALSE(CFEqual(error, MakeError(8, "k", "v")));
    EXPECT_FALSE(CFEqual(error, MakeError(7, "k", "w")));
    Owned<CFErrorRef> bare(CFErrorCreate(nullptr, CFSTR("domain"), 7, nullptr));
    EXPECT_FALSE(CFEqual(error, bare));
    Owned<CFDictionaryRef> info(CFErrorCopyUserInfo(bare));
    EXPECT_EQ(0, CFDictionaryGetCount(info));
    EXPECT_EQ(nullptr, CFErrorCreate(nullptr, nullptr, 7, nullptr));
    const void *keys[] = {CFSTR("k")}, *values[] = {CFSTR("v")};
    const auto make = [](auto keyed, auto valued, CFIndex count) {
        return Owned<CFErrorRef>(CFErrorCreateWithUserInfoKeysAndValues(nullptr, CFSTR("domain"), 7,
                                                                        keyed, valued, count));
    };
    EXPECT_TRUE(CFEqual(error, make(keys, values, 1)));
    EXPECT_FALSE(make(nullptr, values, 1) || make(keys, values, -1));
}

}  // namespace
