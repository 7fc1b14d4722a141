#include "PXCore/PXPreset.h"

#include "Base/Ref.h"
#include "Base/Status.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXUtils.h"

#include <utility>

CFStringRef kPXPresetExtCurve = CFSTR(".pxcurve");
CFStringRef kPXPresetExtColor = CFSTR(".pxcolor");

const CFStringRef PXPreset::kNameKey = CFSTR("presetName");
const CFStringRef PXPreset::kAuthorKey = CFSTR("author");
const CFStringRef PXPreset::kDescriptionKey = CFSTR("description");
const CFStringRef PXPreset::kFactoryPresetKey = CFSTR("isFactoryPreset");
const CFStringRef PXPreset::kSortOrderKey = CFSTR("sortOrder");
const CFStringRef PXPreset::kPropertiesKey = CFSTR("properties");
const CFStringRef PXPreset::kCommonDataKey = CFSTR("presetCommonData");

namespace {

constexpr char kEventSource[] = "PXPreset";

void SetEntry(const void* key, const void* value, void* dictionary)
{
    CFDictionarySetValue(static_cast<CFMutableDictionaryRef>(dictionary), key, value);
}

// A dictionary of the preset's own with the entries of another.
PXPresetData* NewData(CFDictionaryRef dictionary)
{
    auto* made = new PXPresetData;
    CFDictionaryApplyFunction(dictionary, SetEntry, made->getMutablePresetData());
    return made;
}

void CopyText(CFDictionaryRef from, CFStringRef key, PXPresetData* to)
{
    CFTypeRef value = CFDictionaryGetValue(from, key);
    if (value && CFGetTypeID(value) == CFStringGetTypeID())
        to->setPXStringValue(key, PXString(static_cast<CFStringRef>(value)));
}

void CopyNumber(const PXPresetData& from, CFStringRef key, PXPresetData* to)
{
    if (const int value = from.getIntValue(key, 0)) to->setIntValue(key, value);
}

}  // namespace

PXPresetModule::~PXPresetModule() = default;

void PXPresetModule::initializePresetData() {}

PXStatus PXPresetModule::applyToImage(PXImage, PXImage, int32_t, PXImage, PXImage, PXRect, int32_t)
{
    return kPXOK;
}

PXPresetOperations::~PXPresetOperations() = default;
PXPresetFactory::~PXPresetFactory() = default;
PXPresetMaker::~PXPresetMaker() = default;

PXPreset::PXPreset() : data_(new PXPresetData) {}

PXPreset::PXPreset(const PXPreset& other)
    : PXPresetOperations(other), PXPresetModule(other), data_(NewData(other.data_->getPresetData()))
{
}

PXPreset& PXPreset::operator=(const PXPreset& other)
{
    if (this != &other) delete std::exchange(data_, NewData(other.data_->getPresetData()));
    return *this;
}

PXPreset::~PXPreset()
{
    delete data_;
}

PXStatus PXPreset::initWithPresetData(CFDictionaryRef dictionary)
{
    PX_REQUIRE(dictionary);
    CFDictionaryRef nested = PXUtilsCFDictionaryGetCFDictionary(dictionary, kCommonDataKey);
    const PXPresetData common(nested ? nested : dictionary);
    for (CFStringRef key : {kNameKey, kAuthorKey, kDescriptionKey})
        CopyText(common.getPresetData(), key, data_);
    if (common.getBooleanValue(kFactoryPresetKey, false)) setFactoryPreset(true);
    for (CFStringRef key : {kSortOrderKey, kPropertiesKey}) CopyNumber(common, key, data_);
    return kPXOK;
}

void PXPreset::reservedOperation() {}

CFDictionaryRef PXPreset::presetData()
{
    return data_->getPresetData();
}

PXStatus PXPreset::applyToImage(PXImage, PXImage, int32_t, PXImage, PXImage, PXRect, int32_t)
{
    return PX_FAIL(kPXErrNotSupported);
}

void PXPreset::deletePreset()
{
    delete this;
}

bool PXPreset::isFactoryPreset()
{
    return data_->getBooleanValue(kFactoryPresetKey, false);
}

void PXPreset::addModuleData(CFMutableDictionaryRef moduleData)
{
    PX_REQUIRE_OR(moduleData, );
    CFDictionarySetValue(moduleData, kCommonDataKey, data_->getPresetData());
}

PXStatus PXPreset::initWithPresetRawData(CFDataRef data)
{
    PX_REQUIRE(data);
    const auto list = CFRef<CFPropertyListRef>::Adopt(CFPropertyListCreateFromXMLData(
        kCFAllocatorDefault, data, kCFPropertyListMutableContainers, nullptr));
    if (!list || CFGetTypeID(list.Get()) != CFDictionaryGetTypeID()) return PX_FAIL(kPXErrCreate);
    return initWithPresetData(static_cast<CFDictionaryRef>(list.Get()));
}

PXString PXPreset::name() const
{
    return data_->getPXStringValue(kNameKey, PXString());
}

void PXPreset::setName(const PXString& name)
{
    data_->setPXStringValue(kNameKey, name);
}

PXString PXPreset::author() const
{
    return data_->getPXStringValue(kAuthorKey, PXString());
}

void PXPreset::setAuthor(const PXString& author)
{
    data_->setPXStringValue(kAuthorKey, author);
}

PXString PXPreset::description() const
{
    return data_->getPXStringValue(kDescriptionKey, PXString());
}

void PXPreset::setDescription(const PXString& description)
{
    data_->setPXStringValue(kDescriptionKey, description);
}

void PXPreset::setFactoryPreset(bool isFactoryPreset)
{
    data_->setBooleanValue(kFactoryPresetKey, isFactoryPreset);
}

int32_t PXPreset::customSortOrder() const
{
    return data_->getIntValue(kSortOrderKey, 0);
}

void PXPreset::setCustomSortOrder(int32_t sortOrder)
{
    data_->setIntValue(kSortOrderKey, sortOrder);
}

int32_t PXPreset::properties() const
{
    return data_->getIntValue(kPropertiesKey, 0);
}

void PXPreset::setProperties(int32_t properties)
{
    data_->setIntValue(kPropertiesKey, properties);
}
