#include "PXCore/PXHttpMessage.h"

#include "Base/HTTPMessage.h"
#include "Base/HTTPPacked.h"
#include "Base/Ref.h"
#include "Base/Status.h"
#include "Base/Stream.h"

#include <new>

namespace {

constexpr char kEventSource[] = "PXHttpMessage";

PXHttpMessage Handle(CHTTPMessage* made)
{
    if (!made) PX_FAIL(kPXErrCreate);
    return px::ToHandle(made);
}

}  // namespace

PXStatus PXHttpMessageSetLimits(PXHttpMessage message, const PXHttpLimits* limits) noexcept
{
    PX_REQUIRE(message && limits);
    px::ToMessage(message)->SetLimits(*limits);
    return kPXOK;
}

PXHttpMessage PXHttpMessageCreate(HTTPMessageType type) noexcept
{
    return Handle(new (std::nothrow) CHTTPMessage(type));
}

PXHttpMessage PXHttpMessageCreateRequest(CFStringRef method, CFStringRef uri,
                                         CFStringRef cmd) noexcept
{
    return Handle(new (std::nothrow) CHTTPMessage(method, uri, cmd));
}

PXHttpMessage PXHttpMessageCreateResponse(int32_t code) noexcept
{
    auto* made = new (std::nothrow) CHTTPMessage(kHTTPMessageResponse);
    if (made) made->SetResponseCode(code);
    return Handle(made);
}

PXHttpMessage PXHttpMessageRetain(PXHttpMessage message) noexcept
{
    if (message) px::ToMessage(message)->AddRef();
    return message;
}

void PXHttpMessageRelease(PXHttpMessage message) noexcept
{
    if (message) px::ToMessage(message)->Release();
}

PXStatus PXHttpMessageRead(PXHttpMessage message, PXStream stream) noexcept
{
    PX_REQUIRE(message && stream);
    return px::ToMessage(message)->Read(px::ToStream(stream));
}

PXStatus PXHttpMessageWrite(PXHttpMessage message, PXStream stream) noexcept
{
    PX_REQUIRE(message && stream);
    return px::ToMessage(message)->Write(px::ToStream(stream));
}

PXStatus PXHttpMessageSendResponse(PXHttpMessage message, CFDictionaryRef response) noexcept
{
    PX_REQUIRE(message && response);
    CBaseStream* stream = px::ToMessage(message)->GetStream();
    if (!stream) return PX_FAIL(kPXErrNotFound);
    CHTTPMessage answer(kHTTPMessageResponse);
    answer.SetContent(response);
    return answer.Write(stream);
}

PXStatus PXHttpMessageGetVerbAndObject(PXHttpMessage message, CFStringRef* outVerb,
                                       CFStringRef* outObject) noexcept
{
    PX_REQUIRE(outVerb && outObject);
    *outVerb = *outObject = nullptr;
    PX_REQUIRE(message);
    return px::ToMessage(message)->GetVerbAndObject(*outVerb, *outObject);
}

CFStringRef PXHttpMessageGetUri(PXHttpMessage message) noexcept
{
    PX_REQUIRE_OR(message, nullptr);
    return px::ToMessage(message)->GetUri();
}

CFStringRef PXHttpMessageGetMethod(PXHttpMessage message) noexcept
{
    PX_REQUIRE_OR(message, nullptr);
    return px::ToMessage(message)->GetMethod();
}

void PXHttpMessageSetHeader(PXHttpMessage message, CFStringRef name, CFStringRef value) noexcept
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    px::ToMessage(message)->SetHeader(name, value);
}

void PXHttpMessageSetResponseCode(PXHttpMessage message, int32_t code) noexcept
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    px::ToMessage(message)->SetResponseCode(code);
}

int32_t PXHttpMessageGetResponseCode(PXHttpMessage message) noexcept
{
    PX_REQUIRE_OR(message, 0);
    return px::ToMessage(message)->GetResponseCode();
}

void PXHttpMessageAddParamInt(PXHttpMessage message, CFStringRef name, int32_t value) noexcept
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    px::ToMessage(message)->SetParam(name, value);
}

void PXHttpMessageAddParamString(PXHttpMessage message, CFStringRef name,
                                 CFStringRef value) noexcept
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    px::ToMessage(message)->SetParamObj(name, value);
}

void PXHttpMessageAddParams(PXHttpMessage message, CFDictionaryRef params) noexcept
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    px::ToMessage(message)->AddParams(params);
}

CFStringRef PXHttpMessageGetParamCmd(PXHttpMessage message) noexcept
{
    PX_REQUIRE_OR(message, nullptr);
    return px::ToMessage(message)->GetParamCmd();
}

CFStringRef PXHttpMessageGetParamString(PXHttpMessage message, CFStringRef name) noexcept
{
    PX_REQUIRE_OR(message, nullptr);
    return px::ToMessage(message)->GetParamString(name);
}

CFTypeRef PXHttpMessageGetParamRaw(PXHttpMessage message, CFStringRef name) noexcept
{
    PX_REQUIRE_OR(message, nullptr);
    return px::ToMessage(message)->GetParamRaw(name);
}

int32_t PXHttpMessageGetParamInt(PXHttpMessage message, CFStringRef name) noexcept
{
    PX_REQUIRE_OR(message, 0);
    return px::ToMessage(message)->GetParamInt(name);
}

double PXHttpMessageGetParamDouble(PXHttpMessage message, CFStringRef name) noexcept
{
    PX_REQUIRE_OR(message, 0);
    return px::ToMessage(message)->GetParamDouble(name);
}

CFNumberRef PXHttpMessageGetParamNumberCopy(PXHttpMessage message, CFStringRef name) noexcept
{
    PX_REQUIRE_OR(message, nullptr);
    return px::ToMessage(message)->GetParamNumberCopy(name);
}

CFArrayRef PXHttpMessageGetParamAsArrayCopy(PXHttpMessage message, CFStringRef name) noexcept
{
    PX_REQUIRE_OR(message, nullptr);
    return px::ToMessage(message)->GetParamAsArrayCopy(name);
}

CFDataRef PXHttpMessageGetRawContent(PXHttpMessage message) noexcept
{
    PX_REQUIRE_OR(message, nullptr);
    return px::ToMessage(message)->GetRawContent();
}

CFStringRef PXHttpMessageGetRawContentType(PXHttpMessage message) noexcept
{
    PX_REQUIRE_OR(message, nullptr);
    return px::ToMessage(message)->GetRawContentType();
}

bool PXHttpMessageIsBinaryContent(PXHttpMessage message) noexcept
{
    PX_REQUIRE_OR(message, false);
    return px::ToMessage(message)->isBinaryContent();
}

CFDictionaryRef PXHttpMessageGetContent(PXHttpMessage message) noexcept
{
    PX_REQUIRE_OR(message, nullptr);
    return px::ToMessage(message)->GetResponse();
}

void PXHttpMessageSetContent(PXHttpMessage message, CFDictionaryRef content) noexcept
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    px::ToMessage(message)->SetContent(content);
}

void PXHttpMessageSetContentBinary(PXHttpMessage message, CFDataRef content) noexcept
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    px::ToMessage(message)->SetContentBinary(content);
}

void PXHttpMessageSetContentJson(PXHttpMessage message, CFDataRef content) noexcept
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    px::ToMessage(message)->SetContentJson(content);
}

void PXHttpMessageSetContentHTML(PXHttpMessage message, CFStringRef content) noexcept
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    px::ToMessage(message)->SetContentHTML(content);
}

void PXHttpMessageSetContentData(PXHttpMessage message, CFStringRef type,
                                 CFDataRef content) noexcept
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    px::ToMessage(message)->SetContent(type, content);
}

void PXHttpMessageSetContentPacked(PXHttpMessage message, CFDataRef raw,
                                   CFDictionaryRef content) noexcept
{
    PX_REQUIRE_OR(message && content, static_cast<void>(0));
    const auto packed = px::Pack(raw, content);
    if (packed) px::ToMessage(message)->SetContent(CFSTR("packed/packed"), packed.Get());
}

void PXHttpMessageSetContentInt(PXHttpMessage message, CFStringRef key, int32_t value) noexcept
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    px::ToMessage(message)->SetContentInt(key, value);
}

void PXHttpMessageSetContentString(PXHttpMessage message, CFStringRef key,
                                   CFStringRef value) noexcept
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    px::ToMessage(message)->SetContentString(key, value);
}

void PXHttpMessageSetContentValue(PXHttpMessage message, CFStringRef key, CFTypeRef value) noexcept
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    px::ToMessage(message)->SetContentValue(key, value);
}
