// MipsCommand — "pxtool mips": the mip levels of a picture, a file for each.

#include "PXAccelerate/PXAccelerate.h"
#include "PXCore/PXImageDerived.h"
#include "pxtool/Geometry.h"
#include "pxtool/PictureCommand.h"
#include "pxtool/Plan.h"

#include <algorithm>

namespace px::tool {

namespace {

class MipsCommand final : public Command {
public:
    const char* Name() const override { return "mips"; }
    const char* Summary() const override
    {
        return "write a picture at half its size, a quarter, an eighth, and so on";
    }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharedOfWriters; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    std::string PathOf(uint32_t level) const;
    Failure CheckOutputs(uint32_t levels) const;
    Failure MakeLevels(const Picture& picture, Progress& progress);
    Failure WriteLevels(Picture* picture, Progress& progress);

    PictureFiles files_;
    std::string filterName_ = "bilinear";
    int32_t levels_ = kPXImageMaxMips;
    PXBlitFilter filter_ = kPXBlitBilinear;
    Format format_ = Format::kUnknown;
    std::vector<ImageOwner> images_;
};

std::string MipsCommand::Details() const
{
    return "Level 1 of OUT out.png becomes out-1.png. Sides are rounded down but at least one "
           "pixel long; the last level has one pixel. Each level is filtered from the one before "
           "it."
           "\n\n" +
           std::string(kPictureNotes);
}

std::vector<Option> MipsCommand::Options()
{
    return WithFiles(&files_, {{.name = "--levels",
                                .value = &levels_,
                                .help = "how many levels",
                                .typeName = "N",
                                .least = 1,
                                .most = kPXImageMaxMips,
                                .standard = "down to one pixel"},
                               {.name = "--filter",
                                .value = &filterName_,
                                .help = "how samples are averaged",
                                .typeName = "FILTER",
                                .choices = kFilters}});
}

std::string MipsCommand::PathOf(uint32_t level) const
{
    const size_t dot = files_.output.rfind('.');
    return files_.output.substr(0, dot) + '-' + std::to_string(level) + files_.output.substr(dot);
}

Failure MipsCommand::CheckOutputs(uint32_t levels) const
{
    for (uint32_t level = 1; level <= levels; ++level) {
        if (Failure failure = CheckOutputPath(PathOf(level), Settings().mayReplace)) return failure;
    }
    return Done();
}

Failure MipsCommand::MakeLevels(const Picture& picture, Progress& progress)
{
    const CallProgress call(progress);
    const PXImageScaleOptions options = {filter_, kPXDataSourceDefault, 0, call.Get()};
    PXImage made[kPXImageMaxMips];
    uint32_t count = 0;
    const PXStatus status = PXImageCreateMips(picture.image.Get(), static_cast<uint32_t>(levels_),
                                              &options, &count, made);
    if (status) return CallProgress::FailureOf(status, files_.input);
    images_.resize(count);
    for (uint32_t i = 0; i < count; ++i) *images_[i].Receive() = made[i];
    return Done();
}

// All files are written before the first one takes its place.
Failure MipsCommand::WriteLevels(Picture* picture, Progress& progress)
{
    std::vector<std::unique_ptr<OutputFile>> files;
    uint32_t level = 0;
    const PictureLayout layout = picture->layout;
    if (Settings().isDryRun) {
        if (Failure failure = Print(WouldRead(files_.input, NoteOf(layout)))) return failure;
    }
    for (ImageOwner& image : images_) {
        picture->layout = layout;
        TakeImage(std::move(image), picture);
        if (Failure failure = FitToFormat(format_, files_.output, picture)) return failure;
        if (Settings().isDryRun) {
            const std::string path = PathOf(++level);
            if (Failure failure = Print(WouldWrite(path, NoteOf(picture->layout)))) return failure;
            continue;
        }
        files.push_back(std::make_unique<OutputFile>());
        OutputFile& file = *files.back();
        if (Failure failure =
                file.Create(PathOf(static_cast<uint32_t>(files.size())), Settings().mayReplace)) {
            return failure;
        }
        if (Failure failure = EncodePicture(*picture, format_, files_.quality, progress, file)) {
            return failure;
        }
    }
    if (IsCancelled()) return Cancelled();
    for (const auto& file : files) {
        if (Failure failure = file->Commit()) return failure;
    }
    return Done();
}

Failure MipsCommand::Run()
{
    filter_ = FilterOf(filterName_);
    if (Failure failure = CheckFormat(files_.output, &format_)) return failure;
    PXAccelerateInit();
    Progress progress(files_.input, files_.output, Settings().isQuiet);
    Picture picture;
    if (Failure failure = ReadUpright(files_.input, progress, &picture)) return failure;
    const uint32_t levels =
        std::min(static_cast<uint32_t>(levels_), PXImageGetMipCount(picture.image.Get()));
    if (Failure failure = CheckOutputs(levels)) return failure;
    if (Failure failure = MakeLevels(picture, progress)) return failure;
    return WriteLevels(&picture, progress);
}

}  // namespace

std::unique_ptr<Command> MakeMipsCommand()
{
    return std::make_unique<MipsCommand>();
}

}  // namespace px::tool
