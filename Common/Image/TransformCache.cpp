#include "Image/TransformCache.h"

#include <algorithm>
#include <utility>

namespace px {

TransformCache& TransformCache::Shared()
{
    static NeverDestroyed<TransformCache> cache;
    return *cache;
}

PXRef<BuiltTransform> TransformCache::Find(const TransformKey& key)
{
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const auto& entry) { return entry->Key() == key; });
    if (found == entries_.end()) return {};
    std::rotate(entries_.begin(), found, found + 1);
    return entries_.front();
}

PXRef<BuiltTransform> TransformCache::Insert(PXRef<BuiltTransform> built)
{
    PXRef<BuiltTransform> last;  // freed without the lock
    MutexLocker lock(mutex_);
    // Another thread may have been faster.
    if (PXRef<BuiltTransform> first = Find(built->Key())) return first;
    if (entries_.size() == kCapacity) {
        last = std::move(entries_.back());
        entries_.pop_back();
    }
    entries_.insert(entries_.begin(), built);
    return built;
}

PXRef<BuiltTransform> TransformCache::Get(const LCMSColorProfile& source,
                                          const LCMSColorProfile& destination,
                                          cmsUInt32Number sourceType,
                                          cmsUInt32Number destinationType, int32_t intent)
{
    const TransformKey key = {source.ContentId(), destination.ContentId(), sourceType,
                              destinationType, ToCMSIntent(intent)};
    {
        MutexLocker lock(mutex_);
        if (PXRef<BuiltTransform> found = Find(key)) return found;
    }
    PXRef<BuiltTransform> built =
        BuiltTransform::Make(source, destination, sourceType, destinationType, intent);
    return built ? Insert(std::move(built)) : built;
}

size_t TransformCache::Count()
{
    MutexLocker lock(mutex_);
    return entries_.size();
}

void TransformCache::Clear()
{
    std::vector<PXRef<BuiltTransform>> freed;
    MutexLocker lock(mutex_);
    freed.swap(entries_);
}

}  // namespace px
