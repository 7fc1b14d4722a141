#include "Base/Platform/Platform_linux_values.h"

#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace px::os::linux_values {

namespace {

int CopyText(const char* text, char* buffer, size_t size)
{
    const size_t length = std::strlen(text);
    if (length >= size) return ERANGE;
    std::memcpy(buffer, text, length + 1);
    return 0;
}

}  // namespace

int RemoveFolder(const char* path)
{
    return rmdir(path) < 0 ? errno : 0;
}

int ZoneFolder(char* buffer, size_t size)
{
    const char* given = std::getenv("TZDIR");
    return CopyText(given && *given ? given : "/usr/share/zoneinfo", buffer, size);
}

int LocalZoneAbbreviation(int64_t utcSeconds, char* buffer, size_t size)
{
    const time_t moment = utcSeconds;
    tm local = {};
    tzset();
    if (!localtime_r(&moment, &local)) return errno ? errno : EOVERFLOW;
    return local.tm_zone ? CopyText(local.tm_zone, buffer, size) : ENOENT;
}

}  // namespace px::os::linux_values
