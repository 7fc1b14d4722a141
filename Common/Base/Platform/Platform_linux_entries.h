#pragma once

// Platform_linux_entries — Linux's answers about entries of open folders, transfers at an offset
// and huge pages, for the table.

#include "Base/Platform/Platform.h"

#include <dirent.h>

namespace px::os {

int OpenFolder(const char* path, File* folder);
int OpenFolderAt(File folder, const char* name, File* opened);
int MakeFolderAt(File folder, const char* name);
int OpenFileAt(File folder, const char* name, EntryMode mode, File* file);
int RemoveFileAt(File folder, const char* name);
int RemoveFolderAt(File folder, const char* name);
// Visits what stands in an open folder but for itself and the one above, and closes it.
int VisitAndClose(DIR* listing, FolderVisitor visit, void* context);
int ListFolderAt(File folder, FolderVisitor visit, void* context);
int FactsAt(File folder, const char* name, EntryFacts* facts);
int FactsOfEntry(File file, EntryFacts* facts);
int LockFile(File file);
int TruncateFile(File file, int64_t size);
int ReadAt(File file, void* buffer, size_t size, int64_t offset, size_t* got);
int WriteAt(File file, const void* buffer, size_t size, int64_t offset, size_t* written);
int ReserveSpace(File file, int64_t offset, int64_t size);
void* ReserveBlock(size_t size);
void DiscardBlock(void* part, size_t size);

}  // namespace px::os
