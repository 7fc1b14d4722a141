// Streams in memory and on files, and error objects.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "support/CF.h"
#include "support/FakePlatform.h"

namespace {

using px::test::FakePlatform;
using px::test::Faulty;
using px::test::Owned;

class Streams : public px::test::LeakCheck {};
class Errors : public px::test::LeakCheck {};

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
    if (!data) return "<none>";
    auto bytes = static_cast<CFDataRef>(data.Get());
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(bytes)),
            static_cast<size_t>(CFDataGetLength(bytes))};
}

// A path of its own for each test, removed at the end.
class TemporaryFile {
public:
    TemporaryFile()
    {
        path_ = testing::TempDir() + "streams_test_" +
                testing::UnitTest::GetInstance()->current_test_info()->name();
        std::remove(path_.c_str());
    }
    ~TemporaryFile() { std::remove(path_.c_str()); }

    Owned<CFURLRef> URL() const
    {
        return Owned<CFURLRef>(CFURLCreateFromFileSystemRepresentation(
            nullptr, Bytes(path_.c_str()), static_cast<CFIndex>(path_.size()), false));
    }
    Owned<CFReadStreamRef> Reader() const
    {
        return Owned<CFReadStreamRef>(CFReadStreamCreateWithFile(nullptr, URL().Get()));
    }
    Owned<CFWriteStreamRef> Writer() const
    {
        return Owned<CFWriteStreamRef>(CFWriteStreamCreateWithFile(nullptr, URL().Get()));
    }

private:
    std::string path_;
};

int64_t OffsetOf(CFTypeRef property)
{
    Owned<CFTypeRef> owned(property);
    int64_t offset = -1;
    if (owned) {
        CFNumberGetValue(static_cast<CFNumberRef>(owned.Get()), kCFNumberSInt64Type, &offset);
    }
    return offset;
}

std::string DescriptionOf(CFErrorRef error)
{
    Owned<CFStringRef> text(CFErrorCopyDescription(error));
    char buffer[256] = "<none>";
    CFStringGetCString(text.Get(), buffer, sizeof(buffer), kCFStringEncodingUTF8);
    return buffer;
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
    EXPECT_EQ(-1, CFReadStreamRead(stream.Get(), buffer, 3));
    EXPECT_FALSE(CFReadStreamHasBytesAvailable(stream.Get()));
    EXPECT_TRUE(CFReadStreamOpen(stream.Get()));
    EXPECT_TRUE(CFReadStreamHasBytesAvailable(stream.Get()));
    EXPECT_EQ(0, CFReadStreamRead(stream.Get(), buffer, 0));
    EXPECT_EQ(3, CFReadStreamRead(stream.Get(), buffer, 3));
    EXPECT_EQ(2, CFReadStreamRead(stream.Get(), buffer + 3, 5));
    EXPECT_STREQ("abcde", reinterpret_cast<char*>(buffer));
    EXPECT_EQ(kCFStreamStatusOpen, CFReadStreamGetStatus(stream.Get()));
    EXPECT_EQ(0, CFReadStreamRead(stream.Get(), buffer, 3));
    EXPECT_EQ(kCFStreamStatusAtEnd, CFReadStreamGetStatus(stream.Get()));
    EXPECT_EQ(0, CFReadStreamRead(stream.Get(), buffer, 3));
    CFReadStreamClose(stream.Get());
    CFReadStreamClose(stream.Get());
    EXPECT_EQ(kCFStreamStatusClosed, CFReadStreamGetStatus(stream.Get()));
    EXPECT_EQ(-1, CFReadStreamRead(stream.Get(), buffer, 3));
    EXPECT_FALSE(CFReadStreamOpen(stream.Get()));
    EXPECT_EQ(kCFStreamStatusClosed, CFReadStreamGetStatus(stream.Get()));
    ExpectError(CFReadStreamGetError(stream.Get()), 0, 0);
    EXPECT_EQ(nullptr, CFReadStreamCopyError(stream.Get()));
}

TEST_F(Streams, CloseBeforeOpenHasNoEffect)
{
    auto stream = MemoryReader("a");
    CFReadStreamClose(stream.Get());
    EXPECT_EQ(kCFStreamStatusNotOpen, CFReadStreamGetStatus(stream.Get()));
    EXPECT_TRUE(CFReadStreamOpen(stream.Get()));
    EXPECT_FALSE(CFReadStreamOpen(stream.Get()));
    EXPECT_EQ(kCFStreamStatusOpen, CFReadStreamGetStatus(stream.Get()));
}

std::vector<void*> freed;

TEST_F(Streams, GiveBytesToTheDeallocatorOnce)
{
    freed.clear();
    CFAllocatorContext context = {};
    context.deallocate = [](void* bytes, void*) { freed.push_back(bytes); };
    Owned<CFAllocatorRef> deallocator(CFAllocatorCreate(nullptr, &context));
    static const UInt8 bytes[3] = {1, 2, 3};
    EXPECT_EQ(nullptr, CFReadStreamCreateWithBytesNoCopy(nullptr, bytes, -1, deallocator.Get()));
    EXPECT_TRUE(freed.empty());
    Owned<CFReadStreamRef> stream(
        CFReadStreamCreateWithBytesNoCopy(nullptr, bytes, 3, deallocator.Get()));
    deallocator.Reset();
    CFReadStreamOpen(stream.Get());
    CFReadStreamClose(stream.Get());
    EXPECT_TRUE(freed.empty());
    stream.Reset();
    EXPECT_EQ(std::vector<void*>{const_cast<UInt8*>(bytes)}, freed);
}

TEST_F(Streams, GrowingOneKeepsAllAndHandsOutSnapshots)
{
    auto stream = GrowingWriter();
    EXPECT_EQ("<none>", Written(stream.Get()));
    EXPECT_EQ(-1, CFWriteStreamWrite(stream.Get(), Bytes("x"), 1));
    EXPECT_FALSE(CFWriteStreamCanAcceptBytes(stream.Get()));
    ASSERT_TRUE(CFWriteStreamOpen(stream.Get()));
    EXPECT_EQ("", Written(stream.Get()));
    EXPECT_TRUE(CFWriteStreamCanAcceptBytes(stream.Get()));
    EXPECT_EQ(3, CFWriteStreamWrite(stream.Get(), Bytes("abc"), 3));
    Owned<CFTypeRef> snapshot(
        CFWriteStreamCopyProperty(stream.Get(), kCFStreamPropertyDataWritten));
    EXPECT_EQ(4, CFWriteStreamWrite(stream.Get(), Bytes("defg"), 4));
    EXPECT_EQ(3, CFDataGetLength(static_cast<CFDataRef>(snapshot.Get())));
    EXPECT_EQ("abcdefg", Written(stream.Get()));
    EXPECT_EQ(nullptr, CFWriteStreamCopyProperty(stream.Get(), CFSTR("unknown")));
    CFWriteStreamClose(stream.Get());
    EXPECT_EQ("abcdefg", Written(stream.Get()));
    EXPECT_EQ(-1, CFWriteStreamWrite(stream.Get(), Bytes("x"), 1));
}

TEST_F(Streams, FixedBufferTakesWhatFits)
{
    UInt8 buffer[6] = {0, 0, 0, 0, 0x55, 0x55};
    Owned<CFWriteStreamRef> stream(CFWriteStreamCreateWithBuffer(nullptr, buffer, 4));
    ASSERT_TRUE(CFWriteStreamOpen(stream.Get()));
    EXPECT_EQ(4, CFWriteStreamWrite(stream.Get(), Bytes("abcdef"), 6));
    EXPECT_EQ(kCFStreamStatusAtEnd, CFWriteStreamGetStatus(stream.Get()));
    EXPECT_FALSE(CFWriteStreamCanAcceptBytes(stream.Get()));
    EXPECT_EQ(0, CFWriteStreamWrite(stream.Get(), Bytes("g"), 1));
    EXPECT_EQ(0, std::memcmp(buffer, "abcd\x55\x55", 6));
    EXPECT_EQ("<none>", Written(stream.Get()));
}

TEST_F(Streams, FilesAreCreatedEmptiedAndReadBack)
{
    TemporaryFile file;
    auto missing = file.Reader();
    EXPECT_FALSE(CFReadStreamOpen(missing.Get()));
    EXPECT_EQ(kCFStreamStatusError, CFReadStreamGetStatus(missing.Get()));
    ExpectError(CFReadStreamGetError(missing.Get()), kCFStreamErrorDomainPOSIX, ENOENT);
    UInt8 buffer[16] = {};
    EXPECT_EQ(-1, CFReadStreamRead(missing.Get(), buffer, 1));
    EXPECT_FALSE(CFReadStreamOpen(missing.Get()));

    for (const char* text : {"a longer text", "short"}) {
        auto writer = file.Writer();
        EXPECT_EQ(-1, OffsetOf(CFWriteStreamCopyProperty(writer.Get(),
                                                         kCFStreamPropertyFileCurrentOffset)));
        ASSERT_TRUE(CFWriteStreamOpen(writer.Get()));
        const auto size = static_cast<CFIndex>(std::strlen(text));
        EXPECT_EQ(size, CFWriteStreamWrite(writer.Get(), Bytes(text), size));
        EXPECT_EQ(size, OffsetOf(CFWriteStreamCopyProperty(writer.Get(),
                                                           kCFStreamPropertyFileCurrentOffset)));
        EXPECT_EQ("<none>", Written(writer.Get()));
    }
    auto reader = file.Reader();
    ASSERT_TRUE(CFReadStreamOpen(reader.Get()));
    EXPECT_EQ(3, CFReadStreamRead(reader.Get(), buffer, 3));
    EXPECT_EQ(3,
              OffsetOf(CFReadStreamCopyProperty(reader.Get(), kCFStreamPropertyFileCurrentOffset)));
    EXPECT_EQ(2, CFReadStreamRead(reader.Get(), buffer + 3, 10));
    EXPECT_STREQ("short", reinterpret_cast<char*>(buffer));
    EXPECT_EQ(0, CFReadStreamRead(reader.Get(), buffer, 10));
    EXPECT_EQ(kCFStreamStatusAtEnd, CFReadStreamGetStatus(reader.Get()));
}

TEST_F(Streams, FileErrorsAreReportedAndFinal)
{
    TemporaryFile file;
    {
        auto writer = file.Writer();
        ASSERT_TRUE(CFWriteStreamOpen(writer.Get()));
        FakePlatform full(Faulty::kWrite, ENOSPC, 1);
        EXPECT_EQ(3, CFWriteStreamWrite(writer.Get(), Bytes("abc"), 3));
        EXPECT_EQ(-1, CFWriteStreamWrite(writer.Get(), Bytes("def"), 3));
        EXPECT_EQ(kCFStreamStatusError, CFWriteStreamGetStatus(writer.Get()));
        ExpectError(CFWriteStreamGetError(writer.Get()), kCFStreamErrorDomainPOSIX, ENOSPC);
        EXPECT_EQ(-1, CFWriteStreamWrite(writer.Get(), Bytes("def"), 3));
        EXPECT_EQ(2, full.Calls());
        Owned<CFErrorRef> error(CFWriteStreamCopyError(writer.Get()));
        EXPECT_EQ(ENOSPC, CFErrorGetCode(error.Get()));
        EXPECT_TRUE(CFEqual(kCFErrorDomainPOSIX, CFErrorGetDomain(error.Get())));
        EXPECT_NE(std::string::npos,
                  DescriptionOf(error.Get()).find("NSPOSIXErrorDomain error 28"));
    }
    auto reader = file.Reader();
    ASSERT_TRUE(CFReadStreamOpen(reader.Get()));
    FakePlatform broken(Faulty::kRead, EIO);
    UInt8 buffer[4];
    EXPECT_EQ(-1, CFReadStreamRead(reader.Get(), buffer, 4));
    ExpectError(CFReadStreamGetError(reader.Get()), kCFStreamErrorDomainPOSIX, EIO);
    FakePlatform refusing(Faulty::kOpen, EACCES);
    auto other = file.Writer();
    EXPECT_FALSE(CFWriteStreamOpen(other.Get()));
    ExpectError(CFWriteStreamGetError(other.Get()), kCFStreamErrorDomainPOSIX, EACCES);
}

TEST_F(Streams, ShortTransfersAreFinished)
{
    TemporaryFile file;
    const FakePlatform slow = FakePlatform::Short(2);
    auto writer = file.Writer();
    ASSERT_TRUE(CFWriteStreamOpen(writer.Get()));
    EXPECT_EQ(7, CFWriteStreamWrite(writer.Get(), Bytes("abcdefg"), 7));
    auto reader = file.Reader();
    ASSERT_TRUE(CFReadStreamOpen(reader.Get()));
    std::string all;
    UInt8 buffer[5];
    for (CFIndex got; (got = CFReadStreamRead(reader.Get(), buffer, 5)) > 0;) {
        all.append(reinterpret_cast<char*>(buffer), static_cast<size_t>(got));
    }
    EXPECT_EQ("abcdefg", all);
}

TEST_F(Streams, MisuseIsHarmless)
{
    auto foreign = (CFReadStreamRef)CFSTR("no stream");
    UInt8 byte = 0;
    for (CFReadStreamRef stream : {CFReadStreamRef{nullptr}, foreign}) {
        EXPECT_FALSE(CFReadStreamOpen(stream));
        EXPECT_EQ(-1, CFReadStreamRead(stream, &byte, 1));
        EXPECT_EQ(kCFStreamStatusNotOpen, CFReadStreamGetStatus(stream));
        EXPECT_EQ(nullptr, CFReadStreamCopyError(stream));
    }
    EXPECT_EQ(nullptr, CFReadStreamCreateWithFile(nullptr, nullptr));
    EXPECT_EQ(nullptr, CFWriteStreamCreateWithBuffer(nullptr, nullptr, 4));
    auto stream = GrowingWriter();
    CFWriteStreamOpen(stream.Get());
    EXPECT_EQ(-1, CFWriteStreamWrite(stream.Get(), &byte, -1));
    EXPECT_EQ(-1, CFWriteStreamWrite(stream.Get(), nullptr, 1));
    EXPECT_EQ("", Written(stream.Get()));
}

Owned<CFErrorRef> MakeError(CFIndex code, const char* key, const char* text)
{
    auto ownKey = px::test::Text(key), ownText = px::test::Text(text);
    const void* keys[] = {ownKey.Get()};
    const void* values[] = {ownText.Get()};
    Owned<CFDictionaryRef> info(CFDictionaryCreate(nullptr, keys, values, 1,
                                                   &kCFTypeDictionaryKeyCallBacks,
                                                   &kCFTypeDictionaryValueCallBacks));
    return Owned<CFErrorRef>(CFErrorCreate(nullptr, CFSTR("domain"), code, info.Get()));
}

TEST_F(Errors, DescribeThemselves)
{
    const struct {
        const char* key;
        const char* want;
    } rows[] = {
        {"NSLocalizedDescription", "text"},
        {"NSLocalizedFailureReason", "domain error 7: text"},
        {"NSDescription", "domain error 7: text"},
        {"NSFilePath", "domain error 7"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.key);
        auto error = MakeError(7, row.key, "text");
        EXPECT_EQ(row.want, DescriptionOf(error.Get()));
    }
}

TEST_F(Errors, CompareByDomainCodeAndInfo)
{
    auto error = MakeError(7, "k", "v");
    EXPECT_TRUE(CFEqual(error.Get(), MakeError(7, "k", "v").Get()));
    EXPECT_EQ(CFHash(error.Get()), CFHash(MakeError(7, "k", "v").Get()));
    EXPECT_FALSE(CFEqual(error.Get(), MakeError(8, "k", "v").Get()));
    EXPECT_FALSE(CFEqual(error.Get(), MakeError(7, "k", "w").Get()));
    Owned<CFErrorRef> bare(CFErrorCreate(nullptr, CFSTR("domain"), 7, nullptr));
    EXPECT_FALSE(CFEqual(error.Get(), bare.Get()));
    Owned<CFDictionaryRef> info(CFErrorCopyUserInfo(bare.Get()));
    EXPECT_EQ(0, CFDictionaryGetCount(info.Get()));
    EXPECT_EQ(nullptr, CFErrorCreate(nullptr, nullptr, 7, nullptr));
}

}  // namespace
