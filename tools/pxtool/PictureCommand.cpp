#include "pxtool/PictureCommand.h"

#include "Base/Platform/Platform.h"
#include "pxtool/Exif.h"
#include "pxtool/Plan.h"

#include <utility>

namespace px::tool {

namespace {

constexpr int64_t kSteps = 1000;  // what a library call tells of at most

}  // namespace

std::vector<Option> WithFiles(PictureFiles* files, std::vector<Option> options)
{
    std::vector<Option> all = {{.name = "IN",
                                .value = &files->input,
                                .help = "the picture to read",
                                .isRequired = true,
                                .expects = Expects::kFile},
                               {.name = "OUT",
                                .value = &files->output,
                                .help = "the picture to write",
                                .isRequired = true,
                                .expects = Expects::kFile}};
    all.insert(all.end(), options.begin(), options.end());
    all.push_back(QualityOption(&files->quality));
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

Failure FinishPicture(const PictureFiles& files, const SharedOptions& shared,
                      const PictureLayout& read, const Picture& picture, Progress& progress)
{
    if (!shared.isDryRun) {
        return WritePicture(picture, files.output, shared.mayReplace, files.quality, progress);
    }
    progress.Clear();
    return Print(WouldRead(files.input, NoteOf(read)) +
                 WouldWrite(files.output, NoteOf(picture.layout)));
}

Failure ChangePicture(const PictureFiles& files, const SharedOptions& shared,
                      const PictureChange& change)
{
    Format format = Format::kUnknown;
    if (Failure failure = CheckOutput(files.output, shared.mayReplace, &format)) return failure;
    Progress progress(files.input, files.output, shared.isQuiet);
    Picture picture;
    if (Failure failure = ReadUpright(files.input, progress, &picture)) return failure;
    const PictureLayout read = picture.layout;
    if (Failure failure = change(&picture, progress)) return failure;
    if (Failure failure = FitToFormat(format, files.output, &picture)) return failure;
    return FinishPicture(files, shared, read, picture, progress);
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
