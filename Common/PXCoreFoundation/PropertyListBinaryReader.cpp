// Reads binary property lists. Every count, offset and reference is checked against the bytes that
// are there before it is used. Open containers stand on a stack of frames. What the file holds once
// is built once; a mutable list is a copy in which nothing is shared.

#include "Containers_p.h"
#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFDate.h"
#include "CoreFoundation/PXCFExtensions.h"
#include "Number_p.h"
#include "PropertyListBinary.h"
#include "PropertyList_p.h"
#include "StringStorage.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace px::cf {

namespace {

// What a mutable list may hold beyond the objects and bytes of the file, by copies of what the file
// holds once.
constexpr uint64_t kMostCopies = uint64_t{1} << 24;
constexpr uint64_t kMostCopiedBytes = uint64_t{1} << 30;

struct Trailer {
    size_t offsetSize;
    size_t referenceSize;
    uint64_t objectCount;
    uint64_t root;
    uint64_t table;  // also the end of the objects
};

// One object, its size checked: all its bytes lie before the table.
struct Head {
    uint8_t first;
    uint64_t count;  // bytes, units, elements or entries
    size_t start;    // of the object
    size_t content;  // behind first byte and size
    size_t end;

    uint8_t Mark() const { return first & 0xF0; }
    bool IsContainer() const { return Mark() == kMarkArray || Mark() == kMarkDictionary; }
};

class Reader {
public:
    Reader(ListBytes input, ListFailure* failure) : input_(input), failure_(failure) {}
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader();

    CFPropertyListRef Read();
    uint64_t ObjectCount() const { return trailer_.objectCount; }

private:
    // What is known of an object of the file. `object` is owned, null until it is built.
    struct Known {
        CFTypeRef object;
        int32_t height;  // of a container: how many lie above each other
    };
    static constexpr int32_t kOpen = -1;  // on the present path

    struct Frame {
        uint64_t index;
        uint64_t count;
        uint64_t next;
        size_t references;  // where they start
        CFIndex base;       // of its elements in values_
        int32_t height;     // of the highest child
        bool isDictionary;
    };

    bool ReadTrailer();
    bool HeadOf(uint64_t index, Head* head);
    bool ReadCount(Head* head);
    bool Step();
    bool StepDictionary(Frame* frame);
    bool Enter(uint64_t index);
    bool EnterShared(const Known& known);
    bool CountBytes(const Head& head);
    bool Open(uint64_t index, const Head& head);
    bool Close();
    CFTypeRef NewContainer(const Frame& frame);
    bool PushKey(uint64_t index);
    bool PushLeaf(uint64_t index, const Head& head);
    bool Push(CFTypeRef value);
    void Raise(int32_t height);

    CFTypeRef NewLeaf(const Head& head);
    CFTypeRef NewIntegerFrom(const Head& head);
    CFTypeRef NewRealFrom(const Head& head);
    CFTypeRef NewDateFrom(const Head& head);
    CFTypeRef NewDataFrom(const Head& head);
    CFTypeRef NewStringFrom(const Head& head);
    CFTypeRef NewWideFrom(const Head& head);

    uint64_t NumberAt(size_t offset, size_t size) const
    {
        const uint8_t* bytes = input_.bytes + offset;
        uint64_t number = 0;
        for (size_t i = 0; i < size; ++i) number = number << 8 | bytes[i];
        return number;
    }
    uint64_t Reference(const Frame& frame, uint64_t position) const
    {
        return NumberAt(frame.references + position * trailer_.referenceSize,
                        trailer_.referenceSize);
    }
    bool Corrupt(const char* what)
    {
        return failure_->Set(kCFPropertyListReadCorruptError, "The binary list is corrupt: %s",
                             what);
    }
    CFTypeRef CorruptLeaf(const char* what)
    {
        Corrupt(what);
        return nullptr;
    }
    bool FailMemory() { return failure_->OutOfMemory(kCFPropertyListReadCorruptError); }

    const ListBytes input_;
    ListFailure* const failure_;
    Trailer trailer_ = {};
    Known* known_ = nullptr;
    GrowingBuffer<CFTypeRef> values_;  // owned: the elements so far of the open containers
    GrowingBuffer<UniChar> units_;
    uint64_t bytesRead_ = 0;
    int depth_ = 0;
    Frame frames_[kMaxListDepth];
};

Reader::~Reader()
{
    for (CFIndex i = 0; i < values_.Count(); ++i) CFRelease(values_[i]);
    for (uint64_t i = 0; known_ && i < trailer_.objectCount; ++i) {
        if (known_[i].object) ReleaseObject(ObjectOf(known_[i].object));
    }
    std::free(known_);
}

CFPropertyListRef Reader::Read()
{
    if (input_.size < kBinaryHeaderSize || std::memcmp(input_.bytes, kBinaryHeader, 7) != 0) {
        failure_->Set(kCFPropertyListReadUnknownVersionError,
                      "The binary list has an unknown version");
        return nullptr;
    }
    if (!ReadTrailer()) return nullptr;
    const size_t knownBytes = trailer_.objectCount * sizeof(Known);
    known_ = static_cast<Known*>(AllocateBytes(static_cast<CFIndex>(knownBytes)));
    if (!known_) {
        FailMemory();
        return nullptr;
    }
    std::memset(static_cast<void*>(known_), 0, knownBytes);
    if (!Enter(trailer_.root)) return nullptr;
    while (depth_ > 0) {
        if (!Step()) return nullptr;
    }
    values_.Truncate(0);
    return values_[0];
}

bool Reader::ReadTrailer()
{
    if (input_.size < kBinaryHeaderSize + kBinaryTrailerSize) return Corrupt("it is too short");
    const size_t start = input_.size - kBinaryTrailerSize;
    trailer_.offsetSize = input_.bytes[start + kTrailerOffsetSize];
    trailer_.referenceSize = input_.bytes[start + kTrailerReferenceSize];
    trailer_.root = NumberAt(start + kTrailerRoot, 8);
    trailer_.table = NumberAt(start + kTrailerTable, 8);
    const uint64_t count = NumberAt(start + kTrailerObjectCount, 8);
    const auto isSize = [](size_t size) { return size >= 1 && size <= 8; };
    if (!isSize(trailer_.offsetSize) || !isSize(trailer_.referenceSize)) {
        return Corrupt("a number size is wrong");
    }
    if (trailer_.table <= kBinaryHeaderSize || trailer_.table > start ||
        count > (start - trailer_.table) / trailer_.offsetSize) {
        return Corrupt("the offset table is not inside");
    }
    trailer_.objectCount = count;
    return trailer_.root < count || Corrupt("there is no root");
}

bool Reader::HeadOf(uint64_t index, Head* head)
{
    if (index >= trailer_.objectCount) return Corrupt("a reference leads outside");
    const size_t entry = trailer_.table + index * trailer_.offsetSize;
    const uint64_t offset = NumberAt(entry, trailer_.offsetSize);
    if (offset < kBinaryHeaderSize || offset >= trailer_.table) {
        return Corrupt("an offset leads outside");
    }
    head->first = input_.bytes[offset];
    head->start = offset;
    head->content = offset + 1;
    head->count = head->first & 0x0FU;
    size_t width = 0;
    switch (head->Mark()) {
        case kMarkInteger:
        case kMarkReal:
        case kByteDate & 0xF0:
            if (head->count > 4) return Corrupt("a number has an unknown size");
            head->count = uint64_t{1} << head->count;
            width = 1;
            break;
        case kMarkData:
        case kMarkAscii:
            width = 1;
            break;
        case kMarkUTF16:
            width = 2;
            break;
        case kMarkArray:
            width = trailer_.referenceSize;
            break;
        case kMarkDictionary:
            width = trailer_.referenceSize * 2;
            break;
        default:
            head->end = head->content;
            return true;
    }
    if (width != 0 && (head->first & 0x0FU) == kLongSize && !ReadCount(head)) return false;
    if (head->count > (trailer_.table - head->content) / width) {
        return Corrupt("an object does not end inside");
    }
    head->end = head->content + head->count * width;
    return true;
}

// The size of a long object, an integer object of its own.
bool Reader::ReadCount(Head* head)
{
    const uint8_t first = head->content < trailer_.table ? input_.bytes[head->content] : uint8_t{0};
    const size_t size = size_t{1} << (first & 0x03U);
    if (first < kByteInteger8 || first > kByteInteger64 || size >= trailer_.table - head->content) {
        return Corrupt("the size of an object is wrong");
    }
    head->count = NumberAt(head->content + 1, size);
    head->content += 1 + size;
    return true;
}

bool Reader::Step()
{
    Frame& frame = frames_[depth_ - 1];
    if (frame.next == frame.count) return Close();
    if (frame.isDictionary) return StepDictionary(&frame);
    return Enter(Reference(frame, frame.next++));
}

bool Reader::StepDictionary(Frame* frame)
{
    const uint64_t position = frame->next++;
    return PushKey(Reference(*frame, position)) &&
           Enter(Reference(*frame, frame->count + position));
}

// Puts the object on the stack of values, or opens it when it is a container.
bool Reader::Enter(uint64_t index)
{
    Head head;
    if (index < trailer_.objectCount && known_[index].object) {
        return EnterShared(known_[index]);
    }
    if (!HeadOf(index, &head)) return false;
    if (head.IsContainer()) return Open(index, head);
    return PushLeaf(index, head);
}

bool Reader::EnterShared(const Known& known)
{
    const Type type = ObjectOf(known.object)->type;
    if (type == Type::kArray || type == Type::kDictionary) {
        if (depth_ + known.height > kMaxListDepth) return Corrupt("it is nested too deep");
        Raise(known.height);
    }
    RetainPrivate(ObjectOf(known.object));
    return Push(known.object);
}

// Objects of an honest file do not overlap. Were they allowed to, a small file could unfold to any
// size; so their bytes together may not exceed those of the file.
bool Reader::CountBytes(const Head& head)
{
    bytesRead_ += head.end - head.start;
    return bytesRead_ <= trailer_.table - kBinaryHeaderSize || Corrupt("objects overlap");
}

bool Reader::Open(uint64_t index, const Head& head)
{
    Known& known = known_[index];
    if (known.height == kOpen) return Corrupt("a container holds itself");
    if (depth_ == kMaxListDepth) return Corrupt("it is nested too deep");
    if (!CountBytes(head)) return false;
    known.height = kOpen;
    frames_[depth_++] = {
        index, head.count, 0, head.content, values_.Count(), 0, head.Mark() == kMarkDictionary};
    return true;
}

bool Reader::Close()
{
    const Frame frame = frames_[--depth_];
    CFTypeRef made = NewContainer(frame);
    values_.Truncate(frame.base);
    if (!made) return FailMemory();
    Known& known = known_[frame.index];
    known.height = frame.height + 1;
    Raise(known.height);
    known.object = made;
    RetainPrivate(ObjectOf(made));
    return Push(made);
}

CFTypeRef Reader::NewContainer(const Frame& frame)
{
    const CFTypeRef* elements = values_.Elements() + frame.base;
    const CFIndex count = values_.Count() - frame.base;
    return frame.isDictionary ? CFTypeRef(AdoptDictionary(elements, count / 2, false))
                              : AdoptArray(elements, count, false);
}

bool Reader::PushKey(uint64_t index)
{
    Head head;
    if (index >= trailer_.objectCount || !known_[index].object) {
        if (!HeadOf(index, &head)) return false;
        if (head.Mark() != kMarkAscii && head.Mark() != kMarkUTF16) {
            return Corrupt("a key is no string");
        }
        return PushLeaf(index, head);
    }
    if (ObjectOf(known_[index].object)->type != Type::kString) {
        return Corrupt("a key is no string");
    }
    return EnterShared(known_[index]);
}

bool Reader::PushLeaf(uint64_t index, const Head& head)
{
    if (!CountBytes(head)) return false;
    CFTypeRef made = NewLeaf(head);
    if (!made) return false;
    known_[index].object = made;
    RetainPrivate(ObjectOf(made));
    return Push(made);
}

bool Reader::Push(CFTypeRef value)
{
    if (values_.Append(value)) return true;
    CFRelease(value);
    return FailMemory();
}

// Notes the height of a container in the one around it.
void Reader::Raise(int32_t height)
{
    if (depth_ == 0) return;
    Frame& parent = frames_[depth_ - 1];
    parent.height = std::max(parent.height, height);
}

// Null when the bytes are wrong or memory runs out; the failure is set then.
CFTypeRef Reader::NewLeaf(const Head& head)
{
    switch (head.Mark()) {
        case kMarkInteger:
            return NewIntegerFrom(head);
        case kMarkReal:
            return NewRealFrom(head);
        case kByteDate & 0xF0:
            return NewDateFrom(head);
        case kMarkData:
            return NewDataFrom(head);
        case kMarkAscii:
        case kMarkUTF16:
            return NewStringFrom(head);
        default:
            if (head.first == kByteTrue) return kCFBooleanTrue;
            if (head.first == kByteFalse) return kCFBooleanFalse;
            return CorruptLeaf("it holds an object of an unknown kind");
    }
}

CFTypeRef Reader::NewIntegerFrom(const Head& head)
{
    CFTypeRef made = nullptr;
    if (head.count < 16) {
        // Eight bytes are signed, fewer are not.
        made = NewInteger(static_cast<int64_t>(NumberAt(head.content, head.count)));
    } else {
        const uint64_t high = NumberAt(head.content, 8);
        const uint64_t low = NumberAt(head.content + 8, 8);
        const bool isNegative = high == UINT64_MAX && low >> 63 != 0;
        if (high != 0 && !isNegative) return CorruptLeaf("an integer is out of range");
        made = isNegative || low >> 63 == 0 ? NewInteger(static_cast<int64_t>(low))
                                            : PXCFNumberCreateUInt64(nullptr, low);
    }
    if (!made) FailMemory();
    return made;
}

CFTypeRef Reader::NewRealFrom(const Head& head)
{
    CFTypeRef made = nullptr;
    if (head.first == kByteFloat) {
        const float value = std::bit_cast<float>(static_cast<uint32_t>(NumberAt(head.content, 4)));
        made = CFNumberCreate(nullptr, kCFNumberFloat32Type, &value);
    } else if (head.first == kByteDouble) {
        made = NewReal(std::bit_cast<double>(NumberAt(head.content, 8)));
    } else {
        return CorruptLeaf("a real has an unknown size");
    }
    if (!made) FailMemory();
    return made;
}

CFTypeRef Reader::NewDateFrom(const Head& head)
{
    if (head.first != kByteDate) return CorruptLeaf("a date has an unknown size");
    const auto time = std::bit_cast<double>(NumberAt(head.content, 8));
    if (!std::isfinite(time)) return CorruptLeaf("a date is not finite");
    CFTypeRef made = CFDateCreate(nullptr, time);
    if (!made) FailMemory();
    return made;
}

CFTypeRef Reader::NewDataFrom(const Head& head)
{
    CFTypeRef made =
        CFDataCreate(nullptr, input_.bytes + head.content, static_cast<CFIndex>(head.count));
    if (!made) FailMemory();
    return made;
}

CFTypeRef Reader::NewStringFrom(const Head& head)
{
    if (head.Mark() == kMarkUTF16) return NewWideFrom(head);
    const uint8_t* bytes = input_.bytes + head.content;
    const auto length = static_cast<CFIndex>(head.count);
    if (AsciiPrefix(bytes, length) != length) return CorruptLeaf("a text is not ASCII");
    CFTypeRef made = NewAsciiString(reinterpret_cast<const char*>(bytes), length);
    if (!made) FailMemory();
    return made;
}

CFTypeRef Reader::NewWideFrom(const Head& head)
{
    const uint8_t* bytes = input_.bytes + head.content;
    const auto length = static_cast<CFIndex>(head.count);
    units_.Truncate(0);
    CFTypeRef made = nullptr;
    if (units_.Reserve(length)) {
        for (CFIndex i = 0; i < length; ++i) {
            units_.End()[i] = static_cast<UniChar>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
        }
        made = NewStringFromUnits(units_.End(), length);
    }
    if (!made) FailMemory();
    return made;
}

}  // namespace

CFPropertyListRef ReadBinaryList(ListBytes input, Mutability mutability, ListFailure* failure)
{
    uint64_t objectCount = 0;
    Owned<CFPropertyListRef> list;
    {
        Reader reader(input, failure);
        list.Reset(reader.Read());
        objectCount = reader.ObjectCount();
    }
    if (!list || mutability == Mutability::kNone) return list.Detach();
    if (ShapeOf(list.Get(), 0).nodes > objectCount + kMostCopies) {
        failure->Set(kCFPropertyListReadCorruptError,
                     "The binary list is corrupt: it unfolds to too many objects");
        return nullptr;
    }
    CFPropertyListRef copy = CopyList(list.Get(), mutability, input.size + kMostCopiedBytes);
    if (!copy) {
        failure->Set(kCFPropertyListReadCorruptError,
                     "The binary list unfolds to more than memory may hold");
    }
    return copy;
}

}  // namespace px::cf
