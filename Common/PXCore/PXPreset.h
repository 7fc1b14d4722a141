#pragma once

// PXPreset — a named, saved set of settings of one editing module.
//
// A preset keeps its settings in a dictionary, which is its serialised form at every moment, and is
// stored as one XML property list whose root is that dictionary. The keys that all presets have in
// common are named below; a module adds its own and overrides initWithPresetData, presetData and
// deletePreset. Functions that return a PXStatus log what they return under the source "PXPreset".
// One thread at a time may change a preset or use it while another changes it.
//
// A module writes its keys beside the common ones into the preset's own dictionary, or keeps a
// dictionary of its own and takes the common keys into it with addModuleData; both are read.

#include "PXCore/PXPresetData.h"
#include "PXCore/PXTypes.h"

// The extensions of preset files by module. An application adds those of its own modules beside
// them: a dot and a name of lower-case letters and digits, "px" in front being this library's.
PX_API extern CFStringRef kPXPresetExtCurve;  // ".pxcurve"
PX_API extern CFStringRef kPXPresetExtColor;  // ".pxcolor"

// The base of every preset. Slot order is contract.
class PX_API PXPresetModule {
public:
    virtual ~PXPresetModule();
    // Fills the settings of a module in; does nothing.
    virtual void initializePresetData();
    // See PXPreset::applyToImage. Returns 0.
    virtual PXStatus applyToImage(PXImage source, PXImage destination, int32_t mode, PXImage mask,
                                  PXImage original, PXRect rect, int32_t flags);

protected:
    PXPresetModule() noexcept = default;
    PXPresetModule(const PXPresetModule&) noexcept = default;
    PXPresetModule& operator=(const PXPresetModule&) noexcept = default;
};

// What a preset can be asked, in the slots that callers know it by. They differ from those of
// PXPresetModule, which is why this is a base of its own.
class PX_API PXPresetOperations {
public:
    virtual ~PXPresetOperations();
    virtual PXStatus initWithPresetData(CFDictionaryRef dictionary) = 0;
    virtual void reservedOperation() = 0;
    virtual CFDictionaryRef presetData() = 0;
    virtual PXStatus applyToImage(PXImage source, PXImage destination, int32_t mode, PXImage mask,
                                  PXImage original, PXRect rect, int32_t flags) = 0;
    virtual void deletePreset() = 0;
    virtual bool isFactoryPreset() = 0;
    virtual void addModuleData(CFMutableDictionaryRef moduleData) = 0;
    virtual PXStatus initWithPresetRawData(CFDataRef data) = 0;

protected:
    PXPresetOperations() noexcept = default;
    PXPresetOperations(const PXPresetOperations&) noexcept = default;
    PXPresetOperations& operator=(const PXPresetOperations&) noexcept = default;
};

class PX_API PXPreset : public PXPresetOperations, public PXPresetModule {
public:
    static const CFStringRef kNameKey;           // "presetName", text
    static const CFStringRef kAuthorKey;         // "author", text
    static const CFStringRef kDescriptionKey;    // "description", text
    static const CFStringRef kFactoryPresetKey;  // "isFactoryPreset", boolean
    static const CFStringRef kSortOrderKey;      // "sortOrder", 32-bit integer
    static const CFStringRef kPropertiesKey;     // "properties", 32-bit integer
    static const CFStringRef kCommonDataKey;     // "presetCommonData", the dictionary of the above

    // A preset of no module, with an empty dictionary.
    PXPreset();
    // Copies have dictionaries of their own with the same values.
    PXPreset(const PXPreset& other);
    PXPreset& operator=(const PXPreset& other);
    ~PXPreset() override;

    // Reads the common keys, from "presetCommonData" alone when the dictionary has one. What is
    // absent or of another kind leaves the preset as it was; so do, on purpose, a false
    // "isFactoryPreset" and a "sortOrder" or "properties" of 0, which are never stored. Everything
    // else is the module's. Returns 0, or 1005 for null.
    PXStatus initWithPresetData(CFDictionaryRef dictionary) override;
    // Does nothing; keeps a slot.
    void reservedOperation() override;
    // The preset's own dictionary, borrowed, for saving. It is emptied when the preset goes.
    CFDictionaryRef presetData() override;
    // Applies the module to `rect` of `source`, the result going to `destination`; the meaning of
    // the rest is the module's. Returns 1025, without one.
    PXStatus applyToImage(PXImage source, PXImage destination, int32_t mode, PXImage mask,
                          PXImage original, PXRect rect, int32_t flags) override;
    // Gives up the caller's hold on the preset, which is how the preset manager disposes of one:
    // deletes it, or releases a reference where a module counts them.
    void deletePreset() override;
    // Shipped with the application: the user may not change it.
    bool isFactoryPreset() override;
    // Stores the preset's own dictionary, not a copy, under "presetCommonData". As presetData, it
    // is empty once the preset is gone: save before. Null logs 1005.
    void addModuleData(CFMutableDictionaryRef moduleData) override;
    // Reads XML property-list bytes and calls initWithPresetData. Returns 1002, with nothing
    // changed, for bytes that are no list or one that is no dictionary.
    PXStatus initWithPresetRawData(CFDataRef data) override;

    // Empty, false or 0 where the key is absent.
    PXString name() const;
    void setName(const PXString& name);
    PXString author() const;
    void setAuthor(const PXString& author);
    PXString description() const;
    void setDescription(const PXString& description);
    void setFactoryPreset(bool isFactoryPreset);
    // The position in an order of the user's own.
    int32_t customSortOrder() const;
    void setCustomSortOrder(int32_t sortOrder);
    // Bits that the module gives a meaning to.
    int32_t properties() const;
    void setProperties(int32_t properties);

protected:
    // Never null.
    PXPresetData* data_;

private:
    friend class PXPresetManager;
};

// What makes the presets of an application's modules. Slot order is contract: the destructor alone.
class PX_API PXPresetFactory {
public:
    virtual ~PXPresetFactory();

protected:
    PXPresetFactory() noexcept = default;
    PXPresetFactory(const PXPresetFactory&) noexcept = default;
    PXPresetFactory& operator=(const PXPresetFactory&) noexcept = default;
};

// The factory that the preset manager can ask. Another kind of factory gives it no presets.
class PX_API PXPresetMaker : public PXPresetFactory {
public:
    ~PXPresetMaker() override;
    // A new preset, which the caller disposes of with deletePreset, or null.
    virtual PXPreset* createPreset() = 0;
};
