#pragma once

// Platform_linux_process — Linux's answers about processes and the machine, for the table.
//
// What they read from the system's files they read through the table itself, so that a fake of the
// file functions reaches their failure paths, too.

#include <string>

#include "Base/Platform/Platform.h"

namespace px::os {

// A file of /proc or /sys, whole; at most 1 MiB of it.
int ReadSystemFile(const std::string& path, std::string* text);
// Its first line, without the line end and blanks around it; empty when there is none.
std::string FirstLineOf(const std::string& path);
// The decimal number at the start of the text; false when there is none or it is too large.
bool NumberIn(const std::string& text, uint64_t* number);

// Platform_linux_machine.cpp, Platform_linux_container.cpp
uint32_t OnlineProcessorCount();
int CoreCount(uint32_t* count);
int ProcessorQuota(uint32_t* count);
int MemoryQuota(uint64_t* bytes);
int ReadMemoryFacts(MemoryFacts* facts);
int AvailableAddressSpace(uint64_t* bytes);
bool IsSandboxed();
int MachineModel(char* buffer, size_t size);

// Platform_linux_process.cpp
int ListProcesses(ProcessVisitor visit, void* context);
int ProcessExecutable(uint32_t processId, char* buffer, size_t size);
int LaunchProcess(const Launch& launch, uint32_t* processId);
int OpenProcess(uint32_t processId, File* process);
bool IsProcessRunning(uint32_t processId);
int ReapProcess(uint32_t processId, int32_t* exitCode);
int KillProcess(uint32_t processId);
int CommandLine(TextVisitor visit, void* context);
int UserName(char* buffer, size_t size);

// Platform_linux_threads.cpp
uint32_t CurrentThreadId();
int DetachThread(Thread thread);
int MakeEvent(File* event);
int SignalEvent(File event);
int ClearEvent(File event);
int WaitForFiles(const File* files, bool* ready, size_t count, int timeoutMs);

// Platform_linux_modules.cpp
int OpenModule(const char* path, bool onlyLoaded, Module* module);
int CloseModule(Module module);
int ModuleFileName(const char* name, char* buffer, size_t size);
void* FindSymbol(Module module, const char* name);
size_t CaptureStack(void** addresses, size_t most);
void DescribeAddress(const void* address, char* buffer, size_t size);
void WriteDebugText(const char* text);

}  // namespace px::os
