#pragma once

// Ref — owners of one reference: PXRef for counted objects, CFRef for CF values.
//
// Adopt takes over a reference, Retain adds one. A raw pointer as a parameter is borrowed for the
// call. Not thread-safe in themselves, as any local variable.

#include <utility>

#include "CoreFoundation/CFBase.h"

template <class T>
class PXRef {
public:
    PXRef() noexcept = default;
    PXRef(const PXRef& other) noexcept : object_(other.object_)
    {
        if (object_) object_->AddRef();
    }
    PXRef(PXRef&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    PXRef& operator=(PXRef other) noexcept
    {
        std::swap(object_, other.object_);
        return *this;
    }
    ~PXRef()
    {
        if (object_) object_->Release();
    }

    static PXRef Adopt(T* object) noexcept
    {
        PXRef ref;
        ref.object_ = object;
        return ref;
    }
    static PXRef Retain(T* object) noexcept
    {
        if (object) object->AddRef();
        return Adopt(object);
    }

    T* Get() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    T* Detach() noexcept { return std::exchange(object_, nullptr); }

private:
    T* object_ = nullptr;
};

template <class T>
class CFRef {
public:
    CFRef() noexcept = default;
    CFRef(const CFRef& other) noexcept : ref_(other.ref_)
    {
        if (ref_) CFRetain(ref_);
    }
    CFRef(CFRef&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
    CFRef& operator=(CFRef other) noexcept
    {
        std::swap(ref_, other.ref_);
        return *this;
    }
    ~CFRef()
    {
        if (ref_) CFRelease(ref_);
    }

    static CFRef Adopt(T ref) noexcept
    {
        CFRef owner;
        owner.ref_ = ref;
        return owner;
    }
    static CFRef Retain(T ref) noexcept
    {
        if (ref) CFRetain(ref);
        return Adopt(ref);
    }

    T Get() const noexcept { return ref_; }
    explicit operator bool() const noexcept { return ref_ != nullptr; }
    T Detach() noexcept { return std::exchange(ref_, nullptr); }

private:
    T ref_ = nullptr;
};
