#pragma once

// NeverDestroyed — a process-wide object that is made on first use and outlives every exit handler.

#include <new>
#include <utility>

namespace px {

template <class T>
class NeverDestroyed {
public:
    template <class... Args>
    explicit NeverDestroyed(Args&&... args)
    {
        new (storage_) T(std::forward<Args>(args)...);
    }
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;

    T& operator*() noexcept { return *std::launder(reinterpret_cast<T*>(storage_)); }
    T* operator->() noexcept { return &**this; }

private:
    alignas(T) unsigned char storage_[sizeof(T)];
};

}  // namespace px
