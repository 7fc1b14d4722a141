#pragma once

// TransformCache — the transforms that were used last, because building one costs more than
// converting a megapixel.
//
// A profile that gets other bytes gets another content number, so that its old transforms are not
// found any more and leave as new ones come. Thread-safe; no other lock is taken under its own.

#include <vector>

#include "Base/Mutex.h"
#include "Base/NeverDestroyed.h"
#include "Image/BuiltTransform.h"

namespace px {

class TransformCache {
public:
    static TransformCache& Shared();

    // As BuiltTransform::Make. Two threads that miss the same one both build it, and share one.
    PXRef<BuiltTransform> Get(const LCMSColorProfile& source, const LCMSColorProfile& destination,
                              cmsUInt32Number sourceType, cmsUInt32Number destinationType,
                              int32_t intent);
    size_t Count();
    void Clear();

private:
    friend class NeverDestroyed<TransformCache>;
    TransformCache() = default;

    PXRef<BuiltTransform> Find(const TransformKey& key) PX_REQUIRES_LOCK(mutex_);
    PXRef<BuiltTransform> Insert(PXRef<BuiltTransform> built);

    // Tables of a transform take up to a few megabytes; pictures rarely mix more kinds than this.
    static constexpr size_t kCapacity = 16;

    Mutex mutex_;
    std::vector<PXRef<BuiltTransform>> entries_ PX_GUARDED_BY(mutex_);  // the last used one first
};

}  // namespace px
