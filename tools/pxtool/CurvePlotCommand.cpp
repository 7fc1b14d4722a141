// CurvePlotCommand — "pxtool curve plot": a drawing of a tone curve.

#include "pxtool/CurveFiles.h"
#include "pxtool/CurvePlot.h"
#include "pxtool/ListFile.h"
#include "pxtool/PictureCommand.h"
#include "pxtool/Plan.h"

namespace px::tool {

namespace {

class CurvePlotCommand final : public Command {
public:
    const char* Name() const override { return "curve plot"; }
    const char* Summary() const override
    {
        return "draw a tone curve, its points and the identity";
    }
    uint32_t Shares() const override { return kSharedOfWriters; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure PlotToSVG(const PXBezierCurve& curve) const;

    PictureFiles files_;
    int32_t side_ = 512;
};

std::vector<Option> CurvePlotCommand::Options()
{
    return {{.name = "CURVE",
             .value = &files_.input,
             .help = "the file of a curve's preset",
             .isRequired = true,
             .expects = Expects::kFile},
            {.name = "OUT",
             .value = &files_.output,
             .help = "the drawing to write: .svg or a picture's ending",
             .isRequired = true,
             .expects = Expects::kFile},
            {.name = "--size",
             .value = &side_,
             .help = "side of the drawing",
             .typeName = "PIXELS",
             .least = 16,
             .most = 8192},
            QualityOption(&files_.quality)};
}

Failure CurvePlotCommand::PlotToSVG(const PXBezierCurve& curve) const
{
    const std::string& path = files_.output;
    if (Failure failure = CheckOutputPath(path, Settings().mayReplace)) return failure;
    const std::string svg = PlotSVG(curve, side_);
    if (Settings().isDryRun) {
        return Print(WouldRead(files_.input, "") +
                     WouldWrite(path, std::to_string(svg.size()) + " bytes"));
    }
    return WriteFileBytes(path, Settings().mayReplace, svg.data(), svg.size());
}

Failure CurvePlotCommand::Run()
{
    PXRef<PXBezierCurve> curve;
    if (Failure failure = ReadCurve(files_.input, kCurveSamples, &curve)) return failure;
    if (files_.output.ends_with(".svg")) return PlotToSVG(*curve);
    Format format = Format::kUnknown;
    if (Failure failure = CheckOutput(files_.output, Settings().mayReplace, &format)) {
        return failure;
    }
    Picture picture;
    if (Failure failure = PlotPicture(*curve, side_, files_.output, &picture)) return failure;
    if (Settings().isDryRun) {
        return Print(WouldRead(files_.input, "") +
                     WouldWrite(files_.output, NoteOf(picture.layout)));
    }
    Progress progress(files_.input, files_.output, Settings().isQuiet);
    return WritePicture(picture, files_.output, Settings().mayReplace, files_.quality, progress);
}

}  // namespace

std::unique_ptr<Command> MakeCurvePlotCommand()
{
    return std::make_unique<CurvePlotCommand>();
}

}  // namespace px::tool
