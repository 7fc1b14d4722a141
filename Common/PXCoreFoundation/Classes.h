#pragma once

// Classes — one ClassInfo per type, each defined beside its class, and their table.

#include "Runtime.h"

namespace px::cf {

extern const ClassInfo kAllocatorClass;
extern const ClassInfo kNullClass;
extern const ClassInfo kStringClass;
extern const ClassInfo kArrayClass;
extern const ClassInfo kDictionaryClass;
extern const ClassInfo kSetClass;
extern const ClassInfo kDataClass;
extern const ClassInfo kNumberClass;
extern const ClassInfo kBooleanClass;
extern const ClassInfo kDateClass;
extern const ClassInfo kTimeZoneClass;
extern const ClassInfo kURLClass;
extern const ClassInfo kUUIDClass;
extern const ClassInfo kLocaleClass;
extern const ClassInfo kNumberFormatterClass;
extern const ClassInfo kBundleClass;
extern const ClassInfo kReadStreamClass;
extern const ClassInfo kWriteStreamClass;
extern const ClassInfo kErrorClass;
extern const ClassInfo kCharacterSetClass;

inline constexpr const ClassInfo* kClasses[] = {
    nullptr,
    &kAllocatorClass,
    &kNullClass,
    &kStringClass,
    &kArrayClass,
    &kDictionaryClass,
    &kSetClass,
    &kDataClass,
    &kNumberClass,
    &kBooleanClass,
    &kDateClass,
    &kTimeZoneClass,
    &kURLClass,
    &kUUIDClass,
    &kLocaleClass,
    &kNumberFormatterClass,
    &kBundleClass,
    &kReadStreamClass,
    &kWriteStreamClass,
    &kErrorClass,
    &kCharacterSetClass,
};
static_assert(sizeof(kClasses) / sizeof(kClasses[0]) == static_cast<size_t>(Type::kCount));

}  // namespace px::cf
