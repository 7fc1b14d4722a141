#include "pxtool/LabReader.h"

#include <lcms2.h>

#include <memory>

namespace px::tool {

namespace {

struct CloseProfile {
    void operator()(void* profile) const { cmsCloseProfile(profile); }
};
using ProfileHandle = std::unique_ptr<void, CloseProfile>;

static_assert(sizeof(Lab) == sizeof(cmsCIELab));

cmsUInt32Number PixelTypeOf(const PictureLayout& layout)
{
    const int space = layout.model == kPXColorSpaceGrey  ? PT_GRAY
                      : layout.model == kPXColorSpaceRGB ? PT_RGB
                                                         : PT_CMYK;
    return static_cast<cmsUInt32Number>(COLORSPACE_SH(space) | EXTRA_SH(layout.hasAlpha ? 1 : 0) |
                                        CHANNELS_SH(layout.Colorants()) |
                                        BYTES_SH(layout.depth / 8));
}

ProfileHandle ProfileOf(const Picture& picture)
{
    if (!picture.icc.empty()) {
        return ProfileHandle(cmsOpenProfileFromMem(
            picture.icc.data(), static_cast<cmsUInt32Number>(picture.icc.size())));
    }
    if (picture.layout.model == kPXColorSpaceRGB) return ProfileHandle(cmsCreate_sRGBProfile());
    if (picture.layout.model != kPXColorSpaceGrey) return nullptr;
    // The curve of sRGB.
    double numbers[] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
    cmsToneCurve* curve = cmsBuildParametricToneCurve(nullptr, 4, numbers);
    const cmsCIExyY white = *cmsD50_xyY();
    ProfileHandle grey(curve ? cmsCreateGrayProfile(&white, curve) : nullptr);
    cmsFreeToneCurve(curve);
    return grey;
}

}  // namespace

LabReader::~LabReader()
{
    if (transform_) cmsDeleteTransform(transform_);
}

Failure LabReader::Open(const std::string& path, const Picture& picture)
{
    picture_ = &picture;
    if (picture.icc.empty() && picture.layout.model == kPXColorSpaceCMYK) {
        return CannotRead(path, "it is CMYK without an embedded profile",
                          "give it one with pxtool convert");
    }
    const ProfileHandle profile = ProfileOf(picture);
    const ProfileHandle lab(cmsCreateLab4Profile(nullptr));
    if (profile && lab) {
        transform_ = cmsCreateTransform(profile.get(), PixelTypeOf(picture.layout), lab.get(),
                                        TYPE_Lab_DBL, INTENT_RELATIVE_COLORIMETRIC,
                                        cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE);
    }
    if (transform_) return Done();
    return CannotRead(path, "its embedded profile does not fit its pixels",
                      "give it another with pxtool convert --from");
}

void LabReader::Read(int32_t row, std::vector<Lab>* colours) const
{
    colours->resize(static_cast<size_t>(picture_->layout.width));
    cmsDoTransform(transform_, picture_->View().Row(row), colours->data(),
                   static_cast<cmsUInt32Number>(picture_->layout.width));
}

}  // namespace px::tool
