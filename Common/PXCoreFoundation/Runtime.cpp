#include "Runtime.h"

#include "CoreFoundation/CFNumber.h"
#include "CoreFoundation/CFString.h"
#include "CoreFoundation/PXCFExtensions.h"
#include "Classes.h"
#include "String_p.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>

namespace px::cf {

namespace {

constexpr size_t kTypeCount = static_cast<size_t>(Type::kCount);

// One cache line per counter: threads that make objects of different classes do not disturb each
// other.
struct alignas(64) LiveCounter {
    std::atomic<int64_t> live{0};
};
constinit LiveCounter liveCounters[kTypeCount];

// Objects whose last reference went while another one was being taken apart on this thread. Plain
// data, so that it works before main, after main and while a thread ends.
struct TeardownList {
    Object** objects;
    size_t count;
    size_t capacity;
    bool running;
};
constinit thread_local TeardownList teardown = {nullptr, 0, 0, false};

bool Postpone(Object* object)
{
    if (teardown.count == teardown.capacity) {
        const size_t capacity = teardown.capacity ? teardown.capacity * 2 : 64;
        void* grown = ReallocateBytes(teardown.objects, CFIndex(capacity * sizeof(Object*)));
        if (!grown) return false;
        teardown.objects = static_cast<Object**>(grown);
        teardown.capacity = capacity;
    }
    teardown.objects[teardown.count++] = object;
    return true;
}

constinit std::atomic<int64_t> allocationsLeft{-1};

bool MayAllocate()
{
    if (allocationsLeft.load(std::memory_order_relaxed) < 0) [[likely]]
        return true;
    const bool may = allocationsLeft.fetch_sub(1) > 0;
    if (!may) allocationsLeft.store(0);
    return may;
}

int DebugLevel()
{
    static const int level = [] {
        const char* text = std::getenv("PXCF_DEBUG");
        return text ? std::atoi(text) : 0;
    }();
    return level;
}

}  // namespace

const ClassInfo* InfoOf(Type type)
{
    return static_cast<size_t>(type) < kTypeCount ? kClasses[static_cast<size_t>(type)] : nullptr;
}

void CountCreated(Type type)
{
    liveCounters[static_cast<size_t>(type)].live.fetch_add(1, std::memory_order_relaxed);
}

void CountDestroyed(Type type)
{
    liveCounters[static_cast<size_t>(type)].live.fetch_sub(1, std::memory_order_relaxed);
}

void* AllocateBytes(CFIndex size)
{
    if (size < 0 || !MayAllocate()) return nullptr;
    const int savedErrno = errno;
    void* made = std::malloc(size == 0 ? 1 : static_cast<size_t>(size));
    errno = savedErrno;
    return made;
}

void* ReallocateBytes(void* block, CFIndex size)
{
    if (size < 0 || !MayAllocate()) return nullptr;
    const int savedErrno = errno;
    void* made = std::realloc(block, size == 0 ? 1 : static_cast<size_t>(size));
    errno = savedErrno;
    return made;
}

void FailAllocationsAfter(int64_t count)
{
    allocationsLeft.store(count);
}

void Destroy(Object* object)
{
    const ClassInfo* info = InfoOf(object->type);
    if (!info->holdsObjects) {
        info->destroy(object);
        return;
    }
    // Without memory for the list the object is taken apart at once, one level deeper on the stack.
    if (teardown.running) {
        if (!Postpone(object)) info->destroy(object);
        return;
    }
    teardown.running = true;
    info->destroy(object);
    while (teardown.count > 0) {
        Object* next = teardown.objects[--teardown.count];
        InfoOf(next->type)->destroy(next);
    }
    std::free(teardown.objects);
    teardown = {nullptr, 0, 0, false};
}

void Misuse(const char* function, const char* what)
{
    const int level = DebugLevel();
    if (level <= 0) return;
    const int savedErrno = errno;
    std::fprintf(stderr, "PXCoreFoundation: %s: %s\n", function, what);
    errno = savedErrno;
    if (level >= 2) std::abort();
}

}  // namespace px::cf

using namespace px::cf;

extern "C" {

CFTypeRef CFRetain(CFTypeRef cf)
{
    if (cf) [[likely]]
        RetainObject(ObjectOf(cf));
    return cf;
}

CFTypeRef CFMakeCollectable(CFTypeRef cf)
{
    return cf;
}

void CFRelease(CFTypeRef cf)
{
    if (cf) [[likely]]
        ReleaseObject(ObjectOf(cf));
}

CFIndex CFGetRetainCount(CFTypeRef cf)
{
    if (!cf) return 0;
    const Object* object = ObjectOf(cf);
    if (object->flags & kImmortal) return std::numeric_limits<CFIndex>::max();
    return static_cast<CFIndex>(object->count.load(std::memory_order_relaxed));
}

CFTypeID CFGetTypeID(CFTypeRef cf)
{
    return cf ? static_cast<CFTypeID>(ObjectOf(cf)->type) : 0;
}

CFStringRef CFCopyTypeIDDescription(CFTypeID type_id)
{
    const ClassInfo* info = type_id < static_cast<CFTypeID>(Type::kCount)
                                ? InfoOf(static_cast<Type>(type_id))
                                : nullptr;
    return info ? NewAsciiString(info->name, static_cast<CFIndex>(std::strlen(info->name)))
                : nullptr;
}

CFHashCode CFHash(CFTypeRef cf)
{
    if (!cf) return 0;
    const ClassInfo* info = InfoOf(ObjectOf(cf)->type);
    return info->hash ? info->hash(ObjectOf(cf)) : reinterpret_cast<CFHashCode>(cf) >> 4;
}

CFStringRef CFCopyDescription(CFTypeRef cf)
{
    if (!cf) return nullptr;
    const ClassInfo* info = InfoOf(ObjectOf(cf)->type);
    if (info->describe) return info->describe(ObjectOf(cf));
    char text[96];
    const int length = std::snprintf(text, sizeof(text), "<%s %p>", info->name, cf);
    return NewAsciiString(text, length);
}

CFIndex PXCFGetLiveObjectCount(CFTypeID type)
{
    if (type >= static_cast<CFTypeID>(Type::kCount)) return 0;
    if (type != 0) return liveCounters[type].live.load(std::memory_order_relaxed);
    int64_t total = 0;
    for (const LiveCounter& counter : liveCounters) {
        total += counter.live.load(std::memory_order_relaxed);
    }
    return static_cast<CFIndex>(total);
}

UInt32 PXCFGetVersion(void)
{
    return 1U << 16 | 0U;
}

}  // extern "C"
