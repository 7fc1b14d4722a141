#include "pxtool/PictureFile.h"

#include "PXCore/PXImageAccess.h"

namespace px::tool {

namespace {

Failure MakeEightBits(const std::string& path, Picture* picture)
{
    PictureLayout layout = picture->layout;
    layout.depth = 8;
    ImageOwner made;
    if (Failure failure = MakeImage(layout, path, &made)) return failure;
    Picture converted;
    converted.image = std::move(made);
    converted.layout = layout;
    const Pixels to = converted.View();
    if (PXImageReadWithConversion(picture->image.Get(), PXImageGetBounds(picture->image.Get()),
                                  {8, layout.Channels()}, nullptr, to.first, to.rowBytes)) {
        return OutOfMemory(path);
    }
    picture->image = std::move(converted.image);
    picture->layout = layout;
    return Done();
}

}  // namespace

Option QualityOption(int32_t* quality)
{
    return {.name = "--quality",
            .value = quality,
            .help = "of JPEG",
            .typeName = "N",
            .least = 1,
            .most = 100};
}

Failure CheckFormat(const std::string& path, Format* format)
{
    *format = FormatOfName(path);
    if (*format != Format::kUnknown) return Done();
    return {ExitCode::kUsage, "cannot tell the format of '" + path + "'",
            "let its name end in .jpg, .png or .tif"};
}

Failure CheckOutput(const std::string& path, bool mayReplace, Format* format)
{
    if (Failure failure = CheckFormat(path, format)) return failure;
    return CheckOutputPath(path, mayReplace);
}

Failure ReadPicture(const std::string& path, Progress& progress, Picture* picture)
{
    InputFile file;
    if (Failure failure = file.Open(path)) return failure;
    return Decode(file, progress, picture);
}

Failure TransparentJPEG(const std::string& path)
{
    return CannotWrite(path, "the picture is transparent, which JPEG cannot hold",
                       "write a .png or .tif file");
}

Failure FitToFormat(Format format, const std::string& path, Picture* picture)
{
    if (format == Format::kPNG && picture->layout.model == kPXColorSpaceCMYK) {
        return CannotWrite(path, "PNG cannot hold CMYK", "write a .tif or .jpg file");
    }
    if (format != Format::kJPEG) return Done();
    if (picture->layout.hasAlpha) {
        // An alpha channel without a transparent pixel says nothing and may go.
        if (!IsOpaque(*picture)) return TransparentJPEG(path);
        ImageOwner alpha;
        if (Failure failure = SplitAlpha(path, picture, &alpha)) return failure;
    }
    return picture->layout.depth == 8 ? Done() : MakeEightBits(path, picture);
}

Failure EncodePicture(const Picture& picture, Format format, int quality, Progress& progress,
                      OutputFile& file)
{
    switch (format) {
        case Format::kJPEG:
            return EncodeJPEG(picture, quality, progress, file);
        case Format::kPNG:
            return EncodePNG(picture, progress, file);
        default:
            return EncodeTIFF(picture, progress, file);
    }
}

Failure WritePicture(const Picture& picture, const std::string& path, bool mayReplace, int quality,
                     Progress& progress)
{
    OutputFile file;
    if (Failure failure = file.Create(path, mayReplace)) return failure;
    if (Failure failure = EncodePicture(picture, FormatOfName(path), quality, progress, file)) {
        return failure;
    }
    if (IsCancelled()) return Cancelled();
    return file.Commit();
}

}  // namespace px::tool
