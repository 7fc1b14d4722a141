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

int64_t OffsetOf(CFTypeRef property)
{
    Owned<CFTypeRef> owned(property);
    int64_t offset = -1;
    if (owned) CFNumberGetValue(As<CFNumberRef>(owned), kCFNumberSInt64Type, &offset);
    return offset;
}

void ExpectError(CFStreamError error, CFIndex domain, SInt32 code)
{
    EXPECT_EQ(domain, error.domain);
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
    ExpectError(CFReadStreamGetError(stream), 0, 0);
    EXPECT_EQ(nullptr, CFReadStreamCopyError(stream));
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
        ExpectError(CFReadStreamGetError(missing), kCFStreamErrorDomainPOSIX, ENOENT);
    }
    const CFStringRef key = kCFStreamPropertyFileCurrentOffset;
    for (const std::string text : {"a longer text", "short"}) {
        auto writer = Writer();
        EXPECT_EQ(-1, OffsetOf(CFWriteStreamCopyProperty(writer, key)));
        ASSERT_TRUE(CFWriteStreamOpen(writer));
        const auto size = static_cast<CFIndex>(text.size());
        EXPECT_EQ(size, CFWriteStreamWrite(writer, Bytes(text.c_str()), size));
        EXPECT_EQ(size, OffsetOf(CFWriteStreamCopyProperty(writer, key)));
        EXPECT_EQ("<none>", Written(writer));
    }
    auto reader = Reader();
    ASSERT_TRUE(CFReadStreamOpen(reader));
    EXPECT_EQ(3, CFReadStreamRead(reader, buffer, 3));
    EXPECT_EQ(3, OffsetOf(CFReadStreamCopyProperty(reader, key)));
    EXPECT_EQ(2, CFReadStreamRead(reader, buffer + 3, 10));
    EXPECT_STREQ("short", reinterpret_cast<char*>(buffer));
    EXPECT_EQ(0, CFReadStreamRead(reader, buffer, 10));
    EXPECT_EQ(kCFStreamStatusAtEnd, CFReadStreamGetStatus(reader));
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
        ExpectError(CFWriteStreamGetError(writer), kCFStreamErrorDomainPOSIX, ENOSPC);
        EXPECT_EQ(-1, CFWriteStreamWrite(writer, Bytes("def"), 3));
        EXPECT_EQ(2, full.Calls());
        Owned<CFErrorRef> error(CFWriteStreamCopyError(writer));
        EXPECT_EQ(ENOSPC, CFErrorGetCode(error));
        EXPECT_TRUE(CFEqual(kCFErrorDomainPOSIX, CFErrorGetDomain(error)));
        EXPECT_NE(std::string::npos,
                  Taken(CFErrorCopyDescription(error)).find("NSPOSIXErrorDomain error 28"));
    }
    auto reader = Reader();
    ASSERT_TRUE(CFReadStreamOpen(reader));
    FakePlatform broken(Faulty::kRead, EIO);
    UInt8 buffer[4];
    EXPECT_EQ(-1, CFReadStreamRead(reader, buffer, 4));
    ExpectError(CFReadStreamGetError(reader), kCFStreamErrorDomainPOSIX, EIO);
    FakePlatform refusing(Faulty::kOpen, EACCES);
    auto other = Writer();
    EXPECT_FALSE(CFWriteStreamOpen(other));
    ExpectError(CFWriteStreamGetError(other), kCFStreamErrorDomainPOSIX, EACCES);
}

TEST_F(Streams, ShortTransfersAreFinished)
{
    const ShortTransfers slow(2);
    auto writer = Writer();
    ASSERT_TRUE(CFWriteStreamOpen(writer));
    EXPECT_EQ(7, CFWriteStreamWrite(writer, Bytes("abcdefg"), 7));
    auto reader = Reader();
    ASSERT_TRUE(CFReadStreamOpen(reader));
    std::string all;
    UInt8 buffer[5];
    for (CFIndex got; (got = CFReadStreamRead(reader, buffer, 5)) > 0;) {
        all.append(reinterpret_cast<char*>(buffer), static_cast<size_t>(got));
    }
    EXPECT_EQ("abcdefg", all);
}

TEST_F(Streams, MisuseIsHarmless)
{
    UInt8 byte = 0;
    for (CFTypeRef object : {CFTypeRef{nullptr}, CFTypeRef{CFSTR("no stream")}}) {
        auto stream = As<CFReadStreamRef>(object);
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
    const struct {
        const char *key, *description, *reason, *suggestion;
    } rows[] = {
        {"NSLocalizedDescription", "text", "<null>", "<null>"},
        {"NSLocalizedFailureReason", "domain error 7: text", "text", "<null>"},
        {"NSLocalizedRecoverySuggestion", "domain error 7", "<null>", "text"},
        {"NSDescription", "domain error 7: text", "<null>", "<null>"},
        {"NSFilePath", "domain error 7", "<null>", "<null>"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.key);
        const auto error = MakeError(7, row.key, "text");
        EXPECT_EQ(row.description, Taken(CFErrorCopyDescription(error)));
        EXPECT_EQ(row.reason, Taken(CFErrorCopyFailureReason(error)));
        EXPECT_EQ(row.suggestion, Taken(CFErrorCopyRecoverySuggestion(error)));
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
