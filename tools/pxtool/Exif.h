#pragma once

// Exif — finds and changes the few EXIF fields that a conversion makes untrue.
//
// The bytes are a TIFF structure of either byte order, as they stand in a JPEG marker after
// "Exif\0\0" or in a PNG chunk. Nothing is trusted: an offset outside the bytes ends the search,
// each folder of fields is visited once, and no field is followed but the one to the EXIF folder.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace px::tool {

struct ExifFacts {
    bool isReadable = false;  // the header and the first folder are whole
    int orientation = 1;      // 1…8
    double dpiX = 0;          // pixels per inch, 0 when not told
    double dpiY = 0;
};

ExifFacts ReadExif(std::span<const uint8_t> bytes);

enum class ExifColour : uint8_t { kAsItIs, kSRGB, kUncalibrated };

struct ExifChange {
    ExifColour colour = ExifColour::kAsItIs;
    bool dropsPreview = false;  // a preview in the bytes would not show the picture any more
    bool swapsSides = false;    // width and height changed places
    uint32_t width = 0;         // the new size in pixels; 0: as it was
    uint32_t height = 0;
};

// Sets the orientation to 1 and makes the change true where the fields exist.
void ChangeExif(std::span<uint8_t> bytes, const ExifChange& change);

// A structure that holds nothing but a resolution in pixels per inch.
std::vector<uint8_t> MakeResolutionExif(double dpiX, double dpiY);

}  // namespace px::tool
