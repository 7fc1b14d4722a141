#pragma once

/* PXProcess: facts about this process, its threads and the machine.
 *
 * Memory is in bytes. Process and thread ids are the system's, 32-bit and never 0; 0 stands for
 * "none". Texts are CFStrings. Functions with "Copy" or "Create" in their name return a reference
 * that the caller owns, those with "Get" borrowed ones, which live as long as the process.
 * Functions that return a PXStatus log what they refuse; getters answer 0, false or null.
 *
 * Threads: everything may be called from any thread unless its comment says otherwise. */

#include <stdint.h>

#include "CoreFoundation/CFSet.h"
#include "PXCore/PXExport.h"
#include "PXCore/PXStatus.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

PX_EXTERN_C_BEGIN

/* The calling thread. */
PX_API uint32_t PXProcessGetCurrentThreadID(void) PX_NOEXCEPT;
PX_API uint32_t PXThreadGetCurrentThreadID(void) PX_NOEXCEPT;

/* The machine's logical processors (at least 1), whatever this process may use of them. */
PX_API uint32_t PXProcessGetNumProcessors(void) PX_NOEXCEPT;
/* The machine's processor cores; 1 when the system does not tell. */
PX_API uint32_t PXProcessGetNumPhysicalProcessors(void) PX_NOEXCEPT;
/* How many threads of this process can run at once: processors that it is bound to, and no more
 * than its container's share of processor time (rounded up). At least 1. */
PX_API uint32_t PXProcessGetEffectiveProcessorCount(void) PX_NOEXCEPT;

/* All memory of the machine. */
PX_API uint64_t PXProcessGetActualPhysicalMem(void) PX_NOEXCEPT;
/* The same without what the system's kernel holds for itself: its allocator's slab (the
 * reclaimable part counts, as a paged pool does), the stacks of its threads and the page tables.
 * The kernel counts as 0 when the system does not tell. */
PX_API uint64_t PXProcessGetPhysicalMem(void) PX_NOEXCEPT;
/* Memory that is free or can be freed at once, plus the address space that the process may still
 * map; deliberately the sum of both. On 64-bit systems the address space rules; for a figure to
 * plan with take PXProcessGetEffectiveMemLimit. */
PX_API uint64_t PXProcessGetAvailableMem(void) PX_NOEXCEPT;
/* The memory that this process can hope for: all of the machine's, or what its container grants
 * when that is less. */
PX_API uint64_t PXProcessGetEffectiveMemLimit(void) PX_NOEXCEPT;

/* The ids of the running processes as 32-bit numbers; only the first 2048 that the system lists.
 * Empty when it lists none. The caller owns the set; null when memory runs out. */
PX_API CFSetRef PXProcessGetPIDSCopy(void) PX_NOEXCEPT; /* sic */

PX_EXTERN_C_END
