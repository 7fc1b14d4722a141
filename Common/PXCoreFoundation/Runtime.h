#pragma once

// Runtime — the object header, class table and life cycle behind every CF reference.
//
// A class is a struct derived from Object, an entry in the class table and a ClassInfo. The struct
// carries the published tag (__CFString), so a reference is a pointer to it without a cast. Type
// ids are compile-time constants, so exported constants are constant-initialised and any function
// may be called from static constructors of other modules. Nothing is destroyed at exit.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

#include "CoreFoundation/CFBase.h"

namespace px::cf {

enum class Type : uint8_t {
    kNone,
    kAllocator,
    kNull,
    kString,
    kArray,
    kDictionary,
    kSet,
    kData,
    kNumber,
    kBoolean,
    kDate,
    kTimeZone,
    kURL,
    kUUID,
    kLocale,
    kNumberFormatter,
    kBundle,
    kReadStream,
    kWriteStream,
    kError,
    kCharacterSet,
    kCount
};

inline constexpr uint8_t kImmortal = 1;    // retain and release do not write to it
inline constexpr uint8_t kMutable = 2;     // made by a CreateMutable function
inline constexpr uint8_t kClassFlagA = 4;  // these are free for the class
inline constexpr uint8_t kClassFlagB = 8;
inline constexpr uint8_t kClassFlagC = 16;
inline constexpr uint8_t kClassFlagD = 32;

struct Object {
    constexpr Object(Type objectType, uint8_t objectFlags) : type(objectType), flags(objectFlags) {}

    mutable std::atomic<uint32_t> count{1};
    Type type;
    uint8_t flags;
    uint16_t spare = 0;
};
static_assert(sizeof(Object) == 8);

// Pairs that still have to be compared. Containers push their elements here instead of comparing
// them, so that nesting never becomes recursion.
class PairList {
public:
    PairList() = default;
    PairList(const PairList&) = delete;
    PairList& operator=(const PairList&) = delete;
    ~PairList();

    // False when memory ran out; the comparison then ends as unequal.
    [[nodiscard]] bool Push(CFTypeRef a, CFTypeRef b);
    bool Pop(CFTypeRef* a, CFTypeRef* b);

private:
    struct Pair {
        CFTypeRef a;
        CFTypeRef b;
    };
    static constexpr size_t kInlinePairs = 32;
    Pair inline_[kInlinePairs];
    Pair* pairs_ = inline_;
    size_t count_ = 0;
    size_t capacity_ = kInlinePairs;
};

struct ClassInfo {
    const char* name;
    // Releases the contents and frees the object with FreeObject.
    void (*destroy)(Object* object);
    // Called with two different objects of this class; null means identity.
    bool (*equal)(const Object* a, const Object* b, PairList& pending);
    // Null means the pointer.
    CFHashCode (*hash)(const Object* object);
    // Owned text or null for the plain "<CFName 0x…>".
    CFStringRef (*describe)(const Object* object);
    // Objects that hold other objects are torn down from a list, not recursively.
    bool holdsObjects;
};

// Null for a type without objects.
const ClassInfo* InfoOf(Type type);

void CountCreated(Type type);
void CountDestroyed(Type type);

// Memory that leaves errno alone. Null when there is none, or when the size is negative.
void* AllocateBytes(CFIndex size);
void* ReallocateBytes(void* block, CFIndex size);
// For tests of what happens without memory: lets `count` more allocations succeed and no other,
// until a negative count ends that.
void FailAllocationsAfter(int64_t count);

// Makes a T followed by `extraBytes` of its own storage; null when memory runs out. T's first
// constructor argument is not the type: T passes it to Object itself.
template <class T, class... Args>
T* NewObject(CFIndex extraBytes, Args&&... args)
{
    if (extraBytes < 0 || extraBytes > std::numeric_limits<CFIndex>::max() - CFIndex{sizeof(T)}) {
        return nullptr;
    }
    void* block = AllocateBytes(CFIndex{sizeof(T)} + extraBytes);
    if (!block) return nullptr;
    T* made = new (block) T(std::forward<Args>(args)...);
    CountCreated(made->type);
    return made;
}

template <class T>
void FreeObject(T* object)
{
    CountDestroyed(object->type);
    object->~T();
    std::free(object);
}

// Takes an object apart whose last reference is gone.
void Destroy(Object* object);

inline const Object* ObjectOf(CFTypeRef ref)
{
    return static_cast<const Object*>(ref);
}

inline void RetainObject(const Object* object)
{
    if (object->flags & kImmortal) return;
    object->count.fetch_add(1, std::memory_order_relaxed);  // a new reference needs no ordering
}

inline void ReleaseObject(const Object* object)
{
    if (object->flags & kImmortal) return;
    // The sole owner needs no atomic write: nobody else can hold or gain a reference.
    if (object->count.load(std::memory_order_acquire) == 1 ||
        object->count.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        Destroy(const_cast<Object*>(object));
    }
}

// Reports a null or foreign argument as the environment variable PXCF_DEBUG asks; silent by
// default.
[[gnu::cold]] void Misuse(const char* function, const char* what);

// The checked way from a reference to its object: null, after one report, when the reference is
// null or of another class. T names its class in T::kType.
template <class T, class Ref>
inline T* Check(Ref ref, const char* function)
{
    auto* object =
        const_cast<std::remove_const_t<T>*>(static_cast<const T*>(static_cast<const void*>(ref)));
    if (!object || object->type != T::kType) [[unlikely]] {
        Misuse(function, object ? "object of another class" : "null reference");
        return nullptr;
    }
    return object;
}

// The same, and the object must be mutable.
template <class T, class Ref>
inline T* CheckMutable(Ref ref, const char* function)
{
    T* object = Check<T>(ref, function);
    if (object && !(object->flags & kMutable)) [[unlikely]] {
        Misuse(function, "immutable object");
        return nullptr;
    }
    return object;
}

// True when `range` lies inside 0…length; reports otherwise.
inline bool CheckRange(CFRange range, CFIndex length, const char* function)
{
    if (range.location >= 0 && range.length >= 0 && range.location <= length &&
        range.length <= length - range.location) [[likely]] {
        return true;
    }
    Misuse(function, "range outside the object");
    return false;
}

// Gives the caller's bytes of a NoCopy constructor back as its deallocator argument asks.
void DeallocateWith(CFAllocatorRef deallocator, const void* bytes);
// True when the bytes have no owner, so that a copy must not share them.
bool IsNullDeallocator(CFAllocatorRef deallocator);

// Owns one CF reference.
template <class Ref>
class Owned {
public:
    Owned() = default;
    explicit Owned(Ref adopted) : ref_(adopted) {}
    Owned(Owned&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
    Owned& operator=(Owned&& other) noexcept
    {
        if (this != &other) Reset(std::exchange(other.ref_, nullptr));
        return *this;
    }
    ~Owned() { Reset(); }

    Ref Get() const { return ref_; }
    explicit operator bool() const { return ref_ != nullptr; }
    Ref Detach() { return std::exchange(ref_, nullptr); }
    void Reset(Ref adopted = nullptr)
    {
        Ref old = std::exchange(ref_, adopted);
        if (old) CFRelease(old);
    }

private:
    Ref ref_ = nullptr;
};

}  // namespace px::cf
