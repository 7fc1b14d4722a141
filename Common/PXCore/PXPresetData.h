#pragma once

// PXPresetData — the dictionary that a preset keeps its settings in.
//
// A PXDictionary with texts: what a setter is given is copied, what a getter returns is a text of
// its own. Events name the source "PXString". One thread at a time may change it or use it while
// another changes it.

#include "PXCore/PXDictionary.h"
#include "PXCore/PXString.h"

class PX_API PXPresetData : public PXDictionary {
public:
    // A new empty dictionary, which is emptied when this object goes, whoever else retained it.
    PXPresetData() noexcept;
    // Wraps a dictionary for reading alone, or for reading and writing, and retains it; null logs
    // 1005.
    PXPresetData(CFDictionaryRef dictionary) noexcept;
    PXPresetData(CFMutableDictionaryRef dictionary) noexcept;
    ~PXPresetData() override;

    // The dictionary itself, borrowed.
    CFDictionaryRef getPresetData() const noexcept;
    // The same for writing; null when this object only reads.
    CFMutableDictionaryRef getMutablePresetData() const noexcept;
    // A new mutable copy, which the caller owns.
    CFMutableDictionaryRef copyPresetData() const noexcept;

    // A copy of the text under the key, or of the default when the key is absent or holds no text.
    PXString getPXStringValue(CFStringRef key, const PXString& defaultValue) const noexcept;
    // A text that holds null logs 1005 and is not stored.
    void setPXStringValue(CFStringRef key, const PXString& value) noexcept;
};
