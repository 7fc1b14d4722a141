#pragma once

// Platform_linux_waits — Linux's answers about waiting and about the calling thread.

#include "Base/Platform/Platform.h"

namespace px::os {

int WaitOnWord(const std::atomic<uint32_t>* word, uint32_t expected, int64_t timeoutNanos);
void WakeWord(const std::atomic<uint32_t>* word, bool all);
void SleepNanos(int64_t nanos);
void YieldThread();
int64_t CoarseNanos();
int SetNiceness(int32_t niceness);
int NameThread(const char* name);
int StackFacts(void** base, size_t* size);

}  // namespace px::os
