#include "Base/ReplaceFile.h"

#include "Base/Folders.h"
#include "Base/Platform/Platform.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>

namespace px {

namespace {

using os::Os;

// What the file at `path` passes on to the next one.
struct Former {
    bool isThere = false;
    uint32_t permissions = 0;
};

int LookAt(const std::string& path, Former* former)
{
    os::FileFacts facts;
    if (Os().factsOfPath(path.c_str(), &facts) != 0) return 0;
    if (!facts.isRegular) return facts.isFolder ? EISDIR : EEXIST;
    *former = {true, facts.permissions};
    return 0;
}

// A name in the folder that nobody else has.
int MakeTemporaryName(const std::string& folder, std::string* path)
{
    uint64_t random = 0;
    if (const int error = Os().randomBytes(&random, sizeof(random))) return error;
    char name[40];
    std::snprintf(name, sizeof(name), "/.new-%016llx", static_cast<unsigned long long>(random));
    *path = folder + name;
    return 0;
}

int Fill(os::File file, const Former& former, const void* bytes, size_t size)
{
    if (former.isThere) {
        if (const int error = Os().setPermissions(file, former.permissions)) return error;
    }
    if (const int error = os::WriteAll(file, bytes, size)) return error;
    return Os().syncFile(file);
}

}  // namespace

int ReplaceFile(const std::string& path, const void* bytes, size_t size)
{
    const std::string folder = ParentOf(path);
    Former former;
    if (const int error = LookAt(path, &former)) return error;
    std::string temporary;
    if (const int error = MakeTemporaryName(folder, &temporary)) return error;
    os::File file = os::kNoFile;
    if (const int error = Os().openFile(temporary.c_str(), os::OpenMode::kCreateNewShared, &file)) {
        return error;
    }
    int error = Fill(file, former, bytes, size);
    const int closed = Os().closeFile(file);
    if (!error) error = closed;
    if (!error) error = Os().renameFile(temporary.c_str(), path.c_str());
    if (error) {
        Os().removeFile(temporary.c_str());
        return error;
    }
    Os().syncFolder(folder.c_str());  // the file is whole with or without it
    return 0;
}

}  // namespace px
