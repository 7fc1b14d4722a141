// TransformCommand — "pxtool transform": a picture seen through any affine transform.

#include "PXCore/PXGeometry.h"
#include "pxtool/Geometry.h"
#include "pxtool/Warp.h"

#include <cmath>

namespace px::tool {

namespace {

bool HasInverse(const PXAffineTransform& transform)
{
    const PXAffineTransform m = PXAffineTransformInvert(transform);
    return std::isfinite(m.m0) && std::isfinite(m.m1) && std::isfinite(m.m2) &&
           std::isfinite(m.m3) && std::isfinite(m.tx) && std::isfinite(m.ty);
}

class TransformCommand final : public Command {
public:
    const char* Name() const override { return "transform"; }
    const char* Summary() const override
    {
        return "scale, shear, turn, mirror and move a picture in one step";
    }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharedOfWriters; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure ReadMatrix();

    WarpSettings settings_;
    std::string matrixText_;
    std::string sizeText_;
    PXAffineTransform transform_ = {};
    PXSize size_ = {};
};

std::string TransformCommand::Details() const
{
    return "A point x,y of the upright picture, in pixels from its upper left corner, goes to "
           "A*x + B*y + TX, C*x + D*y + TY. What lands outside of the new picture is cut off. A "
           "picture that shrinks is not averaged over all of its pixels: resize does that."
           "\n\n" +
           std::string(kPictureNotes);
}

std::vector<Option> TransformCommand::Options()
{
    return WithWarp(&settings_, {{.name = "--matrix",
                                  .value = &matrixText_,
                                  .help = "the six numbers",
                                  .typeName = "A,B,C,D,TX,TY",
                                  .isRequired = true},
                                 {.name = "--size",
                                  .value = &sizeText_,
                                  .help = "the size of the new picture",
                                  .typeName = "WIDTHxHEIGHT",
                                  .standard = "that of IN"}});
}

Failure TransformCommand::ReadMatrix()
{
    std::vector<double> numbers;
    if (!ReadNumberList(matrixText_, &numbers) || numbers.size() != 6) {
        return UsageFailure("'" + matrixText_ + "' is no matrix such as 1,0.2,0,1,-40,0", "", {},
                            Name());
    }
    const auto number = [&](size_t i) { return static_cast<float>(numbers[i]); };
    transform_ = {number(0), number(1), number(2), number(3), number(4), number(5)};
    if (HasInverse(transform_)) return Done();
    return UsageFailure("the matrix " + matrixText_ + " leaves nothing of the picture", "", {},
                        Name());
}

Failure TransformCommand::Run()
{
    if (Failure failure = ReadMatrix()) return failure;
    if (!sizeText_.empty() && !ReadSize(sizeText_, &size_)) {
        return UsageFailure("'" + sizeText_ + "' is no size such as 1500x1000", "", {}, Name());
    }
    if (Failure failure = CheckWarp(settings_, Name())) return failure;
    return ChangePicture(settings_.files, Settings(), [this](Picture* picture, Progress& progress) {
        const PictureLayout& layout = picture->layout;
        const PXSize size = sizeText_.empty() ? PXSize{layout.width, layout.height} : size_;
        return WarpPicture(settings_, Name(), size, transform_, picture, progress);
    });
}

}  // namespace

std::unique_ptr<Command> MakeTransformCommand()
{
    return std::make_unique<TransformCommand>();
}

}  // namespace px::tool
