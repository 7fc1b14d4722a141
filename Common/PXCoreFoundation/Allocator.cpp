// Allocators and the null object.
//
// Objects live on the process heap whatever allocator a constructor is given; an allocator object
// only serves callers who allocate through it and NoCopy constructors as their deallocator.

#include "Classes.h"
#include "CoreFoundation/CFBase.h"
#include "Runtime.h"

struct __CFAllocator : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kAllocator;
    constexpr __CFAllocator() : Object(kType, px::cf::kImmortal) {}
    explicit __CFAllocator(const CFAllocatorContext& given) : Object(kType, 0), context(given) {}

    CFAllocatorContext context = {};
};

struct __CFNull : px::cf::Object {
    constexpr __CFNull() : Object(px::cf::Type::kNull, px::cf::kImmortal) {}
};

namespace px::cf {

namespace {

using Allocator = __CFAllocator;

void DestroyAllocator(Object* object)
{
    auto* allocator = static_cast<Allocator*>(object);
    if (allocator->context.release && allocator->context.info) {
        allocator->context.release(allocator->context.info);
    }
    FreeObject(allocator);
}

void NeverDestroyed(Object*) {}

constinit Allocator systemAllocator;
constinit Allocator nullAllocator;
constinit Allocator useContextMarker;
constinit __CFNull nullObject;

// Retained; null for the system's.
constinit thread_local const Allocator* threadDefault = nullptr;

// The allocator that really acts for `ref`; null when `ref` is no allocator at all.
const Allocator* Resolve(CFAllocatorRef ref, const char* function)
{
    if (!ref) return threadDefault ? threadDefault : &systemAllocator;
    return Check<const Allocator>(ref, function);
}

}  // namespace

const ClassInfo kAllocatorClass = {"CFAllocator", DestroyAllocator, nullptr,
                                   nullptr,       nullptr,          false};
const ClassInfo kNullClass = {"CFNull", NeverDestroyed, nullptr, nullptr, nullptr, false};

bool IsNullDeallocator(CFAllocatorRef deallocator)
{
    return ObjectOf(deallocator) == &nullAllocator;
}

void DeallocateWith(CFAllocatorRef deallocator, const void* bytes)
{
    CFAllocatorDeallocate(deallocator ? deallocator : &systemAllocator, const_cast<void*>(bytes));
}

}  // namespace px::cf

using namespace px::cf;

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = nullptr;
constinit const CFAllocatorRef kCFAllocatorSystemDefault = &systemAllocator;
constinit const CFAllocatorRef kCFAllocatorMalloc = &systemAllocator;
constinit const CFAllocatorRef kCFAllocatorMallocZone = &systemAllocator;
constinit const CFAllocatorRef kCFAllocatorNull = &nullAllocator;
constinit const CFAllocatorRef kCFAllocatorUseContext = &useContextMarker;
constinit const CFNullRef kCFNull = &nullObject;

CFTypeID CFNullGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kNull);
}

CFTypeID CFAllocatorGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kAllocator);
}

CFAllocatorRef CFGetAllocator(CFTypeRef cf)
{
    return cf ? kCFAllocatorSystemDefault : nullptr;
}

CFAllocatorRef CFAllocatorGetDefault(void)
{
    return threadDefault ? threadDefault : &systemAllocator;
}

void CFAllocatorSetDefault(CFAllocatorRef allocator)
{
    if (allocator && !Check<const Allocator>(allocator, __func__)) return;
    CFRetain(allocator);
    CFRelease(std::exchange(threadDefault, allocator));
}

CFAllocatorRef CFAllocatorCreate(CFAllocatorRef, CFAllocatorContext* context)
{
    if (!context || context->version != 0) {
        Misuse(__func__, "no context of version 0");
        return nullptr;
    }
    Allocator* made = NewObject<Allocator>(0, *context);
    if (made && context->retain && context->info) {
        made->context.info = const_cast<void*>(context->retain(context->info));
    }
    return made;
}

void* CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex size, CFOptionFlags hint)
{
    const Allocator* acting = Resolve(allocator, __func__);
    if (!acting || size <= 0 || acting == &nullAllocator) return nullptr;
    if (acting->flags & kImmortal) return AllocateBytes(size);
    const CFAllocatorContext& context = acting->context;
    return context.allocate ? context.allocate(size, hint, context.info) : nullptr;
}

void CFAllocatorDeallocate(CFAllocatorRef allocator, void* ptr)
{
    const Allocator* acting = Resolve(allocator, __func__);
    if (!acting || !ptr || acting == &nullAllocator) return;
    if (acting->flags & kImmortal) {
        std::free(ptr);
    } else if (acting->context.deallocate) {
        acting->context.deallocate(ptr, acting->context.info);
    }
}

void* CFAllocatorReallocate(CFAllocatorRef allocator, void* ptr, CFIndex newsize,
                            CFOptionFlags hint)
{
    if (!ptr) return CFAllocatorAllocate(allocator, newsize, hint);
    if (newsize == 0) {
        CFAllocatorDeallocate(allocator, ptr);
        return nullptr;
    }
    const Allocator* acting = Resolve(allocator, __func__);
    if (!acting || newsize < 0 || acting == &nullAllocator) return nullptr;
    if (acting->flags & kImmortal) return ReallocateBytes(ptr, newsize);
    const CFAllocatorContext& context = acting->context;
    return context.reallocate ? context.reallocate(ptr, newsize, hint, context.info) : nullptr;
}

CFIndex CFAllocatorGetPreferredSizeForSize(CFAllocatorRef allocator, CFIndex size,
                                           CFOptionFlags hint)
{
    const Allocator* acting = Resolve(allocator, __func__);
    if (!acting || size <= 0 || acting == &nullAllocator) return 0;
    const CFAllocatorContext& context = acting->context;
    if (!context.preferredSize) return size;
    const CFIndex preferred = context.preferredSize(size, hint, context.info);
    return preferred < size ? size : preferred;
}

void CFAllocatorGetContext(CFAllocatorRef allocator, CFAllocatorContext* context)
{
    const Allocator* acting = Resolve(allocator, __func__);
    if (!acting || !context || context->version != 0) return;
    *context = acting->context;
}

}  // extern "C"
