#include "pxtool/Codec.h"

#include "pxtool/Exif.h"
#include "pxtool/XMP.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace px::tool {

namespace {

struct Signature {
    std::string_view bytes;
    Format format;
};

using std::string_view_literals::operator""sv;

constexpr Signature kSignatures[] = {
    {"\xFF\xD8\xFF"sv, Format::kJPEG}, {"\x89PNG\r\n\x1A\n"sv, Format::kPNG},
    {"II*\0"sv, Format::kTIFF},        {"MM\0*"sv, Format::kTIFF},
    {"II+\0"sv, Format::kTIFF},        {"MM\0+"sv, Format::kTIFF},
};

struct Ending {
    std::string_view text;
    Format format;
};

constexpr Ending kEndings[] = {
    {".jpg", Format::kJPEG}, {".jpeg", Format::kJPEG}, {".jpe", Format::kJPEG},
    {".png", Format::kPNG},  {".tif", Format::kTIFF},  {".tiff", Format::kTIFF},
};

char ToLower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

Format FormatOfContent(InputFile& file)
{
    char start[8];
    size_t got = 0;
    if (file.Read(start, sizeof(start), &got) || file.Seek(0)) return Format::kUnknown;
    const std::string_view found(start, got);
    for (const Signature& row : kSignatures) {
        if (found.substr(0, row.bytes.size()) == row.bytes) return row.format;
    }
    return Format::kUnknown;
}

Format FormatOfName(std::string_view path)
{
    const size_t slash = path.rfind('/');
    const std::string_view name = slash == path.npos ? path : path.substr(slash + 1);
    const size_t dot = name.rfind('.');
    if (dot == name.npos) return Format::kUnknown;
    std::string ending;
    std::transform(name.begin() + static_cast<std::ptrdiff_t>(dot), name.end(),
                   std::back_inserter(ending), ToLower);
    for (const Ending& row : kEndings) {
        if (ending == row.text) return row.format;
    }
    return Format::kUnknown;
}

namespace {

Failure DecodeAnyFormat(InputFile& file, Progress& progress, Picture* picture)
{
    switch (FormatOfContent(file)) {
        case Format::kJPEG:
            return DecodeJPEG(file, progress, picture);
        case Format::kPNG:
            return DecodePNG(file, progress, picture);
        case Format::kTIFF:
            return DecodeTIFF(file, progress, picture);
        case Format::kUnknown:
            break;
    }
    if (file.Error()) return DecodeFailure(file, "");
    return CannotRead(file.Path(),
                      file.Size() == 0 ? "it is empty" : "it is neither JPEG, PNG nor TIFF",
                      "give a picture in one of these formats");
}

}  // namespace

Failure Decode(InputFile& file, Progress& progress, Picture* picture)
{
    if (Failure failure = DecodeAnyFormat(file, progress, picture)) return failure;
    CorrectXMP(&picture->xmp);
    return Done();
}

Failure DecodeFailure(const InputFile& file, std::string_view codecMessage)
{
    if (file.Error()) {
        return CannotRead(file.Path(), os::TextOf(file.Error()), "check the disk or the network");
    }
    std::string reason = "it is damaged or cut short";
    if (!codecMessage.empty()) {
        reason += " (";
        reason += codecMessage;
        reason += ")";
    }
    return CannotRead(file.Path(), reason, "get a new copy of the file");
}

Failure EncodeFailure(const OutputFile& file, std::string_view codecMessage)
{
    if (file.Error()) return file.FailureFor(file.Error());
    return CannotWrite(file.Path(), codecMessage, "choose another format");
}

void ApplyExif(Picture* picture)
{
    if (picture->exif.empty()) return;
    const ExifFacts facts = ReadExif(picture->exif);
    if (!facts.isReadable) {
        picture->exif.clear();
        return;
    }
    picture->orientation = facts.orientation;
    if (picture->dpiX <= 0 && facts.dpiX > 0 && facts.dpiY > 0) {
        picture->dpiX = facts.dpiX;
        picture->dpiY = facts.dpiY;
    }
}

}  // namespace px::tool
