// Messages from streams and to them.

#include "Base/HTTPMessage.h"
#include "Base/Ref.h"
#include "Base/Status.h"
#include "Base/Stream.h"
#include "Base/UTF8Text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

namespace {

constexpr char kEventSource[] = "HTTPMessage";

constexpr PXHttpLimits kDefaultLimits = {64 << 10, 200, 256 << 10, 1 << 30};

// Takes the next of the parts that blanks separate; empty when there is none.
std::string_view NextToken(std::string_view* text)
{
    text->remove_prefix(std::min(text->find_first_not_of(' '), text->size()));
    const std::string_view token = text->substr(0, text->find(' '));
    text->remove_prefix(token.size());
    return token;
}

// A decimal number without a sign, of 32 bits.
std::optional<uint32_t> LengthIn(std::string_view text)
{
    uint64_t value = 0;
    for (const char digit : text) {
        if (digit < '0' || digit > '9') return std::nullopt;
        value = value * 10 + static_cast<uint64_t>(digit - '0');
        if (value > UINT32_MAX) return std::nullopt;
    }
    if (text.empty()) return std::nullopt;
    return static_cast<uint32_t>(value);
}

bool StartsWithoutCase(std::string_view text, std::string_view lower)
{
    if (text.size() < lower.size()) return false;
    return std::equal(lower.begin(), lower.end(), text.begin(), [](char a, char b) {
        return a == (b >= 'A' && b <= 'Z' ? static_cast<char>(b + 32) : b);
    });
}

// The text of a head, and whether nothing in it would start another line.
struct Head {
    std::string text;
    bool isClean = true;

    void Add(CFStringRef part)
    {
        if (!part) return;
        const size_t start = text.size();
        px::AppendUTF8(part, &text);
        if (text.find_first_of("\r\n", start) != std::string::npos) isClean = false;
    }
};

// Everything but letters and digits is escaped on purpose, also what need not be.
void AddEscaped(Head& head, CFTypeRef value)
{
    auto text = CFGetTypeID(value) == CFStringGetTypeID()
                    ? CFRef<CFStringRef>::Retain(static_cast<CFStringRef>(value))
                    : CFRef<CFStringRef>::Adopt(
                          CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), value));
    const auto escaped = CFRef<CFStringRef>::Adopt(CFURLCreateStringByAddingPercentEscapes(
        nullptr, text.Get(), nullptr, CFSTR(":/?#[]@!$&'()*+,;=%-._~"), kCFStringEncodingUTF8));
    head.Add(escaped.Get());
}

void AddQueryParam(const void* name, const void* value, void* context)
{
    auto& head = *static_cast<Head*>(context);
    const bool isArray = CFGetTypeID(value) == CFArrayGetTypeID();
    const auto array = static_cast<CFArrayRef>(value);
    const CFIndex count = isArray ? CFArrayGetCount(array) : 1;
    for (CFIndex i = 0; i < count; ++i) {
        head.text += head.text.back() == '?' ? "" : "&";
        head.Add(static_cast<CFStringRef>(name));
        head.text += '=';
        AddEscaped(head, isArray ? CFArrayGetValueAtIndex(array, i) : value);
    }
}

void AddHeader(const void* name, const void* value, void* context)
{
    auto& head = *static_cast<Head*>(context);
    head.Add(static_cast<CFStringRef>(name));
    head.text += ": ";
    head.Add(static_cast<CFStringRef>(value));
    head.text += "\r\n";
}

}  // namespace

void PXHttpLimitsGetDefault(PXHttpLimits* outLimits) noexcept
{
    PX_REQUIRE_OR(outLimits, static_cast<void>(0));
    *outLimits = kDefaultLimits;
}

PXStatus CHTTPMessage::Write(CBaseStream* stream)
{
    PX_REQUIRE(stream);
    PX_TRY(MakeContent());
    Head head;
    head.text.reserve(512);
    if (type_ == kHTTPMessageResponse) {
        head.text += "HTTP/1.1 " + std::to_string(responseCode_) + " OK\r\n";
    } else {
        head.Add(method_);
        head.text += " /";
        head.Add(uri_);
        if (const CFDictionaryRef params = GetParams()) {
            if (CFDictionaryGetCount(params) > 0) head.text += '?';
            CFDictionaryApplyFunction(params, AddQueryParam, &head);
        }
        head.text += " HTTP/1.1\r\n";
    }
    if (headers_) CFDictionaryApplyFunction(headers_, AddHeader, &head);
    head.text += "\r\n";
    PX_REQUIRE(head.isClean);
    const auto length = static_cast<size_t>(CFDataGetLength(content_));
    const CBaseStreamPart parts[] = {{head.text.data(), head.text.size()},
                                     {CFDataGetBytePtr(content_), length}};
    return stream->WriteParts(parts, length > 0 ? 2 : 1);
}

// Reads one message; the stream has its own cap again afterwards.
class CHTTPMessage::Reader {
public:
    Reader(CHTTPMessage& message, CBaseStream& stream)
        : message_(message),
          stream_(stream),
          formerCap_(stream.GetReadCap()),
          bytesLeft_(message.limits_.headerBytes),
          line_(static_cast<char*>(std::malloc(kFirstRoom)))
    {
    }
    ~Reader()
    {
        stream_.SetReadCap(formerCap_);
        std::free(line_);
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    PXStatus Read()
    {
        if (!line_) return PX_FAIL(kPXErrCreate);
        std::string_view line;
        PX_TRY(NextLine(&line));
        if (line.empty()) return kPXErrStreamEnd;
        PX_TRY(message_.type_ == kHTTPMessageResponse ? TakeStatusLine(line)
                                                      : TakeRequestLine(line));
        PX_TRY(ReadHeaders());
        if (message_.contentLength_ == 0) return kPXOK;
        stream_.SetReadCap(message_.limits_.bodyBytes);
        return stream_.ReadDataCopy(message_.contentLength_, message_.content_);
    }

private:
    static constexpr size_t kFirstRoom = 256;

    PXStatus NextLine(std::string_view* line)
    {
        stream_.SetReadCap(std::min(message_.limits_.lineBytes, bytesLeft_));
        PX_TRY(stream_.ReadLine(line_, room_));
        *line = line_;
        bytesLeft_ -= std::min(bytesLeft_, static_cast<uint32_t>(line->size()) + 2);
        return kPXOK;
    }

    PXStatus TakeStatusLine(std::string_view line)
    {
        NextToken(&line);
        const std::string code(NextToken(&line));
        if (code.empty()) return PX_FAIL(kPXErrMissing);
        const long value = std::strtol(code.c_str(), nullptr, 10);
        message_.responseCode_ =
            static_cast<int32_t>(std::clamp<long>(value, INT32_MIN, INT32_MAX));
        return kPXOK;
    }

    PXStatus TakeRequestLine(std::string_view line)
    {
        const std::string_view method = NextToken(&line);
        std::string_view target = NextToken(&line);
        if (target.empty()) return PX_FAIL(kPXErrMissing);
        if (method != "GET") message_.SetMethod(px::StringOfAnyBytes(method).Get());
        target.remove_prefix(1);
        const size_t mark = target.find('?');
        message_.SetUri(px::StringOfAnyBytes(target.substr(0, mark)).Get());
        // Of a target with several marks only the URI counts.
        if (mark != std::string_view::npos && target.rfind('?') == mark)
            message_.query_ = px::StringOfAnyBytes(target.substr(mark + 1)).Detach();
        return kPXOK;
    }

    PXStatus ReadHeaders()
    {
        for (uint32_t count = 0;; ++count) {
            std::string_view line;
            PX_TRY(NextLine(&line));
            if (line.empty()) return kPXOK;
            if (count >= message_.limits_.headerLines) return PX_FAIL(kPXErrNotSupported);
            PX_TRY(TakeHeader(line));
        }
    }

    PXStatus TakeHeader(std::string_view line)
    {
        const std::string_view whole = line;
        const std::string_view name = NextToken(&line);
        const std::string_view value = NextToken(&line);
        if (name == "Content-Length:") return TakeLength(value);
        if (name == "Host:") {
            message_.SetHost(px::StringOfAnyBytes(value).Get());
        } else if (name == "Content-Type:") {
            message_.SetContentType(px::StringOfAnyBytes(value).Get());
        } else if (name == "Transfer-encoding:" && value == "chunked") {
            message_.isChunked_ = true;
        } else if (StartsWithoutCase(whole, "origin:") || StartsWithoutCase(whole, "sec-fetch-")) {
            message_.isFromBrowser_ = true;
        }
        return kPXOK;
    }

    PXStatus TakeLength(std::string_view value)
    {
        const auto length = LengthIn(value);
        if (!length || (hasLength_ && *length != message_.contentLength_)) {
            return PX_FAIL(kPXErrMissing);
        }
        hasLength_ = true;
        message_.contentLength_ = *length;
        return kPXOK;
    }

    CHTTPMessage& message_;
    CBaseStream& stream_;
    const uint64_t formerCap_;
    uint32_t bytesLeft_;
    bool hasLength_ = false;
    size_t room_ = kFirstRoom;
    char* line_;
};

PXStatus CHTTPMessage::Read(CBaseStream* stream)
{
    PX_REQUIRE(stream);
    SetStream(stream);
    Reset();
    return Reader(*this, *stream).Read();
}
