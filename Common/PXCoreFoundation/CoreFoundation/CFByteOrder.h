#pragma once

// CFByteOrder — byte swapping, header-only. Host order is little-endian on every supported system
// unless the compiler says otherwise.

#include "CFBase.h"

CF_INLINE UInt16 CFSwapInt16(UInt16 arg)
{
    return (UInt16)((arg << 8) | (arg >> 8));
}

CF_INLINE UInt32 CFSwapInt32(UInt32 arg)
{
    return ((arg & 0xFFU) << 24) | ((arg & 0xFF00U) << 8) | ((arg >> 8) & 0xFF00U) | (arg >> 24);
}

CF_INLINE UInt64 CFSwapInt64(UInt64 arg)
{
    return ((UInt64)CFSwapInt32((UInt32)arg) << 32) | CFSwapInt32((UInt32)(arg >> 32));
}

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
#define PXCF_SWAP_BIG(bits, arg) (arg)
#define PXCF_SWAP_LITTLE(bits, arg) CFSwapInt##bits(arg)
#else
#define PXCF_SWAP_BIG(bits, arg) CFSwapInt##bits(arg)
#define PXCF_SWAP_LITTLE(bits, arg) (arg)
#endif

#define PXCF_DEFINE_SWAPS(bits)                                        \
    CF_INLINE UInt##bits CFSwapInt##bits##HostToBig(UInt##bits arg)    \
    {                                                                  \
        return PXCF_SWAP_BIG(bits, arg);                               \
    }                                                                  \
    CF_INLINE UInt##bits CFSwapInt##bits##BigToHost(UInt##bits arg)    \
    {                                                                  \
        return PXCF_SWAP_BIG(bits, arg);                               \
    }                                                                  \
    CF_INLINE UInt##bits CFSwapInt##bits##HostToLittle(UInt##bits arg) \
    {                                                                  \
        return PXCF_SWAP_LITTLE(bits, arg);                            \
    }                                                                  \
    CF_INLINE UInt##bits CFSwapInt##bits##LittleToHost(UInt##bits arg) \
    {                                                                  \
        return PXCF_SWAP_LITTLE(bits, arg);                            \
    }

PXCF_DEFINE_SWAPS(16)
PXCF_DEFINE_SWAPS(32)
PXCF_DEFINE_SWAPS(64)

#undef PXCF_DEFINE_SWAPS
#undef PXCF_SWAP_BIG
#undef PXCF_SWAP_LITTLE
