#pragma once

// Elements_p — how a container retains, releases, compares and hashes what it holds.
//
// The callback records of arrays, dictionaries and sets are brought to one form at creation. The
// ready-made records are recognised there, by their members, and become one of the static forms
// below; then elements are handled by direct calls. A container holds a pointer to its form.

#include "CoreFoundation/CFArray.h"
#include "CoreFoundation/CFDictionary.h"
#include "CoreFoundation/CFSet.h"
#include "Runtime.h"
#include "String_p.h"

namespace px::cf {

struct Elements {
    const void* (*retain)(CFAllocatorRef, const void*) = nullptr;
    void (*release)(CFAllocatorRef, const void*) = nullptr;
    Boolean (*equal)(const void*, const void*) = nullptr;
    CFHashCode (*hash)(const void*) = nullptr;
    bool isCustom = false;
};

extern const Elements kPointerElements;       // nothing retained, identity
extern const Elements kObjectElements;        // CF objects
extern const Elements kCopiedStringElements;  // CF objects; strings, of which a copy is kept

// The form of a record, null for a null record's meaning of plain pointers. Null when memory runs
// out. Give it back with FreeElements.
const Elements* ElementsFor(const CFArrayCallBacks* record);
const Elements* ElementsFor(const CFDictionaryKeyCallBacks* record);
const Elements* ElementsFor(const CFDictionaryValueCallBacks* record);
const Elements* ElementsFor(const CFSetCallBacks* record);
const Elements* CopyElements(const Elements* elements);
void FreeElements(const Elements* elements);

// Equality of two objects, none of them null.
//
// Nested values never recurse: they wait in a PairList. Keys that are containers whose keys are
// containers do, because a key must be found before its value can wait; beyond 128 levels of that
// two keys are equal only when they are the same object.
bool ObjectsEqual(const Object* a, const Object* b);

// Compares a and b at once unless they hold objects; then they wait in `pending`.
bool EqualOrPending(const Object* a, const Object* b, PairList& pending);

inline bool AreObjects(const Elements* elements)
{
    return elements == &kObjectElements || elements == &kCopiedStringElements;
}

// True when these elements are compared as objects, whether or not they are retained.
inline bool CompareAsObjects(const Elements* elements)
{
    return elements->equal == kObjectElements.equal;
}

// False for a null (or, where strings are copied, other) element that must not get in.
inline bool Accepts(const Elements* elements, const void* value)
{
    if (elements == &kObjectElements) return value != nullptr;
    if (elements == &kCopiedStringElements) {
        return value && ObjectOf(value)->type == Type::kString;
    }
    return true;
}

// Gives what is to be stored for `value`. Null for a copied string means that memory ran out.
inline const void* RetainElement(const Elements* elements, const void* value)
{
    if (elements == &kObjectElements) {
        RetainObject(ObjectOf(value));
        return value;
    }
    return elements->retain ? elements->retain(kCFAllocatorSystemDefault, value) : value;
}

inline void ReleaseElement(const Elements* elements, const void* value)
{
    if (elements == &kObjectElements) {
        ReleaseObject(ObjectOf(value));
    } else if (elements->release) {
        elements->release(kCFAllocatorSystemDefault, value);
    }
}

// Keeps a container while release callbacks run, which may give the container itself back. Where
// none but our own run that cannot happen before the last use of the container.
class KeepWhileReleasing {
public:
    KeepWhileReleasing(const Object* container, bool hasCallbacks)
        : container_(hasCallbacks ? container : nullptr)
    {
        if (container_) RetainObject(container_);
    }
    KeepWhileReleasing(const KeepWhileReleasing&) = delete;
    KeepWhileReleasing& operator=(const KeepWhileReleasing&) = delete;
    ~KeepWhileReleasing()
    {
        if (container_) ReleaseObject(container_);
    }

private:
    const Object* container_;
};

inline bool ElementsEqual(const Elements* elements, const void* sought, const void* stored)
{
    if (sought == stored) return true;
    if (CompareAsObjects(elements)) {
        return sought && stored && ObjectsEqual(ObjectOf(sought), ObjectOf(stored));
    }
    return elements->equal && elements->equal(sought, stored);
}

inline CFHashCode HashElement(const Elements* elements, const void* value)
{
    return elements->hash ? elements->hash(value) : reinterpret_cast<CFHashCode>(value);
}

}  // namespace px::cf
