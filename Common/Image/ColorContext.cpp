#include "Image/ColorContext.h"

#include "Base/PXLog.h"
#include "CoreFoundation/CFString.h"

#include <new>

#if defined(PX_FAST_FLOAT)
#include <lcms2_fast_float.h>
#endif

namespace px {

namespace {

void LogLittleCMS(cmsContext, cmsUInt32Number errorCode, const char* text)
{
    PXLogWithParams(4, CFSTR("LCMSColorProfile"), static_cast<int32_t>(errorCode),
                    CFSTR("Little CMS: %s"), text);
}

}  // namespace

PXRef<ColorContext> ColorContext::Make([[maybe_unused]] Engine engine)
{
    cmsContext context = cmsCreateContext(nullptr, nullptr);
    if (!context) return {};
    cmsSetLogErrorHandlerTHR(context, LogLittleCMS);
#if defined(PX_FAST_FLOAT)
    if (engine == Engine::kFast) cmsPluginTHR(context, cmsFastFloatExtensions());
#endif
    auto made = PXRef<ColorContext>::Adopt(new (std::nothrow) ColorContext(context));
    if (!made) cmsDeleteContext(context);
    return made;
}

ColorContext::~ColorContext()
{
    cmsDeleteContext(context_);
}

}  // namespace px
