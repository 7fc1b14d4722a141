// Start-up, and the profile of the monitor.

#include "PXCore/PXColorProfile.h"

#include "Base/Status.h"
#include "Base/UTF8Text.h"
#include "Image/ColorState.h"
#include "Image/LCMSColorProfile.h"
#include "Image/MonitorProfile.h"

#include <new>
#include <vector>

#if defined(PX_FAST_FLOAT)
#include <lcms2_fast_float.h>
#endif

namespace {

using px::ColorState;

constexpr char kEventSource[] = "PXColorProfile";

// The status that names the standard profile which is missing at start-up.
PXStatus RequireStandard(uint32_t signature, PXStatus missing)
{
    return ColorState::Shared().StandardProfileOf(signature) ? PXStatus{kPXOK} : PX_FAIL(missing);
}

// For the application's own calls of Little CMS: the profiles here have contexts of their own.
// Once, because Little CMS would keep each registration, and not from two threads.
void RegisterPlugin()
{
#if defined(PX_FAST_FLOAT)
    [[maybe_unused]] static const bool isRegistered = cmsPlugin(cmsFastFloatExtensions());
#endif
}

CFRef<CFDataRef> DataOf(const std::vector<uint8_t>& bytes)
{
    return CFRef<CFDataRef>::Adopt(
        CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
}

PXStatus LoadMonitor()
{
    px::MonitorICC monitor;
    PX_TRY(px::ReadMonitorICC(&monitor));
    if (monitor.bytes.empty()) return PX_FAIL(kPXErrNotFound);
    const CFRef<CFDataRef> icc = DataOf(monitor.bytes);
    const PXRef<LCMSColorProfile> profile =
        PXRef<LCMSColorProfile>::Adopt(new (std::nothrow) LCMSColorProfile);
    if (!profile) return PX_FAIL(kPXErrCreate);
    PX_TRY(profile->SetICCData(icc.Get()));
    if (!monitor.fileName.empty()) profile->SetName(px::StringOfAnyBytes(monitor.fileName).Get());
    ColorState::Shared().SetMonitorProfile(profile, monitor.source);
    return kPXOK;
}

PXStatus ReadMonitor(CFDataRef* outData)
{
    PX_REQUIRE(outData);
    *outData = nullptr;
    ColorState& state = ColorState::Shared();
    if (state.MonitorSource() == kPXMonitorSourceSet) {
        *outData = state.MonitorProfile()->CopyICCData();
        return *outData ? PXStatus{kPXOK} : PX_FAIL(kPXErrNotFound);
    }
    px::MonitorICC monitor;
    PX_TRY(px::ReadMonitorICC(&monitor));
    *outData = DataOf(monitor.bytes).Detach();
    return *outData ? PXStatus{kPXOK} : PX_FAIL(kPXErrCreate);
}

PXStatus Initialize(const PXFolderContext* context)
{
    ColorState& state = ColorState::Shared();
    state.SetFolders(context ? context->sharedSupportFolder : nullptr,
                     context ? context->userSupportFolder : nullptr);
    RegisterPlugin();
    if (state.MonitorSource() != kPXMonitorSourceSet) PX_TRY(LoadMonitor());
    PX_TRY(RequireStandard(kPXColorStandardProPhoto22, kPXErrNoProPhoto22));
    PX_TRY(RequireStandard(kPXColorStandardSRGB, kPXErrNoSRGB));
    PX_TRY(RequireStandard(kPXColorStandardAdobeRGB1998, kPXErrBadArgument));
    return RequireStandard(kPXColorStandardProPhoto, kPXErrBadArgument);
}

PXStatus SetMonitor(CFDataRef data)
{
    PX_REQUIRE(data);
    const auto profile = PXRef<LCMSColorProfile>::Adopt(new (std::nothrow) LCMSColorProfile);
    if (!profile) return PX_FAIL(kPXErrCreate);
    PX_TRY(profile->SetICCData(data));
    ColorState::Shared().SetMonitorProfile(profile, kPXMonitorSourceSet);
    return kPXOK;
}

}  // namespace

int PXColorProfileInitialize(const PXFolderContext* context) noexcept
{
    return static_cast<int>(Initialize(context));
}

PXMonitorSource PXColorProfileGetMonitorSource(void) noexcept
{
    return ColorState::Shared().MonitorSource();
}

int PXColorProfileGetMonitorICC(CFDataRef* outData) noexcept
{
    return static_cast<int>(ReadMonitor(outData));
}

int PXColorProfileSetMonitorICCProfile(CFDataRef data) noexcept
{
    return static_cast<int>(SetMonitor(data));
}
