#pragma once

// PropertyListBinary — the layout of binary property lists.
//
// A header of eight bytes, the objects, a table with the offset of each object, and a trailer. All
// numbers are big-endian. Objects refer to each other by their index in the table. The upper half
// of an object's first byte is its kind; the lower half is a size, where 15 says that an integer
// object with the size follows.

#include <cstddef>
#include <cstdint>

namespace px::cf {

constexpr char kBinaryHeader[] = "bplist00";
constexpr size_t kBinaryHeaderSize = 8;
constexpr size_t kBinaryTrailerSize = 32;

// Places in the trailer.
constexpr size_t kTrailerOffsetSize = 6;
constexpr size_t kTrailerReferenceSize = 7;
constexpr size_t kTrailerObjectCount = 8;
constexpr size_t kTrailerRoot = 16;
constexpr size_t kTrailerTable = 24;

// Kinds, in the upper half of the first byte.
constexpr uint8_t kMarkInteger = 0x10;  // the lower half is the logarithm of the size
constexpr uint8_t kMarkReal = 0x20;     // likewise
constexpr uint8_t kMarkData = 0x40;
constexpr uint8_t kMarkAscii = 0x50;
constexpr uint8_t kMarkUTF16 = 0x60;
constexpr uint8_t kMarkArray = 0xA0;
constexpr uint8_t kMarkDictionary = 0xD0;

// Whole first bytes.
constexpr uint8_t kByteFalse = 0x08;
constexpr uint8_t kByteTrue = 0x09;
constexpr uint8_t kByteInteger8 = 0x10;
constexpr uint8_t kByteInteger16 = 0x11;
constexpr uint8_t kByteInteger32 = 0x12;
constexpr uint8_t kByteInteger64 = 0x13;  // the first that is signed
constexpr uint8_t kByteInteger128 = 0x14;
constexpr uint8_t kByteFloat = 0x22;
constexpr uint8_t kByteDouble = 0x23;
constexpr uint8_t kByteDate = 0x33;
constexpr uint8_t kLongSize = 15;

}  // namespace px::cf
