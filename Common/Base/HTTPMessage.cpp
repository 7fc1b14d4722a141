#include "Base/HTTPMessage.h"

#include "Base/HTTPPacked.h"
#include "Base/Msg.h"
#include "Base/Ref.h"
#include "Base/Status.h"
#include "Base/Stream.h"
#include "Base/UTF8Text.h"
#include "PXCore/PXUtils.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr char kEventSource[] = "HTTPMessage";

// Puts an object in the place of another one, which it may be.
template <class Ref>
void Replace(Ref& place, Ref object)
{
    if (object) CFRetain(object);
    if (place) CFRelease(place);
    place = object;
}

bool IsA(CFTypeRef value, CFTypeID type)
{
    return value && CFGetTypeID(value) == type;
}

CFMutableDictionaryRef Made(CFMutableDictionaryRef& dictionary)
{
    if (!dictionary) dictionary = PXUtilsCFDictionaryCreateMutable2();
    return dictionary;
}

CFRef<CFStringRef> Decimal(int64_t value)
{
    return px::StringOf(std::to_string(value));
}

}  // namespace

CHTTPMessage::CHTTPMessage() : CHTTPMessage(kHTTPMessageRequest) {}

CHTTPMessage::CHTTPMessage(HTTPMessageType type) : type_(type), method_(CFSTR("GET"))
{
    PXHttpLimitsGetDefault(&limits_);
}

CHTTPMessage::CHTTPMessage(CFStringRef method, CFStringRef uri, CFStringRef cmd) : CHTTPMessage()
{
    if (method) SetMethod(method);
    SetUri(uri);
    if (cmd) SetParamCmd(cmd);
}

CHTTPMessage::~CHTTPMessage()
{
    Reset();
    Replace(method_, CFStringRef{nullptr});
    Replace(headers_, CFMutableDictionaryRef{nullptr});
    SetStream(nullptr);
}

// All that a message holds but its type, stream, limits and the headers to write that do not speak
// of the body.
void CHTTPMessage::Reset()
{
    SetMethod(nullptr);
    SetHost(nullptr);
    SetUri(nullptr);
    SetContentType(nullptr);
    Replace(content_, CFDataRef{nullptr});
    Replace(parameters_, CFMutableDictionaryRef{nullptr});
    Replace(response_, CFDictionaryRef{nullptr});
    Replace(contentInfo_, CFMutableDictionaryRef{nullptr});
    Replace(query_, CFStringRef{nullptr});
    if (headers_) {
        CFDictionaryRemoveValue(headers_, CFSTR("Content-Type"));
        CFDictionaryRemoveValue(headers_, CFSTR("Content-Length"));
    }
    isChunked_ = isFromBrowser_ = isContentFromInfo_ = false;
    contentLength_ = 0;
    responseCode_ = 200;
}

void CHTTPMessage::SetMethod(CFStringRef method)
{
    Replace(method_, method ? method : CFSTR("GET"));
}

void CHTTPMessage::SetHost(CFStringRef host)
{
    Replace(host_, host);
}

void CHTTPMessage::SetUri(CFStringRef uri)
{
    Replace(uri_, uri);
    Replace(uriComponents_, CFArrayRef{nullptr});
}

CFArrayRef CHTTPMessage::GetUriComponents()
{
    if (!uriComponents_ && uri_)
        uriComponents_ = CFStringCreateArrayBySeparatingStrings(nullptr, uri_, CFSTR("/"));
    return uriComponents_;
}

void CHTTPMessage::SetStream(CBaseStream* stream)
{
    if (stream) stream->AddRef();
    if (stream_) stream_->Release();
    stream_ = stream;
}

void CHTTPMessage::SetContentType(CFStringRef type)
{
    Replace(contentType_, type);
}

void CHTTPMessage::SetHeader(CFStringRef name, CFStringRef value)
{
    PX_REQUIRE_OR(name && value, static_cast<void>(0));
    CFDictionarySetValue(Made(headers_), name, value);
}

void CHTTPMessage::SetHeader(CFStringRef name, int value)
{
    SetHeader(name, Decimal(value).Get());
}

// Parameters.

CFMutableDictionaryRef CHTTPMessage::Params()
{
    if (query_) ParseQuery();
    return Made(parameters_);
}

void CHTTPMessage::ParseQuery()
{
    const std::string query = px::UTF8Of(query_);
    Replace(query_, CFStringRef{nullptr});
    std::string_view rest = query;
    while (!rest.empty()) {
        const std::string_view piece = rest.substr(0, rest.find('&'));
        rest.remove_prefix(std::min(piece.size() + 1, rest.size()));
        const size_t equals = piece.find('=');
        // Just one "=": any other piece is none.
        if (equals == std::string_view::npos || piece.rfind('=') != equals) continue;
        AddParam(piece.substr(0, equals), piece.substr(equals + 1));
    }
}

// A repeated name gathers its values in an array.
void CHTTPMessage::AddParam(std::string_view name, std::string_view escaped)
{
    const auto key = px::StringOfAnyBytes(name);
    auto value = px::StringOfAnyBytes(escaped);
    if (escaped.find('%') != std::string_view::npos) {
        auto decoded = CFRef<CFStringRef>::Adopt(
            CFURLCreateStringByReplacingPercentEscapes(nullptr, value.Get(), CFSTR("")));
        // What is no UTF-8 once decoded stays as it came.
        if (decoded) value = decoded;
    }
    const CFMutableDictionaryRef params = Made(parameters_);
    const CFTypeRef present = CFDictionaryGetValue(params, key.Get());
    if (!present) return CFDictionarySetValue(params, key.Get(), value.Get());
    if (IsA(present, CFArrayGetTypeID())) {
        return CFArrayAppendValue(static_cast<CFMutableArrayRef>(const_cast<void*>(present)),
                                  value.Get());
    }
    const auto both =
        CFRef<CFMutableArrayRef>::Adopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    CFArrayAppendValue(both.Get(), present);
    CFArrayAppendValue(both.Get(), value.Get());
    CFDictionarySetValue(params, key.Get(), both.Get());
}

void CHTTPMessage::SetParam(CFStringRef name, unsigned value)
{
    SetParamObj(name, Decimal(value).Get());
}

void CHTTPMessage::SetParam(CFStringRef name, int value)
{
    SetParamObj(name, Decimal(value).Get());
}

void CHTTPMessage::SetParamDouble(CFStringRef name, double value)
{
    const auto number =
        CFRef<CFNumberRef>::Adopt(CFNumberCreate(nullptr, kCFNumberDoubleType, &value));
    SetParamObj(name, number.Get());
}

void CHTTPMessage::SetParamObj(CFStringRef name, CFTypeRef value)
{
    PX_REQUIRE_OR(name && value, static_cast<void>(0));
    CFDictionarySetValue(Params(), name, value);
}

void CHTTPMessage::SetParamCmd(CFStringRef cmd)
{
    SetParamObj(CFSTR("cmd"), cmd);
}

void CHTTPMessage::AddParams(CFDictionaryRef params)
{
    PX_REQUIRE_OR(params, static_cast<void>(0));
    const auto add = [](const void* key, const void* value, void* context) {
        static_cast<CHTTPMessage*>(context)->SetParamObj(static_cast<CFStringRef>(key), value);
    };
    CFDictionaryApplyFunction(params, add, this);
}

CFDictionaryRef CHTTPMessage::GetParams()
{
    return query_ || parameters_ ? Params() : nullptr;
}

CFTypeRef CHTTPMessage::GetParamRaw(CFStringRef name)
{
    PX_REQUIRE_OR(name, nullptr);
    const CFDictionaryRef params = GetParams();
    return params ? CFDictionaryGetValue(params, name) : nullptr;
}

CFStringRef CHTTPMessage::GetParamString(CFStringRef name)
{
    const CFTypeRef value = GetParamRaw(name);
    return IsA(value, CFStringGetTypeID()) ? static_cast<CFStringRef>(value) : nullptr;
}

CFStringRef CHTTPMessage::GetParamCmd()
{
    return GetParamString(CFSTR("cmd"));
}

int CHTTPMessage::GetParamInt(CFStringRef name)
{
    return PXUtilsCFValueGetInt(GetParamRaw(name));
}

double CHTTPMessage::GetParamDouble(CFStringRef name)
{
    const CFTypeRef value = GetParamRaw(name);
    if (IsA(value, CFNumberGetTypeID()))
        return PXUtilsGetDoubleValue(static_cast<CFNumberRef>(value));
    if (!IsA(value, CFStringGetTypeID())) return 0;
    return CFStringGetDoubleValue(static_cast<CFStringRef>(value));
}

CFNumberRef CHTTPMessage::GetParamNumberCopy(CFStringRef name)
{
    const CFTypeRef value = GetParamRaw(name);
    if (IsA(value, CFNumberGetTypeID())) return static_cast<CFNumberRef>(CFRetain(value));
    if (!IsA(value, CFStringGetTypeID())) return nullptr;
    const std::string text = px::UTF8Of(static_cast<CFStringRef>(value));
    char* end = nullptr;
    errno = 0;
    const int64_t whole = std::strtoll(text.c_str(), &end, 10);
    if (end != text.c_str() && *end == '\0' && errno == 0)
        return CFNumberCreate(nullptr, kCFNumberSInt64Type, &whole);
    if (text.find_first_of("0123456789") == std::string::npos) return nullptr;
    const double real = CFStringGetDoubleValue(static_cast<CFStringRef>(value));
    return CFNumberCreate(nullptr, kCFNumberDoubleType, &real);
}

CFArrayRef CHTTPMessage::GetParamAsArrayCopy(CFStringRef name)
{
    CFTypeRef value = GetParamRaw(name);
    if (!value) return nullptr;
    if (IsA(value, CFArrayGetTypeID()))
        return CFArrayCreateCopy(nullptr, static_cast<CFArrayRef>(value));
    return CFArrayCreate(nullptr, &value, 1, &kCFTypeArrayCallBacks);
}

PXStatus CHTTPMessage::GetVerbAndObject(CFStringRef& verb, CFStringRef& object)
{
    verb = object = nullptr;
    const CFArrayRef components = GetUriComponents();
    if (!components || CFArrayGetCount(components) < 2) return kPXErrStreamEnd;
    verb = static_cast<CFStringRef>(CFArrayGetValueAtIndex(components, 1));
    object = static_cast<CFStringRef>(CFArrayGetValueAtIndex(components, 0));
    return kPXOK;
}

// Bodies.

void CHTTPMessage::SetContent(CFStringRef type, CFDataRef content)
{
    PX_REQUIRE_OR(type && content, static_cast<void>(0));
    Replace(content_, content);
    Replace(response_, CFDictionaryRef{nullptr});
    isContentFromInfo_ = false;
    SetHeader(CFSTR("Content-Type"), type);
    SetHeader(CFSTR("Content-Length"), Decimal(CFDataGetLength(content)).Get());
}

void CHTTPMessage::SetContent(CFDictionaryRef content)
{
    PX_REQUIRE_OR(content, static_cast<void>(0));
    const auto xml = CFRef<CFDataRef>::Adopt(PXUtilsCreateXMLData(nullptr, content));
    if (xml) SetContent(CFSTR("text/xml; charset=UTF8"), xml.Get());
}

void CHTTPMessage::SetContent(CBaseMsg* message)
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    if (!message->HasPackedContent()) return SetContent(message->GetDictionary());
    const auto packed = CFRef<CFDataRef>::Adopt(message->CopyPackedContent());
    if (packed) SetContent(CFSTR("packed/packed"), packed.Get());
}

void CHTTPMessage::SetContent(CBaseResponse& response)
{
    SetContent(response.GetDictionary());
}

void CHTTPMessage::SetContentBinary(CFDataRef content)
{
    SetContent(CFSTR("application/octet-stream"), content);
}

void CHTTPMessage::SetContentJson(CFDataRef content)
{
    SetContent(CFSTR("application/json"), content);
}

void CHTTPMessage::SetContentHTML(CFStringRef content)
{
    PX_REQUIRE_OR(content, static_cast<void>(0));
    const auto bytes = CFRef<CFDataRef>::Adopt(
        CFStringCreateExternalRepresentation(nullptr, content, kCFStringEncodingUTF8, '?'));
    SetContent(CFSTR("text/html"), bytes.Get());
}

void CHTTPMessage::SetContentValue(CFStringRef key, CFTypeRef value)
{
    PX_REQUIRE_OR(key && value, static_cast<void>(0));
    CFDictionarySetValue(Made(contentInfo_), key, value);
    // A body that Write has made of the entries so far is made anew.
    if (isContentFromInfo_) Replace(content_, CFDataRef{nullptr});
}

void CHTTPMessage::SetContentInt(CFStringRef key, int value)
{
    SetContentValue(key, CFRef<CFNumberRef>::Adopt(PXUtilsCFNumberCreateSInt32(value)).Get());
}

void CHTTPMessage::SetContentString(CFStringRef key, CFStringRef value)
{
    SetContentValue(key, value);
}

void CHTTPMessage::SetContentParam(CFStringRef key, CFTypeRef value)
{
    SetContentValue(key, value);
}

PXStatus CHTTPMessage::MakeContent()
{
    if (content_) {
        if (headers_ && CFDictionaryContainsKey(headers_, CFSTR("Content-Length"))) return kPXOK;
        // Headers that were read are not kept, and a reader would take a body without a length for
        // the next message.
        if (contentType_) {
            CFDictionaryAddValue(Made(headers_), CFSTR("Content-Type"), contentType_);
        }
        SetHeader(CFSTR("Content-Length"), Decimal(CFDataGetLength(content_)).Get());
        return kPXOK;
    }
    SetContent(Made(contentInfo_));
    isContentFromInfo_ = true;
    return content_ ? kPXOK : kPXErrListWrite;
}

CFDictionaryRef CHTTPMessage::GetResponse()
{
    if (response_ || !content_) return response_;
    if (contentType_ && CFStringHasPrefix(contentType_, CFSTR("packed/packed"))) {
        response_ = px::Unpack(content_).Detach();
    } else {
        response_ = PXUtilsCreateDictionaryFromXMLData(nullptr, content_, kCFPropertyListImmutable,
                                                       nullptr);
    }
    return response_;
}

bool CHTTPMessage::isBinaryContent() const
{
    return contentType_ && CFEqual(contentType_, CFSTR("application/octet-stream"));
}

PXStatus CHTTPMessage::SendResponse(CBaseResponse& response)
{
    if (!stream_) return PX_FAIL(kPXErrNotFound);
    CHTTPMessage message(kHTTPMessageResponse);
    message.SetContent(response);
    return message.Write(stream_);
}

char* CHTTPMessage::ReadLine(const char* text, const char* end, const char** next)
{
    for (const char* at = text; at + 1 < end; ++at) {
        if (at[0] != '\r' || at[1] != '\n') continue;
        if (next) *next = at + 2;
        if (at == text) return nullptr;
        const auto size = static_cast<size_t>(at - text);
        auto* line = static_cast<char*>(std::malloc(size + 1));
        if (!line) return nullptr;
        std::memcpy(line, text, size);
        line[size] = '\0';
        return line;
    }
    return nullptr;
}
