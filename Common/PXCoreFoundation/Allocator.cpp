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

// The allocator that really acts for `ref`; null when `ref` is no allocator at all.
const Allocator* Resolve(CFAllocatorRef ref, const char* function)
{
    if (!ref) return &systemAllocator;
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
    CFAllocatorDeallocate(deallocator, const_cast<void*>(bytes));
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
    return kCFAllocatorSystemDefault;
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

}  // extern "C"
