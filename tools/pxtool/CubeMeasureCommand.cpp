// CubeMeasureCommand — "pxtool cube measure": how far a cube is from what it was sampled from.

#include "Base/Ref.h"
#include "pxtool/Command.h"
#include "pxtool/CubeFiles.h"

#include <algorithm>
#include <cmath>

namespace px::tool {

namespace {

constexpr double kLevels = 255;

struct CubeError {
    double largest = 0;
    double sum = 0;
    PXVec3F at = {};
};

class CubeMeasureCommand final : public Command {
public:
    const char* Name() const override { return "cube measure"; }
    const char* Summary() const override
    {
        return "compare a .cube file with the conversion between two profiles";
    }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharesJSON | kSharesStats; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure Compare(const float* wanted, CubeError* error) const;

    std::string cubeName_;
    CubeSource source_;
    int32_t samples_ = 61;  // shares few points with the usual sizes
    CubeOwner cube_;
};

std::string CubeMeasureCommand::Details() const
{
    return "Tells the largest and the mean difference of a component in levels of 8 bits, over a "
           "grid of colours, with everything clamped to what can be shown.";
}

std::vector<Option> CubeMeasureCommand::Options()
{
    std::vector<Option> options = source_.Options();
    options.insert(options.begin(), {.name = "CUBE",
                                     .value = &cubeName_,
                                     .help = "the .cube file",
                                     .isRequired = true,
                                     .expects = Expects::kFile});
    options.push_back({.name = "--samples",
                       .value = &samples_,
                       .help = "colours along an edge of the grid",
                       .typeName = "N",
                       .least = 2,
                       .most = kPXColorCubeMaxGridSize});
    return options;
}

Failure CubeMeasureCommand::Compare(const float* wanted, CubeError* error) const
{
    const auto last = static_cast<float>(samples_ - 1);
    for (int64_t i = 0; i < int64_t{samples_} * samples_ * samples_; ++i, wanted += 3) {
        const PXVec3F color = {static_cast<float>(i % samples_) / last,
                               static_cast<float>(i / samples_ % samples_) / last,
                               static_cast<float>(i / samples_ / samples_) / last};
        PXVec3F found = {};
        if (PXColorCubeConvertColor(cube_.Get(), &color, &found)) {
            return CannotRead(cubeName_, "it has no points", "");
        }
        const float parts[] = {found.x, found.y, found.z};
        for (int c = 0; c < 3; ++c) {
            const double off = std::fabs(double{std::clamp(parts[c], 0.0F, 1.0F)} -
                                         double{std::clamp(wanted[c], 0.0F, 1.0F)});
            error->sum += off;
            if (off <= error->largest) continue;
            error->largest = off;
            error->at = color;
        }
    }
    return Done();
}

Failure CubeMeasureCommand::Run()
{
    if (Failure failure = ReadCube(cubeName_, &cube_)) return failure;
    if (Failure failure = source_.Open()) return failure;
    CFDataRef made = nullptr;
    const int status = PXColorProfileCreateRGBColorCube3(
        source_.From(), source_.To(), source_.Intent(), static_cast<uint32_t>(samples_), &made);
    const auto real = CFRef<CFDataRef>::Adopt(made);
    if (Failure failure = CubeFailureOf(status)) return failure;
    CubeError error;
    const auto* wanted = reinterpret_cast<const float*>(CFDataGetBytePtr(real.Get()));
    if (Failure failure = Compare(wanted, &error)) return failure;
    const double values = static_cast<double>(CFDataGetLength(real.Get())) / sizeof(float);
    return Tell({{"largest", error.largest * kLevels},
                 {"mean", error.sum / values * kLevels},
                 {"at", Values{double{error.at.x}, double{error.at.y}, double{error.at.z}}}});
}

}  // namespace

std::unique_ptr<Command> MakeCubeMeasureCommand()
{
    return std::make_unique<CubeMeasureCommand>();
}

}  // namespace px::tool
