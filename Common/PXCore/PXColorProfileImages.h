#pragma once

/* PXColorProfileImages: conversion of whole images and of rectangles of them between profiles, and
 * the colour cubes that are made from profiles.
 *
 * Status, ownership, intents and threads are those of PXColorProfile.h; pixel layouts and alpha
 * those of PXColorProfileConvertProfile. */

#include "Base/PXProgress.h"
#include "PXCore/PXColorProfile.h"

PX_EXTERN_C_BEGIN

/* Converts all pixels of `image` from `profile` to `destination` into the same rectangle of
 * `result`, or in place when `result` is null. Large images are converted in as many bands side by
 * side as there are processors. Relative colorimetric, or as `intent` says; `progress`, which may
 * be null, counts the rows of all bands and cancels them (kPXErrSoft: some rows are converted). */
PX_API int PXColorProfileApplyToImage(PXColorProfile profile, PXImage image,
                                      PXColorProfile destination, PXImage result) PX_NOEXCEPT;
PX_API int PXColorProfileApplyToImage2(PXColorProfile profile, PXImage image,
                                       PXColorProfile destination, PXImage result,
                                       int32_t intent) PX_NOEXCEPT;
PX_API int PXColorProfileApplyToImage3(PXColorProfile profile, PXImage image,
                                       PXColorProfile destination, PXImage result, int32_t intent,
                                       PXProgress progress) PX_NOEXCEPT;

/* Converts a rectangle of `image` in place, as PXColorProfileApplyToImage does. */
PX_API int PXColorProfileApplyToImageRect(PXColorProfile profile, PXImage image,
                                          PXColorProfile destination, PXRect rect) PX_NOEXCEPT;

/* PXColorProfileConvertProfile2 with a progress that counts and cancels in bands too; it may be
 * null. */
PX_API int PXColorProfileConvertProfile4(PXColorProfile profile, PXColorProfile destinationProfile,
                                         PXImage source, PXImage destination, PXRect rect,
                                         int32_t bands, int32_t intent,
                                         PXProgress progress) PX_NOEXCEPT;

PX_EXTERN_C_END
