// CurveApplyCommand — "pxtool curve apply": a picture through a tone curve.

#include "pxtool/CurveFiles.h"
#include "pxtool/PictureCommand.h"

#include <cmath>

namespace px::tool {

namespace {

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

class CurveApplyCommand final : public Command {
public:
    const char* Name() const override { return "curve apply"; }
    const char* Summary() const override
    {
        return "run every colour channel of a picture through a tone curve";
    }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharedOfWriters; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure ApplyTo(Picture* picture) const;

    std::string curve_;
    PictureFiles files_;
};

std::string CurveApplyCommand::Details() const
{
    return "Alpha stays as it is.";
}

std::vector<Option> CurveApplyCommand::Options()
{
    std::vector<Option> options = WithFiles(&files_, {});
    options.insert(options.begin(), {.name = "CURVE",
                                     .value = &curve_,
                                     .help = "the file of a curve's preset",
                                     .isRequired = true,
                                     .expects = Expects::kFile});
    return options;
}

Failure CurveApplyCommand::ApplyTo(Picture* picture) const
{
    if (picture->layout.model == kPXColorSpaceCMYK) {
        return CannotRead(files_.input, "it is CMYK, whose channels count ink",
                          "convert it to RGB first");
    }
    PXRef<PXBezierCurve> curve;
    if (Failure failure = ReadCurve(curve_, 1 << picture->layout.depth, &curve)) return failure;
    if (picture->layout.depth == 8) {
        RunThrough<uint8_t>(picture->layout, picture->View(), curve->getSamples());
    } else {
        RunThrough<uint16_t>(picture->layout, picture->View(), curve->getSamples());
    }
    return Done();
}

Failure CurveApplyCommand::Run()
{
    return ChangePicture(files_, Settings(),
                         [this](Picture* picture, Progress&) { return ApplyTo(picture); });
}

}  // namespace

std::unique_ptr<Command> MakeCurveApplyCommand()
{
    return std::make_unique<CurveApplyCommand>();
}

}  // namespace px::tool
