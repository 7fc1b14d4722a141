#pragma once

// BuiltTransform — a Little CMS transform between the pixels of two profiles.
//
// It lives on when the profiles change or go. Immutable: threads share one.

#include <lcms2.h>

#include <compare>
#include <memory>

#include "Image/ColorContext.h"
#include "Image/LCMSColorProfile.h"
#include "Image/RowConverter.h"
#include "Image/TableTransform.h"

namespace px {

// All that the bytes of a result depend on, beside the pixels. Every transform compensates for the
// black point.
struct TransformKey {
    uint64_t sourceContent;
    uint64_t destinationContent;
    cmsUInt32Number sourceType;
    cmsUInt32Number destinationType;
    cmsUInt32Number intent;  // of Little CMS

    auto operator<=>(const TransformKey&) const = default;
};

class BuiltTransform final : public RowConverter {
public:
    // Empty when Little CMS refuses the pair, or a profile has no handle. `intent` is one of the
    // interface.
    static PXRef<BuiltTransform> Make(const LCMSColorProfile& source,
                                      const LCMSColorProfile& destination,
                                      cmsUInt32Number sourceType, cmsUInt32Number destinationType,
                                      int32_t intent);
    ~BuiltTransform() override;

    void Convert(const void* source, void* destination, uint32_t pixels) const override;

    // With the contents that the profiles had while it was built.
    const TransformKey& Key() const { return key_; }
    // Whether a kernel of ours runs it, with the same bytes.
    bool IsTable() const { return table_ != nullptr; }

private:
    BuiltTransform(cmsHTRANSFORM transform, const TransformKey& key, PXRef<ColorContext> source,
                   PXRef<ColorContext> destination);

    const cmsHTRANSFORM transform_;
    const TransformKey key_;
    // Stages of the transform may belong to the contexts of the profiles.
    const PXRef<ColorContext> sourceContext_;
    const PXRef<ColorContext> destinationContext_;
    const std::unique_ptr<const TableTransform> table_;  // null where Little CMS runs itself
};

}  // namespace px
