#pragma once

// Platform_linux_calls — what the answers to file calls have in common.

#include "Base/Platform/Platform.h"

#include <sys/stat.h>

#include <cerrno>

namespace px::os {

inline int Fd(File file)
{
    return static_cast<int>(file);
}

inline int ErrorIf(bool failed)
{
    return failed ? errno : 0;
}

// Repeats a call that a signal interrupted.
template <class Call>
auto Retry(Call call)
{
    decltype(call()) result;
    do {
        result = call();
    } while (result == -1 && errno == EINTR);
    return result;
}

inline FileFacts FactsFrom(const struct stat& found)
{
    FileFacts facts;
    facts.size = found.st_size;
    facts.modifiedSeconds = found.st_mtim.tv_sec;
    facts.permissions = found.st_mode & 0777U;
    facts.isFolder = S_ISDIR(found.st_mode);
    facts.isRegular = S_ISREG(found.st_mode);
    return facts;
}

}  // namespace px::os
