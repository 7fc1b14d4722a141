#include "Base/PXError.h"

#include "Base/PXThread.h"
#include "Base/Platform/Platform.h"
#include "Base/Status.h"

#include <algorithm>

namespace {

constexpr PXErrorRecord kNothing = {kPXOK, "", "", "", 0};

thread_local constinit PXErrorRecord lastError = kNothing;

// kPXServerVersionMismatch, as a status; it is of a higher layer, as is the end of a stream.
constexpr auto kVersionMismatch = static_cast<PXStatus>(-6969);

struct StatusText {
    PXStatus status;
    const char* text;
};

constexpr StatusText kTexts[] = {
    {kPXOK, "success"},
    {kPXErrUnknownStandard, "the signature names no standard colour profile"},
    {kPXErrCreate, "an object could not be made, or memory ran out"},
    {kPXErrNotFound, "what to work on is missing or could not be opened or read"},
    {kPXErrEngineFormat, "the accelerated engine does not know the pixel format"},
    {kPXErrBadArgument, "an argument is null or out of range"},
    {kPXErrNoDisplayProfile, "no display profile is known"},
    {kPXErrSoft, "cancelled, or reported before"},
    {kPXErrICCHeader, "the ICC header is not accepted"},
    {kPXErrEntryPoint, "the vector library lacks a function that is needed"},
    {kPXErrPixelLayout, "the pixel layout or pair of depths is not supported"},
    {kPXErrNotSupported, "this is not supported"},
    {kPXErrMissing, "a buffer, a profile or the start line of a message is missing"},
    {kPXErrCubeMode, "the colour cube's mode is not supported"},
    {kPXErrReservedName, "the file name is reserved for a standard profile"},
    {kPXErrNoProPhoto22, "the standard profile \"ProPhoto(2.2) RGB\" is missing"},
    {kPXErrNoSRGB, "the standard profile sRGB is missing"},
    {kPXErrListWrite, "a property list could not be written"},
    {kPXErrListRead, "a property list could not be read"},
    {kPXErrTransform, "the colour transform could not be made"},
    {kPXWaitTimeout, "the time was over before a signal came"},
    {kVersionMismatch, "client and server have different versions of their interface"},
    {UINT32_MAX, "the stream has ended, or cannot do this"},
};

// System errors are numbers below this.
constexpr PXStatus kFirstOwnStatus = 1000;

}  // namespace

namespace px {

PXStatus Fail(PXStatus status, const char* source, int32_t line, const char* condition,
              const char* function) noexcept
{
    if (status == kPXErrSoft) return status;
    lastError = {status, function, condition, source, line};
    PXLogEvent(static_cast<int32_t>(status), source, line);
    return status;
}

}  // namespace px

const char* PXErrorGetText(PXStatus status) noexcept
{
    const auto* found = std::find_if(std::begin(kTexts), std::end(kTexts),
                                     [=](const StatusText& row) { return row.status == status; });
    if (found != std::end(kTexts)) return found->text;
    return status < kFirstOwnStatus ? px::os::TextOf(static_cast<int>(status)) : "unknown status";
}

bool PXErrorGetLast(PXErrorRecord* outRecord) noexcept
{
    if (outRecord) *outRecord = lastError;
    return lastError.status != kPXOK;
}

void PXErrorClearLast() noexcept
{
    lastError = kNothing;
}
