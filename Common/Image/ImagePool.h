#pragma once

// ImagePool — spare images of one kind. Internally locked; images are made without the lock.

#include <deque>

#include "Base/Mutex.h"
#include "Image/ImageRec.h"

class ImagePool final : public CBaseCore {
public:
    [[nodiscard]] PXStatus Update(int32_t count, const PXImageCreateParams& params);
    [[nodiscard]] PXStatus Acquire(PXRef<CImageRec>* outImage);

private:
    px::Mutex mutex_;
    std::deque<PXRef<CImageRec>> spares_ PX_GUARDED_BY(mutex_);
    PXImageCreateParams params_ PX_GUARDED_BY(mutex_) = {};
};
