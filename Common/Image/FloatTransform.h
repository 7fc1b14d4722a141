#pragma once

// FloatTransform — a Little CMS transform of RGB floats, plain or as a soft proof.
//
// It works in a context of its own without plug-ins: the fast engine clamps floats and, in soft
// proofs, is off by many 8-bit levels. Results are what the destination profile yields, not clamped
// to 0…1. Immutable: threads share one.

#include <lcms2.h>

#include "Image/ColorContext.h"
#include "Image/LCMSColorProfile.h"
#include "Image/RowConverter.h"

namespace px {

struct SoftProofRequest {
    const LCMSColorProfile* profile;
    const LCMSColorProfile* proof;
    const LCMSColorProfile* display;  // null: the monitor's
    int32_t intent;
    bool warnsOfGamut;    // shows what the proof device cannot show in pure red
    bool simulatesPaper;  // shows the proof device's white and black as they are
};

class FloatTransform final : public CBaseCore {
public:
    // kPXErrBadArgument without a profile, kPXErrMissing when one has no handle, `refused` when
    // Little CMS does not take the pair.
    [[nodiscard]] static PXStatus Make(const LCMSColorProfile* source,
                                       const LCMSColorProfile* destination, int32_t intent,
                                       PXStatus refused, PXRef<FloatTransform>* outTransform);
    // The same; kPXErrNoDisplayProfile when there is none, kPXErrNotFound when Little CMS refuses.
    [[nodiscard]] static PXStatus MakeSoftProof(const SoftProofRequest& request,
                                                PXRef<FloatTransform>* outTransform);
    ~FloatTransform() override;

    // `count` triples; in place when both are the same.
    void Convert(const float* from, float* to, uint32_t count) const;

private:
    FloatTransform(PXRef<ColorContext> own, bool warnsOfGamut)
        : context_(std::move(own)), warnsOfGamut_(warnsOfGamut)
    {
    }
    static PXRef<FloatTransform> MakeEmpty(bool warnsOfGamut);

    const PXRef<ColorContext> context_;
    const bool warnsOfGamut_;
    // Stages of the transform may belong to the contexts of the profiles.
    PXRef<ColorContext> profileContexts_[3];
    cmsHTRANSFORM transform_ = nullptr;
};

// Sends rows of RGB through a float transform. Empty when an image is not RGB.
PXRef<RowConverter> MakeFloatTransformConverter(PXRef<FloatTransform> transform,
                                                const CImageRec& source,
                                                const CImageRec& destination);

}  // namespace px
