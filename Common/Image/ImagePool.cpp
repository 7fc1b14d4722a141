#include "Image/ImagePool.h"

#include "Base/Status.h"

#include <cstring>

namespace {

bool AreEqual(const PXImageCreateParams& a, const PXImageCreateParams& b)
{
    static_assert(sizeof(PXImageCreateParams) == 36, "compared as bytes: no gaps");
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

}  // namespace

PXStatus ImagePool::Update(int32_t count, const PXImageCreateParams& params)
{
    std::deque<PXRef<CImageRec>> former;  // released without the lock
    for (bool isFirst = true;; isFirst = false) {
        {
            const px::MutexLocker lock(mutex_);
            if (!AreEqual(params, params_)) {
                // Another update came between: its parameters are the ones to keep.
                if (!isFirst) return kPXOK;
                params_ = params;
                former.swap(spares_);
            }
            if (count <= 0 || spares_.size() >= static_cast<size_t>(count)) return kPXOK;
        }
        PXRef<CImageRec> made;
        PX_TRY(CImageRec::Create(params, &made));
        const px::MutexLocker lock(mutex_);
        if (AreEqual(params, params_)) spares_.push_back(std::move(made));
    }
}

PXStatus ImagePool::Acquire(PXRef<CImageRec>* outImage)
{
    PXImageCreateParams params;
    {
        const px::MutexLocker lock(mutex_);
        if (!spares_.empty()) {
            *outImage = std::move(spares_.front());
            spares_.pop_front();
            return kPXOK;
        }
        params = params_;
    }
    return CImageRec::Create(params, outImage);
}
