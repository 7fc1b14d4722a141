#include "pxtool/Codec.h"
#include "pxtool/Exif.h"

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <jpeglib.h>  // needs size_t and FILE declared before it

#include <jerror.h>

namespace px::tool {

namespace {

constexpr size_t kBufferBytes = 64 << 10;
constexpr int kStepRows = 16;  // between looks at the clock and the user's wish to stop

// One bit can stand for a block of 8 × 8 samples, which sampling spreads over 32 × 32 pixels of up
// to four bytes. Arithmetic coding knows no such bound.
constexpr double kBestHuffmanRatio = 8 * 32 * 32 * 4;

// Real progressive files have about ten scans. Each costs a pass over the whole picture, which
// makes thousands of tiny ones a way to keep a reader busy.
constexpr int kMaxScans = 500;

constexpr int kMarkerICC = JPEG_APP0 + 2;
constexpr int kMarkerExif = JPEG_APP0 + 1;
constexpr int kMarkerXMP = kMarkerExif;
constexpr char kExifStart[] = "Exif\0";  // six bytes with the closing zero
constexpr size_t kExifStartBytes = 6;
constexpr char kXMPStart[] = "http://ns.adobe.com/xap/1.0/";  // with its closing zero
constexpr char kICCStart[] = "ICC_PROFILE";
constexpr size_t kMaxMarkerBytes = 65533;
constexpr size_t kMaxICCMarkers = 255;
constexpr size_t kICCBytesPerMarker = kMaxMarkerBytes - 14;

// What error handling needs on both sides. libjpeg leaves by longjmp over its own frames and those
// of the functions below that call it: these hold nothing with a destructor.
struct ErrorState {
    jpeg_error_mgr manager;  // first, because libjpeg passes its address
    std::jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
    bool isCancelled;
    bool isOutOfMemory;
    bool hasBrokenICC;
};

ErrorState& StateOf(j_common_ptr codec)
{
    return *reinterpret_cast<ErrorState*>(codec->err);
}

[[noreturn]] void Leave(j_common_ptr codec)
{
    ErrorState& state = StateOf(codec);
    state.isOutOfMemory = state.manager.msg_code == JERR_OUT_OF_MEMORY;
    state.manager.format_message(codec, state.message);
    std::longjmp(state.jump, 1);
}

[[noreturn]] void LeaveCancelled(j_common_ptr codec)
{
    StateOf(codec).isCancelled = true;
    std::longjmp(StateOf(codec).jump, 1);
}

// libjpeg goes on after damage and paints grey. Everything that says so is an error here; the rest
// is what writers of sound files do.
void NoteMessage(j_common_ptr codec, int level)
{
    if (level >= 0) return;  // a trace
    switch (StateOf(codec).manager.msg_code) {
        case JWRN_BOGUS_ICC:
            StateOf(codec).hasBrokenICC = true;
            return;
        case JWRN_ADOBE_XFORM:
        case JWRN_EXTRANEOUS_DATA:
        case JWRN_JFIF_MAJOR:
        case JWRN_NOT_SEQUENTIAL:
            return;
        default:
            Leave(codec);
    }
}

void PrintNothing(j_common_ptr) {}

jpeg_error_mgr* Prepare(ErrorState& state)
{
    jpeg_std_error(&state.manager);
    state.manager.error_exit = Leave;
    state.manager.emit_message = NoteMessage;
    state.manager.output_message = PrintNothing;
    return &state.manager;
}

struct Reader {
    jpeg_decompress_struct codec = {};  // zeroed: destroying one that was never made is allowed
    ErrorState errors = {};
    jpeg_source_mgr source = {};
    jpeg_progress_mgr monitor = {};
    InputFile* file = nullptr;
    Progress* progress = nullptr;
    JOCTET* icc = nullptr;  // from malloc
    unsigned iccBytes = 0;
    JOCTET buffer[kBufferBytes];

    Reader() = default;
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader()
    {
        jpeg_destroy_decompress(&codec);
        std::free(icc);
    }
};

Reader& ReaderOf(j_common_ptr codec)
{
    return *static_cast<Reader*>(codec->client_data);
}

boolean FillBuffer(j_decompress_ptr codec)
{
    auto* common = reinterpret_cast<j_common_ptr>(codec);
    Reader& reader = ReaderOf(common);
    if (IsCancelled()) LeaveCancelled(common);
    size_t got = 0;
    if (reader.file->Read(reader.buffer, sizeof(reader.buffer), &got)) {
        ERREXIT(codec, JERR_FILE_READ);
    }
    if (got == 0) ERREXIT(codec, JERR_INPUT_EOF);
    reader.source.next_input_byte = reader.buffer;
    reader.source.bytes_in_buffer = got;
    return TRUE;
}

void SkipBytes(j_decompress_ptr codec, long count)
{
    jpeg_source_mgr* source = codec->src;
    while (count > 0 && static_cast<size_t>(count) > source->bytes_in_buffer) {
        count -= static_cast<long>(source->bytes_in_buffer);
        FillBuffer(codec);
    }
    if (count <= 0) return;
    source->next_input_byte += count;
    source->bytes_in_buffer -= static_cast<size_t>(count);
}

void WatchPasses(j_common_ptr codec)
{
    if (IsCancelled()) LeaveCancelled(codec);
    if (ReaderOf(codec).codec.input_scan_number > kMaxScans) ERREXIT(codec, JERR_BAD_SCAN_SCRIPT);
}

bool Start(Reader& reader)
{
    reader.codec.err = Prepare(reader.errors);
    if (setjmp(reader.errors.jump)) return false;
    jpeg_create_decompress(&reader.codec);
    reader.codec.client_data = &reader;
    reader.source.init_source = [](j_decompress_ptr) {};
    reader.source.fill_input_buffer = FillBuffer;
    reader.source.skip_input_data = SkipBytes;
    reader.source.resync_to_restart = jpeg_resync_to_restart;
    reader.source.term_source = [](j_decompress_ptr) {};
    reader.codec.src = &reader.source;
    reader.monitor.progress_monitor = WatchPasses;
    reader.codec.progress = &reader.monitor;
    jpeg_save_markers(&reader.codec, kMarkerExif, 0xFFFF);
    jpeg_save_markers(&reader.codec, kMarkerICC, 0xFFFF);
    jpeg_read_header(&reader.codec, TRUE);
    if (!jpeg_read_icc_profile(&reader.codec, &reader.icc, &reader.iccBytes)) {
        reader.icc = nullptr;
        reader.iccBytes = 0;
    }
    return true;
}

// Reads all rows into place. A file that misses its end is cut short, although its rows came out.
bool ReadRows(Reader& reader, const Pixels& pixels)
{
    if (setjmp(reader.errors.jump)) return false;
    jpeg_decompress_struct& codec = reader.codec;
    jpeg_start_decompress(&codec);
    while (codec.output_scanline < codec.output_height) {
        if (codec.output_scanline % kStepRows == 0 &&
            !reader.progress->Step(Phase::kRead, codec.output_scanline, codec.output_height)) {
            LeaveCancelled(reinterpret_cast<j_common_ptr>(&codec));
        }
        JSAMPROW row = pixels.Row(codec.output_scanline);
        jpeg_read_scanlines(&codec, &row, 1);
    }
    jpeg_finish_decompress(&codec);
    return true;
}

Failure FailureOf(const Reader& reader)
{
    if (reader.errors.isCancelled) return Cancelled();
    if (reader.errors.isOutOfMemory) return OutOfMemory(reader.file->Path());
    return DecodeFailure(*reader.file, reader.errors.message);
}

// Sets what comes out of the decoder; false for a number of channels that has no meaning here.
bool ChooseModel(jpeg_decompress_struct& codec, PictureLayout* layout)
{
    switch (codec.jpeg_color_space) {
        case JCS_GRAYSCALE:
            codec.out_color_space = JCS_GRAYSCALE;
            layout->model = kPXColorSpaceGrey;
            return true;
        case JCS_RGB:
        case JCS_YCbCr:
            codec.out_color_space = JCS_RGB;
            layout->model = kPXColorSpaceRGB;
            return true;
        case JCS_CMYK:
        case JCS_YCCK:
            codec.out_color_space = JCS_CMYK;
            layout->model = kPXColorSpaceCMYK;
            return true;
        default:
            return false;
    }
}

void TakeMarkers(const Reader& reader, Picture* picture)
{
    bool hasICCMarker = false;
    for (jpeg_saved_marker_ptr marker = reader.codec.marker_list; marker; marker = marker->next) {
        const size_t length = marker->data_length;
        if (marker->marker == kMarkerICC && length >= sizeof(kICCStart) &&
            std::memcmp(marker->data, kICCStart, sizeof(kICCStart)) == 0) {
            hasICCMarker = true;
        }
        if (marker->marker == kMarkerExif && picture->exif.empty() && length > kExifStartBytes &&
            std::memcmp(marker->data, kExifStart, kExifStartBytes) == 0) {
            picture->exif.assign(marker->data + kExifStartBytes, marker->data + length);
        }
        if (marker->marker == kMarkerXMP && picture->xmp.empty() && length > sizeof(kXMPStart) &&
            std::memcmp(marker->data, kXMPStart, sizeof(kXMPStart)) == 0) {
            picture->xmp.assign(marker->data + sizeof(kXMPStart), marker->data + length);
        }
    }
    if (reader.icc) picture->icc.assign(reader.icc, reader.icc + reader.iccBytes);
    picture->hasBrokenICC = hasICCMarker && !reader.icc;
}

void TakeResolution(const jpeg_decompress_struct& codec, Picture* picture)
{
    if (!codec.saw_JFIF_marker || (codec.density_unit != 1 && codec.density_unit != 2)) return;
    const double perInch = codec.density_unit == 1 ? 1 : 2.54;
    picture->dpiX = codec.X_density * perInch;
    picture->dpiY = codec.Y_density * perInch;
}

void InvertRows(const Picture& picture)
{
    const Pixels pixels = picture.View();
    for (int32_t y = 0; y < picture.layout.height; ++y) {
        uint8_t* row = pixels.Row(y);
        for (int64_t i = 0; i < picture.layout.RowBytes(); ++i)
            row[i] = static_cast<uint8_t>(~row[i]);
    }
}

struct Writer {
    jpeg_compress_struct codec = {};
    ErrorState errors = {};
    jpeg_destination_mgr destination = {};
    OutputFile* file = nullptr;
    Progress* progress = nullptr;
    const Picture* picture = nullptr;
    const std::vector<uint8_t>* exif = nullptr;  // both with their starts
    const std::vector<uint8_t>* xmp = nullptr;
    uint8_t* scratchRow = nullptr;  // owned by the caller
    JOCTET buffer[kBufferBytes];

    Writer() = default;
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    ~Writer() { jpeg_destroy_compress(&codec); }
};

void ResetBuffer(j_compress_ptr codec)
{
    auto& writer = *static_cast<Writer*>(codec->client_data);
    writer.destination.next_output_byte = writer.buffer;
    writer.destination.free_in_buffer = sizeof(writer.buffer);
}

boolean EmptyBuffer(j_compress_ptr codec)
{
    auto& writer = *static_cast<Writer*>(codec->client_data);
    // libjpeg asks for the whole buffer here, whatever the counters say.
    if (writer.file->Write(writer.buffer, sizeof(writer.buffer))) ERREXIT(codec, JERR_FILE_WRITE);
    ResetBuffer(codec);
    return TRUE;
}

void FinishBuffer(j_compress_ptr codec)
{
    auto& writer = *static_cast<Writer*>(codec->client_data);
    const size_t filled = sizeof(writer.buffer) - writer.destination.free_in_buffer;
    if (writer.file->Write(writer.buffer, filled)) ERREXIT(codec, JERR_FILE_WRITE);
}

void SetColours(jpeg_compress_struct& codec, PXColorSpaceType model, int quality)
{
    codec.in_color_space = model == kPXColorSpaceGrey  ? JCS_GRAYSCALE
                           : model == kPXColorSpaceRGB ? JCS_RGB
                                                       : JCS_CMYK;
    jpeg_set_defaults(&codec);
    if (model == kPXColorSpaceCMYK) jpeg_set_colorspace(&codec, JCS_YCCK);
    jpeg_set_quality(&codec, quality, TRUE);
    // Colour at full resolution: the tool is for pictures that are worked on further.
    for (int i = 0; i < codec.num_components; ++i) {
        codec.comp_info[i].h_samp_factor = 1;
        codec.comp_info[i].v_samp_factor = 1;
    }
}

void WriteRow(Writer& writer)
{
    jpeg_compress_struct& codec = writer.codec;
    const PictureLayout& layout = writer.picture->layout;
    JSAMPROW row = writer.picture->View().Row(codec.next_scanline);
    if (layout.model == kPXColorSpaceCMYK) {
        // The Adobe marker, which libjpeg writes, promises ink counted downwards.
        for (int64_t i = 0; i < layout.RowBytes(); ++i) {
            writer.scratchRow[i] = static_cast<uint8_t>(~row[i]);
        }
        row = writer.scratchRow;
    }
    jpeg_write_scanlines(&codec, &row, 1);
}

void WriteMarker(jpeg_compress_struct& codec, int marker, const std::vector<uint8_t>& bytes)
{
    if (bytes.empty()) return;
    jpeg_write_marker(&codec, marker, bytes.data(), static_cast<unsigned>(bytes.size()));
}

bool WritePicture(Writer& writer, int quality)
{
    const Picture& picture = *writer.picture;
    jpeg_compress_struct& codec = writer.codec;
    codec.err = Prepare(writer.errors);
    if (setjmp(writer.errors.jump)) return false;
    jpeg_create_compress(&codec);
    codec.client_data = &writer;
    writer.destination.init_destination = ResetBuffer;
    writer.destination.empty_output_buffer = EmptyBuffer;
    writer.destination.term_destination = FinishBuffer;
    codec.dest = &writer.destination;
    codec.image_width = static_cast<JDIMENSION>(picture.layout.width);
    codec.image_height = static_cast<JDIMENSION>(picture.layout.height);
    codec.input_components = picture.layout.Channels();
    SetColours(codec, picture.layout.model, quality);
    if (picture.dpiX > 0 && picture.dpiY > 0) {
        codec.density_unit = 1;
        codec.X_density = static_cast<UINT16>(std::clamp(std::lround(picture.dpiX), 1L, 65535L));
        codec.Y_density = static_cast<UINT16>(std::clamp(std::lround(picture.dpiY), 1L, 65535L));
    }
    jpeg_start_compress(&codec, TRUE);
    WriteMarker(codec, kMarkerExif, *writer.exif);
    WriteMarker(codec, kMarkerXMP, *writer.xmp);
    if (!picture.icc.empty()) {
        jpeg_write_icc_profile(&codec, picture.icc.data(),
                               static_cast<unsigned>(picture.icc.size()));
    }
    while (codec.next_scanline < codec.image_height) {
        if (codec.next_scanline % kStepRows == 0 &&
            !writer.progress->Step(Phase::kWrite, codec.next_scanline, codec.image_height)) {
            LeaveCancelled(reinterpret_cast<j_common_ptr>(&codec));
        }
        WriteRow(writer);
    }
    jpeg_finish_compress(&codec);
    return true;
}

// A marker's content, or nothing: what other formats carried may be too long for a marker.
std::vector<uint8_t> MarkerOf(std::string_view start, std::vector<uint8_t> bytes)
{
    if (bytes.empty() || bytes.size() > kMaxMarkerBytes - start.size()) return {};
    bytes.insert(bytes.begin(), start.begin(), start.end());
    return bytes;
}

// A CMYK file has no other place for its resolution.
std::vector<uint8_t> ExifOf(const Picture& picture)
{
    const bool needsPlace = picture.layout.model == kPXColorSpaceCMYK && picture.dpiX > 0;
    return picture.exif.empty() && needsPlace ? MakeResolutionExif(picture.dpiX, picture.dpiY)
                                              : picture.exif;
}

}  // namespace

Failure DecodeJPEG(InputFile& file, Progress& progress, Picture* picture)
{
    const auto reader = std::make_unique<Reader>();
    reader->file = &file;
    reader->progress = &progress;
    if (!Start(*reader)) return FailureOf(*reader);
    PictureLayout layout;
    layout.width = static_cast<int32_t>(reader->codec.image_width);
    layout.height = static_cast<int32_t>(reader->codec.image_height);
    if (!ChooseModel(reader->codec, &layout)) {
        return CannotRead(file.Path(), "its colour model is not supported",
                          "convert it to RGB in the program that made it");
    }
    const double ratio = reader->codec.arith_code ? 0 : kBestHuffmanRatio;
    if (Failure failure = MakePicture(layout, {file.Path(), file.Size(), ratio}, picture)) {
        return failure;
    }
    progress.SetPixels(int64_t{layout.width} * layout.height);
    TakeMarkers(*reader, picture);
    TakeResolution(reader->codec, picture);
    ApplyExif(picture);
    if (!ReadRows(*reader, picture->View())) return FailureOf(*reader);
    // With the Adobe marker ink counts downwards in the file.
    if (layout.model == kPXColorSpaceCMYK && reader->codec.saw_Adobe_marker) InvertRows(*picture);
    return Done();
}

Failure EncodeJPEG(const Picture& picture, int quality, Progress& progress, OutputFile& file)
{
    if (std::max(picture.layout.width, picture.layout.height) > JPEG_MAX_DIMENSION) {
        return CannotWrite(file.Path(), "JPEG holds at most 65500 pixels a side",
                           "write a .tif or .png file");
    }
    if (picture.icc.size() > kMaxICCMarkers * kICCBytesPerMarker) {
        return CannotWrite(file.Path(), "the profile is too large for JPEG", "write a .tif file");
    }
    const std::vector<uint8_t> exif = MarkerOf({kExifStart, kExifStartBytes}, ExifOf(picture));
    const std::vector<uint8_t> xmp = MarkerOf({kXMPStart, sizeof(kXMPStart)}, picture.xmp);
    std::vector<uint8_t> scratchRow(static_cast<size_t>(picture.layout.RowBytes()));
    const auto writer = std::make_unique<Writer>();
    writer->file = &file;
    writer->progress = &progress;
    writer->picture = &picture;
    writer->exif = &exif;
    writer->xmp = &xmp;
    writer->scratchRow = scratchRow.data();
    if (WritePicture(*writer, quality)) return Done();
    if (writer->errors.isCancelled) return Cancelled();
    if (writer->errors.isOutOfMemory) return OutOfMemory(file.Path());
    return EncodeFailure(file, writer->errors.message);
}

}  // namespace px::tool
