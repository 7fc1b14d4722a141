#pragma once

// Works — pieces of work of every kind, each from a new object to the last, for tests that do them
// in adverse conditions. Each tells whether all of it succeeded, and gives back what it made.

#include "PXCore/PXColorCube.h"
#include "PXCore/PXColorProfileImages.h"
#include "PXCore/PXHttpMessage.h"
#include "PXCore/PXImageAffineTransform.h"
#include "PXCore/PXImageDerived.h"
#include "PXCore/PXImageStream.h"
#include "PXCore/PXStream.h"
#include "support/CF.h"
#include "support/ColourPictures.h"
#include "support/Images.h"

#include <ostream>
#include <string>
#include <vector>

namespace px::test {

inline const std::string kLetters(300000, 'y');
constexpr PXRect kBounds = {0, 0, 700, 500};

// What a step answers, PXStatus or int.
inline bool Good(auto status)
{
    return status == 0;
}

inline Image Blank(PXDataSourceType source, int32_t depth = 8, int32_t planes = 4)
{
    PXImage image = nullptr;
    PXImageCreateWithParams2(kBounds, depth, planes, kPXColorSpaceByChannels, kPXTransparencyNone,
                             source, &image);
    return Image(image);
}

inline bool Filled(PXImage image)
{
    if (!image) return false;
    std::vector<uint8_t> row(static_cast<size_t>(RowBytes(image, kBounds.width)), 77);
    for (int32_t y = 0; y < kBounds.height; ++y) {
        if (!Good(PXImageWrite2(image, {0, y, kBounds.width, 1}, row.data(),
                                static_cast<int64_t>(row.size()))))
            return false;
    }
    return true;
}

template <PXDataSourceType source>
bool MakeAndCopy()
{
    const Image image = Blank(source);
    PXImage copy = nullptr;
    const bool isGood = Filled(image) && Good(PXImageCreateCopy(image, &copy)) && Filled(copy);
    PXImageRelease(copy);
    return isGood;
}

inline bool Scale()
{
    const Image image = Blank(kPXDataSourceMemory);
    PXImage scaled = nullptr;
    const bool isGood =
        image && Good(PXImageCreateScaled(image, {0, 0, 300, 900}, nullptr, &scaled));
    PXImageRelease(scaled);
    return isGood;
}

inline bool Turn()
{
    const Image image = Blank(kPXDataSourceTiled);
    const Image turned = Blank(kPXDataSourceMemory);
    return Filled(image) && turned &&
           Good(PXImageTransformImage(image, turned, kBounds, {0, -1, 1, 0, 500, 0}, nullptr));
}

inline bool Convert()
{
    const Image image = Blank(kPXDataSourceTiled, 16, 3);
    const Profile from(kPXColorStandardSRGB), to(kPXColorStandardProPhoto);
    return Filled(image) &&
           Good(PXColorProfileConvertProfile(from, to, image, image, kBounds, kPXIntentPerceptual));
}

inline bool Cube()
{
    const Profile from(kPXColorStandardSRGB), to(kPXColorStandardAdobeRGB1998);
    PXColorCube cube = PXColorCubeCreateFromProfiles(from, to, 2);
    const Owned<CFDataRef> file(cube ? PXColorCubeCreateFileData(cube, CFSTR("title")) : nullptr);
    PXColorCube again = file ? PXColorCubeCreateFromFileData(file) : nullptr;
    const bool isGood = again != nullptr;
    PXColorCubeRelease(again);
    PXColorCubeRelease(cube);
    return isGood;
}

// Through a stream in memory and back.
bool Streamed(auto write, auto read)
{
    PXStream stream = nullptr;
    const bool isGood = Good(PXStreamCreateForData(nullptr, &stream)) &&
                        Good(PXStreamOpen(stream)) && Good(write(stream)) &&
                        Good(PXStreamSetPos2(stream, 0)) && Good(read(stream));
    PXStreamRelease(stream);
    return isGood;
}

inline bool Stream()
{
    const Image image = Blank(kPXDataSourceTiled);
    PXImage again = nullptr;
    const bool isGood =
        Filled(image) &&
        Streamed([&](PXStream stream) { return PXImageWriteToStream(image, stream); },
                 [&](PXStream stream) { return PXImageCreateFromStream(stream, &again); });
    PXImageRelease(again);
    return isGood;
}

inline bool Message()
{
    const auto body = DataOf(kLetters);
    if (!body) return false;
    PXHttpMessage message = PXHttpMessageCreateRequest(CFSTR("PUT"), CFSTR("/x"), nullptr);
    PXHttpMessageSetContentBinary(message, body);
    PXHttpMessage again = PXHttpMessageCreate(kHTTPMessageRequest);
    const bool isGood =
        Streamed([&](PXStream stream) { return PXHttpMessageWrite(message, stream); },
                 [&](PXStream stream) { return PXHttpMessageRead(again, stream); });
    PXHttpMessageRelease(again);
    PXHttpMessageRelease(message);
    return isGood;
}

inline bool List()
{
    const auto text = Text(kLetters);
    if (!text) return false;
    bool isGood = true;
    for (const auto format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
        const Owned<CFDataRef> data(
            CFPropertyListCreateData(nullptr, ArrayOf({text}), format, 0, nullptr));
        const Owned<CFPropertyListRef> again(
            data ? CFPropertyListCreateWithData(nullptr, data, 0, nullptr, nullptr) : nullptr);
        isGood = isGood && again;
    }
    return isGood;
}

struct Work {
    const char* name;
    bool (*run)();
};

inline void PrintTo(const Work& work, std::ostream* out)
{
    *out << work.name;
}

constexpr Work kWorks[] = {{"memory", MakeAndCopy<kPXDataSourceMemory>},
                           {"tiles", MakeAndCopy<kPXDataSourceTiled>},
                           {"scale", Scale},
                           {"turn", Turn},
                           {"convert", Convert},
                           {"cube", Cube},
                           {"stream", Stream},
                           {"message", Message},
                           {"list", List}};

}  // namespace px::test
