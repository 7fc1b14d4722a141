#pragma once

// Plan — what --dry-run tells: a line for each file.

#include "pxtool/Picture.h"

#include <string>

namespace px::tool {

// "would read 'PATH': NOTE\n", and "would write…" or, where a file stands, "would replace…".
std::string WouldRead(const std::string& path, const std::string& note);
std::string WouldWrite(const std::string& path, const std::string& note);

// "4000 x 3000 pixels, 8 bits, RGB with alpha".
std::string NoteOf(const PictureLayout& layout);

}  // namespace px::tool
