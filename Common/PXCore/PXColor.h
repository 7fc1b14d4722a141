#pragma once

// PXColor — an RGBA colour whose channels live in a preset dictionary.
//
// The dictionary is the colour's serialised form at every moment. Channels are 32-bit integers,
// meant for 0…255 but stored as given. A colour is a plain value that is copied, not counted; its
// virtual slots and their order are contract. One thread at a time may change a colour or use it
// while another changes it. Events name the source "PXColor".
//
// deletePreset leaves a colour without a dictionary: it then reads as the default, and setters log
// 1003 and do nothing.

#include "PXCore/PXPresetData.h"
#include "PXCore/PXTypes.h"

class PX_API PXColor {
public:
    static const CFStringRef kRKey;        // "red"
    static const CFStringRef kGKey;        // "green"
    static const CFStringRef kBKey;        // "blue"
    static const CFStringRef kAlphaKey;    // "alpha"
    static const CFStringRef kVersionKey;  // "qColorVersion"

    static constexpr int32_t kDefaultR = 0;
    static constexpr int32_t kDefaultG = 0;
    static constexpr int32_t kDefaultB = 0;
    static constexpr int32_t kDefaultAlpha = 255;
    static constexpr int32_t kVersion1 = 1;

    // Opaque black, with an empty dictionary.
    PXColor();
    PXColor(int32_t r, int32_t g, int32_t b, int32_t a);
    // Copies the four channels, and nothing else that the dictionary may hold.
    PXColor(const PXColor& other);
    virtual ~PXColor();

    // Whether it has a dictionary.
    virtual bool isValid() const noexcept;
    // Stores opaque black.
    virtual void clear();

    // The channel as it is stored; the default when it is absent.
    virtual int32_t red() const noexcept;
    virtual int32_t green() const noexcept;
    virtual int32_t blue() const noexcept;
    virtual int32_t alpha() const noexcept;
    // The channel divided by 255 in double precision.
    virtual float redF() const noexcept;
    virtual float greenF() const noexcept;
    virtual float blueF() const noexcept;
    virtual float alphaF() const noexcept;
    virtual PXVec3F rgbF() const noexcept;

    // Stores a channel, or all, as given.
    virtual void setRed(int32_t red);
    virtual void setGreen(int32_t green);
    virtual void setBlue(int32_t blue);
    virtual void setAlpha(int32_t alpha);
    virtual void setRgb(int32_t red, int32_t green, int32_t blue, int32_t alpha);

    // As the copy constructor.
    virtual PXColor& operator=(const PXColor& other);
    // By the four channels alone.
    virtual bool operator==(const PXColor& other) const noexcept;
    virtual bool operator!=(const PXColor& other) const noexcept;

    // Takes the channels over, the default for those that are absent. The version is not checked,
    // other keys are not copied. Returns 0, or 1005 for null.
    virtual PXStatus initWithPresetData(CFDictionaryRef dictionary);
    // The colour's own dictionary, borrowed, with the version written into it; null without one.
    virtual CFDictionaryRef presetData();
    // Destroys the dictionary, not the colour.
    virtual void deletePreset() noexcept;

private:
    int32_t Channel(CFStringRef key, int32_t defaultValue) const noexcept;
    void SetChannel(CFStringRef key, int32_t value);

    PXPresetData* data_;
};
