#pragma once

// BandTasks — the parts of one long call, worked on side by side.

#include <cstdint>
#include <functional>

#include "PXCore/PXStatus.h"

namespace px {

// Calls work(0) … work(count - 1), each once, on the calling thread and on tasks of a task queue,
// and returns when all have ended. After a failure no further one is begun; the first status
// counts. Where no task can be had the calling thread does everything.
[[nodiscard]] PXStatus RunBands(int32_t count, const std::function<PXStatus(int32_t)>& work);

}  // namespace px
