#pragma once

// ICCCheck — what is looked at in ICC bytes before Little CMS sees them.

#include <cstddef>
#include <cstdint>

namespace px {

inline constexpr size_t kICCHeaderBytes = 128;

// Whether header and tag table are consistent with the bytes that are there: the declared size, the
// signature, the tag count, and every tag's offset and length. Trailing bytes are allowed.
bool IsConsistentICC(const uint8_t* bytes, size_t size);

// The big-endian 32-bit number at an offset.
uint32_t ReadICC32(const uint8_t* bytes, size_t offset);

}  // namespace px
