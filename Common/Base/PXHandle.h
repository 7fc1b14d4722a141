#pragma once

// PXHandle — owns one reference to an object of the flat functions, for C++.
//
// Handles are plain pointers, so an owner is told their two functions:
//
//     using Image = PXHandle<PXImageRetain, PXImageRelease>;
//     Image small;
//     PXStatus status = PXImageCreateScaledToFit(image.Get(), {1024, 1024}, nullptr,
//     small.Receive());
//
// Adopt takes over a reference, Retain adds one; copies have one of their own. Not thread-safe in
// itself, as any local variable. PXRef and CFRef (Base/Ref.h) do the same for objects of the
// exported classes and for CF values.

#include <utility>

template <auto RetainHandle, auto ReleaseHandle>
class PXHandle {
public:
    using Type = decltype(RetainHandle(nullptr));

    PXHandle() noexcept = default;
    PXHandle(const PXHandle& other) noexcept : handle_(other.handle_)
    {
        if (handle_) RetainHandle(handle_);
    }
    PXHandle(PXHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    PXHandle& operator=(PXHandle other) noexcept
    {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~PXHandle()
    {
        if (handle_) ReleaseHandle(handle_);
    }

    static PXHandle Adopt(Type handle) noexcept
    {
        PXHandle owner;
        owner.handle_ = handle;
        return owner;
    }
    static PXHandle Retain(Type handle) noexcept
    {
        if (handle) RetainHandle(handle);
        return Adopt(handle);
    }

    Type Get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != nullptr; }
    Type Detach() noexcept { return std::exchange(handle_, nullptr); }
    // Where a creation function puts a new handle. What was owned is released before.
    Type* Receive() noexcept
    {
        *this = {};
        return &handle_;
    }

private:
    Type handle_ = nullptr;
};
