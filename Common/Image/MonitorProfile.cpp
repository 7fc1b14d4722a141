#include "Image/MonitorProfile.h"

#include "Image/LCMSColorProfile.h"
#include "Image/ProfileFolders.h"

#include "Base/Platform/Platform.h"
#include "Base/Status.h"

#include <cerrno>

namespace px {

namespace {

constexpr char kEventSource[] = "LCMSColorProfile";
constexpr size_t kPathSize = 1024;

PXStatus StatusOfDisplay(int error)
{
    if (error == ENOENT) return kPXErrMissing;
    return error == ECANCELED ? PXStatus{kPXErrSoft} : os::StatusOf(error);
}

PXStatus ReadAssigned(MonitorICC* monitor)
{
    char path[kPathSize] = {};
    if (const int error = os::Os().assignedMonitorProfile(path, sizeof(path))) {
        return StatusOfDisplay(error);
    }
    const std::string file(path);
    monitor->source = kPXMonitorSourceAssigned;
    monitor->fileName = FileNameOf(file);
    return ReadProfileFile(file, LCMSColorProfile::MaxICCSize(), &monitor->bytes);
}

PXStatus ReadFromServer(MonitorICC* monitor)
{
    monitor->source = kPXMonitorSourceServer;
    monitor->fileName.clear();
    const auto collect = [](const uint8_t* bytes, size_t size, void* context) {
        static_cast<std::vector<uint8_t>*>(context)->assign(bytes, bytes + size);
    };
    const auto limit = static_cast<uint64_t>(LCMSColorProfile::MaxICCSize());
    return StatusOfDisplay(os::Os().serverMonitorProfile(limit, collect, &monitor->bytes));
}

}  // namespace

PXStatus ReadMonitorICC(MonitorICC* monitor)
{
    const PXStatus assigned = ReadAssigned(monitor);
    if (assigned == kPXOK || assigned == kPXErrSoft) return assigned;
    // An assigned file that cannot be read is told of, whatever comes next.
    if (assigned != kPXErrMissing) (void)PX_FAIL(assigned);
    const PXStatus server = ReadFromServer(monitor);
    if (server == kPXErrMissing && assigned != kPXErrMissing) return assigned;
    return server ? PX_FAIL(server) : PXStatus{kPXOK};
}

}  // namespace px
