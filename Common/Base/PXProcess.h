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

#include "CoreFoundation/CFArray.h"
#include "CoreFoundation/CFSet.h"
#include "CoreFoundation/CFString.h"
#include "CoreFoundation/CFURL.h"
#include "PXCore/PXExport.h"
#include "PXCore/PXStatus.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

PX_EXTERN_C_BEGIN

/* Threads. The application records its main thread once, while it starts, and may name two of its
 * own. An id is that of a living thread; an unset 0 is nobody's. */

/* Makes the queue of PXProcessRunOnMainThread and records the calling thread as the main thread;
 * later calls do nothing. Returns 0, also when the system refuses the queue's descriptor (logged:
 * 1002), without which the queue still works. */
PX_API PXStatus PXProcessInit(void) PX_NOEXCEPT;
/* Whether the calling thread is the main thread. Before PXProcessInit false, with the debug text
 * "PXProcess has not been initialized" (on standard error) each time. */
PX_API bool PXProcessGetIsMainThread(void) PX_NOEXCEPT;
/* 0 before PXProcessInit. */
PX_API uint32_t PXProcessGetMainThreadID(void) PX_NOEXCEPT;
/* The calling thread's; the same as PXThreadGetCurrentThreadID. */
PX_API uint32_t PXProcessGetCurrentThreadID(void) PX_NOEXCEPT;
/* The two threads that the application names: the one that drives the GPU, the one of the filters.
 */
PX_API void PXProcessSetGPUThreadID(uint32_t thread) PX_NOEXCEPT;
PX_API uint32_t PXProcessGetGPUThreadID(void) PX_NOEXCEPT;
PX_API bool PXProcessGetIsGPUThread(void) PX_NOEXCEPT;
PX_API void PXProcessSetPXFilterThreadID(uint32_t thread) PX_NOEXCEPT;
PX_API uint32_t PXProcessGetPXFilterThreadID(void) PX_NOEXCEPT;
PX_API bool PXProcessGetIsPXFilterThread(void) PX_NOEXCEPT;

/* Calls on the main thread. They run in the order in which they were handed over, when the main
 * thread calls PXProcessRunMainThreadCalls: from its event loop, which waits for the descriptor. */
typedef void (*PXProcessMainThreadProc)(void* context, void* argument);

/* Hands the call over without waiting for it. Returns 0, 1005 without a procedure, or 1003 before
 * PXProcessInit. */
PX_API PXStatus PXProcessRunOnMainThread(PXProcessMainThreadProc procedure, void* context,
                                         void* argument) PX_NOEXCEPT;
/* With `wait`, returns when the call has run. On the main thread such a call runs at once, before
 * those that wait; on others it waits as long as the main thread does not run its calls. */
PX_API PXStatus PXProcessRunOnMainThread2(PXProcessMainThreadProc procedure, void* context,
                                          void* argument, bool wait) PX_NOEXCEPT;
/* A descriptor that is readable (poll, epoll, glib and Qt watchers) while calls wait; on Windows an
 * event's HANDLE. Only to be waited for: never read or closed. -1 before PXProcessInit and while
 * the system refuses one (logged: 1002). */
PX_API int64_t PXProcessGetMainThreadFileDescriptor(void) PX_NOEXCEPT;
/* Runs the calls that wait now and returns their number; those that come meanwhile keep the
 * descriptor readable. A call may run this itself. Elsewhere than on the main thread it does
 * nothing and logs 1005. */
PX_API uint32_t PXProcessRunMainThreadCalls(void) PX_NOEXCEPT;

/* Processors and memory. */

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

/* This process's id, and the id of the first running process with an application id; 0 when there
 * is none. An application id is the file name of the executable ("viewer"), or a dotted id whose
 * last piece is that name in any case ("org.example.Viewer"). */
PX_API uint32_t PXProcessGetPID(void) PX_NOEXCEPT;
PX_API uint32_t PXProcessGetPIDWithAppID(CFStringRef appID) PX_NOEXCEPT;

/* Other processes. */

/* Starts the program in the file `application` with arguments (CFStrings; null: none) and does not
 * wait for it. It gets this process's environment and output, no input and no other descriptor. The
 * second form starts it in `folder` (null: this process's) and stores its id (may be null; 0 on
 * failure). Returns 0, 1005 for a URL that names no file or an argument that is no text or holds a
 * zero, 1003 when the program cannot be started, or 1002 when the system is short of processes or
 * memory. Its end is collected by the library: applications need not and must not wait for it. */
PX_API PXStatus PXProcessLaunchApplication(CFURLRef application, CFArrayRef arguments) PX_NOEXCEPT;
PX_API PXStatus PXProcessLaunchApplication2(CFURLRef application, CFArrayRef arguments,
                                            CFURLRef folder, uint32_t* outProcessID) PX_NOEXCEPT;

/* Ends a process at once, without asking it. Returns 0, 1005 for 0 and other numbers that are no
 * process's, or 1003 when there is none or it is not ours to end. */
PX_API PXStatus PXProcessKill(uint32_t processID) PX_NOEXCEPT;

#define kPXProcessExitUnknown INT32_MIN
/* `exitCode` of a launched program: 0…255, or the number of the signal that ended it, negated; of
 * any other process kPXProcessExitUnknown. */
typedef void (*PXProcessTerminationProc)(void* context, uint32_t processID, int32_t exitCode);

/* Calls the procedure once when the process ends, from a thread of the library; to get to the main
 * thread hand on with PXProcessRunOnMainThread. It may watch and launch, and should be brief: other
 * ends wait for it. A launched program that has ended already is still reported, unless 64 more
 * have ended since. Where the system cannot tell of an end at once it is found within a tenth of a
 * second. Returns 0, 1005 without procedure or process id, 1003 when there is no such process, or
 * 1002 when the system is short of threads or descriptors. */
PX_API PXStatus PXProcessWatchProcessTermination(uint32_t processID,
                                                 PXProcessTerminationProc procedure,
                                                 void* context) PX_NOEXCEPT;

/* Modules: shared libraries loaded at run time. Each that a function stores must be unloaded once;
 * *outModule is null unless 0 is returned. */
typedef struct __PXModule* PXModule;

/* Loads the file. Returns 0, 1005 for a URL that names no file, or 1003 when it is missing or
 * cannot be loaded. */
PX_API PXStatus PXProcessLoadDylib(CFURLRef url, PXModule* outModule) PX_NOEXCEPT;
/* Loads a library by its name, "Effects" for "libEffects.so" ("Effects.dll" on Windows), from the
 * executable's folder, the folder "lib" beside it, or where the system looks. A name without
 * folders; else 1005. 1003 when there is none. */
PX_API PXStatus PXProcessLoadFramework(CFStringRef name, PXModule* outModule) PX_NOEXCEPT;
/* The same for a library that is loaded already: 1003 when it is not. */
PX_API PXStatus PXProcessOpenFrameworkAgain(CFStringRef name, PXModule* outModule) PX_NOEXCEPT;
/* 1005 for null and for what is no module. */
PX_API PXStatus PXProcessUnloadDylib(PXModule module) PX_NOEXCEPT;
/* The address of an exported function: of any module that the process started with, or of one
 * module. Null when there is none of that name and for what is no module; not logged, as callers
 * ask to find out. */
PX_API void* PXProcessGetFunctionPointForName(CFStringRef name) PX_NOEXCEPT; /* sic */
PX_API void* PXProcessGetDylibFunctionPointForName(PXModule module,
                                                   CFStringRef name) PX_NOEXCEPT; /* sic */

/* Zeroed memory straight from the system, 64-byte aligned; it takes room when first written. Null
 * for a size of 0 (logged: 1005) and when the system refuses (logged: 1002). Freed with the same
 * size; null is ignored. */
PX_API void* PXProcessAllocateVirtualMemory(uint64_t sizeBytes) PX_NOEXCEPT;
PX_API void PXProcessFreeVirtualMemory(void* memory, uint64_t sizeBytes) PX_NOEXCEPT;

/* This process. */

/* The executable's file; null when the system does not tell. */
PX_API CFURLRef PXProcessCreateCurrentProcessPath(void) PX_NOEXCEPT;
/* The command line, the program's name first, with a blank between arguments. An argument that is
 * empty or holds blanks, quotes or backslashes stands in double quotes, with a backslash before
 * each quote and backslash. Null when the system does not tell. */
PX_API CFStringRef PXProcessGetCmdLineCopy(void) PX_NOEXCEPT; /* sic */
/* The name of the user that the process runs as, or else the number; null when neither is known. */
PX_API CFStringRef PXProcessGetUserName(void) PX_NOEXCEPT;
/* Whether the process runs in a sandbox or container: Flatpak, Snap, Docker, Podman and others that
 * set the environment variable "container". */
PX_API bool PXProcessGetSandboxed(void) PX_NOEXCEPT;
/* Maker and model of the machine as its firmware names them; owned, null when it does not. */
PX_API CFStringRef PXProcessGetCopyHWMachineModel(void) PX_NOEXCEPT; /* sic */
/* Whether this is an application for Windows on 64-bit Arm. */
PX_API bool PXProcessIsAppWinArm64(void) PX_NOEXCEPT;
/* Logs the calling thread's stack at level 4, a line for each frame, innermost first. */
PX_API void PXProcessDumpStack(void) PX_NOEXCEPT;

/* The application's version, from the information list ("Info.plist") of its main bundle. Values
 * are texts, the build number may be a number; null, 0 or false when the key is missing. */

/* "CFBundleShortVersionString", such as "3.4.5". */
PX_API CFStringRef PXProcessGetAppVersion(void) PX_NOEXCEPT;
/* The first three numbers of the version with the weights 100, 10 and 1: 345 for 3.4.5, 710 for
 * 7.1. A piece that is no number ends the sum; that and a version of 0 are logged at level 1. */
PX_API uint32_t PXProcessGetAppVersionBCD(void) PX_NOEXCEPT;
/* "CFBundleVersion", the number that the build machine counts up. */
PX_API uint32_t PXProcessGetBuildNumber(void) PX_NOEXCEPT;
/* Built by a developer, not by the build machine: without a build number. */
PX_API bool PXProcessIsLocalBuild(void) PX_NOEXCEPT;
/* "PXBuildBranchName": the branch that was built. */
PX_API CFStringRef PXProcessGetBuildBranchName(void) PX_NOEXCEPT;
/* "PXDeveloperBranchName": the branch that it came from. */
PX_API CFStringRef PXProcessGetDeveloperBranchName(void) PX_NOEXCEPT;
/* "3.4.5 (1234)"; "local" for the number of a local build, "0" for a missing version. */
PX_API CFStringRef PXProcessGetBuildString(void) PX_NOEXCEPT;
/* The same followed by a blank and each branch that is known: "3.4.5 (1234) release fix-curves". */
PX_API CFStringRef PXProcessGetFullBuildString(void) PX_NOEXCEPT;

PX_EXTERN_C_END
