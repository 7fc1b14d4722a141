// Writes binary property lists in two passes: objects get their numbers, then their bytes.

#include "Containers_p.h"
#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFDate.h"
#include "Hash_p.h"
#include "Number_p.h"
#include "PropertyListBinary.h"
#include "PropertyList_p.h"
#include "StringStorage.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace px::cf {

namespace {

// 1, 2, 4 or 8 bytes hold the number.
int SizeFor(uint64_t number)
{
    if (number < uint64_t{1} << 8) return 1;
    if (number < uint64_t{1} << 16) return 2;
    return number < uint64_t{1} << 32 ? 4 : 8;
}

// One object of the file. The references of a container lie together in one array.
struct Item {
    CFTypeRef object;
    CFIndex firstReference;
    CFIndex referenceCount;
};

// The number a value is written by: its bits, and whether it is an integer or a real.
struct WrittenNumber {
    uint64_t bits;
    bool isReal;
    bool isUnsigned;  // above 2^63-1
};

WrittenNumber WrittenForm(CFNumberRef number)
{
    const NumberValue value = ValueOf(number);
    if (value.IsReal()) return {std::bit_cast<uint64_t>(value.real), true, false};
    const bool isUnsigned = value.kind == NumberKind::kUInt64;
    return {isUnsigned ? value.unsignedInteger : static_cast<uint64_t>(value.integer), false,
            isUnsigned};
}

// Says which leaves are written once. The hash of texts differs between processes; it serves as
// seed for the others, so that nobody can choose numbers that collide.
class LeafRules {
public:
    LeafRules() : seed_(HashOfString(CFSTR("binary property list")) | 1U) {}

    uint64_t HashOf(CFTypeRef leaf) const
    {
        switch (ObjectOf(leaf)->type) {
            case Type::kString:
                return HashOfString(static_cast<CFStringRef>(leaf));
            case Type::kData: {
                auto data = static_cast<CFDataRef>(leaf);
                return Spread(
                    HashBytes(CFDataGetBytePtr(data), static_cast<size_t>(CFDataGetLength(data))));
            }
            case Type::kNumber: {
                const WrittenNumber number = WrittenForm(static_cast<CFNumberRef>(leaf));
                return Spread(number.bits + (number.isReal ? 1 : 0));
            }
            case Type::kDate:
                return Spread(DateBits(leaf));
            default:  // booleans, and containers by their address
                return Spread(reinterpret_cast<uintptr_t>(leaf));
        }
    }

    static bool AreSame(CFTypeRef a, CFTypeRef b)
    {
        if (a == b) return true;
        if (ObjectOf(a)->type != ObjectOf(b)->type) return false;
        switch (ObjectOf(a)->type) {
            case Type::kString:
                return StringsEqual(static_cast<CFStringRef>(a), static_cast<CFStringRef>(b));
            case Type::kData:
                return CFEqual(a, b);
            case Type::kNumber: {
                const WrittenNumber first = WrittenForm(static_cast<CFNumberRef>(a));
                const WrittenNumber second = WrittenForm(static_cast<CFNumberRef>(b));
                return first.bits == second.bits && first.isReal == second.isReal &&
                       first.isUnsigned == second.isUnsigned;
            }
            case Type::kDate:
                return DateBits(a) == DateBits(b);
            default:
                return false;
        }
    }

private:
    static uint64_t DateBits(CFTypeRef date)
    {
        return std::bit_cast<uint64_t>(CFDateGetAbsoluteTime(static_cast<CFDateRef>(date)));
    }
    uint64_t Spread(uint64_t value) const
    {
        value = (value ^ seed_) * 0x9E3779B97F4A7C15U;  // 2^64 / golden ratio
        value = (value ^ value >> 32) * (seed_ << 1 | 1U);
        return value ^ value >> 29;
    }

    uint64_t seed_;
};

// Finds the item of an object that is already numbered.
class ItemTable {
public:
    ItemTable() = default;
    ItemTable(const ItemTable&) = delete;
    ItemTable& operator=(const ItemTable&) = delete;
    ~ItemTable() { std::free(slots_); }

    // The index of the same object, or -1 after noting the object under `index`. False when memory
    // runs out.
    bool FindOrAdd(CFTypeRef object, CFIndex index, const GrowingBuffer<Item>& items,
                   CFIndex* found)
    {
        if (used_ * 2 >= slotCount_ && !Grow()) return false;
        const auto hash = static_cast<uint32_t>(rules_.HashOf(object));
        const size_t mask = slotCount_ - 1;
        for (size_t at = hash & mask;; at = (at + 1) & mask) {
            Slot& slot = slots_[at];
            if (slot.index == 0) {
                slot = {hash, static_cast<uint32_t>(index + 1)};
                ++used_;
                *found = -1;
                return true;
            }
            if (slot.hash == hash &&
                LeafRules::AreSame(object, items[CFIndex{slot.index} - 1].object)) {
                *found = CFIndex{slot.index} - 1;
                return true;
            }
        }
    }

private:
    // 32 bits suffice: there are at most kMaxListNodes values, and as many keys.
    struct Slot {
        uint32_t hash;
        uint32_t index;  // of the item plus one; 0 in a free slot
    };

    bool Grow()
    {
        const size_t count = slotCount_ == 0 ? 256 : slotCount_ * 2;
        auto* grown = static_cast<Slot*>(AllocateBytes(static_cast<CFIndex>(count * sizeof(Slot))));
        if (!grown) return false;
        std::memset(static_cast<void*>(grown), 0, count * sizeof(Slot));
        for (size_t i = 0; i < slotCount_; ++i) {
            if (slots_[i].index == 0) continue;
            size_t at = slots_[i].hash & (count - 1);
            while (grown[at].index != 0) at = (at + 1) & (count - 1);
            grown[at] = slots_[i];
        }
        std::free(slots_);
        slots_ = grown;
        slotCount_ = count;
        return true;
    }

    LeafRules rules_;
    Slot* slots_ = nullptr;
    size_t slotCount_ = 0;
    size_t used_ = 0;
};

class Writer {
public:
    Writer(ByteBuffer* out, ListFailure* failure) : out_(*out), failure_(failure) {}

    bool Write(CFPropertyListRef list);

private:
    // A container whose values are being numbered.
    struct Frame {
        CFIndex item;
        CFIndex base;           // of its entries
        CFIndex next;           // entry
        CFIndex count;          // of entries
        CFIndex nextReference;  // to be filled in
    };

    bool NumberAll(CFPropertyListRef list);
    bool Step();
    bool CheckShape();
    bool NumberValue(CFTypeRef value, CFIndex* reference);
    bool Number(CFTypeRef value, CFIndex* reference);
    bool Open(CFTypeRef container, CFIndex item);
    bool NumberKeys(const Frame& frame);

    bool WriteItems();
    bool WriteItem(const Item& item);
    bool WriteContainer(const Item& item, uint8_t mark, CFIndex count);
    bool WriteString(CFStringRef string);
    bool WriteNumber(CFNumberRef number);
    bool WriteTable();

    bool PutInteger(uint64_t value);
    bool PutHead(uint8_t mark, CFIndex size);
    void PutBytes(uint64_t value, int size)
    {
        uint8_t* end = out_.End();
        for (int i = size - 1; i >= 0; --i) {
            end[i] = static_cast<uint8_t>(value);
            value >>= 8;
        }
        out_.Advance(size);
    }
    bool PutMarked(uint8_t mark, uint64_t value, int size)
    {
        if (!Reserve(size + 1)) return false;
        PutBytes(mark, 1);
        PutBytes(value, size);
        return true;
    }
    bool Reserve(CFIndex size) { return out_.Reserve(size) || FailMemory(); }
    bool FailMemory() { return failure_->OutOfMemory(kCFPropertyListWriteStreamError); }
    bool Refuse(const char* what)
    {
        return failure_->Set(kCFPropertyListWriteStreamError, "The property list holds %s", what);
    }

    bool RefuseValue() { return Refuse("something that no binary list can carry, or itself"); }

    CFPropertyListRef root_ = nullptr;
    bool isShapeKnown_ = false;  // or nothing shared was met
    uint64_t nodes_ = 0;
    ByteBuffer& out_;
    ListFailure* const failure_;
    GrowingBuffer<Item> items_;
    GrowingBuffer<uint32_t> references_;
    GrowingBuffer<KeyedValue> entries_;
    GrowingBuffer<CFIndex> offsets_;
    ItemTable known_;
    int referenceSize_ = 1;
    int depth_ = 0;
    Frame frames_[kMaxListDepth];
};

bool Writer::Write(CFPropertyListRef list)
{
    if (!NumberAll(list)) return false;
    referenceSize_ = SizeFor(static_cast<uint64_t>(items_.Count()));
    if (!Reserve(CFIndex{kBinaryHeaderSize})) return false;
    std::memcpy(out_.End(), kBinaryHeader, kBinaryHeaderSize);
    out_.Advance(CFIndex{kBinaryHeaderSize});
    return WriteItems() && WriteTable();
}

bool Writer::NumberAll(CFPropertyListRef list)
{
    root_ = list;
    CFIndex reference = 0;
    if (!NumberValue(list, &reference)) return false;
    while (depth_ > 0) {
        if (!Step()) return false;
    }
    return true;
}

bool Writer::Step()
{
    Frame& frame = frames_[depth_ - 1];
    if (frame.next == frame.count) {
        entries_.Truncate(frame.base);
        --depth_;
        return true;
    }
    CFIndex reference = 0;
    const CFIndex place = frame.nextReference++;
    if (!NumberValue(entries_[frame.base + frame.next++].value, &reference)) return false;
    references_[place] = static_cast<uint32_t>(reference);
    return true;
}

// The numbering writes a shared container once, so the depth below it is seen at one place only and
// a cycle not at all. The first container that may be in two places has the whole list looked at;
// most lists have none.
bool Writer::CheckShape()
{
    isShapeKnown_ = true;
    const ListShape shape = ShapeOf(root_, kCFPropertyListBinaryFormat_v1_0);
    if (!shape.isValid) return RefuseValue();
    return shape.nodes <= kMaxListNodes || Refuse("too many objects");
}

bool Writer::NumberValue(CFTypeRef value, CFIndex* reference)
{
    if (FaultOfValue(value) || !CanCarryLeaf(value, kCFPropertyListBinaryFormat_v1_0)) {
        return RefuseValue();
    }
    if (++nodes_ > kMaxListNodes) return Refuse("too many objects");
    return Number(value, reference);
}

bool Writer::Number(CFTypeRef value, CFIndex* reference)
{
    const Type type = ObjectOf(value)->type;
    const bool isContainer = type == Type::kArray || type == Type::kDictionary;
    // A container with one reference hangs in one place only.
    const bool isAlone = isContainer && ObjectOf(value)->count.load(std::memory_order_relaxed) == 1;
    *reference = items_.Count();
    if (!isAlone) {
        if (isContainer && !isShapeKnown_ && !CheckShape()) return false;
        CFIndex found = -1;
        if (!known_.FindOrAdd(value, items_.Count(), items_, &found)) return FailMemory();
        if (found >= 0) {
            *reference = found;
            return true;
        }
    }
    if (!items_.Append(Item{value, 0, 0})) return FailMemory();
    return !isContainer || Open(value, *reference);
}

bool Writer::Open(CFTypeRef container, CFIndex item)
{
    if (depth_ == kMaxListDepth) return RefuseValue();
    const CFIndex base = entries_.Count();
    if (!AppendElements(container, &entries_)) return FailMemory();
    const CFIndex count = entries_.Count() - base;
    const bool isDictionary = ObjectOf(container)->type == Type::kDictionary;
    if (isDictionary && !AreKeysStrings(entries_.Elements() + base, count)) return RefuseValue();
    const CFIndex slots = isDictionary ? count * 2 : count;
    Frame frame = {item, base, 0, count, references_.Count()};
    items_[item].firstReference = references_.Count();
    items_[item].referenceCount = slots;
    if (!references_.Reserve(slots)) return FailMemory();
    references_.Advance(slots);
    if (isDictionary) {
        SortEntries(entries_.Elements() + base, count);
        if (!NumberKeys(frame)) return false;
        frame.nextReference += count;
    }
    frames_[depth_++] = frame;
    return true;
}

bool Writer::NumberKeys(const Frame& frame)
{
    for (CFIndex i = 0; i < frame.count; ++i) {
        CFIndex reference = 0;
        if (!Number(entries_[frame.base + i].key, &reference)) return false;
        references_[frame.nextReference + i] = static_cast<uint32_t>(reference);
    }
    return true;
}

bool Writer::WriteItems()
{
    if (!offsets_.Reserve(items_.Count())) return FailMemory();
    constexpr CFIndex kAhead = 8;  // the objects lie anywhere in memory
    for (CFIndex i = 0; i < items_.Count(); ++i) {
        if (i + kAhead < items_.Count()) __builtin_prefetch(items_[i + kAhead].object);
        (void)offsets_.Append(out_.Count());
        if (!WriteItem(items_[i])) return false;
    }
    return true;
}

bool Writer::WriteItem(const Item& item)
{
    switch (ObjectOf(item.object)->type) {
        case Type::kString:
            return WriteString(static_cast<CFStringRef>(item.object));
        case Type::kNumber:
            return WriteNumber(static_cast<CFNumberRef>(item.object));
        case Type::kDate:
            return PutMarked(
                kByteDate,
                std::bit_cast<uint64_t>(CFDateGetAbsoluteTime(static_cast<CFDateRef>(item.object))),
                8);
        case Type::kBoolean:
            return PutMarked(item.object == kCFBooleanTrue ? kByteTrue : kByteFalse, 0, 0);
        case Type::kData: {
            auto data = static_cast<CFDataRef>(item.object);
            const CFIndex size = CFDataGetLength(data);
            return PutHead(kMarkData, size) &&
                   (out_.Append(CFDataGetBytePtr(data), size) || FailMemory());
        }
        case Type::kArray:
            return WriteContainer(item, kMarkArray, item.referenceCount);
        default:
            return WriteContainer(item, kMarkDictionary, item.referenceCount / 2);
    }
}

bool Writer::WriteContainer(const Item& item, uint8_t mark, CFIndex count)
{
    if (!PutHead(mark, count) || !Reserve(item.referenceCount * referenceSize_)) return false;
    for (CFIndex i = 0; i < item.referenceCount; ++i) {
        PutBytes(references_[item.firstReference + i], referenceSize_);
    }
    return true;
}

bool Writer::WriteString(CFStringRef string)
{
    const StringView view = ViewOf(string);
    const bool isAscii = IsAsciiView(view);
    if (!PutHead(isAscii ? kMarkAscii : kMarkUTF16, view.length)) return false;
    if (isAscii && view.narrow) return out_.Append(view.narrow, view.length) || FailMemory();
    // A wide string may hold ASCII only, when it once held more.
    const int unitSize = isAscii ? 1 : 2;
    if (view.length > kMaxUnits || !Reserve(view.length * unitSize)) return FailMemory();
    for (CFIndex i = 0; i < view.length; ++i) PutBytes(view[i], unitSize);
    return true;
}

bool Writer::WriteNumber(CFNumberRef number)
{
    const WrittenNumber written = WrittenForm(number);
    if (written.isReal) return PutMarked(kByteDouble, written.bits, 8);
    if (!written.isUnsigned) return PutInteger(written.bits);
    // Sixteen bytes, because eight would read as negative.
    return PutMarked(kByteInteger128, 0, 8) && Reserve(8) && (PutBytes(written.bits, 8), true);
}

bool Writer::PutInteger(uint64_t value)
{
    if (value < uint64_t{1} << 8) return PutMarked(kByteInteger8, value, 1);
    if (value < uint64_t{1} << 16) return PutMarked(kByteInteger16, value, 2);
    if (value < uint64_t{1} << 32) return PutMarked(kByteInteger32, value, 4);
    return PutMarked(kByteInteger64, value, 8);
}

bool Writer::PutHead(uint8_t mark, CFIndex size)
{
    if (size < kLongSize) return PutMarked(static_cast<uint8_t>(mark | size), 0, 0);
    return PutMarked(mark | kLongSize, 0, 0) && PutInteger(static_cast<uint64_t>(size));
}

bool Writer::WriteTable()
{
    const auto tableOffset = static_cast<uint64_t>(out_.Count());
    const int offsetSize = SizeFor(tableOffset);
    if (!Reserve(offsets_.Count() * offsetSize + CFIndex{kBinaryTrailerSize})) return false;
    for (CFIndex i = 0; i < offsets_.Count(); ++i) {
        PutBytes(static_cast<uint64_t>(offsets_[i]), offsetSize);
    }
    PutBytes(0, static_cast<int>(kTrailerOffsetSize));
    PutBytes(static_cast<uint64_t>(offsetSize), 1);
    PutBytes(static_cast<uint64_t>(referenceSize_), 1);
    PutBytes(static_cast<uint64_t>(items_.Count()), 8);
    PutBytes(0, 8);  // the root is object 0
    PutBytes(tableOffset, 8);
    return true;
}

}  // namespace

bool WriteBinaryList(CFPropertyListRef list, ByteBuffer* out, ListFailure* failure)
{
    Writer writer(out, failure);
    return writer.Write(list);
}

}  // namespace px::cf
