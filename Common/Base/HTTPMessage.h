#pragma once

// HTTPMessage — one request or response; PXHttpMessage.h has the contract of all that both offer.
//
// One thread at a time. Objects that are set are retained.

#include <string_view>

#include "Base/BaseCore.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXHttpMessage.h"

class CBaseMsg;
class CBaseResponse;
class CBaseStream;

class PX_API CHTTPMessage : public CBaseCore {
public:
    // A request; a message of a type.
    CHTTPMessage();
    explicit CHTTPMessage(HTTPMessageType type);
    // A null method means "GET"; a null command adds none.
    CHTTPMessage(CFStringRef method, CFStringRef uri, CFStringRef cmd);
    ~CHTTPMessage() override;

    // What Read may take; counts from the next one on.
    void SetLimits(const PXHttpLimits& limits) noexcept { limits_ = limits; }

    HTTPMessageType GetType() const noexcept { return type_; }
    // "GET" at first.
    void SetMethod(CFStringRef method);
    CFStringRef GetMethod() const noexcept { return method_; }
    // What the header Host of the request that was read says; it is not written.
    void SetHost(CFStringRef host);
    CFStringRef GetHost() const noexcept { return host_; }
    // Splits the URI's components at "/" anew, too.
    void SetUri(CFStringRef uri);
    CFStringRef GetUri() const noexcept { return uri_; }
    // The pieces of the URI between its slashes; borrowed.
    CFArrayRef GetUriComponents();
    // What Read was given, and where SendResponse writes to; retained.
    void SetStream(CBaseStream* stream);
    CBaseStream* GetStream() const noexcept { return stream_; }
    // The body's type, as it is sent.
    void SetContentType(CFStringRef type);
    // A header to be written, in place of one of the same name.
    void SetHeader(CFStringRef name, CFStringRef value);
    void SetHeader(CFStringRef name, int value);
    // 200 at first.
    void SetResponseCode(int32_t code) noexcept { responseCode_ = code; }
    int32_t GetResponseCode() const noexcept { return responseCode_; }
    // Whether the message that was read says that its body is chunked.
    bool IsChunked() const noexcept { return isChunked_; }
    // Whether the message that was read names a page that it comes from, as browsers do.
    bool IsFromBrowser() const noexcept { return isFromBrowser_; }

    // Parameters are those of PXHttpMessage.h.
    void SetParam(CFStringRef name, unsigned value);
    void SetParam(CFStringRef name, int value);
    void SetParamDouble(CFStringRef name, double value);
    void SetParamObj(CFStringRef name, CFTypeRef value);
    void SetParamCmd(CFStringRef cmd);
    void AddParams(CFDictionaryRef params);
    CFDictionaryRef GetParams();  // null when there are none
    CFStringRef GetParamCmd();
    CFTypeRef GetParamRaw(CFStringRef name);
    CFStringRef GetParamString(CFStringRef name);  // null for what is no string
    int GetParamInt(CFStringRef name);
    double GetParamDouble(CFStringRef name);
    CFNumberRef GetParamNumberCopy(CFStringRef name);
    CFArrayRef GetParamAsArrayCopy(CFStringRef name);
    PXStatus GetVerbAndObject(CFStringRef& verb, CFStringRef& object);

    // One body, in place of the one before; a message gives its dictionary packed with its raw
    // bytes, if it has any.
    void SetContent(CFDictionaryRef content);
    void SetContent(CFStringRef type, CFDataRef content);
    void SetContent(CBaseMsg* message);
    void SetContent(CBaseResponse& response);
    void SetContentBinary(CFDataRef content);
    void SetContentJson(CFDataRef content);
    void SetContentHTML(CFStringRef content);
    void SetContentInt(CFStringRef key, int value);
    void SetContentString(CFStringRef key, CFStringRef value);
    void SetContentValue(CFStringRef key, CFTypeRef value);
    // The same as SetContentValue.
    void SetContentParam(CFStringRef key, CFTypeRef value);
    // The body as the functions of the same names give it; GetResponse is PXHttpMessageGetContent.
    CFDataRef GetRawContent() const noexcept { return content_; }
    CFStringRef GetRawContentType() const noexcept { return contentType_; }
    CFDictionaryRef GetResponse();
    bool isBinaryContent() const;

    // As the functions of the same names in PXHttpMessage.h.
    PXStatus SendResponse(CBaseResponse& response);
    PXStatus Read(CBaseStream* stream);
    PXStatus Write(CBaseStream* stream);

    // A new zero-terminated copy, from malloc, of the line that begins at `text` without its ending
    // of carriage return and line feed. Null for an empty line and for one that does not end before
    // `end`; `next` (may be null) gets where the following line begins.
    static char* ReadLine(const char* text, const char* end, const char** next);

private:
    class Reader;

    void Reset();
    CFMutableDictionaryRef Params();
    void ParseQuery();
    void AddParam(std::string_view name, std::string_view escaped);
    PXStatus MakeContent();

    HTTPMessageType type_ = kHTTPMessageRequest;
    CFStringRef host_ = nullptr;
    CFStringRef uri_ = nullptr;
    CFStringRef method_ = nullptr;
    CFDataRef content_ = nullptr;
    CFStringRef contentType_ = nullptr;
    bool isChunked_ = false;
    uint32_t contentLength_ = 0;
    int32_t responseCode_ = 200;
    CBaseStream* stream_ = nullptr;
    CFArrayRef uriComponents_ = nullptr;        // null until asked for
    CFMutableDictionaryRef headers_ = nullptr;  // null until one is set, as the next and the last
    CFMutableDictionaryRef parameters_ = nullptr;
    CFDictionaryRef response_ = nullptr;
    CFMutableDictionaryRef contentInfo_ = nullptr;

    PXHttpLimits limits_;
    bool isFromBrowser_ = false;
    bool isContentFromInfo_ = false;
    CFStringRef query_ = nullptr;  // as it was read, until a parameter is asked for
};

namespace px {

inline CHTTPMessage* ToMessage(PXHttpMessage handle)
{
    return reinterpret_cast<CHTTPMessage*>(handle);
}

inline PXHttpMessage ToHandle(CHTTPMessage* message)
{
    return reinterpret_cast<PXHttpMessage>(message);
}

}  // namespace px
