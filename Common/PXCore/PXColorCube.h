#pragma once

/* PXColorCube: sampled mappings from RGB to RGB between two profiles.
 *
 * A cube of grid size N is N * N * N triples of 32-bit floats. The triple of the grid point (r, g,
 * b), each 0 to N - 1, is element (b * N + g) * N + r: red varies fastest, then green, then blue.
 * It is the destination's RGB for the source's (r, g, b) / (N - 1), not clamped to 0...1.
 *
 * Status functions return 0 or the number they also log. Getters on a null handle return 0 or null
 * and log kPXErrBadArgument. Creation functions return null on failure; what they return is the
 * caller's.
 *
 * Threads: a cube is changed by one thread at a time; several may read it at once. */

#include "Base/PXProgress.h"
#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFString.h"
#include "CoreFoundation/CFURL.h"
#include "PXCore/PXTypes.h"

PX_EXTERN_C_BEGIN

typedef struct __PXColorCube* PXColorCube;

/* The mode of cubes of floats, the only one that can be filled. */
enum { kPXColorCubeModeFloat = 2 };
/* The largest grid size that is filled, read or interpolated. */
enum { kPXColorCubeMaxGridSize = 256 };

/* A cube of mode 0 and grid size 32 without data. */
PX_API PXColorCube PXColorCubeCreate(void) PX_NOEXCEPT;

/* A cube of grid size 32, filled from the two profiles by relative colorimetric intent with
 * black-point compensation; it keeps the profiles. Logs kPXErrBadArgument for a missing profile,
 * kPXErrMissing for one without content, kPXErrCubeMode for another mode, and kPXErrTransform when
 * the profiles do not go together. */
PX_API PXColorCube PXColorCubeCreateFromProfiles(PXColorProfile source, PXColorProfile destination,
                                                 uint32_t mode) PX_NOEXCEPT;

/* Returns its argument. */
PX_API PXColorCube PXColorCubeRetain(PXColorCube cube) PX_NOEXCEPT;
/* Gives a reference back. */
PX_API void PXColorCubeRelease(PXColorCube cube) PX_NOEXCEPT;

/* The data, borrowed until it is replaced: as bytes, as the object; null when there is none. */
PX_API const uint8_t* PXColorCubeGetDataPtr(PXColorCube cube) PX_NOEXCEPT;
PX_API CFDataRef PXColorCubeGetDataRef(PXColorCube cube) PX_NOEXCEPT;
/* Retained in place of the former; null for none. */
PX_API PXStatus PXColorCubeSetData(PXColorCube cube, CFDataRef data) PX_NOEXCEPT;

/* Plain numbers: setting them does not change the data. */
PX_API uint32_t PXColorCubeGetGridSize(PXColorCube cube) PX_NOEXCEPT;
PX_API PXStatus PXColorCubeSetGridSize(PXColorCube cube, uint32_t gridSize) PX_NOEXCEPT;
PX_API uint32_t PXColorCubeGetMode(PXColorCube cube) PX_NOEXCEPT;
PX_API PXStatus PXColorCubeSetMode(PXColorCube cube, uint32_t mode) PX_NOEXCEPT;

/* Converts the whole image in place from the cube's source profile to its destination: by the
 * profiles themselves, as PXColorProfileConvertProfile does, not by interpolation. kPXErrNotFound
 * for a cube without profiles. */
PX_API PXStatus PXColorCubeApplyToImage(PXColorCube cube, PXImage image) PX_NOEXCEPT;

/* Interpolation in the data, in tetrahedra along the grey diagonal. Colours are brought into the
 * cube's domain first: 0...1, or what the file it was read from says. kPXErrNotFound for a cube
 * without data, or with less than its grid size needs. */

/* One colour; the two may be the same. */
PX_API PXStatus PXColorCubeConvertColor(PXColorCube cube, const PXVec3F* color,
                                        PXVec3F* outColor) PX_NOEXCEPT;
/* A rectangle of RGB images of 3 or 4 channels in 8 or 16 bits (else kPXErrPixelLayout), which may
 * be one image; results are clamped to 0...1. In bands by the processors; `progress` may be null.
 */
PX_API PXStatus PXColorCubeInterpolateImage(PXColorCube cube, PXImage source, PXImage destination,
                                            PXRect rect, PXProgress progress) PX_NOEXCEPT;

/* Files in the ".cube" format: the lines TITLE, LUT_3D_SIZE, DOMAIN_MIN and DOMAIN_MAX, and a line
 * of three numbers for each grid point. Nine digits give every float back to the bit; values
 * outside of 0...1 are kept.
 *
 * Writing: `title` may be null. kPXErrNotSupported for a grid size that the format does not know
 * (1, or more than 256) and for values that are not finite numbers, kPXErrCreate for a file that
 * cannot be written. A file that is there is replaced in one step and passes its permissions on; a
 * failure leaves it as it was. */
PX_API CFDataRef PXColorCubeCreateFileData(PXColorCube cube, CFStringRef title) PX_NOEXCEPT;
PX_API PXStatus PXColorCubeWriteFile(PXColorCube cube, CFURLRef url, CFStringRef title) PX_NOEXCEPT;
/* Reading gives a cube of mode 2 without profiles. What the format does not allow is refused with
 * kPXErrNotFound and a line in the log that says where; a table of one dimension, with
 * kPXErrNotSupported. Files above 256 MiB are not read. */
PX_API PXColorCube PXColorCubeCreateFromFileData(CFDataRef data) PX_NOEXCEPT;
PX_API PXColorCube PXColorCubeCreateFromFile(CFURLRef url) PX_NOEXCEPT;

PX_EXTERN_C_END
