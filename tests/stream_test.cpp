// Streams on files, memory, sockets and parts of other streams.

#include "Base/StreamFile.h"
#include "Base/StreamMemory.h"
#include "Base/StreamSub.h"
#include "support/Connections.h"
#include "support/FakePlatform.h"
#include "support/TempFolder.h"
#include "support/Test.h"
#include "support/ValueTest.h"

#include <bit>

namespace {

using namespace px::test;

constexpr PXStatus kOK = kPXOK;

class StreamTest : public InTempFolder<ValueTest> {
protected:
    PXRef<CBaseStreamFile> FileStream(const std::string& name, const char* mode)
    {
        PXStream made = nullptr;
        EXPECT_EQ(kOK, PXStreamCreateForFile(FileURL(Path(name)), Text(mode), &made));
        return PXRef<CBaseStreamFile>::Adopt(static_cast<CBaseStreamFile*>(px::ToStream(made)));
    }
};

PXRef<CBaseStreamMemory> Memory(std::string_view bytes = {})
{
    auto made = PXRef<CBaseStreamMemory>::Adopt(new CBaseStreamMemory);
    made->SetConstantData(DataOf(bytes));
    return made;
}

std::string Rest(CBaseStream& stream)
{
    std::string bytes(100000, '\0');
    size_t size = bytes.size();
    stream.ReadChunk(bytes.data(), 0, size);
    return bytes.substr(0, size);
}

// The next line, or the status that came in its place.
std::string ReadLine(CBaseStream& stream)
{
    size_t capacity = 2;
    auto* buffer = static_cast<char*>(std::malloc(capacity));
    const PXStatus status = PXStreamReadLine(px::ToHandle(&stream), &buffer, &capacity);
    const std::string line = status ? "status " + std::to_string(status) : buffer;
    EXPECT_TRUE(status || (capacity > line.size() && std::has_single_bit(capacity)));
    std::free(buffer);
    return line;
}

// One stream of each kind on the same bytes; those of the socket come from `sender`.
struct EveryKind {
    PXRef<CBaseStreamFile> file;
    PXRef<CBaseStreamMemory> memory, around;
    PXRef<CBaseStreamSub> sub;
    Connection connection;
    std::map<std::string, CBaseStream*> byName;

    EveryKind(PXRef<CBaseStreamFile> onFile, const std::string& bytes)
        : file(std::move(onFile)),
          memory(Memory(bytes)),
          around(Memory(".." + bytes + "...")),
          sub(PXRef<CBaseStreamSub>::Adopt(new CBaseStreamSub(around.Get(), 2, bytes.size())))
    {
        EXPECT_EQ(kOK, file->Open());
        byName = {{"file", file.Get()},
                  {"memory", memory.Get()},
                  {"sub-stream", sub.Get()},
                  {"socket", connection.theirs.Get()}};
    }
    void Send(const std::string& bytes)
    {
        Put(*connection.ours, bytes);
        connection.ours->Close();
    }
};

// Writes a value, or reads it and compares.
template <class Value>
void Pass(CBaseStream& stream, bool isWriting, PXStatus (*write)(PXStream, Value),
          PXStatus (*read)(PXStream, Value*), Value value)
{
    const PXStream handle = px::ToHandle(&stream);
    Value got{};
    EXPECT_EQ(kOK, isWriting ? write(handle, value) : read(handle, &got));
    if (isWriting) return;
    if constexpr (std::is_pointer_v<Value>) {
        const Owned<Value> owner(got);
        EXPECT_TRUE(value ? CFEqual(value, got) : !got);
    } else {
        EXPECT_EQ(value, got);
    }
}

void PassAll(CBaseStream& stream, bool isWriting)
{
    Pass<int16_t>(stream, isWriting, PXStreamWriteInt16, PXStreamReadInt16, -2);
    Pass<uint16_t>(stream, isWriting, PXStreamWriteUInt16, PXStreamReadUInt16, 0xFFFE);
    Pass<int32_t>(stream, isWriting, PXStreamWriteInt32, PXStreamReadInt32, 1);
    Pass<uint32_t>(stream, isWriting, PXStreamWriteUInt32, PXStreamReadUInt32, 0x80000000);
    Pass<int64_t>(stream, isWriting, PXStreamWriteInt64, PXStreamReadInt64, 2);
    Pass<uint64_t>(stream, isWriting, PXStreamWriteUInt64, PXStreamReadUInt64, 0xFF00000000000003);
    Pass<float>(stream, isWriting, PXStreamWriteFloat32, PXStreamReadFloat32, 1.5F);
    Pass<CFDataRef>(stream, isWriting, PXStreamWriteBlock, PXStreamReadBlockCopy, nullptr);
    Pass<CFDataRef>(stream, isWriting, PXStreamWriteBlock, PXStreamReadBlockCopy, DataOf("abc"));
    Pass<CFStringRef>(stream, isWriting, PXStreamWriteUnicodeStringWithLen,
                      PXStreamReadUnicodeStringWithLenCopy, Text("A\u20AC"));
    Pass<CFDateRef>(stream, isWriting, PXStreamWriteDate, PXStreamReadDateCopy,
                    Owned<CFDateRef>(CFDateCreate(nullptr, 1.5)));
    const PXStream handle = px::ToHandle(&stream);
    if (isWriting) {
        EXPECT_EQ(kOK, PXStreamWriteString(handle, Text("caf\u00E9")));
        EXPECT_EQ(kOK, PXStreamWriteStringParams(handle, CFSTR(" %d"), 7));
        EXPECT_EQ(kOK, PXStreamWritePad(handle, 3));
    } else {
        CFDataRef data = nullptr;
        EXPECT_EQ(kOK, PXStreamSkip2(handle, 2));
        EXPECT_EQ(kOK, PXStreamReadDataCopy(handle, 8, &data));
        EXPECT_EQ(std::string("f\xC3\xA9 7\0\0\0", 8), BytesOf(Owned<CFDataRef>(data)));
    }
}

void PassLists(CBaseStream& stream, bool isWriting)
{
    const PXStream handle = px::ToHandle(&stream);
    const auto list = DictionaryOf({{CFSTR("name"), CFSTR("value")}, {CFSTR("n"), Number(7.5)}});
    for (const CFPropertyListFormat format :
         {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
        CFPropertyListRef read = nullptr;
        EXPECT_EQ(kOK, isWriting ? PXStreamWritePropertyList(handle, list, format)
                                 : PXStreamReadPropertyListCopy(handle, 0, &read));
        EXPECT_TRUE(isWriting || CFEqual(list, Owned<CFPropertyListRef>(read)));
    }
}

// Every kind of stream that can be written and then read from its start.
TEST_F(StreamTest, ValuesHaveTheSameBytesOnEveryKindOfStream)
{
    using namespace std::string_literals;
    const std::string swapped =
        "\xFF\xFE\xFF\xFE\0\0\0\1\x80\0\0\0\0\0\0\0\0\0\0\2\xFF\0\0\0\0\0\0\3\x3F\xC0\0\0"
        "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\3abc\0\0\0\2\0A\x20\xAC\x3F\xF8\0\0\0\0\0\0"
        "caf\xC3\xA9 7\0\0\0"s;
    const EveryKind kinds(FileStream("values", "w+"), std::string(900, '.'));
    ShortTransfers sockets(5);
    for (const auto& [name, reader] : kinds.byName) {
        CBaseStream* writer = name == "socket" ? kinds.connection.ours.Get() : reader;
        for (const PXStreamByteOrder order : {1U, 0U, 2U}) {
            for (const bool isWriting : {true, false}) {
                SCOPED_TRACE(name + std::to_string(order));
                CBaseStream& stream = isWriting ? *writer : *reader;
                PXStreamSetByteOrder(px::ToHandle(&stream), order);
                if (writer == reader) stream.SetPos(0);
                PassAll(stream, isWriting);
                PassLists(stream, isWriting);
            }
        }
    }
    const std::string around = BytesOf(kinds.around->GetData());
    EXPECT_EQ(".....", around.substr(0, 2) + around.substr(902));
    const auto memory = Memory();
    memory->SetByteOrder(kPXStreamByteOrderSwapped);
    PassAll(*memory, true);
    EXPECT_EQ(swapped, BytesOf(memory->GetData()));
    memory->SetData(nullptr);
    memory->SetByteOrder(kPXStreamByteOrderNative);
    memory->WriteInt32(1);
    EXPECT_EQ(std::string("\1\0\0\0", 4), BytesOf(memory->GetData()));
}

TEST_F(StreamTest, LinesEndAtALineFeedBehindACarriageReturn)
{
    const Rows<std::vector<std::string>> rows = {
        {"abc\r\n", {"abc"}},
        {"ab\ncd\r\n", {"ab\ncd"}},
        {"\r\n", {""}},
        {"a\r\r\nb\rc\r\n", {"a\r", "b\rc"}},
        {"\n\r\n\r\r\r\nrest", {"\n", "\r\r"}},
        {"0123456789012345678901234567890123456789\r\nx\r\n",
         {"0123456789012345678901234567890123456789", "x"}},
    };
    for (const auto& [bytes, lines] : rows) {
        SCOPED_TRACE(bytes);
        Write("lines", bytes);
        EveryKind kinds(FileStream("lines", "r"), bytes);
        kinds.Send(bytes);
        ShortTransfers sockets(3);
        for (const auto& [name, stream] : kinds.byName) {
            SCOPED_TRACE(name);
            for (const std::string& line : lines) EXPECT_EQ(line, ReadLine(*stream));
            EventLog events;
            EXPECT_EQ("status " + std::to_string(kPXErrStreamEnd), ReadLine(*stream));
            EXPECT_TRUE(events.Messages().empty());
        }
    }
    const auto memory = Memory("a line\r\n");
    char* untouched = nullptr;
    size_t none = 0;
    EXPECT_EQ(kOK, memory->ReadLine(untouched, none));
    memory->SetReadCap(6);
    EXPECT_EQ("a line", ReadLine(*memory));
    const auto part =
        PXRef<CBaseStreamSub>::Adopt(new CBaseStreamSub(memory.Get(), 2, kPXStreamToEnd));
    EXPECT_EQ("line", ReadLine(*part));
    EXPECT_EQ("status " + std::to_string(kPXErrStreamEnd), ReadLine(*part));
    memory->SetPos(0);
    memory->SetReadCap(5);
    EventLog events;
    EXPECT_EQ("status " + std::to_string(kPXErrNotSupported), ReadLine(*memory));
    EXPECT_EQ(1, events.Count(kPXErrNotSupported));
}

TEST_F(StreamTest, EndsAsEachKindOfStreamEnds)
{
    Write("three", "abc");
    EveryKind kinds(FileStream("three", "r"), "abc");
    kinds.Send("abc");
    for (const auto& [name, stream] : kinds.byName) {
        SCOPED_TRACE(name);
        const PXStatus atEnd = name == "file" ? kOK : kPXErrStreamEnd;
        char bytes[8] = {};
        size_t size = 0;
        EXPECT_EQ(kOK, stream->ReadChunk(bytes, 0, size));
        EXPECT_FALSE(stream->IsEOF());
        size = sizeof(bytes);
        EXPECT_EQ(kOK, stream->ReadChunk(bytes, 0, size));
        EXPECT_EQ("abc", std::string(bytes, size));
        size = 5;
        EXPECT_EQ(atEnd, stream->ReadChunk(bytes, 1, size));
        EXPECT_EQ(0U, size);
        EXPECT_TRUE(stream->IsEOF());
        EXPECT_EQ(kPXErrStreamEnd, stream->ReadChar(bytes[0]));
        // What is not there whole is a failure, and logged once.
        EventLog events;
        int32_t value = 0;
        EXPECT_EQ(kPXErrStreamEnd, stream->ReadInt32(value));
        EXPECT_EQ(1U, events.Messages().size());
        if (name == "socket") continue;
        stream->SetPos(1);
        EXPECT_FALSE(stream->IsEOF());
        CFDataRef data = nullptr;
        EXPECT_EQ(kPXErrStreamEnd, stream->ReadDataCopy(3, data));
        EXPECT_EQ(nullptr, data);
    }
    CBaseStream& memory = *kinds.memory;
    CBaseStream& socket = *kinds.connection.theirs;
    memory.SetPos(1);
    EXPECT_EQ(kOK, memory.Skip(0));
    EXPECT_EQ(kOK, memory.Skip(5));
    uint64_t position = 0;
    size_t size = 1;
    char byte = 0;
    for (const PXStatus status :
         {memory.ReadChunk(&byte, 0, size), memory.SetBuffer(nullptr), memory.SetCaching(true),
          socket.Skip(1), socket.GetPos(position), socket.SetPos(0), socket.GetLength(position)})
        EXPECT_EQ(kPXErrStreamEnd, status);
}

// A file stream beside a plain string that takes the same steps.
TEST_F(StreamTest, FilesDoWhatAModelDoes)
{
    std::mt19937_64 random(Seed(1));
    for (const bool isBuffered : {true, false}) {
        const auto file = FileStream("model", "w+");
        EXPECT_TRUE(isBuffered || file->SetBuffer(nullptr) == kPXOK);
        ASSERT_EQ(kOK, file->Open());
        std::string model;
        size_t at = 0;
        for (int step = 0; step < 3000; ++step) {
            const size_t wanted = random() % 8 ? random() % 50 : random() % 200000;
            size_t size = wanted;
            switch (random() % 4) {
                case 0: {
                    const std::string bytes(wanted, static_cast<char>(random()));
                    ASSERT_EQ(kOK, file->WriteChunk(bytes.data(), size));
                    if (wanted == 0) break;
                    model.resize(std::max(model.size(), at + wanted));
                    model.replace(at, wanted, bytes);
                    at += wanted;
                    break;
                }
                case 1:
                    at = random() % 2 ? at - std::min<size_t>(at, random() % 100)
                                      : random() % (model.size() + 100);
                    ASSERT_EQ(kOK, file->SetPos(at));
                    break;
                default: {
                    // Every other read ends just where the file does.
                    if (at < model.size() && random() % 2) size = model.size() - at;
                    std::string bytes(size, '\0');
                    const std::string want = at < model.size() ? model.substr(at, size) : "";
                    ASSERT_EQ(kOK, file->ReadChunk(bytes.data(), 1, size));
                    ASSERT_EQ(want, bytes.substr(0, size));
                    at += size;
                }
            }
            uint64_t figure = 0;
            ASSERT_EQ(kOK, step % 5 ? file->GetPos(figure) : file->GetLength(figure));
            ASSERT_EQ(step % 5 ? at : model.size(), figure);
            if (model.size() > 3000000) {
                ASSERT_EQ(kOK, file->Open());
                model.clear();
                at = 0;
            }
        }
        file->Close();
        EXPECT_EQ(model, Content(Path("model")));
    }
}

TEST_F(StreamTest, FilesOpenAsTheirModeSays)
{
    const Rows<PXStatus, PXStatus, PXStatus, std::string> rows = {
        {"r", kPXOK, kPXOK, EBADF, "12345"},    {"rb+", kPXOK, kPXOK, kPXOK, "1xy45"},
        {"w", kPXOK, EBADF, kPXOK, "xy"},       {"w+", kPXOK, kPXOK, kPXOK, "xy"},
        {"a", kPXOK, EBADF, kPXOK, "12345xy"},  {"a+", kPXOK, kPXOK, kPXOK, "12345xy"},
        {"wx", kPXErrNotFound, 0, 0, "12345"},  {"q", kPXErrBadArgument, 0, 0, "12345"},
        {"", kPXErrBadArgument, 0, 0, "12345"},
    };
    for (const auto& [mode, open, read, write, after] : rows) {
        SCOPED_TRACE(mode);
        Write("modes", "12345");
        const auto file = FileStream("modes", mode);
        ASSERT_EQ(open, file->Open());
        if (open != kPXOK) continue;
        char byte = 0;
        size_t size = 1;
        EXPECT_EQ(read, file->ReadChunk(&byte, 0, size));
        if (read != kPXOK) file->SetPos(0);
        EXPECT_EQ(write, Put(*file, "xy"));
        uint64_t position = 0;
        EXPECT_EQ(kOK, file->GetPos(position));
        EXPECT_TRUE(write != kPXOK || position == after.find('y') + 1);
        EXPECT_EQ(kOK, file->Flush());
        EXPECT_EQ(after, Content(Path("modes")));
    }
    const auto nowhere = FileStream("no/such/file", "w");
    Case("no such folder").Gives(kPXErrNotFound, nowhere->Open());
    Case("no path").Gives(kPXErrBadArgument, CBaseStreamFile().Open());
    uint64_t figure = 0;
    for (const PXStatus status :
         {nowhere->GetLength(figure), nowhere->GetPos(figure), nowhere->SetPos(0)})
        EXPECT_EQ(PXStatus{EBADF}, status);
}

TEST_F(StreamTest, FilesTellOfFailures)
{
    Write("broken", std::string(100000, 'b'));
    const auto file = FileStream("broken", "r+");
    {
        FakePlatform fake(Faulty::kOpen, EMFILE);
        Case("open").Gives(kPXErrCreate, file->Open());
    }
    ASSERT_EQ(kOK, file->Open());
    std::string bytes(90000, '\0');
    {
        FakePlatform fake(Faulty::kRead, EIO, 1);
        size_t size = 10;
        EXPECT_EQ(kOK, file->ReadChunk(bytes.data(), 0, size));
        size = bytes.size();
        EXPECT_EQ(PXStatus{EIO}, file->ReadChunk(bytes.data(), 0, size));
        EXPECT_EQ(65526U, size);
    }
    ASSERT_EQ(kOK, file->SetPos(0));
    {
        FakePlatform fake(Faulty::kWrite, ENOSPC);
        EventLog events;
        EXPECT_EQ(kOK, Put(*file, "waits"));
        EXPECT_EQ(PXStatus{ENOSPC}, file->Flush());
        EXPECT_EQ(PXStatus{ENOSPC}, Put(*file, bytes));
        EXPECT_EQ(PXStatus{ENOSPC}, file->WriteBlock(DataOf(bytes)));
        EXPECT_EQ(2, events.Count(ENOSPC));
        EXPECT_EQ(kOK, Put(*file, "lost"));
        file->Close();
        EXPECT_EQ(3, events.Count(ENOSPC));
    }
    {
        FakeTable fake;
        fake->writeFile = [](px::os::File to, const void* from, size_t size, size_t* written) {
            return size < 90000 ? ENOSPC : px::os::NativeTable().writeFile(to, from, 7, written);
        };
        ASSERT_EQ(kOK, file->Open());
        size_t size = bytes.size();
        uint64_t position = 0;
        EXPECT_EQ(PXStatus{ENOSPC}, file->WriteChunk(bytes.data(), size));
        EXPECT_EQ(kOK, file->GetPos(position));
        EXPECT_EQ(7U, size);
        EXPECT_EQ(7U, position);
    }
    {
        ShortTransfers fake(7);
        ASSERT_EQ(kOK, file->Open());
        EXPECT_EQ(kOK, Put(*file, bytes));
        ASSERT_EQ(kOK, file->SetPos(89999));
        EXPECT_EQ(std::string(1, '\0') + std::string(10000, 'b'), Rest(*file));
    }
}

TEST_F(StreamTest, PositionsHave64Bits)
{
    constexpr uint64_t kFar = uint64_t{5} << 30;
    const auto file = FileStream("sparse", "w+");
    ASSERT_EQ(kOK, file->Open());
    ASSERT_EQ(kOK, file->SetPos(kFar));
    ASSERT_EQ(kOK, file->WriteInt32(7));
    const PXStream handle = px::ToHandle(file.Get());
    uint64_t figure = 0;
    EXPECT_EQ(kOK, PXStreamGetLength2(handle, &figure));
    EXPECT_EQ(kFar + 4, figure);
    uint32_t narrow = 1;
    EXPECT_EQ(PXStatus{kPXErrBadArgument}, PXStreamGetLength(handle, &narrow));
    EXPECT_EQ(PXStatus{kPXErrBadArgument}, PXStreamGetPos(handle, &narrow));
    EXPECT_EQ(kOK, PXStreamSetPos(handle, 9));
    EXPECT_EQ(kOK, PXStreamGetPos(handle, &narrow));
    EXPECT_EQ(9U, narrow);
    EXPECT_EQ(kOK, PXStreamSkip2(handle, kFar - 9));
    int32_t value = 0;
    EXPECT_EQ(kOK, PXStreamReadInt32(handle, &value));
    EXPECT_EQ(7, value);
    PXStream sub = nullptr;
    ASSERT_EQ(kOK, PXStreamCreateSubStream(handle, kFar, kPXStreamToEnd, &sub));
    EXPECT_EQ(kOK, PXStreamReadInt32(sub, &value));
    EXPECT_EQ(kOK, PXStreamGetLength(sub, &narrow));
    EXPECT_TRUE(value == 7 && narrow == 4);
    Case("sub-stream").Gives(kPXErrBadArgument, PXStreamSetPos2(sub, UINT64_MAX));
    Case("file").Gives(EINVAL, PXStreamSetPos2(handle, UINT64_MAX));
    Case("skipping").Gives(EINVAL, PXStreamSkip2(handle, UINT64_MAX));
    PXStreamRelease(sub);
}

TEST_F(StreamTest, MemoryIsChangedInPlaceOrCopied)
{
    const auto owned = Owned<CFMutableDataRef>(CFDataCreateMutable(nullptr, 0));
    CFDataAppendBytes(owned, reinterpret_cast<const UInt8*>("123456"), 6);
    CBaseStreamMemory memory;
    memory.SetData(owned);
    memory.SetPos(4);
    EXPECT_EQ(kOK, Put(memory, "abcd"));
    EXPECT_EQ("1234abcd", BytesOf(owned));
    memory.SetPos(100);  // no gap: what is written there follows the last byte
    EXPECT_EQ(kOK, Put(memory, "!"));
    EXPECT_EQ(kOK, Put(memory, "?"));
    EXPECT_EQ("1234abcd!?", BytesOf(owned));
    uint64_t position = 0;
    memory.GetPos(position);
    EXPECT_EQ(102U, position);
    CFDataSetLength(owned, 4096);  // elsewhere, and then shorter again
    CFDataSetLength(owned, 3);
    memory.SetPos(1);
    EXPECT_EQ("23", Rest(memory));
    EXPECT_EQ(kOK, Put(memory, "now\r\n"));
    EXPECT_EQ("123now\r\n", BytesOf(owned));
    CFDataSetLength(owned, 7);  // the line feed lies behind the end
    memory.SetPos(0);
    EXPECT_EQ("status " + std::to_string(kPXErrStreamEnd), ReadLine(memory));
    const auto constant = DataOf("constant");
    memory.SetData(As<CFMutableDataRef>(constant));
    EXPECT_EQ(PXStatus{kPXErrCreate}, Put(memory, "X"));
    memory.SetConstantData(constant);
    memory.SetPos(1);
    CBaseStream* copy = nullptr;
    ASSERT_EQ(kOK, memory.CreateCopy(copy));
    EXPECT_EQ(kOK, Put(memory, "X"));
    EXPECT_EQ("cXnstant", BytesOf(PXStreamGetData(px::ToHandle(&memory))));
    EXPECT_EQ("constant", BytesOf(constant));
    EXPECT_EQ("onstant", Rest(*copy));
    CFDataRef all = nullptr;
    EXPECT_EQ(kOK, PXStreamCreateCFData(px::ToHandle(copy), &all));
    EXPECT_EQ("constant", BytesOf(Owned<CFDataRef>(all)));
    const auto sub = PXRef<CBaseStreamSub>::Adopt(new CBaseStreamSub(copy, 2, 3));
    copy->Release();
    EXPECT_EQ(PXStatus{kPXErrBadArgument}, Put(*sub, "four"));
    EXPECT_EQ(kOK, Put(*sub, "two"));
    EXPECT_EQ(PXStatus{kPXErrBadArgument}, Put(*sub, "x"));
    CBaseStream* subCopy = nullptr;
    sub->SetPos(1);
    ASSERT_EQ(kOK, sub->CreateCopy(subCopy));
    EXPECT_EQ("wo", Rest(*subCopy));
    subCopy->Release();
    EXPECT_EQ(PXStatus{kPXErrNotSupported}, CBaseStreamFile().CreateCopy(copy));
    EXPECT_EQ(nullptr, copy);
}

TEST_F(StreamTest, MemoryTakesItsOwnBytesInPiecesOfEverySize)
{
    const std::string digits = "0123456789";
    for (size_t size = 0; size <= digits.size(); ++size) {  // the last makes the data grow
        SCOPED_TRACE(size);
        const auto memory = Memory();
        EXPECT_EQ(kOK, Put(*memory, digits));
        memory->SetPos(1);
        size_t done = size;
        EXPECT_EQ(kOK, memory->WriteChunk(memory->GetBytePtr(), done));
        const std::string want = std::string(digits).replace(1, size, digits, 0, size);
        EXPECT_EQ(want, BytesOf(memory->GetData()));
        memory->SetPos(0);
        char read[16] = {};
        EXPECT_EQ(kOK, memory->ReadChunk(read, CBaseStream::kFixedWidth, done));
        EXPECT_EQ(want.substr(0, size), read);
    }
}

TEST_F(StreamTest, ListsAreCheckedOnArrival)
{
    const auto file = FileStream("list", "r");
    const auto memory = Memory();
    const auto block = [](uint64_t length, const std::string& bytes) {
        return std::string(reinterpret_cast<const char*>(&length), 8) + bytes;
    };
    const Rows<std::string, PXStatus> rows = {
        {"beyond the end", block(9, "<plist/>"), kPXErrStreamEnd},
        {"huge", block(uint64_t{1} << 63, "12"), kPXErrNotSupported},
        {"a terabyte", block(uint64_t{1} << 40, "12"), kPXErrStreamEnd},
        {"no list", block(3, "<a>"), kPXErrListRead},
        {"nothing", block(0, ""), kPXErrListRead}};
    for (const auto& [name, bytes, want] : rows) {
        SCOPED_TRACE(name);
        Write("list", bytes);
        ASSERT_EQ(kOK, file->Open());
        file->SetReadCap(uint64_t{1} << 60);
        EventLog events;
        CFPropertyListRef read = nullptr;
        EXPECT_EQ(want, file->readPropertyListCopy(0, read));
        EXPECT_EQ(nullptr, read);
        EXPECT_LE(1U, events.Messages().size());
        memory->SetConstantData(DataOf(bytes));
        EXPECT_NE(kOK, memory->readPropertyListCopy(0, read));
        EXPECT_EQ(nullptr, read);
    }
    memory->SetConstantData(DataOf(block(5, "12345")));
    memory->SetReadCap(4);
    CFDataRef data = nullptr;
    Case("above the cap").Gives(kPXErrNotSupported, memory->ReadBlockCopy(data));
}

}  // namespace
