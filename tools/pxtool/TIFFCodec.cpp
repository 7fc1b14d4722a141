#include "pxtool/Codec.h"
#include "pxtool/XMP.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include <tiffio.h>

namespace px::tool {

namespace {

constexpr int kStepRows = 16;
constexpr double kCentimetresPerInch = 2.54;
constexpr int kMaxFolders = 64;  // looked through for a second page
constexpr int64_t kMaxTileBytes = int64_t{256} << 20;
constexpr int64_t kMaxLibraryBytes = int64_t{1} << 30;  // of one block inside libtiff
constexpr int64_t kStripBytes = 256 << 10;              // written; small enough for any reader
constexpr int kCompressionLevel = 4;                    // as for PNG
constexpr int64_t kMaxClassicBytes = 0xF0000000;        // offsets of the classic form have 32 bits

// Messages of libtiff. The first error is the cause; later ones tell what followed from it.
struct Messages {
    char error[200];
    bool isReadingRows;
    bool hasDamage;  // libtiff went on over damage that it only warned of
    bool hasICCWarning;
};

int NoteError(TIFF*, void* context, const char*, const char* format, std::va_list arguments)
{
    auto& messages = *static_cast<Messages*>(context);
    if (messages.error[0] == '\0') {
        std::vsnprintf(messages.error, sizeof(messages.error), format, arguments);
    }
    return 1;
}

// While rows are decoded a warning means data that do not fit, which libtiff pads with something.
// While fields are read it drops those that lie outside the file, the profile among them.
int NoteWarning(TIFF*, void* context, const char*, const char* format, std::va_list arguments)
{
    auto& messages = *static_cast<Messages*>(context);
    char text[sizeof(messages.error)];
    std::vsnprintf(text, sizeof(text), format, arguments);
    if (!messages.isReadingRows && std::strstr(text, "ICC")) messages.hasICCWarning = true;
    const bool isDamage = messages.isReadingRows ? !std::strstr(text, "Old-style")
                                                 : std::strstr(text, "IO error") != nullptr;
    if (!isDamage) return 1;
    messages.hasDamage = true;
    if (messages.error[0] == '\0') std::memcpy(messages.error, text, sizeof(text));
    return 1;
}

template <class File>
tmsize_t ReadProc(thandle_t handle, void* buffer, tmsize_t size)
{
    size_t got = 0;
    const int error = static_cast<File*>(handle)->Read(buffer, static_cast<size_t>(size), &got);
    // Not -1: libtiff counts it as bytes and clears from one before its buffer.
    return error ? 0 : static_cast<tmsize_t>(got);
}

tmsize_t WriteProc(thandle_t handle, void* buffer, tmsize_t size)
{
    const int error = static_cast<OutputFile*>(handle)->Write(buffer, static_cast<size_t>(size));
    return error ? -1 : size;
}

tmsize_t RefuseWrite(thandle_t, void*, tmsize_t)
{
    return -1;
}

template <class File>
toff_t SeekProc(thandle_t handle, toff_t offset, int origin)
{
    auto& file = *static_cast<File*>(handle);
    auto target = static_cast<int64_t>(offset);
    if (origin == SEEK_CUR) target += file.Position();
    if (origin == SEEK_END) target += file.Size();
    return file.Seek(target) ? static_cast<toff_t>(-1) : static_cast<toff_t>(target);
}

template <class File>
toff_t SizeProc(thandle_t handle)
{
    return static_cast<toff_t>(static_cast<File*>(handle)->Size());
}

int CloseProc(thandle_t)
{
    return 0;
}

// Owns a TIFF handle. Closing it writes nothing: what is to be written is flushed before.
class Handle {
public:
    explicit Handle(TIFF* tiff) : tiff_(tiff) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle()
    {
        if (tiff_) TIFFCleanup(tiff_);
    }
    TIFF* Get() const { return tiff_; }

private:
    TIFF* tiff_;
};

template <class File>
TIFF* Open(File& file, const char* mode, TIFFReadWriteProc write, Messages* messages)
{
    // What libtiff has to say about no file in particular would go to standard error.
    TIFFSetErrorHandler(nullptr);
    TIFFSetWarningHandler(nullptr);
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    if (!options) return nullptr;
    TIFFOpenOptionsSetErrorHandlerExtR(options, NoteError, messages);
    TIFFOpenOptionsSetWarningHandlerExtR(options, NoteWarning, messages);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, kMaxLibraryBytes);
    TIFF* tiff =
        TIFFClientOpenExt(file.Path().c_str(), mode, &file, ReadProc<File>, write, SeekProc<File>,
                          CloseProc, SizeProc<File>, nullptr, nullptr, options);
    TIFFOpenOptionsFree(options);
    return tiff;
}

// The fields that say how samples lie in the file.
struct Fields {
    uint32_t width = 0;
    uint32_t height = 0;
    uint16_t bits = 1;
    uint16_t samples = 1;
    uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    uint16_t planar = PLANARCONFIG_CONTIG;
    uint16_t compression = COMPRESSION_NONE;
    uint16_t format = SAMPLEFORMAT_UINT;
    uint16_t inkSet = INKSET_CMYK;
    uint16_t extraCount = 0;
    uint16_t extraKind = EXTRASAMPLE_UNSPECIFIED;
    uint32_t subfile = 0;
};

Fields ReadFields(TIFF* tiff)
{
    Fields fields;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &fields.width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &fields.height);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &fields.bits);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &fields.samples);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &fields.planar);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &fields.compression);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &fields.format);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_INKSET, &fields.inkSet);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SUBFILETYPE, &fields.subfile);
    if (!TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &fields.photometric)) {
        fields.photometric = fields.samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    }
    uint16_t* kinds = nullptr;
    if (TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &fields.extraCount, &kinds) &&
        fields.extraCount > 0 && kinds) {
        fields.extraKind = kinds[0];
    }
    // The JPEG codec undoes YCbCr with its subsampling itself.
    if (fields.photometric == PHOTOMETRIC_YCBCR && fields.compression == COMPRESSION_JPEG) {
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        fields.photometric = PHOTOMETRIC_RGB;
    }
    return fields;
}

// What is wrong with the fields as seen from here; null when nothing is.
const char* ReasonAgainst(const Fields& fields)
{
    if (fields.subfile & FILETYPE_REDUCEDIMAGE) {
        return "it begins with a mere preview, as camera raw files do";
    }
    if (!TIFFIsCODECConfigured(fields.compression) || fields.compression == COMPRESSION_OJPEG) {
        return "its compression is not supported";
    }
    switch (fields.photometric) {
        case PHOTOMETRIC_MINISBLACK:
        case PHOTOMETRIC_MINISWHITE:
        case PHOTOMETRIC_RGB:
        case PHOTOMETRIC_PALETTE:
        case PHOTOMETRIC_SEPARATED:
            break;
        case PHOTOMETRIC_CIELAB:
        case PHOTOMETRIC_ICCLAB:
        case PHOTOMETRIC_ITULAB:
            return "Lab colour is not supported";
        default:
            return "its colour model is not supported";
    }
    if (fields.format == SAMPLEFORMAT_IEEEFP) return "floating-point samples are not supported";
    if (fields.format != SAMPLEFORMAT_UINT && fields.format != SAMPLEFORMAT_VOID) {
        return "signed samples are not supported";
    }
    const bool isSingle = fields.samples == 1 && fields.photometric != PHOTOMETRIC_RGB &&
                          fields.photometric != PHOTOMETRIC_SEPARATED;
    const bool isSmall = fields.bits == 1 || fields.bits == 2 || fields.bits == 4;
    if (fields.bits != 8 && fields.bits != 16 && !(isSmall && isSingle)) {
        return "samples of this many bits are not supported";
    }
    if (fields.photometric == PHOTOMETRIC_PALETTE && (!isSingle || fields.bits > 8)) {
        return "palettes of this form are not supported";
    }
    if (fields.photometric == PHOTOMETRIC_SEPARATED &&
        (fields.samples != 4 || fields.extraCount > 0 || fields.inkSet != INKSET_CMYK)) {
        return "inks other than plain CMYK are not supported";
    }
    return nullptr;
}

// Sets what the picture will be; answers a reason against it.
const char* ChooseLayout(const Fields& fields, PictureLayout* layout)
{
    constexpr uint32_t kMaxSide = std::numeric_limits<int32_t>::max();
    if (const char* reason = ReasonAgainst(fields)) return reason;
    if (fields.width == 0 || fields.height == 0 || std::max(fields.width, fields.height) > kMaxSide)
        return "its width and height make no sense";
    layout->width = static_cast<int32_t>(fields.width);
    layout->height = static_cast<int32_t>(fields.height);
    layout->depth = fields.bits == 16 ? 16 : 8;
    switch (fields.photometric) {
        case PHOTOMETRIC_RGB:
        case PHOTOMETRIC_PALETTE:
            layout->model = kPXColorSpaceRGB;
            break;
        case PHOTOMETRIC_SEPARATED:
            layout->model = kPXColorSpaceCMYK;
            break;
        default:
            layout->model = kPXColorSpaceGrey;
    }
    if (fields.photometric == PHOTOMETRIC_PALETTE) return nullptr;
    const int extra = fields.samples - layout->Colorants();
    if (extra < 0) return "its number of channels does not fit its colour model";
    if (extra > 1) return "more than one extra channel is not supported";
    if (extra == 1 && (fields.extraCount != 1 || fields.extraKind == EXTRASAMPLE_UNSPECIFIED)) {
        return "it has an extra channel of unknown meaning";
    }
    layout->hasAlpha = extra == 1;
    return nullptr;
}

// Decoded bytes per byte of the file; 0 where a compression knows no useful bound.
double BestRatio(const Fields& fields, const PictureLayout& layout)
{
    const double widening = static_cast<double>(layout.Channels()) * layout.depth /
                            (static_cast<double>(fields.samples) * fields.bits);
    switch (fields.compression) {
        case COMPRESSION_NONE:
            return widening;
        case COMPRESSION_PACKBITS:
            return 64 * widening;  // 128 bytes from two
        case COMPRESSION_LZW:
            return 4096 * widening;  // a code of a byte and more for at most the whole table
        case COMPRESSION_DEFLATE:
        case COMPRESSION_ADOBE_DEFLATE:
            return 1032 * widening;  // 258 bytes from two bits
        default:
            return 0;
    }
}

// Whether a second page follows; previews and masks of the first are none.
bool HasSecondPage(TIFF* tiff)
{
    bool found = false;
    for (int i = 1; i < kMaxFolders && !found && !TIFFLastDirectory(tiff); ++i) {
        if (!TIFFReadDirectory(tiff)) break;
        uint32_t subfile = 0;
        TIFFGetFieldDefaulted(tiff, TIFFTAG_SUBFILETYPE, &subfile);
        found = (subfile & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) == 0;
    }
    return found;
}

// Puts decoded samples in their places in the picture.
class Unpacker {
public:
    Unpacker(TIFF* tiff, const Fields& fields, const Picture& picture)
        : fields_(fields), layout_(picture.layout), pixels_(picture.View())
    {
        if (fields.photometric == PHOTOMETRIC_PALETTE) ReadPalette(tiff);
    }

    bool IsPlanar() const { return fields_.planar == PLANARCONFIG_SEPARATE && fields_.samples > 1; }
    int32_t Planes() const { return IsPlanar() ? fields_.samples : 1; }
    // Of `count` stored pixels, of one plane where they lie apart.
    int64_t StoredBytes(int64_t count) const
    {
        return (count * fields_.bits * (IsPlanar() ? 1 : fields_.samples) + 7) / 8;
    }

    // Takes `count` stored pixels to (x, row) and on.
    void Store(const uint8_t* stored, int32_t x, int32_t count, int32_t row, int32_t plane) const
    {
        const int32_t sampleBytes = layout_.depth / 8;
        uint8_t* to = pixels_.Row(row) + int64_t{x} * layout_.Channels() * sampleBytes;
        if (fields_.photometric == PHOTOMETRIC_PALETTE) {
            for (int32_t i = 0; i < count; ++i, to += 3) {
                std::memcpy(to, palette_[SmallSample(stored, i)], 3);
            }
        } else if (fields_.bits < 8) {
            const int scale = 255 / ((1 << fields_.bits) - 1);
            for (int32_t i = 0; i < count; ++i) {
                to[i] = static_cast<uint8_t>(SmallSample(stored, i) * scale);
            }
        } else if (IsPlanar()) {
            StorePlane(stored, to + plane * sampleBytes, count, sampleBytes);
        } else {
            std::memcpy(to, stored, static_cast<size_t>(StoredBytes(count)));
        }
    }

private:
    void ReadPalette(TIFF* tiff)
    {
        uint16_t* colours[3] = {};
        if (!TIFFGetField(tiff, TIFFTAG_COLORMAP, &colours[0], &colours[1], &colours[2])) return;
        const int count = 1 << fields_.bits;
        uint16_t largest = 0;
        for (const uint16_t* channel : colours) {
            largest = std::max(largest, *std::max_element(channel, channel + count));
        }
        // Some writers fill in 8-bit numbers.
        const int shift = largest < 256 ? 0 : 8;
        for (int i = 0; i < count; ++i) {
            for (int c = 0; c < 3; ++c) {
                palette_[i][c] = static_cast<uint8_t>(colours[c][i] >> shift);
            }
        }
    }

    int SmallSample(const uint8_t* stored, int32_t index) const
    {
        const int64_t bit = int64_t{index} * fields_.bits;
        const int shift = 8 - fields_.bits - static_cast<int>(bit % 8);
        return stored[bit / 8] >> shift & ((1 << fields_.bits) - 1);
    }

    void StorePlane(const uint8_t* stored, uint8_t* to, int32_t count, int32_t sampleBytes) const
    {
        const int32_t step = layout_.Channels() * sampleBytes;
        for (int32_t i = 0; i < count; ++i, to += step, stored += sampleBytes) {
            to[0] = stored[0];
            if (sampleBytes == 2) to[1] = stored[1];
        }
    }

    const Fields& fields_;
    const PictureLayout& layout_;
    Pixels pixels_;
    uint8_t palette_[256][3] = {};
};

std::unique_ptr<uint8_t[]> Buffer(int64_t bytes)
{
    return std::unique_ptr<uint8_t[]>(new (std::nothrow) uint8_t[static_cast<size_t>(bytes)]);
}

// Reads one plane after the other, each from top to bottom: the order in which strips decode.
class RowReader {
public:
    RowReader(TIFF* tiff, Messages& messages, InputFile& file, Progress& progress,
              const Unpacker& unpacker, const PictureLayout& layout)
        : tiff_(tiff),
          messages_(messages),
          file_(file),
          progress_(progress),
          unpacker_(unpacker),
          layout_(layout)
    {
    }

    Failure Run()
    {
        messages_.error[0] = '\0';
        messages_.isReadingRows = true;
        for (int32_t plane = 0; plane < unpacker_.Planes(); ++plane) {
            Failure failure = TIFFIsTiled(tiff_) ? ReadTiles(plane) : ReadScanlines(plane);
            if (failure) return failure;
        }
        return Done();
    }

private:
    Failure Damage() const { return DecodeFailure(file_, messages_.error); }

    bool Step(int32_t plane, int32_t row) const
    {
        const int64_t done = int64_t{plane} * layout_.height + row;
        return progress_.Step(Phase::kRead, done, int64_t{layout_.height} * unpacker_.Planes());
    }

    Failure ReadScanlines(int32_t plane)
    {
        const int64_t stored = unpacker_.StoredBytes(layout_.width);
        if (TIFFScanlineSize64(tiff_) < static_cast<uint64_t>(stored)) return Damage();
        const auto row = Buffer(static_cast<int64_t>(TIFFScanlineSize64(tiff_)));
        if (!row) return OutOfMemory(file_.Path());
        for (int32_t y = 0; y < layout_.height; ++y) {
            if (y % kStepRows == 0 && !Step(plane, y)) return Cancelled();
            const int got = TIFFReadScanline(tiff_, row.get(), static_cast<uint32_t>(y),
                                             static_cast<uint16_t>(plane));
            if (got < 0 || messages_.hasDamage) return Damage();
            unpacker_.Store(row.get(), 0, layout_.width, y, plane);
        }
        return Done();
    }

    Failure ReadTiles(int32_t plane)
    {
        uint32_t width = 0;
        uint32_t height = 0;
        TIFFGetField(tiff_, TIFFTAG_TILEWIDTH, &width);
        TIFFGetField(tiff_, TIFFTAG_TILELENGTH, &height);
        const uint64_t bytes = TIFFTileSize64(tiff_);
        if (width == 0 || height == 0 || bytes == 0) return Damage();
        if (bytes > kMaxTileBytes) return OutOfMemory(file_.Path());
        const int64_t rowBytes = unpacker_.StoredBytes(width);
        if (static_cast<uint64_t>(rowBytes) * height > bytes) return Damage();
        const auto tile = Buffer(static_cast<int64_t>(bytes));
        if (!tile) return OutOfMemory(file_.Path());
        for (int64_t y = 0; y < layout_.height; y += height) {
            for (int64_t x = 0; x < layout_.width; x += width) {
                if (!Step(plane, static_cast<int32_t>(y))) return Cancelled();
                const tmsize_t got =
                    TIFFReadTile(tiff_, tile.get(), static_cast<uint32_t>(x),
                                 static_cast<uint32_t>(y), 0, static_cast<uint16_t>(plane));
                if (got < 0 || messages_.hasDamage) return Damage();
                StoreTile(tile.get(), x, y, {width, height}, plane);
            }
        }
        return Done();
    }

    struct TileSize {
        int64_t width, height;
    };

    void StoreTile(const uint8_t* tile, int64_t x, int64_t y, TileSize size, int32_t plane) const
    {
        const auto columns = static_cast<int32_t>(std::min(size.width, layout_.width - x));
        const auto rows = static_cast<int32_t>(std::min(size.height, layout_.height - y));
        for (int32_t row = 0; row < rows; ++row) {
            unpacker_.Store(tile + row * unpacker_.StoredBytes(size.width), static_cast<int32_t>(x),
                            columns, static_cast<int32_t>(y) + row, plane);
        }
    }

    TIFF* tiff_;
    Messages& messages_;
    InputFile& file_;
    Progress& progress_;
    const Unpacker& unpacker_;
    const PictureLayout& layout_;
};

template <class Sample>
void InvertGrey(const Picture& picture)
{
    const Pixels pixels = picture.View();
    const int32_t channels = picture.layout.Channels();
    for (int32_t y = 0; y < picture.layout.height; ++y) {
        auto* sample = reinterpret_cast<Sample*>(pixels.Row(y));
        for (int32_t x = 0; x < picture.layout.width; ++x, sample += channels) {
            *sample = static_cast<Sample>(~*sample);
        }
    }
}

// Divides the colours by alpha, rounding to nearest. Colours above their alpha, which no sound file
// has, become full.
template <class Sample>
void DivideByAlpha(const Picture& picture)
{
    constexpr uint64_t kFull = std::numeric_limits<Sample>::max();
    const Pixels pixels = picture.View();
    const int32_t colorants = picture.layout.Colorants();
    for (int32_t y = 0; y < picture.layout.height; ++y) {
        auto* sample = reinterpret_cast<Sample*>(pixels.Row(y));
        for (int32_t x = 0; x < picture.layout.width; ++x, sample += colorants + 1) {
            const uint64_t alpha = sample[colorants];
            if (alpha == kFull) continue;
            for (int32_t c = 0; c < colorants; ++c) {
                const uint64_t straight = alpha ? (sample[c] * kFull + alpha / 2) / alpha : 0;
                sample[c] = static_cast<Sample>(std::min(straight, kFull));
            }
        }
    }
}

void TakeFields(TIFF* tiff, Picture* picture)
{
    uint32_t iccBytes = 0;
    const void* icc = nullptr;
    if (TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &iccBytes, &icc) && iccBytes > 0) {
        const auto* bytes = static_cast<const uint8_t*>(icc);
        picture->hasBrokenICC = iccBytes > kMaxICCBytes;
        if (!picture->hasBrokenICC) picture->icc.assign(bytes, bytes + iccBytes);
    }
    uint32_t xmpBytes = 0;
    const void* xmp = nullptr;
    if (TIFFGetField(tiff, TIFFTAG_XMLPACKET, &xmpBytes, &xmp) && xmpBytes <= kMaxXMPBytes) {
        const auto* bytes = static_cast<const uint8_t*>(xmp);
        picture->xmp.assign(bytes, bytes + xmpBytes);
    }
    uint16_t orientation = 1;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_ORIENTATION, &orientation);
    if (orientation >= 1 && orientation <= 8) picture->orientation = orientation;
    float x = 0;
    float y = 0;
    uint16_t unit = RESUNIT_INCH;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
    if (TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x) &&
        TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &y) && unit != RESUNIT_NONE && x > 0 && y > 0 &&
        x < 1e6F && y < 1e6F) {
        const double perInch = unit == RESUNIT_CENTIMETER ? kCentimetresPerInch : 1;
        picture->dpiX = static_cast<double>(x) * perInch;
        picture->dpiY = static_cast<double>(y) * perInch;
    }
}

Failure Refuse(const InputFile& file, const char* reason)
{
    return CannotRead(file.Path(), reason,
                      "save it as 8- or 16-bit grey, RGB or CMYK in the program that made it");
}

uint32_t RowsPerStrip(const PictureLayout& layout)
{
    return static_cast<uint32_t>(std::max<int64_t>(kStripBytes / layout.RowBytes(), 1));
}

bool WriteFields(TIFF* tiff, const Picture& picture)
{
    const PictureLayout& layout = picture.layout;
    const uint16_t photometric = layout.model == kPXColorSpaceGrey  ? PHOTOMETRIC_MINISBLACK
                                 : layout.model == kPXColorSpaceRGB ? PHOTOMETRIC_RGB
                                                                    : PHOTOMETRIC_SEPARATED;
    bool isSet = TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(layout.width)) &&
                 TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(layout.height)) &&
                 TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, layout.depth) &&
                 TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, layout.Channels()) &&
                 TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, photometric) &&
                 TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
                 TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE) &&
                 TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL) &&
                 TIFFSetField(tiff, TIFFTAG_ZIPQUALITY, kCompressionLevel) &&
                 TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, RowsPerStrip(layout)) &&
                 TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    if (!picture.icc.empty()) {
        isSet =
            isSet && TIFFSetField(tiff, TIFFTAG_ICCPROFILE,
                                  static_cast<uint32_t>(picture.icc.size()), picture.icc.data());
    }
    if (!picture.xmp.empty()) {
        isSet =
            isSet && TIFFSetField(tiff, TIFFTAG_XMLPACKET,
                                  static_cast<uint32_t>(picture.xmp.size()), picture.xmp.data());
    }
    if (layout.hasAlpha) {
        const uint16_t kind = EXTRASAMPLE_UNASSALPHA;
        isSet = isSet && TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &kind);
    }
    if (layout.model == kPXColorSpaceCMYK) {
        isSet = isSet && TIFFSetField(tiff, TIFFTAG_INKSET, INKSET_CMYK);
    }
    if (picture.dpiX > 0 && picture.dpiY > 0) {
        isSet = isSet && TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH) &&
                TIFFSetField(tiff, TIFFTAG_XRESOLUTION, picture.dpiX) &&
                TIFFSetField(tiff, TIFFTAG_YRESOLUTION, picture.dpiY);
    }
    return isSet;
}

}  // namespace

Failure DecodeTIFF(InputFile& file, Progress& progress, Picture* picture)
{
    Messages messages = {};
    const Handle handle(Open(file, "r", RefuseWrite, &messages));
    TIFF* tiff = handle.Get();
    if (!tiff) return DecodeFailure(file, messages.error);
    if (HasSecondPage(tiff)) {
        return CannotRead(file.Path(), "it holds more than one page",
                          "split it first, for example with tiffsplit");
    }
    if (!TIFFSetDirectory(tiff, 0) || messages.hasDamage) {
        return DecodeFailure(file, messages.error);
    }
    const Fields fields = ReadFields(tiff);
    PictureLayout layout;
    if (const char* reason = ChooseLayout(fields, &layout)) return Refuse(file, reason);
    const FileClaim claim = {file.Path(), file.Size(), BestRatio(fields, layout)};
    if (Failure failure = MakePicture(layout, claim, picture)) return failure;
    progress.SetPixels(int64_t{layout.width} * layout.height);
    TakeFields(tiff, picture);
    if (picture->icc.empty() && messages.hasICCWarning) picture->hasBrokenICC = true;

    const Unpacker unpacker(tiff, fields, *picture);
    RowReader rows(tiff, messages, file, progress, unpacker, picture->layout);
    if (Failure failure = rows.Run()) return failure;
    const bool isDeep = layout.depth == 16;
    if (fields.photometric == PHOTOMETRIC_MINISWHITE) {
        isDeep ? InvertGrey<uint16_t>(*picture) : InvertGrey<uint8_t>(*picture);
    }
    if (layout.hasAlpha && fields.extraKind == EXTRASAMPLE_ASSOCALPHA) {
        isDeep ? DivideByAlpha<uint16_t>(*picture) : DivideByAlpha<uint8_t>(*picture);
    }
    return Done();
}

Failure EncodeTIFF(const Picture& picture, Progress& progress, OutputFile& file)
{
    Messages messages = {};
    // Compression may enlarge noise a little, so the choice leaves room.
    const bool isLarge = picture.layout.Bytes() > kMaxClassicBytes;
    const Handle handle(Open(file, isLarge ? "w8" : "w", WriteProc, &messages));
    TIFF* tiff = handle.Get();
    if (!tiff || !WriteFields(tiff, picture)) return EncodeFailure(file, messages.error);
    // Whole strips, because libtiff packs those much faster than rows.
    const auto rowsPerStrip = static_cast<int32_t>(RowsPerStrip(picture.layout));
    const int64_t rowBytes = picture.layout.RowBytes();
    const auto strip = Buffer(rowBytes * rowsPerStrip);
    if (!strip) return OutOfMemory(file.Path());
    const Pixels pixels = picture.View();
    const int32_t height = picture.layout.height;
    for (int64_t y = 0, number = 0; y < height; y += rowsPerStrip, ++number) {
        if (!progress.Step(Phase::kWrite, y, height)) return Cancelled();
        const int64_t rows = std::min<int64_t>(rowsPerStrip, height - y);
        for (int64_t i = 0; i < rows; ++i) {
            std::memcpy(strip.get() + i * rowBytes, pixels.Row(y + i),
                        static_cast<size_t>(rowBytes));
        }
        if (TIFFWriteEncodedStrip(tiff, static_cast<uint32_t>(number), strip.get(),
                                  rows * rowBytes) < 0) {
            return EncodeFailure(file, messages.error);
        }
    }
    if (!TIFFFlush(tiff) || file.Error()) return EncodeFailure(file, messages.error);
    return Done();
}

}  // namespace px::tool
