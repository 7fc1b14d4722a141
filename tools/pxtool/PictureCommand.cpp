#include "pxtool/PictureCommand.h"

#include "Base/Platform/Platform.h"
#include "pxtool/Exif.h"

#include <utility>

namespace px::tool {

namespace {

constexpr int64_t kSteps = 1000;  // what a library call tells of at most

}  // namespace

const char kPictureFooter[] =
    "\nIN is a JPEG, PNG or TIFF picture; the format of OUT follows from the end of its name. The "
    "picture\n"
    "is turned upright as its orientation says. Profile, depth and resolution are kept, EXIF "
    "between JPEG\n"
    "and PNG. OUT may be IN; it is replaced when the result is complete, and stays as it was after "
    "an\n"
    "error or Ctrl-C.\n"
    "\n"
    "Exit codes: 0 done, 2 wrong arguments, 3 input, 4 output, 5 resources, 130 cancelled.";

std::vector<Option> WithFiles(PictureFiles* files, std::vector<Option> options)
{
    std::vector<Option> all = {
        {"IN", &files->input, "the picture to read", "", true},
        {"OUT", &files->output, "the picture to write", "", true},
    };
    all.insert(all.end(), options.begin(), options.end());
    all.push_back({"--quality", &files->quality, kQualityHelp, "N", false, 1, 100});
    return all;
}

Failure ReadUpright(const std::string& path, Progress& progress, Picture* picture)
{
    if (Failure failure = ReadPicture(path, progress, picture)) return failure;
    if (picture->hasBrokenICC) {
        return CannotRead(path, "its embedded profile is damaged",
                          "give it a sound one with pxtool convert --from");
    }
    const int orientation = picture->orientation;
    if (Failure failure = MakeUpright(path, picture)) return failure;
    ChangeExif(picture->exif, {.dropsPreview = true, .swapsSides = orientation >= 5});
    return Done();
}

void TakeImage(ImageOwner image, Picture* picture)
{
    picture->layout.width = PXImageGetWidth(image.Get());
    picture->layout.height = PXImageGetHeight(image.Get());
    picture->image = std::move(image);
    ChangeExif(picture->exif, {.width = static_cast<uint32_t>(picture->layout.width),
                               .height = static_cast<uint32_t>(picture->layout.height)});
}

Failure ChangePicture(const PictureFiles& files, const PictureChange& change)
{
    Format format = Format::kUnknown;
    if (Failure failure = CheckOutput(files.output, &format)) return failure;
    Progress progress(files.input, files.output);
    Picture picture;
    if (Failure failure = ReadUpright(files.input, progress, &picture)) return failure;
    if (Failure failure = change(&picture, progress)) return failure;
    if (Failure failure = FitToFormat(format, files.output, &picture)) return failure;
    return WritePicture(picture, files.output, files.quality, progress);
}

Failure CheckRoom(const PictureLayout& layout, const std::string& path)
{
    const auto room = static_cast<int64_t>(os::Os().physicalMemory() / 2);
    return layout.RowBytes() <= room / layout.height ? Done() : OutOfMemory(path);
}

CallProgress::CallProgress(Progress& progress) : progress_(PXProgressCreate())
{
    const auto show = [](PXProgress call, void* context) {
        const auto done = static_cast<int64_t>(PXProgressGetFraction(call) * kSteps);
        if (!static_cast<Progress*>(context)->Step(Phase::kConvert, done, kSteps)) {
            PXProgressCancel(call);
        }
    };
    PXProgressSetCallback(progress_, show, &progress);
}

CallProgress::~CallProgress()
{
    PXProgressSetCallback(progress_, nullptr, nullptr);
    PXProgressRelease(progress_);
}

Failure CallProgress::FailureOf(PXStatus status, const std::string& path)
{
    if (status == kPXOK) return Done();
    if (status == kPXErrSoft) return Cancelled();
    if (status == kPXErrCreate) return OutOfMemory(path);
    return {ExitCode::kResources,
            "cannot work on '" + path + "': unexpected event " + std::to_string(status),
            "try another picture"};
}

}  // namespace px::tool
