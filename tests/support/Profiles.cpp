#include "support/Profiles.h"

#include "PXCore/PXColorProfile.h"
#include "support/ColourPictures.h"

#include <lcms2.h>
#if defined(PX_FAST_FLOAT)
#include <lcms2_fast_float.h>
#endif

#include <algorithm>

namespace px::test {

namespace {

// Inks multiply the light they let through; black is the same for all three channels.
cmsInt32Number InksToLab(const cmsUInt16Number in[], cmsUInt16Number out[], void* toLab)
{
    double rgb[3];
    for (int i = 0; i < 3; ++i) rgb[i] = (1 - in[i] / 65535.0) * (1 - in[3] / 65535.0);
    cmsCIELab lab;
    cmsDoTransform(toLab, rgb, &lab, 1);
    cmsFloat2LabEncodedV2(out, &lab);
    return TRUE;
}

cmsInt32Number LabToInks(const cmsUInt16Number in[], cmsUInt16Number out[], void* fromLab)
{
    cmsCIELab lab;
    cmsLabEncoded2FloatV2(&lab, in);
    double rgb[3];
    cmsDoTransform(fromLab, &lab, rgb, 1);
    const double light = std::clamp(std::max({rgb[0], rgb[1], rgb[2]}), 0.0, 1.0);
    for (int i = 0; i < 3; ++i) {
        const double share = light > 0 ? std::clamp(rgb[i] / light, 0.0, 1.0) : 1.0;
        out[i] = static_cast<cmsUInt16Number>((1 - share) * 65535 + 0.5);
    }
    out[3] = static_cast<cmsUInt16Number>((1 - light) * 65535 + 0.5);
    return TRUE;
}

void WriteTable(cmsHPROFILE profile, cmsTagSignature tag, cmsUInt32Number inputs,
                cmsUInt32Number outputs, cmsUInt32Number grid, cmsSAMPLER16 sample, void* cargo)
{
    cmsPipeline* table = cmsPipelineAlloc(nullptr, inputs, outputs);
    cmsStage* clut = cmsStageAllocCLut16bit(nullptr, grid, inputs, outputs, nullptr);
    cmsStageSampleCLut16bit(clut, sample, cargo, 0);
    cmsToneCurve* linear = cmsBuildGamma(nullptr, 1.0);
    cmsToneCurve* curves[4] = {linear, linear, linear, linear};
    cmsPipelineInsertStage(table, cmsAT_END, cmsStageAllocToneCurves(nullptr, inputs, curves));
    cmsPipelineInsertStage(table, cmsAT_END, clut);
    cmsPipelineInsertStage(table, cmsAT_END, cmsStageAllocToneCurves(nullptr, outputs, curves));
    cmsWriteTag(profile, tag, table);
    cmsFreeToneCurve(linear);
    cmsPipelineFree(table);
}

}  // namespace

std::vector<uint8_t> SaveAndClose(cmsHPROFILE profile)
{
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    std::vector<uint8_t> bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return bytes;
}

std::vector<uint8_t> MakeCMYKProfile()
{
    cmsHPROFILE rgb = cmsCreate_sRGBProfile();
    cmsHPROFILE lab = cmsCreateLab4Profile(nullptr);
    cmsHTRANSFORM toLab =
        cmsCreateTransform(rgb, TYPE_RGB_DBL, lab, TYPE_Lab_DBL, INTENT_RELATIVE_COLORIMETRIC, 0);
    cmsHTRANSFORM fromLab =
        cmsCreateTransform(lab, TYPE_Lab_DBL, rgb, TYPE_RGB_DBL, INTENT_RELATIVE_COLORIMETRIC, 0);

    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, 2.4);
    cmsSetDeviceClass(profile, cmsSigOutputClass);
    cmsSetColorSpace(profile, cmsSigCmykData);
    cmsSetPCS(profile, cmsSigLabData);
    const cmsCIEXYZ yellowishPaper = {0.86, 0.90, 0.66};
    cmsWriteTag(profile, cmsSigMediaWhitePointTag, &yellowishPaper);
    WriteTable(profile, cmsSigAToB0Tag, 4, 3, 9, InksToLab, toLab);
    WriteTable(profile, cmsSigBToA0Tag, 3, 4, 17, LabToInks, fromLab);
    // A coarser table for the colorimetric intents, so that the intent shows in the bytes.
    WriteTable(profile, cmsSigBToA1Tag, 3, 4, 5, LabToInks, fromLab);
    cmsMLU* name = cmsMLUalloc(nullptr, 1);
    cmsMLUsetASCII(name, "en", "US", "Plain inks");
    cmsWriteTag(profile, cmsSigProfileDescriptionTag, name);
    cmsMLUfree(name);

    cmsDeleteTransform(fromLab);
    cmsDeleteTransform(toLab);
    cmsCloseProfile(lab);
    cmsCloseProfile(rgb);
    return SaveAndClose(profile);
}

std::vector<uint8_t> MakeGreyProfile()
{
    cmsToneCurve* curve = cmsBuildGamma(nullptr, 2.2);
    cmsHPROFILE profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
    cmsFreeToneCurve(curve);
    return SaveAndClose(profile);
}

std::vector<uint8_t> StandardProfileBytes(uint32_t signature)
{
    return Profile(signature).Data();
}

bool ConvertByLittleCMS(const LittleCMSSide& from, const LittleCMSSide& to, uint32_t intent,
                        const void* source, void* destination, size_t pixelCount)
{
    const bool isExact = T_FLOAT(from.type);
    cmsContext context = cmsCreateContext(nullptr, nullptr);
#if defined(PX_FAST_FLOAT)
    if (!isExact) cmsPluginTHR(context, cmsFastFloatExtensions());
#endif
    const auto open = [context](const std::vector<uint8_t>& icc) {
        return icc.empty()
                   ? cmsCreate_sRGBProfileTHR(context)
                   : cmsOpenProfileFromMemTHR(context, icc.data(), cmsUInt32Number(icc.size()));
    };
    cmsHPROFILE a = open(from.icc), b = open(to.icc);
    cmsHTRANSFORM transform = cmsCreateTransformTHR(
        context, a, from.type, b, to.type, intent,
        cmsFLAGS_BLACKPOINTCOMPENSATION | (isExact ? cmsFLAGS_NOOPTIMIZE : 0U));
    if (transform) {
        cmsDoTransform(transform, source, destination, cmsUInt32Number(pixelCount));
        cmsDeleteTransform(transform);
    }
    cmsCloseProfile(b);
    cmsCloseProfile(a);
    cmsDeleteContext(context);
    return transform != nullptr;
}

}  // namespace px::test
