#pragma once

// Msg — a message from one part of a program, or one program, to another: a dictionary, and with it
// raw bytes if there are any. Response — what a request is answered with.
//
// A message is built by one thread and not changed once it was sent. Objects that are set are
// retained, Get functions lend.

#include "Base/BaseCore.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXStatus.h"

class PX_API CBaseMsg : public CBaseCore {
public:
    // `name` stands in the dictionary under "msg_name"; null leaves it out.
    explicit CBaseMsg(CFStringRef name = nullptr);
    // A message that arrived: the dictionary is copied, what Unpack put under "raw" becomes the raw
    // bytes.
    static CBaseMsg* CreateFromDictionary(CFDictionaryRef dictionary);
    ~CBaseMsg() override;

    CFStringRef GetName() const;  // null when there is none
    CFDictionaryRef GetDictionary() const noexcept { return dictionary_; }
    // Null for an absent key.
    CFTypeRef GetValue(CFStringRef key) const;
    CFStringRef GetString(CFStringRef key) const;  // null for what is no string
    int GetInt(CFStringRef key) const;             // 0 for what is neither number nor text of one
    // A null value removes the key.
    void SetValue(CFStringRef key, CFTypeRef value);
    void SetString(CFStringRef key, CFStringRef value);
    void SetInt(CFStringRef key, int value);

    CFDataRef GetRaw() const noexcept { return raw_; }
    // Null takes them away.
    void SetRaw(CFDataRef raw);
    bool HasPackedContent() const noexcept { return raw_ != nullptr; }
    // The raw bytes and the dictionary as one body; the caller owns it. Null, logged, when the
    // dictionary is no property list.
    CFDataRef CopyPackedContent() const;

private:
    CFMutableDictionaryRef dictionary_;
    CFDataRef raw_ = nullptr;
};

// A dictionary under construction. Plain value; one thread.
class PX_API CBaseResponse {
public:
    // An empty dictionary.
    CBaseResponse();
    ~CBaseResponse();
    CBaseResponse(const CBaseResponse&) = delete;
    CBaseResponse& operator=(const CBaseResponse&) = delete;

    CFDictionaryRef GetDictionary() const noexcept { return dictionary_; }
    void SetResult(PXStatus status);  // under "result", as a signed number
    // A null value removes the key.
    void SetValue(CFStringRef key, CFTypeRef value);
    void SetString(CFStringRef key, CFStringRef value);
    void SetInt(CFStringRef key, int value);

private:
    CFMutableDictionaryRef dictionary_;
};
