// CurveCommand — "pxtool curve": tone curves out of preset files.

#include "pxtool/Records.h"
#include "PXCore/PXBezierCurve.h"
#include "pxtool/CurvePlot.h"
#include "pxtool/Json.h"
#include "pxtool/ListFile.h"
#include "pxtool/PictureCommand.h"

#include <cmath>
#include <cstdio>

namespace px::tool {

namespace {

constexpr std::string_view kActions[] = {"show", "plot", "apply"};
constexpr int32_t kSlots = 256;
constexpr int32_t kSamples = 256;
constexpr int32_t kDefaultSide = 512;

class CurveCommand final : public Command {
public:
    const char* Name() const override { return "curve"; }
    const char* About() const override;
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure Read(int32_t sampleCount, PXRef<PXBezierCurve>* curve) const;
    Failure Show() const;
    Failure Plot() const;
    Failure Apply();
    Failure ApplyTo(Picture* picture) const;

    std::string action_;
    std::string curve_;
    std::string first_;
    std::string second_;
    PictureFiles files_;
    int32_t side_ = kDefaultSide;
    bool isJson_ = false;
};

const char* CurveCommand::About() const
{
    return "Reads a tone curve from the file of a preset.\n"
           "\n"
           "show CURVE           prints the points, and with --json the samples, too\n"
           "plot CURVE OUT       draws it, its points and the identity to OUT.png or OUT.svg\n"
           "apply CURVE IN OUT   runs every colour channel of the picture IN through it; alpha "
           "stays\n"
           "\n"
           "y is counted from the top of the graph: a fresh curve, from (0, 1) to (1, 0), changes\n"
           "nothing.";
}

std::vector<Option> CurveCommand::Options()
{
    return {{"ACTION", &action_, "show, plot or apply", "", true},
            {"CURVE", &curve_, "the file of a curve's preset", "", true},
            {"IN", &first_, "the picture to read; of plot, the drawing to write"},
            {"OUT", &second_, "the picture to write"},
            {"--size", &side_, "side of the drawing (without this option: 512)", "PIXELS", false,
             16, 8192},
            {"--quality", &files_.quality, kQualityHelp, "Q", false, 1, 100},
            {"--json", &isJson_, "answer show in JSON"}};
}

Failure CurveCommand::Read(int32_t sampleCount, PXRef<PXBezierCurve>* curve) const
{
    CFRef<CFDataRef> bytes;
    if (Failure failure = ReadFileBytes(curve_, &bytes)) return failure;
    *curve = PXRef<PXBezierCurve>::Adopt(new PXBezierCurve(0, sampleCount, kSlots));
    if ((*curve)->initWithPresetRawData(bytes.Get()) == kPXOK) return Done();
    return CannotRead(curve_, "it is no preset of a curve", "see pxtool plist lint");
}

Failure CurveCommand::Show() const
{
    if (!first_.empty()) return UsageFailure("show writes no file", "", {}, Name());
    PXRef<PXBezierCurve> curve;
    if (Failure failure = Read(kSamples, &curve)) return failure;
    if (isJson_) {
        std::string text = "{\"preset\": " + JsonOf(curve->presetData()) + ", \"samples\": [";
        char number[32];
        const char* comma = "";
        for (const float sample : curve->getSamples()) {
            std::snprintf(number, sizeof(number), "%s%.9g", comma, double{sample});
            text += number;
            comma = ", ";
        }
        return Print(text + "]}\n");
    }
    Record record = {{"name", UTF8Of(curve->name())},
                     {"id", std::to_string(curve->id())},
                     {"slots", std::to_string(curve->controlPointCount())}};
    for (const PXPointF& point : curve->getControlPoints()) {
        char text[64];
        std::snprintf(text, sizeof(text), "%g, %g", double{point.x}, double{point.y});
        if (PXBezierCurve::isValidControlPoint(point)) record.emplace_back("point", text);
    }
    return Print(TextOf(record));
}

Failure CurveCommand::Plot() const
{
    if (first_.empty())
        return UsageFailure("plot needs the name of a file to write", "", {}, Name());
    PXRef<PXBezierCurve> curve;
    if (Failure failure = Read(kSamples, &curve)) return failure;
    if (first_.ends_with(".svg")) {
        const std::string svg = PlotSVG(*curve, side_);
        return WriteFileBytes(first_, svg.data(), svg.size());
    }
    Format format = Format::kUnknown;
    if (Failure failure = CheckOutput(first_, &format)) return failure;
    Picture picture;
    if (Failure failure = PlotPicture(*curve, side_, first_, &picture)) return failure;
    Progress progress(curve_, first_);
    return WritePicture(picture, first_, files_.quality, progress);
}

template <class Sample>
void RunThrough(const PictureLayout& layout, const Pixels& pixels,
                const std::vector<float>& samples)
{
    const double top = (1 << layout.depth) - 1;
    std::vector<Sample> table(samples.size());
    // Samples count from the top of the graph, pixels from black.
    for (size_t i = 0; i < table.size(); ++i)
        table[i] = static_cast<Sample>(std::floor((1 - double{samples[i]}) * top + 0.5));
    const int32_t channels = layout.Channels();
    for (int32_t y = 0; y < layout.height; ++y) {
        auto* row = reinterpret_cast<Sample*>(pixels.Row(y));
        for (int64_t x = 0; x < int64_t{layout.width} * channels; ++x) {
            if (x % channels < layout.Colorants()) row[x] = table[row[x]];
        }
    }
}

Failure CurveCommand::ApplyTo(Picture* picture) const
{
    if (picture->layout.model == kPXColorSpaceCMYK) {
        return CannotRead(files_.input, "it is CMYK, whose channels count ink",
                          "convert it to RGB first");
    }
    PXRef<PXBezierCurve> curve;
    if (Failure failure = Read(1 << picture->layout.depth, &curve)) return failure;
    if (picture->layout.depth == 8)
        RunThrough<uint8_t>(picture->layout, picture->View(), curve->getSamples());
    else
        RunThrough<uint16_t>(picture->layout, picture->View(), curve->getSamples());
    return Done();
}

Failure CurveCommand::Apply()
{
    if (second_.empty())
        return UsageFailure("apply needs two pictures, one to read and one to write", "", {},
                            Name());
    files_.input = first_;
    files_.output = second_;
    return ChangePicture(files_, [this](Picture* picture, Progress&) { return ApplyTo(picture); });
}

Failure CurveCommand::Run()
{
    size_t action = 0;
    if (Failure failure = ChooseWord(action_, kActions, "action", Name(), &action)) return failure;
    return action == 0 ? Show() : action == 1 ? Plot() : Apply();
}

}  // namespace

std::unique_ptr<Command> MakeCurveCommand()
{
    return std::make_unique<CurveCommand>();
}

}  // namespace px::tool
