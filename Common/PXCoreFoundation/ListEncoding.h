#pragma once

// ListEncoding — finds out how the bytes of an XML property list are to be read.

#include "PropertyList_p.h"

#include <string_view>

namespace px::cf {

// The document inside its envelope: without byte-order mark, without white space in front of the
// declaration, without white space and zero bytes behind the end.
struct ListDocument {
    ListBytes whole;
    size_t start = 0;  // of the document, in bytes from the start of `whole`
    size_t size = 0;
    const char* encoding = nullptr;  // as expat, or its handler for unknown encodings, knows it
    int unitSize = 1;
    bool isBigEndian = false;

    // The line, counted from 1, of the byte `offset` of `whole`.
    uint64_t LineAt(size_t offset) const;
    // Where the last `ascii` before the byte `offset` of `whole` starts; `offset` if there is none.
    size_t FindBackward(std::string_view ascii, size_t offset) const;
    // The unit that starts at byte `offset` of `whole`.
    uint32_t UnitAt(size_t offset) const;
};

// A byte-order mark decides, then the form of the first "<" in UTF-16, then the declaration, then
// UTF-8. False when the declaration names an unknown encoding.
bool FindListDocument(ListBytes input, ListDocument* document, ListFailure* failure);

// The character of each byte of windows-1252; -1 where there is none.
int Windows1252Character(uint8_t byte);

}  // namespace px::cf
