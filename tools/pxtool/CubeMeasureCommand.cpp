// CubeMeasureCommand — "pxtool cube measure": how far a cube is from what it was sampled from.

#include "pxtool/Command.h"
#include "pxtool/CubeFiles.h"
#include "pxtool/ProfileOptions.h"

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
    std::string fromName_ = "srgb";
    std::string toName_;
    std::string intentName_{kIntents[1]};
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
    return {{.name = "CUBE",
             .value = &cubeName_,
             .help = "the .cube file",
             .isRequired = true,
             .expects = Expects::kFile},
            {.name = "--to",
             .value = &toName_,
             .help = "the profile that results are in",
             .typeName = "PROFILE",
             .isRequired = true,
             .expects = Expects::kProfile},
            {.name = "--from",
             .value = &fromName_,
             .help = "the profile that colours come in",
             .typeName = "PROFILE",
             .expects = Expects::kProfile},
            {.name = "--intent",
             .value = &intentName_,
             .help = "how colours are fitted",
             .typeName = "INTENT",
             .choices = kIntents},
            {.name = "--samples",
             .value = &samples_,
             .help = "colours along an edge of the grid",
             .typeName = "N",
             .least = 2,
             .most = kPXColorCubeMaxGridSize}};
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
    const int32_t intent = IntentOf(intentName_);
    if (Failure failure = ReadCube(cubeName_, &cube_)) return failure;
    ProfileOwner from;
    ProfileOwner to;
    if (Failure failure = OpenCubeProfiles(fromName_, toName_, &from, &to)) return failure;
    CFDataRef real = nullptr;
    if (Failure failure = CubeFailureOf(PXColorProfileCreateRGBColorCube3(
            from.Get(), to.Get(), intent, static_cast<uint32_t>(samples_), &real))) {
        return failure;
    }
    CubeError error;
    const Failure failure = Compare(reinterpret_cast<const float*>(CFDataGetBytePtr(real)), &error);
    const double values = static_cast<double>(CFDataGetLength(real)) / sizeof(float);
    CFRelease(real);
    if (failure) return failure;
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
