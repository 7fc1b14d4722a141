#pragma once

// ToolPictures — pictures of the command-line tool in tests.

#include "pxtool/PictureFile.h"
#include "support/Images.h"

#include <algorithm>
#include <random>
#include <string>

namespace px::test {

inline Bytes PixelsOf(const tool::Picture& picture)
{
    const uint8_t* first = picture.View().first;
    return {first, first + picture.layout.Bytes()};
}

// Noise in RGB.
inline tool::Picture NoisePicture(int32_t width, int32_t height, int32_t depth, const Bytes& icc)
{
    tool::Picture picture;
    EXPECT_FALSE(tool::MakePicture({width, height, depth, kPXColorSpaceRGB, false}, {"noise", 0, 0},
                                   &picture));
    std::mt19937 random(11);
    std::generate_n(picture.View().first, picture.layout.Bytes(),
                    [&] { return static_cast<uint8_t>(random()); });
    picture.icc = icc;
    return picture;
}

inline void WriteGood(const tool::Picture& picture, const std::string& path)
{
    tool::Progress progress("", false);
    EXPECT_FALSE(tool::WritePicture(picture, path, true, 95, progress));
}

inline tool::Picture ReadGood(const std::string& path)
{
    tool::Picture picture;
    tool::Progress progress("", false);
    const tool::Failure failure = tool::ReadPicture(path, progress, &picture);
    EXPECT_FALSE(failure) << failure.text;
    return picture;
}

}  // namespace px::test
