#pragma once

// ColorContext — a Little CMS context whose errors end in the event log.
//
// Counted, because what Little CMS makes in a context must not outlive it: who keeps a transform
// keeps its context too. Immutable; Little CMS lets threads share a context.

#include <lcms2.h>

#include "Base/BaseCore.h"
#include "Base/Ref.h"

namespace px {

class ColorContext : public CBaseCore {
public:
    // With the fast-float plug-in, where the library has it: whole images are converted several
    // times as fast, but what it makes of floats may be off by several 8-bit levels.
    enum class Engine : bool { kPlain, kFast };

    // Empty when memory runs out.
    static PXRef<ColorContext> Make(Engine engine);
    ~ColorContext() override;
    cmsContext Get() const { return context_; }

private:
    explicit ColorContext(cmsContext context) : context_(context) {}

    const cmsContext context_;
};

}  // namespace px
