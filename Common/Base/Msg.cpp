#include "Base/Msg.h"

#include "Base/HTTPPacked.h"
#include "Base/Ref.h"
#include "PXCore/PXUtils.h"

#include <new>

namespace {

void Set(CFMutableDictionaryRef dictionary, CFStringRef key, CFTypeRef value)
{
    if (value) {
        CFDictionarySetValue(dictionary, key, value);
    } else {
        CFDictionaryRemoveValue(dictionary, key);
    }
}

void SetNumber(CFMutableDictionaryRef dictionary, CFStringRef key, int value)
{
    Set(dictionary, key, CFRef<CFNumberRef>::Adopt(PXUtilsCFNumberCreateSInt32(value)).Get());
}

}  // namespace

CBaseMsg::CBaseMsg(CFStringRef name) : dictionary_(PXUtilsCFDictionaryCreateMutable2())
{
    SetString(CFSTR("msg_name"), name);
}

CBaseMsg* CBaseMsg::CreateFromDictionary(CFDictionaryRef dictionary)
{
    auto message = PXRef<CBaseMsg>::Adopt(new (std::nothrow) CBaseMsg);
    if (!message) return nullptr;
    const auto add = [](const void* key, const void* value, void* context) {
        CFDictionarySetValue(static_cast<CBaseMsg*>(context)->dictionary_, key, value);
    };
    CFDictionaryApplyFunction(dictionary, add, message.Get());
    if (CFDictionaryContainsKey(dictionary, CFSTR("--content--"))) {
        const CFTypeRef raw = message->GetValue(CFSTR("raw"));
        if (raw && CFGetTypeID(raw) == CFDataGetTypeID())
            message->SetRaw(static_cast<CFDataRef>(raw));
        message->SetValue(CFSTR("raw"), nullptr);
        message->SetValue(CFSTR("--content--"), nullptr);
    }
    return message.Detach();
}

CBaseMsg::~CBaseMsg()
{
    CFRelease(dictionary_);
    if (raw_) CFRelease(raw_);
}

CFStringRef CBaseMsg::GetName() const
{
    return GetString(CFSTR("msg_name"));
}

CFTypeRef CBaseMsg::GetValue(CFStringRef key) const
{
    return CFDictionaryGetValue(dictionary_, key);
}

CFStringRef CBaseMsg::GetString(CFStringRef key) const
{
    const CFTypeRef value = GetValue(key);
    if (!value || CFGetTypeID(value) != CFStringGetTypeID()) return nullptr;
    return static_cast<CFStringRef>(value);
}

int CBaseMsg::GetInt(CFStringRef key) const
{
    return PXUtilsCFValueGetInt(GetValue(key));
}

void CBaseMsg::SetValue(CFStringRef key, CFTypeRef value)
{
    Set(dictionary_, key, value);
}

void CBaseMsg::SetString(CFStringRef key, CFStringRef value)
{
    Set(dictionary_, key, value);
}

void CBaseMsg::SetInt(CFStringRef key, int value)
{
    SetNumber(dictionary_, key, value);
}

void CBaseMsg::SetRaw(CFDataRef raw)
{
    const auto former = CFRef<CFDataRef>::Adopt(raw_);
    raw_ = CFRef<CFDataRef>::Retain(raw).Detach();
}

CFDataRef CBaseMsg::CopyPackedContent() const
{
    return px::Pack(raw_, dictionary_).Detach();
}

CBaseResponse::CBaseResponse() : dictionary_(PXUtilsCFDictionaryCreateMutable2()) {}

CBaseResponse::~CBaseResponse()
{
    CFRelease(dictionary_);
}

void CBaseResponse::SetResult(PXStatus status)
{
    SetInt(CFSTR("result"), static_cast<int>(status));
}

void CBaseResponse::SetValue(CFStringRef key, CFTypeRef value)
{
    Set(dictionary_, key, value);
}

void CBaseResponse::SetString(CFStringRef key, CFStringRef value)
{
    Set(dictionary_, key, value);
}

void CBaseResponse::SetInt(CFStringRef key, int value)
{
    SetNumber(dictionary_, key, value);
}
