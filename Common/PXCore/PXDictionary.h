#pragma once

// PXDictionary — typed access to a CoreFoundation dictionary.
//
// It wraps a dictionary for reading, or for reading and writing; keys and values are objects. All
// events name the source "PXString": a null key, and a setter on a wrapper that only reads, log
// 1005 and do nothing else. One thread at a time may change the dictionary or use it while another
// changes it; getKeys and getValues are changes of the wrapper.

#include "CoreFoundation/CFBase.h"
#include "PXCore/PXExport.h"

#include <cstdint>

class PX_API PXDictionary {
public:
    // A new empty dictionary of its own.
    PXDictionary() noexcept;
    // Wraps a dictionary for reading alone, or for reading and writing, and retains it. Null logs
    // 1005 and gives a wrapper that reads as empty and takes nothing.
    PXDictionary(CFDictionaryRef dictionary) noexcept;
    PXDictionary(CFMutableDictionaryRef dictionary) noexcept;
    PXDictionary(const PXDictionary&) = delete;
    PXDictionary& operator=(const PXDictionary&) = delete;

    // Empties the dictionary that this wrapper made itself, on purpose: whoever else retained it
    // sees it empty. A wrapped dictionary is only released.
    virtual ~PXDictionary();

    // A new mutable copy, which the caller owns; null for null.
    CFMutableDictionaryRef copyDictionary() const noexcept;
    static CFMutableDictionaryRef copyDictionary(CFDictionaryRef dictionary) noexcept;

    // All keys, or values, in the dictionary's order; null, not an empty array, when there are
    // none. The array belongs to this wrapper and is good until the next call of the same function.
    CFArrayRef getKeys() noexcept;
    CFArrayRef getValues() noexcept;

    // The number under the key as this type; `defaultValue` for an absent key and for a value that
    // is no number. Numbers of other types are converted by the rules of CFNumberGetValue: a wider
    // integer gives its low bits, a real is cut off towards zero.
    signed char getCharValue(CFStringRef key, signed char defaultValue) const noexcept;
    short getShortValue(CFStringRef key, short defaultValue) const noexcept;
    int getIntValue(CFStringRef key, int defaultValue) const noexcept;
    // Of 32 bits wherever a long is longer; what lies outside becomes the nearest such value.
    int32_t getLongValue(CFStringRef key, int32_t defaultValue) const noexcept;
    float getFloatValue(CFStringRef key, float defaultValue) const noexcept;
    double getDoubleValue(CFStringRef key, double defaultValue) const noexcept;
    // True for kCFBooleanTrue; any other present value, numbers included, is false.
    bool getBooleanValue(CFStringRef key, bool defaultValue) const noexcept;

    // The value itself, borrowed, whatever its class.
    CFNumberRef getNumberValue(CFStringRef key, CFNumberRef defaultValue) const noexcept;
    CFStringRef getStringValue(CFStringRef key, CFStringRef defaultValue) const noexcept;

    // A long is stored with the width that it has on this system.
    void setCharValue(CFStringRef key, signed char value) noexcept;
    void setShortValue(CFStringRef key, short value) noexcept;
    void setIntValue(CFStringRef key, int value) noexcept;
    void setLongValue(CFStringRef key, int32_t value) noexcept;
    void setFloatValue(CFStringRef key, float value) noexcept;
    void setDoubleValue(CFStringRef key, double value) noexcept;
    void setBooleanValue(CFStringRef key, bool value) noexcept;

    // 0 or 1.
    unsigned char containsKey(CFStringRef key) const noexcept;
    unsigned char containsValue(CFTypeRef value) const noexcept;

protected:
    // Null when this wrapper only reads.
    CFMutableDictionaryRef mutableDictionary_ = nullptr;
    // The same dictionary when both are there.
    CFDictionaryRef dictionary_ = nullptr;
    // Null until the getter was called and there was something.
    CFMutableArrayRef keys_ = nullptr;
    CFMutableArrayRef values_ = nullptr;
    bool isOwner_ = false;

private:
    void resetKeysArray() noexcept;
    void resetValuesArray() noexcept;
};
