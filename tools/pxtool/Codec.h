#pragma once

// Codec — reading and writing picture files.
//
// A decoder fills a Picture row by row and stops with a failure at the first sign of damage: half a
// picture is never passed on. What the codec libraries would print is kept and becomes part of the
// failure. An encoder writes the picture's pixels, profile, resolution and, where the format has a
// place for them, XMP and EXIF: a JPEG marker takes 64 KB. Everything is given back on every way
// out.
//
// Read are: JPEG (8 bits, Huffman or arithmetic coding); PNG; TIFF with unsigned samples of 8 and
// 16 bits (grey and palettes also 1, 2 and 4) in strips or tiles, chunky or planar, in every
// compression that libtiff has but the old form of JPEG. Alpha that a TIFF file holds multiplied
// into the colours is divided out. Other colour models and sample formats are refused by name.

#include "pxtool/Errors.h"
#include "pxtool/Files.h"
#include "pxtool/Picture.h"
#include "pxtool/Progress.h"

#include <string_view>

namespace px::tool {

enum class Format : uint8_t { kUnknown, kJPEG, kPNG, kTIFF };

// By the first bytes; the file is read from its start again afterwards.
Format FormatOfContent(InputFile& file);
// By the ending of the name, without regard to case.
Format FormatOfName(std::string_view path);

// Decodes a file of any known format.
Failure Decode(InputFile& file, Progress& progress, Picture* picture);

Failure DecodeJPEG(InputFile& file, Progress& progress, Picture* picture);
Failure DecodePNG(InputFile& file, Progress& progress, Picture* picture);
Failure DecodeTIFF(InputFile& file, Progress& progress, Picture* picture);

// JPEG takes 8 bits without alpha, PNG no CMYK: the caller sees to it.
Failure EncodeJPEG(const Picture& picture, int quality, Progress& progress, OutputFile& file);
Failure EncodePNG(const Picture& picture, Progress& progress, OutputFile& file);
Failure EncodeTIFF(const Picture& picture, Progress& progress, OutputFile& file);

// An embedded profile larger than this is refused; the largest printer tables are a tenth of it.
inline constexpr size_t kMaxICCBytes = size_t{64} << 20;

// What a decoder reports: the system's reason when the file could not be read, else what the codec
// library said about its content.
Failure DecodeFailure(const InputFile& file, std::string_view codecMessage);
// What an encoder reports, likewise.
Failure EncodeFailure(const OutputFile& file, std::string_view codecMessage);

// Takes orientation and resolution out of the picture's EXIF bytes, and drops bytes that cannot be
// read: nobody could correct their orientation.
void ApplyExif(Picture* picture);

}  // namespace px::tool
