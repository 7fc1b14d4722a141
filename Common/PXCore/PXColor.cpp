#include "PXCore/PXColor.h"

#include "Base/Status.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXUtils.h"

#include <utility>

const CFStringRef PXColor::kRKey = CFSTR("red");
const CFStringRef PXColor::kGKey = CFSTR("green");
const CFStringRef PXColor::kBKey = CFSTR("blue");
const CFStringRef PXColor::kAlphaKey = CFSTR("alpha");
const CFStringRef PXColor::kVersionKey = CFSTR("qColorVersion");

namespace {

constexpr char kEventSource[] = "PXColor";

float Fraction(int32_t channel)
{
    return static_cast<float>(channel / 255.0);
}

}  // namespace

PXColor::PXColor() : data_(new PXPresetData) {}

PXColor::PXColor(int32_t r, int32_t g, int32_t b, int32_t a) : PXColor()
{
    PXColor::setRed(r);
    PXColor::setGreen(g);
    PXColor::setBlue(b);
    PXColor::setAlpha(a);
}

PXColor::PXColor(const PXColor& other) : PXColor()
{
    PXColor::operator=(other);
}

PXColor::~PXColor()
{
    delete data_;
}

int32_t PXColor::Channel(CFStringRef key, int32_t defaultValue) const noexcept
{
    return data_ ? data_->getIntValue(key, defaultValue) : defaultValue;
}

void PXColor::SetChannel(CFStringRef key, int32_t value)
{
    if (data_)
        PXUtilsCFDictionarySetValueInt(data_->getMutablePresetData(), key, value);
    else
        PX_FAIL(kPXErrNotFound);
}

bool PXColor::isValid() const noexcept
{
    return data_ != nullptr;
}

void PXColor::clear()
{
    setRgb(kDefaultR, kDefaultG, kDefaultB, kDefaultAlpha);
}

int32_t PXColor::red() const noexcept
{
    return Channel(kRKey, kDefaultR);
}

int32_t PXColor::green() const noexcept
{
    return Channel(kGKey, kDefaultG);
}

int32_t PXColor::blue() const noexcept
{
    return Channel(kBKey, kDefaultB);
}

int32_t PXColor::alpha() const noexcept
{
    return Channel(kAlphaKey, kDefaultAlpha);
}

float PXColor::redF() const noexcept
{
    return Fraction(red());
}

float PXColor::greenF() const noexcept
{
    return Fraction(green());
}

float PXColor::blueF() const noexcept
{
    return Fraction(blue());
}

float PXColor::alphaF() const noexcept
{
    return Fraction(alpha());
}

PXVec3F PXColor::rgbF() const noexcept
{
    return {redF(), greenF(), blueF()};
}

void PXColor::setRed(int32_t red)
{
    SetChannel(kRKey, red);
}

void PXColor::setGreen(int32_t green)
{
    SetChannel(kGKey, green);
}

void PXColor::setBlue(int32_t blue)
{
    SetChannel(kBKey, blue);
}

void PXColor::setAlpha(int32_t alpha)
{
    SetChannel(kAlphaKey, alpha);
}

void PXColor::setRgb(int32_t red, int32_t green, int32_t blue, int32_t alpha)
{
    setRed(red);
    setGreen(green);
    setBlue(blue);
    setAlpha(alpha);
}

PXColor& PXColor::operator=(const PXColor& other)
{
    if (this != &other) setRgb(other.red(), other.green(), other.blue(), other.alpha());
    return *this;
}

bool PXColor::operator==(const PXColor& other) const noexcept
{
    return red() == other.red() && green() == other.green() && blue() == other.blue() &&
           alpha() == other.alpha();
}

bool PXColor::operator!=(const PXColor& other) const noexcept
{
    return !(*this == other);
}

PXStatus PXColor::initWithPresetData(CFDictionaryRef dictionary)
{
    PX_REQUIRE(dictionary);
    const PXPresetData given(dictionary);
    // All are read before the first is set: the dictionary may be this colour's own.
    const int32_t red = given.getIntValue(kRKey, kDefaultR);
    const int32_t green = given.getIntValue(kGKey, kDefaultG);
    const int32_t blue = given.getIntValue(kBKey, kDefaultB);
    setRgb(red, green, blue, given.getIntValue(kAlphaKey, kDefaultAlpha));
    return kPXOK;
}

CFDictionaryRef PXColor::presetData()
{
    if (!data_) return nullptr;
    SetChannel(kVersionKey, kVersion1);
    return data_->getPresetData();
}

void PXColor::deletePreset() noexcept
{
    delete std::exchange(data_, nullptr);
}
