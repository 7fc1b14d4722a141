// RotateCommand — "pxtool rotate": a picture turned by any angle.

#include "pxtool/Warp.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace px::tool {

namespace {

// An edge that lands a hair past a pixel must not add one.
constexpr double kPixelSlack = 1.0 / 256;

struct Turn {
    double cosine, sine;
};

// Exact for quarter turns, so that these lose nothing.
Turn TurnOf(double degrees)
{
    const double angle = std::remainder(degrees, 360);
    if (angle == 0) return {1, 0};
    if (std::fabs(angle) == 180) return {-1, 0};
    if (std::fabs(angle) == 90) return {0, angle > 0 ? 1.0 : -1.0};
    return {std::cos(angle * std::numbers::pi / 180), std::sin(angle * std::numbers::pi / 180)};
}

class RotateCommand final : public Command {
public:
    const char* Name() const override { return "rotate"; }
    const char* Summary() const override { return "turn a picture clockwise about its middle"; }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharedOfWriters; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure Rotate(Picture* picture, Progress& progress) const;

    WarpSettings settings_;
    double degrees_ = 0;
    bool keepsSize_ = false;
};

std::string RotateCommand::Details() const
{
    return "It grows so that nothing is cut off. Quarter turns lose nothing; other angles "
           "average samples as they are in the picture's profile."
           "\n\n" +
           std::string(kPictureNotes);
}

std::vector<Option> RotateCommand::Options()
{
    return WithWarp(&settings_, {{.name = "--angle",
                                  .value = &degrees_,
                                  .help = "clockwise; negative turns the other way",
                                  .typeName = "DEGREES",
                                  .isRequired = true},
                                 {.name = "--keep-size",
                                  .value = &keepsSize_,
                                  .help = "cut off what does not fit the size it has"}});
}

Failure RotateCommand::Rotate(Picture* picture, Progress& progress) const
{
    const Turn turn = TurnOf(degrees_);
    const double width = picture->layout.width;
    const double height = picture->layout.height;
    const auto side = [](double pixels) {
        constexpr double kMost = std::numeric_limits<int32_t>::max() - 1;
        return static_cast<int32_t>(std::clamp(std::ceil(pixels - kPixelSlack), 1.0, kMost));
    };
    PXSize size = {picture->layout.width, picture->layout.height};
    if (!keepsSize_) {
        const double c = std::fabs(turn.cosine);
        const double s = std::fabs(turn.sine);
        size = {side(width * c + height * s), side(width * s + height * c)};
    }
    // The middle goes to the middle.
    const auto shift = [](double to, double a, double x, double b, double y) {
        return static_cast<float>(to / 2 - (a * x + b * y) / 2);
    };
    const PXAffineTransform transform = {static_cast<float>(turn.cosine),
                                         static_cast<float>(-turn.sine),
                                         static_cast<float>(turn.sine),
                                         static_cast<float>(turn.cosine),
                                         shift(size.width, turn.cosine, width, -turn.sine, height),
                                         shift(size.height, turn.sine, width, turn.cosine, height)};
    return WarpPicture(settings_, Name(), size, transform, picture, progress);
}

Failure RotateCommand::Run()
{
    if (!std::isfinite(degrees_)) {
        return UsageFailure("the angle is no number", "", {}, Name());
    }
    if (Failure failure = CheckWarp(settings_, Name())) return failure;
    return ChangePicture(settings_.files, Settings(), [this](Picture* picture, Progress& progress) {
        return Rotate(picture, progress);
    });
}

}  // namespace

std::unique_ptr<Command> MakeRotateCommand()
{
    return std::make_unique<RotateCommand>();
}

}  // namespace px::tool
