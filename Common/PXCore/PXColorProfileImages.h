#pragma once

/* PXColorProfileImages: conversion of whole images and of rectangles of them between profiles, and
 * the colour cubes that are made from profiles.
 *
 * Status, ownership, intents and threads are those of PXColorProfile.h; pixel layouts and alpha
 * those of PXColorProfileConvertProfile. */

#include "Base/PXProgress.h"
#include "PXCore/PXColorCube.h"
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

/* Converts a rectangle to what `display`, or the monitor when that is null, shows of what `proof`
 * makes of the picture: as PXColorProfileCreateRGBColorCubeSoftProof does, but without a cube in
 * between. Both images are RGB of 3 or 4 channels in 8 or 16 bits and may be one image; `progress`
 * may be null. */
PX_API int PXColorProfileSoftProofImage(PXColorProfile profile, PXColorProfile proof,
                                        int32_t intent, PXColorProfile display, bool warnsOfGamut,
                                        bool simulatesPaper, PXImage source, PXImage destination,
                                        PXRect rect, PXProgress progress) PX_NOEXCEPT;

/* Cubes of floats as PXColorCube.h lays them out, gridSize (1 to 256, else kPXErrBadArgument)
 * points along each edge. Values are what the destination yields and may lie outside of 0...1. The
 * only point of a cube of size 1 is 0 / 0, which Little CMS gets as it is.
 *
 * kPXErrBadArgument without a profile, kPXErrMissing for one without content, kPXErrNotFound when
 * Little CMS refuses the profiles, kPXErrCreate without memory. *outCube is null unless 0 is
 * returned; it is the caller's. */

/* The destination's colours for the profile's: relative colorimetric; 3: by an intent, and for the
 * monitor when `destination` is null (kPXErrNoDisplayProfile when there is none); 4: the same as a
 * cube object of mode 2, without profiles. */
PX_API int PXColorProfileCreateRGBColorCube(PXColorProfile profile, PXColorProfile destination,
                                            uint32_t gridSize, CFDataRef* outCube) PX_NOEXCEPT;
PX_API int PXColorProfileCreateRGBColorCube3(PXColorProfile profile, PXColorProfile destination,
                                             int32_t intent, uint32_t gridSize,
                                             CFDataRef* outCube) PX_NOEXCEPT;
PX_API int PXColorProfileCreateRGBColorCube4(PXColorProfile profile, PXColorProfile destination,
                                             int32_t intent, uint32_t gridSize,
                                             PXColorCube* outCube) PX_NOEXCEPT;
/* PXColorProfileCreateRGBColorCube into `samples`, which has room for `sampleCount` floats:
 * kPXErrMissing for null, kPXErrBadArgument for less than gridSize^3 * 3. */
PX_API int PXColorProfileGetColorCube(PXColorProfile profile, PXColorProfile destination,
                                      uint32_t gridSize, float* samples,
                                      int64_t sampleCount) PX_NOEXCEPT;

/* How `display`, or the monitor when that is null (kPXErrNoDisplayProfile when there is none),
 * shows the profile's colours after `proof` had them, by `intent` from the one to the other.
 *
 * With `simulatesPaper` the display shows white and black of the proof device as they are, else
 * they are its own white and black. With `warnsOfGamut` colours that the proof device does not have
 * are pure red (1, 0, 0). */
PX_API int PXColorProfileCreateRGBColorCubeSoftProof(PXColorProfile profile, PXColorProfile proof,
                                                     int32_t intent, PXColorProfile display,
                                                     uint32_t gridSize, bool warnsOfGamut,
                                                     bool simulatesPaper,
                                                     CFDataRef* outCube) PX_NOEXCEPT;

/* How many transforms are kept for the next conversion between the same profiles and pixel layouts;
 * at most 16. */
PX_API uint32_t PXColorProfileGetCachedTransformCount(void) PX_NOEXCEPT;

PX_EXTERN_C_END
