#pragma once

// PictureFile — a picture from a file, and to a file of any format that can hold it.

#include "pxtool/Codec.h"
#include "pxtool/Command.h"
#include "pxtool/Files.h"
#include "pxtool/Picture.h"
#include "pxtool/Progress.h"

#include <string>

namespace px::tool {

inline constexpr int kDefaultQuality = 92;

// The option --quality.
Option QualityOption(int32_t* quality);

// The format that a name ends in; a failure of usage when it is none.
Failure CheckFormat(const std::string& path, Format* format);
// What can be known of an output before any work: the format by its name, and its place.
Failure CheckOutput(const std::string& path, bool mayReplace, Format* format);

// The file is closed when it has been read: it may be the one that is replaced.
Failure ReadPicture(const std::string& path, Progress& progress, Picture* picture);

// That a picture with transparent pixels cannot be written as a JPEG file.
Failure TransparentJPEG(const std::string& path);

// Changes the pixels to what a format can hold: JPEG has 8 bits and no alpha. A picture that would
// lose transparent pixels, or is CMYK for PNG, is a failure that names `path`.
Failure FitToFormat(Format format, const std::string& path, Picture* picture);

// Writes the picture to a created file, which the caller commits.
Failure EncodePicture(const Picture& picture, Format format, int quality, Progress& progress,
                      OutputFile& file);

// Creates, writes and commits.
Failure WritePicture(const Picture& picture, const std::string& path, bool mayReplace, int quality,
                     Progress& progress);

}  // namespace px::tool
