#include "PXAccelerate/BaseBlitter.h"

#include <new>

namespace px {

namespace {

template <class T, int N>
CBlitter* New()
{
    return new (std::nothrow) BaseBlitter<T, N, BlitFilter<T, N, 1>>;
}

constexpr CBlitter* (*kMakers[2][4])() = {
    {New<uint8_t, 1>, New<uint8_t, 2>, New<uint8_t, 3>, New<uint8_t, 4>},
    {New<uint16_t, 1>, New<uint16_t, 2>, New<uint16_t, 3>, New<uint16_t, 4>},
};

}  // namespace

CBlitter* NewBaseBlitter(uint32_t channels, uint32_t depth) noexcept
{
    if (channels < 1 || channels > 4 || (depth != 8 && depth != 16)) return nullptr;
    return kMakers[depth / 8 - 1][channels - 1]();
}

}  // namespace px
