// CurveShowCommand — "pxtool curve show": the points of a tone curve.

#include "pxtool/Command.h"
#include "pxtool/CurveFiles.h"
#include "pxtool/Json.h"

#include <cstdio>

namespace px::tool {

namespace {

class CurveShowCommand final : public Command {
public:
    const char* Name() const override { return "curve show"; }
    const char* Summary() const override { return "print the points of a tone curve"; }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharesJSON; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    std::string curve_;
};

std::string CurveShowCommand::Details() const
{
    return "With --json its samples, too. y is counted from the top of the graph: a fresh curve, "
           "from (0, 1) to (1, 0), changes nothing.";
}

std::vector<Option> CurveShowCommand::Options()
{
    return {{.name = "CURVE",
             .value = &curve_,
             .help = "the file of a curve's preset",
             .isRequired = true,
             .expects = Expects::kFile}};
}

Failure CurveShowCommand::Run()
{
    PXRef<PXBezierCurve> curve;
    if (Failure failure = ReadCurve(curve_, kCurveSamples, &curve)) return failure;
    Fields answer = {{"name", UTF8Of(curve->name())},
                     {"id", int64_t{curve->id()}},
                     {"slots", int64_t{curve->controlPointCount()}}};
    Values points;
    std::string lines;
    for (const PXPointF& point : curve->getControlPoints()) {
        if (!PXBezierCurve::isValidControlPoint(point)) continue;
        points.emplace_back(Values{double{point.x}, double{point.y}});
        char line[64];
        std::snprintf(line, sizeof(line), "point: %g, %g\n", double{point.x}, double{point.y});
        lines += line;
    }
    const std::string text = TextOf(answer) + lines;
    answer.push_back({"points", std::move(points)});
    Values samples;
    for (const float sample : curve->getSamples()) samples.emplace_back(double{sample});
    answer.push_back({"samples", std::move(samples)});
    answer.push_back({"content", JSONText{JsonOf(curve->presetData())}});
    return Tell(std::move(answer), text);
}

}  // namespace

std::unique_ptr<Command> MakeCurveShowCommand()
{
    return std::make_unique<CurveShowCommand>();
}

}  // namespace px::tool
