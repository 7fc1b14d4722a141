#pragma once

// Base64 — the encoding of data in XML property lists.

#include <cstddef>
#include <cstdint>

namespace px::cf {

constexpr size_t Base64Length(size_t bytes)
{
    return (bytes + 2) / 3 * 4;
}

// Writes Base64Length(size) characters.
void EncodeBase64(const uint8_t* bytes, size_t size, uint8_t* text);

// Decodes in place and stores the number of bytes. White space may stand anywhere; padding may be
// missing when 2 or 3 characters remain. False for any other text, which is then spoiled.
bool DecodeBase64(uint8_t* text, size_t length, size_t* size);

}  // namespace px::cf
