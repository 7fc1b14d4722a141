#pragma once

// CacheFolder — the folder of a process's cache files: ROOT/PXImageCache-PID.
//
// The root is often a folder that everyone may write to, so nothing below it is trusted by name.
// The folder must be ours (owner, type and mode 0700 are checked on the open folder), every entry
// is reached relative to an open descriptor, no link under a name is followed, and files are 0600,
// closed on exec and known by their identity when they are opened again. A process id can be
// reused, or belong to another container that shares the root, so a living process also holds the
// lock on the file "Lock" in its folder. Clean-up deletes files named "Image-N" and "Lock" of the
// user's own and then the folder if that leaves it empty; nothing else.
//
// Functions that can fail return a system error number. Immutable once it is open, but for Remove,
// which no other call may overlap.

#include <cstdint>
#include <string>
#include <vector>

#include "Base/BaseCore.h"
#include "Base/Platform/Platform.h"
#include "Base/Ref.h"

namespace px {

// Owns an open file or folder of the platform.
class OpenFile : public CBaseCore {
public:
    explicit OpenFile(os::File file) : file_(file) {}
    ~OpenFile() override { os::Os().closeFile(file_); }
    os::File Get() const { return file_; }

private:
    const os::File file_;
};

class CacheFolder : public CBaseCore {
public:
    // Opens this process's folder below `root`, makes it when missing and empties it of what a
    // former process of the same id left. A folder among `known` that turns out to be the same one
    // is handed out again.
    [[nodiscard]] static int Open(const std::string& root,
                                  const std::vector<PXRef<CacheFolder>>& known,
                                  PXRef<CacheFolder>* folder);
    ~CacheFolder() override;

    // Makes a file; its identity is what OpenFile asks for. A leftover of the name is replaced.
    [[nodiscard]] int CreateFile(const std::string& name, PXRef<OpenFile>* file,
                                 os::EntryFacts* identity) const;
    // EPERM when the name now leads to another file.
    [[nodiscard]] int ReopenFile(const std::string& name, const os::EntryFacts& identity,
                                 PXRef<OpenFile>* file) const;
    void RemoveFile(const std::string& name) const;
    // Deletes the folder with all files of ours in it; open files stay usable.
    void Remove();

    const std::string& Path() const { return path_; }
    // False in a child process that was forked off: the files are the parent's.
    bool IsOurs() const { return os::Os().processId() == owner_; }

private:
    CacheFolder(std::string path, std::string name);

    const std::string path_;
    const std::string name_;
    const uint32_t owner_;
    PXRef<OpenFile> root_;
    PXRef<OpenFile> folder_;
    PXRef<OpenFile> lock_;
    os::EntryFacts identity_;
    bool isRemoved_ = false;
};

// The folder for temporary files: environment TMPDIR when that is an absolute path, else /var/tmp,
// which lies on a disk where /tmp may be memory, else /tmp.
std::string DefaultCacheRoot();

// Deletes the folders of processes below `root` that neither run nor hold their lock.
[[nodiscard]] int RemoveStaleFolders(const std::string& root);

// Opens, and makes when missing, an empty file `name` in `root` without following a link under the
// name; it must be a file of the user's own that no other name leads to.
[[nodiscard]] int OpenMarkerFile(const std::string& root, const std::string& name,
                                 PXRef<OpenFile>* file);

}  // namespace px
