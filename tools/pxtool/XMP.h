#pragma once

// XMP — makes a packet of metadata true for the picture that the tool writes.
//
// What tells of the photograph and its maker stays byte for byte. What describes pixels as the
// input stored them (size, orientation, resolution, profile, previews) is overwritten with spaces,
// so that the packet keeps its length.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace px::tool {

// Longer packets are left out; one with a history of years has a tenth of it.
inline constexpr size_t kMaxXMPBytes = size_t{16} << 20;

// Empties a packet that is not well-formed XML in UTF-8, or that declares a document type: nobody
// could correct it.
void CorrectXMP(std::vector<uint8_t>* packet);

}  // namespace px::tool
