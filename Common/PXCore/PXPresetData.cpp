#include "PXCore/PXPresetData.h"

#include "Base/Ref.h"
#include "Base/Status.h"
#include "CoreFoundation/CoreFoundation.h"

namespace {

constexpr char kEventSource[] = "PXString";

}  // namespace

PXPresetData::PXPresetData() noexcept = default;

PXPresetData::PXPresetData(CFDictionaryRef dictionary) noexcept : PXDictionary(dictionary) {}

PXPresetData::PXPresetData(CFMutableDictionaryRef dictionary) noexcept : PXDictionary(dictionary) {}

PXPresetData::~PXPresetData() = default;

CFDictionaryRef PXPresetData::getPresetData() const noexcept
{
    return dictionary_;
}

CFMutableDictionaryRef PXPresetData::getMutablePresetData() const noexcept
{
    return mutableDictionary_;
}

CFMutableDictionaryRef PXPresetData::copyPresetData() const noexcept
{
    return copyDictionary();
}

PXString PXPresetData::getPXStringValue(CFStringRef key,
                                        const PXString& defaultValue) const noexcept
{
    CFStringRef found = getStringValue(key, nullptr);
    if (found && CFGetTypeID(found) == CFStringGetTypeID()) return PXString(found);
    return PXString(defaultValue);
}

void PXPresetData::setPXStringValue(CFStringRef key, const PXString& value) noexcept
{
    PX_REQUIRE_OR(mutableDictionary_ && key && value.toCFString(), );
    const auto copy =
        CFRef<CFStringRef>::Adopt(CFStringCreateCopy(kCFAllocatorDefault, value.toCFString()));
    CFDictionarySetValue(mutableDictionary_, key, copy.Get());
}
