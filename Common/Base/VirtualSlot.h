#pragma once

// VirtualSlot — which function stands in a virtual slot of an object.
//
// Slot orders of exported classes are contract, so the table may be read. Used only to learn that a
// subclass has left a function as it is: an answer that differs for another reason (a function has
// two addresses across modules) costs speed, not correctness.

#include <cstddef>
#include <cstring>

namespace px {

// The slot after those of CBaseCore, whose destructor takes two in the Itanium C++ ABI and one in
// Microsoft's.
#if defined(_MSC_VER)
inline constexpr size_t kFirstSlot = 3;
#else
inline constexpr size_t kFirstSlot = 4;
#endif

inline const void* FunctionInSlot(const void* object, size_t slot)
{
    const char* table = nullptr;
    std::memcpy(&table, object, sizeof(table));
    const void* function = nullptr;
    std::memcpy(&function, table + slot * sizeof(function), sizeof(function));
    return function;
}

}  // namespace px
