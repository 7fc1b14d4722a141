#include "pxtool/Codec.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include <png.h>

namespace px::tool {

namespace {

constexpr double kBestDeflateRatio = 1032;  // 258 bytes from two bits
constexpr double kMetresPerInch = 0.0254;
constexpr png_uint_32 kMaxSide = 0x7FFFFFFF;
constexpr int kStepRows = 16;
// Measured on photographs: less than half the time of the usual level 6, files 3 to 5 % larger.
constexpr int kCompressionLevel = 4;

// Chunks that nobody reads here. Texts may unfold to many times their size: only the one of XMP is
// looked at, as it stands.
constexpr png_byte kIgnoredChunks[] = "tEXt\0zTXt\0sPLT\0hIST\0tIME";
constexpr int kIgnoredCount = 5;
constexpr png_byte kTextChunk[] = "iTXt";
// The keyword, its end, no compression, method 0, and the ends of no language and no translated
// keyword; the last is that of the string itself.
constexpr char kXMPStart[] = "XML:com.adobe.xmp\0\0\0\0";

// What libpng's error procedure needs on both sides. It leaves by longjmp over frames of libpng and
// of the functions below that call it: these hold nothing with a destructor.
struct ErrorState {
    std::jmp_buf jump;
    char message[200];
    bool isCancelled;
    bool hasICCWarning;
};

[[noreturn]] void Leave(png_structp png, png_const_charp message)
{
    auto& state = *static_cast<ErrorState*>(png_get_error_ptr(png));
    std::snprintf(state.message, sizeof(state.message), "%s", message);
    std::longjmp(state.jump, 1);
}

void NoteWarning(png_structp png, png_const_charp message)
{
    // libpng drops a profile that it finds wrong and says only so.
    if (std::strncmp(message, "iCCP", 4) == 0) {
        static_cast<ErrorState*>(png_get_error_ptr(png))->hasICCWarning = true;
    }
}

struct Reader {
    png_structp png = nullptr;
    png_infop chunks = nullptr;
    ErrorState errors = {};
    InputFile* file = nullptr;
    Progress* progress = nullptr;
    std::vector<uint8_t> xmp;
    size_t storedRowBytes = 0;  // before samples are widened
    int passes = 1;

    Reader() = default;
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() { png_destroy_read_struct(&png, &chunks, nullptr); }
};

void ReadBytes(png_structp png, png_bytep bytes, size_t size)
{
    auto& reader = *static_cast<Reader*>(png_get_io_ptr(png));
    size_t got = 0;
    if (reader.file->Read(bytes, size, &got)) png_error(png, "read error");
    if (got < size) png_error(png, "unexpected end of file");
}

// Takes the XMP packet; every text that comes here is dealt with.
int TakeText(png_structp png, png_unknown_chunkp chunk)
{
    auto& reader = *static_cast<Reader*>(png_get_user_chunk_ptr(png));
    if (chunk->size > sizeof(kXMPStart) && reader.xmp.empty() &&
        std::memcmp(chunk->data, kXMPStart, sizeof(kXMPStart)) == 0) {
        reader.xmp.assign(chunk->data + sizeof(kXMPStart), chunk->data + chunk->size);
    }
    return 1;
}

bool Start(Reader& reader)
{
    if (setjmp(reader.errors.jump)) return false;
    reader.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reader.errors, Leave, NoteWarning);
    if (!reader.png) return false;
    reader.chunks = png_create_info_struct(reader.png);
    if (!reader.chunks) png_error(reader.png, "out of memory");
    png_structp png = reader.png;
    png_set_read_fn(png, &reader, ReadBytes);
    png_set_user_limits(png, kMaxSide, kMaxSide);
    png_set_chunk_malloc_max(png, kMaxICCBytes);
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, kIgnoredChunks, kIgnoredCount);
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_IF_SAFE, kTextChunk, 1);
    png_set_read_user_chunk_fn(png, &reader, TakeText);
    png_set_option(png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
    png_read_info(png, reader.chunks);
    reader.storedRowBytes = png_get_rowbytes(png, reader.chunks);
    png_set_expand(png);  // palettes, 1 to 4 bits and transparent colours
    if constexpr (std::endian::native == std::endian::little) png_set_swap(png);
    reader.passes = png_set_interlace_handling(png);
    png_read_update_info(png, reader.chunks);
    return true;
}

// Reads all rows into place. A file that misses its end is cut short, although its rows came out.
bool ReadRows(Reader& reader, const Pixels& pixels, int32_t height)
{
    if (setjmp(reader.errors.jump)) return false;
    const int64_t total = int64_t{height} * reader.passes;
    for (int64_t i = 0; i < total; ++i) {
        if (i % kStepRows == 0 && !reader.progress->Step(Phase::kRead, i, total)) {
            reader.errors.isCancelled = true;
            return false;
        }
        png_read_row(reader.png, pixels.Row(i % height), nullptr);
    }
    png_read_end(reader.png, reader.chunks);
    return true;
}

Failure FailureOf(const Reader& reader)
{
    if (reader.errors.isCancelled) return Cancelled();
    if (!reader.png) return OutOfMemory(reader.file->Path());
    return DecodeFailure(*reader.file, reader.errors.message);
}

PictureLayout LayoutOf(const Reader& reader)
{
    const int type = png_get_color_type(reader.png, reader.chunks);
    PictureLayout layout;
    layout.width = static_cast<int32_t>(png_get_image_width(reader.png, reader.chunks));
    layout.height = static_cast<int32_t>(png_get_image_height(reader.png, reader.chunks));
    layout.depth = png_get_bit_depth(reader.png, reader.chunks);
    layout.model = (type & PNG_COLOR_MASK_COLOR) != 0 ? kPXColorSpaceRGB : kPXColorSpaceGrey;
    layout.hasAlpha = (type & PNG_COLOR_MASK_ALPHA) != 0;
    return layout;
}

// The getters cannot fail once the chunks are read.
void TakeChunks(const Reader& reader, Picture* picture)
{
    png_charp name = nullptr;
    png_bytep bytes = nullptr;
    png_uint_32 size = 0;
    int method = 0;
    if (png_get_iCCP(reader.png, reader.chunks, &name, &method, &bytes, &size)) {
        picture->icc.assign(bytes, bytes + size);
    }
    picture->hasBrokenICC = picture->icc.empty() && reader.errors.hasICCWarning;
    png_uint_32 perMetreX = 0;
    png_uint_32 perMetreY = 0;
    int unit = 0;
    if (png_get_pHYs(reader.png, reader.chunks, &perMetreX, &perMetreY, &unit) &&
        unit == PNG_RESOLUTION_METER) {
        picture->dpiX = perMetreX * kMetresPerInch;
        picture->dpiY = perMetreY * kMetresPerInch;
    }
    png_bytep exif = nullptr;
    png_uint_32 exifBytes = 0;
    if (png_get_eXIf_1(reader.png, reader.chunks, &exifBytes, &exif)) {
        picture->exif.assign(exif, exif + exifBytes);
    }
}

struct Writer {
    png_structp png = nullptr;
    png_infop chunks = nullptr;
    ErrorState errors = {};
    OutputFile* file = nullptr;
    Progress* progress = nullptr;
    const Picture* picture = nullptr;

    Writer() = default;
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    ~Writer() { png_destroy_write_struct(&png, &chunks); }
};

void WriteBytes(png_structp png, png_bytep bytes, size_t size)
{
    auto& writer = *static_cast<Writer*>(png_get_io_ptr(png));
    if (writer.file->Write(bytes, size)) png_error(png, "write error");
}

int ColorTypeOf(const PictureLayout& layout)
{
    return (layout.model == kPXColorSpaceRGB ? PNG_COLOR_MASK_COLOR : 0) |
           (layout.hasAlpha ? PNG_COLOR_MASK_ALPHA : 0);
}

void SetProfile(const Writer& writer)
{
    const std::vector<uint8_t>& icc = writer.picture->icc;
    png_set_iCCP(writer.png, writer.chunks, "ICC profile", PNG_COMPRESSION_TYPE_BASE, icc.data(),
                 static_cast<png_uint_32>(icc.size()));
    // What libpng takes for wrong it leaves out with a warning.
    if (!png_get_valid(writer.png, writer.chunks, PNG_INFO_iCCP)) {
        png_error(writer.png, "libpng refuses the profile");
    }
}

void WriteChunks(const Writer& writer)
{
    const Picture& picture = *writer.picture;
    png_set_IHDR(writer.png, writer.chunks, static_cast<png_uint_32>(picture.layout.width),
                 static_cast<png_uint_32>(picture.layout.height), picture.layout.depth,
                 ColorTypeOf(picture.layout), PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_BASE,
                 PNG_FILTER_TYPE_BASE);
    if (!picture.icc.empty()) SetProfile(writer);
    if (picture.dpiX > 0 && picture.dpiY > 0) {
        const auto perMetre = [](double dpi) {
            return static_cast<png_uint_32>(
                std::clamp<double>(std::round(dpi / kMetresPerInch), 1, kMaxSide));
        };
        png_set_pHYs(writer.png, writer.chunks, perMetre(picture.dpiX), perMetre(picture.dpiY),
                     PNG_RESOLUTION_METER);
    }
    if (!picture.exif.empty()) {
        png_set_eXIf_1(writer.png, writer.chunks, static_cast<png_uint_32>(picture.exif.size()),
                       const_cast<png_bytep>(picture.exif.data()));  // it copies
    }
    png_write_info(writer.png, writer.chunks);
    if (!picture.xmp.empty()) {
        png_write_chunk_start(writer.png, kTextChunk,
                              static_cast<png_uint_32>(sizeof(kXMPStart) + picture.xmp.size()));
        png_write_chunk_data(writer.png, reinterpret_cast<png_const_bytep>(kXMPStart),
                             sizeof(kXMPStart));
        png_write_chunk_data(writer.png, picture.xmp.data(), picture.xmp.size());
        png_write_chunk_end(writer.png);
    }
}

bool WritePicture(Writer& writer)
{
    if (setjmp(writer.errors.jump)) return false;
    writer.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &writer.errors, Leave, NoteWarning);
    if (!writer.png) return false;
    writer.chunks = png_create_info_struct(writer.png);
    if (!writer.chunks) png_error(writer.png, "out of memory");
    png_set_write_fn(writer.png, &writer, WriteBytes, [](png_structp) {});
    png_set_user_limits(writer.png, kMaxSide, kMaxSide);
    png_set_compression_level(writer.png, kCompressionLevel);
    png_set_option(writer.png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
    WriteChunks(writer);
    if constexpr (std::endian::native == std::endian::little) png_set_swap(writer.png);
    const Pixels pixels = writer.picture->View();
    const int32_t height = writer.picture->layout.height;
    for (int32_t y = 0; y < height; ++y) {
        if (y % kStepRows == 0 && !writer.progress->Step(Phase::kWrite, y, height)) {
            writer.errors.isCancelled = true;
            return false;
        }
        png_write_row(writer.png, pixels.Row(y));
    }
    png_write_end(writer.png, nullptr);  // with the chunks it would write EXIF again
    return true;
}

}  // namespace

Failure DecodePNG(InputFile& file, Progress& progress, Picture* picture)
{
    Reader reader;
    reader.file = &file;
    reader.progress = &progress;
    if (!Start(reader)) return FailureOf(reader);
    const PictureLayout layout = LayoutOf(reader);
    const double widening = static_cast<double>(layout.RowBytes()) /
                            static_cast<double>(std::max<size_t>(reader.storedRowBytes, 1));
    const FileClaim claim = {file.Path(), file.Size(), kBestDeflateRatio * widening};
    if (Failure failure = MakePicture(layout, claim, picture)) return failure;
    progress.SetPixels(int64_t{layout.width} * layout.height);
    if (!ReadRows(reader, picture->View(), layout.height)) return FailureOf(reader);
    TakeChunks(reader, picture);
    picture->xmp = std::move(reader.xmp);
    ApplyExif(picture);
    return Done();
}

Failure EncodePNG(const Picture& picture, Progress& progress, OutputFile& file)
{
    Writer writer;
    writer.file = &file;
    writer.progress = &progress;
    writer.picture = &picture;
    if (WritePicture(writer)) return Done();
    if (writer.errors.isCancelled) return Cancelled();
    if (!writer.png) return OutOfMemory(file.Path());
    return EncodeFailure(file, writer.errors.message);
}

}  // namespace px::tool
