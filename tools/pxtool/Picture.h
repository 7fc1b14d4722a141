#pragma once

// Picture — a decoded picture: its pixels and what the file says about them.
//
// The pixels are one interleaved PXImage of grey, RGB or CMYK samples in 8 or 16 bits, host byte
// order. Alpha is straight and is the last channel: the second beside grey, the fourth beside RGB.
// CMYK counts ink: 0 is none. One thread.

#include "Base/PXHandle.h"
#include "PXCore/PXImage.h"
#include "pxtool/Errors.h"

#include <cstdint>
#include <string>
#include <vector>

namespace px::tool {

using ImageOwner = PXHandle<PXImageRetain, PXImageRelease>;

struct PictureLayout {
    int32_t width = 0;
    int32_t height = 0;
    int32_t depth = 8;                          // bits of a sample: 8 or 16
    PXColorSpaceType model = kPXColorSpaceRGB;  // grey, RGB or CMYK
    bool hasAlpha = false;                      // grey and RGB only

    int32_t Colorants() const
    {
        return model == kPXColorSpaceGrey ? 1 : model == kPXColorSpaceRGB ? 3 : 4;
    }
    int32_t Channels() const { return Colorants() + (hasAlpha ? 1 : 0); }
    int64_t RowBytes() const { return int64_t{width} * Channels() * (depth / 8); }
    int64_t Bytes() const { return RowBytes() * height; }
};

// The pixels of an image, for row loops. Images are kept in one block of memory, so that rows lie
// at equal distances.
struct Pixels {
    uint8_t* first = nullptr;
    int64_t rowBytes = 0;

    uint8_t* Row(int64_t row) const { return first + row * rowBytes; }
};

struct Picture {
    PictureLayout layout;
    ImageOwner image;

    std::vector<uint8_t> icc;   // the embedded profile, empty when there is none
    bool hasBrokenICC = false;  // the file holds a profile that cannot be put together
    int orientation = 1;        // 1…8, as TIFF and EXIF number them; 1 is upright
    double dpiX = 0;            // pixels per inch; 0 when the file does not tell
    double dpiY = 0;
    std::vector<uint8_t> exif;  // a TIFF structure without the marker before it, or empty
    std::vector<uint8_t> xmp;   // an XMP packet, or empty

    Pixels View() const;
};

// What a file of some size can hold.
struct FileClaim {
    const std::string& path;
    int64_t fileBytes;
    double bestRatio;  // decoded bytes per byte of the file that its format can reach; 0: no bound
};

// Makes the image for what a header claims, after a check of the claim against the file and the
// memory of this machine. The image takes memory only where rows are written to it.
Failure MakePicture(const PictureLayout& layout, const FileClaim& claim, Picture* picture);

// The same for a picture that the tool itself needs.
Failure MakeImage(const PictureLayout& layout, const std::string& path, ImageOwner* image);

// Turns the picture upright, so that its orientation is 1; the resolution turns with it.
Failure MakeUpright(const std::string& path, Picture* picture);

// Whether every sample of the alpha channel is opaque.
bool IsOpaque(const Picture& picture);

// Makes grey to RGB by repeating the samples.
Failure ExpandGreyToRGB(const std::string& path, Picture* picture);

// Takes the alpha channel off into an image of its own, and puts one back. The picture of the
// second must have the same size and depth.
Failure SplitAlpha(const std::string& path, Picture* picture, ImageOwner* alpha);
Failure MergeAlpha(const std::string& path, PXImage alpha, Picture* picture);

}  // namespace px::tool
