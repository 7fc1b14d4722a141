#pragma once

// ImageCensus — which images live, for finding those that somebody forgot to release.
//
// Off at first. An image enters when it is constructed while the census is on, tells what it looks
// like when its layout is set, and leaves when it is freed. Internally locked; the log is called
// without the lock. With no image in it, the census costs an image one atomic read.

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Base/Mutex.h"
#include "PXCore/PXTypes.h"

class CImageRec;

namespace px {

class ImageCensus {
public:
    static ImageCensus& Shared();

    void SetTracking(bool isOn) { isOn_.store(isOn, std::memory_order_relaxed); }
    int32_t TotalImages() const { return count_.load(std::memory_order_relaxed); }

    void Add(const CImageRec& image);
    void Update(const CImageRec& image);
    void Remove(const CImageRec& image);
    void LogReport();

private:
    // What an image looked like when it last told: its own fields may be changing.
    struct Facts {
        PXRect bounds = {};
        int32_t planes = 1;  // the first is the last until it is told
        int32_t depth = 0;
        int64_t size = 0;
        char letter = 'd';
    };

    std::string Report(std::vector<std::string>* lines);

    std::atomic<bool> isOn_{false};
    std::atomic<int32_t> count_{0};
    px::Mutex mutex_;
    std::map<const CImageRec*, Facts> images_ PX_GUARDED_BY(mutex_);
};

}  // namespace px
