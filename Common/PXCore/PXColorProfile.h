#pragma once

/* PXColorProfile: ICC profiles and the conversion of images between them.
 *
 * Functions return 0 or the status they also log, unless a handle or value is named as result; a
 * returned handle or CF object is owned by the caller. Null handles give the neutral value and
 * kPXErrBadArgument. Names are compared without case.
 *
 * Intents: kPXIntentPerceptual is perceptual, every other value relative colorimetric. Conversions
 * always use black-point compensation.
 *
 * Threads: every function may be called from any thread; each profile has its own lock, and the
 * standard profiles are shared under one process-wide lock. */

#include <stdbool.h>

#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXImage.h"

PX_EXTERN_C_BEGIN

/* Signatures of the standard profiles. */
enum {
    kPXColorStandardNone = 0,                  /* no profile */
    kPXColorStandardOther = 1,                 /* a profile that is none of these */
    kPXColorStandardSRGB = 0x73726762,         /* 'srgb' */
    kPXColorStandardAdobeRGB1998 = 0x31393938, /* '1998' */
    kPXColorStandardProPhoto = 0x70726F70,     /* 'prop' */
    kPXColorStandardProPhoto22 = 0x70703232,   /* 'pp22' */
    kPXColorStandardDisplay = 0x64697370       /* 'disp' */
};

enum { kPXIntentRelativeColorimetric = 0, kPXIntentPerceptual = 1 };

/* File and display names of the standard profiles. Initialised dynamically: not for static
 * constructors of other modules. */
PX_API extern CFStringRef kPXColorProfileNameSRGB;
PX_API extern CFStringRef kPXColorProfileNameAdobeRGB1998;
PX_API extern CFStringRef kPXColorProfileNameProPhoto;
PX_API extern CFStringRef kPXColorProfileNameProPhoto22;
PX_API extern CFStringRef kPXColorProfileDisplayNameSRGB;
PX_API extern CFStringRef kPXColorProfileDisplayNameAdobeRGB1998;
PX_API extern CFStringRef kPXColorProfileDisplayNameProPhoto;
PX_API extern CFStringRef kPXColorProfileDisplayNameProPhoto22;
PX_API extern CFStringRef kPXColorProfileDisplayNameITUR_2100_PQ;
PX_API extern CFStringRef kPXColorProfileSubFolder;

/* Where an application keeps its shared and its user's support files; "Profiles" is appended to
 * both. Either may be null: then this library's own folders are used (Base/PXFolders.h). */
typedef struct PXFolderContext {
    CFURLRef sharedSupportFolder;
    CFURLRef userSupportFolder;
} PXFolderContext;

/* Sets up the folders, registers the fast-float plug-in, loads the monitor profile and makes the
 * standard profiles, in this order; it ends with the first failure. `context` may be null. A
 * machine whose monitor profile is not known ends it with kPXErrMissing, an empty one with
 * kPXErrNotFound; the standard profiles are then made on first use, and everything but the display
 * profile works. A monitor profile that was set before stays. kPXErrNoProPhoto22, kPXErrNoSRGB and
 * kPXErrBadArgument name a standard profile that is missing. */
PX_API int PXColorProfileInitialize(const PXFolderContext* context) PX_NOEXCEPT;

/* A profile object without a profile, to be filled by PXColorProfileSetICCData. */
PX_API PXColorProfile PXColorProfileCreate(void) PX_NOEXCEPT;

/* The shared standard profile of a signature, the monitor profile for 'disp'; null when it cannot
 * be made (an unknown signature logs kPXErrUnknownStandard). */
PX_API PXColorProfile PXColorProfileCreateStandard(uint32_t signature) PX_NOEXCEPT;

/* Loads a profile by name: a name of sRGB gives the built-in one, an absolute path is opened as a
 * file, any other name is looked up as a file name in the shared and user profile folders and then
 * in the system's colour folders with their sub-folders. Null when it is not found (logs "Can't
 * find color profile: NAME.") or is no valid profile. */
PX_API PXColorProfile PXColorProfileCreateFromDisk(CFStringRef name) PX_NOEXCEPT;

/* Profiles that an application registers for its devices. Names are equal without regard to case
 * and to blanks around them; registering one again replaces the profile, which stays retained until
 * then. kPXErrBadArgument for a null or blank name and for a null profile. */
PX_API int PXColorRegisterProfile(CFStringRef deviceName, PXColorProfile profile) PX_NOEXCEPT;
/* The profile registered for the device, else one loaded by that name as by
 * PXColorProfileCreateFromDisk. */
PX_API PXColorProfile PXColorProfileCreateDeviceNamed(CFStringRef deviceName) PX_NOEXCEPT;

/* The signature that a file or display name stands for, kPXColorStandardOther for any other name
 * and kPXColorStandardNone for null. */
PX_API uint32_t PXColorProfileGetStandardFromName(CFStringRef name) PX_NOEXCEPT;

/* The signature of a profile: by identity with the shared ones, else by its name. */
PX_API uint32_t PXColorProfileGetStandard(PXColorProfile profile) PX_NOEXCEPT;

/* Reads an ICC header. Only version 2.1 is accepted, kPXErrICCHeader otherwise. The model is 2 for
 * RGB, 3 for CMYK, else 0; the standard is 'srgb' or 'prop' by the device model, else 0. */
PX_API int PXColorProfileGetICCParams(CFDataRef data, uint32_t* outColorModel,
                                      uint32_t* outStandard) PX_NOEXCEPT;

/* Where the present monitor profile came from. */
typedef enum PXMonitorSource {
    kPXMonitorSourceNone = 0,     /* there is none */
    kPXMonitorSourceSet = 1,      /* PXColorProfileSetMonitorICCProfile */
    kPXMonitorSourceAssigned = 2, /* colour management has assigned it to the primary display */
    kPXMonitorSourceServer = 3    /* the display server has it */
} PXMonitorSource;
/* kPXMonitorSourceNone also before PXColorProfileInitialize has looked for one. */
PX_API PXMonitorSource PXColorProfileGetMonitorSource(void) PX_NOEXCEPT;

/* The ICC bytes of the display's profile: what was set by the next function, else what the system
 * says now: the file that colour management has assigned to the primary display, else the profile
 * of the display server. *outData is null unless 0 is returned; without any profile that is
 * kPXErrMissing. Asking takes as long as the system's services take, up to 1.5 seconds. */
PX_API int PXColorProfileGetMonitorICC(CFDataRef* outData) PX_NOEXCEPT;
/* Sets the profile of the display from ICC bytes, whatever the system says; replaces the former
 * one. Refused bytes give kPXErrNotFound and change nothing. */
PX_API int PXColorProfileSetMonitorICCProfile(CFDataRef data) PX_NOEXCEPT;

/* Opens ICC bytes in place of what the profile held. Bytes whose header or tag table is
 * inconsistent or that are larger than PXColorProfileSetMaxICCSize allows give kPXErrNotFound and
 * leave the profile without content. */
PX_API int PXColorProfileSetICCData(PXColorProfile profile, CFDataRef data) PX_NOEXCEPT;

/* The ICC bytes of the profile as Little CMS saves them; null when it holds none. Equal for equal
 * profiles, also for the built-in sRGB. */
PX_API CFDataRef PXColorProfileCreateICCData(PXColorProfile profile) PX_NOEXCEPT;

/* The same bytes on loan: they live until the profile is changed or released. */
PX_API CFDataRef PXColorProfileGetICCData(PXColorProfile profile) PX_NOEXCEPT;

/* The largest profile in bytes that is accepted from a file or from bytes; 64 MiB at start. */
PX_API void PXColorProfileSetMaxICCSize(int64_t sizeBytes) PX_NOEXCEPT;

/* The file name (borrowed, may be null) and the display name: the description in the profile. */
PX_API CFStringRef PXColorProfileGetICCName(PXColorProfile profile) PX_NOEXCEPT;
PX_API int PXColorProfileSetICCName(PXColorProfile profile, CFStringRef name) PX_NOEXCEPT;
PX_API CFStringRef PXColorProfileGetDisplayNameCopy(PXColorProfile profile) PX_NOEXCEPT;

/* Whether the object holds a profile or a raw cube. */
PX_API bool PXColorProfileIsValid(PXColorProfile profile) PX_NOEXCEPT;
/* The same for callers who go by the status: 0 when it does, else kPXErrNotFound, and
 * kPXErrBadArgument for null. Logs the latter alone. */
PX_API int PXColorProfileValid(PXColorProfile profile) PX_NOEXCEPT;

/* A raw cube in place of a profile: gridSize cubed float triples. SetData copies the bytes and
 * drops the ICC profile; null takes the cube away. GetData lends them until then (null without a
 * cube). The grid size is 32 in a new object and must be positive; it does not resample. */
PX_API CFDataRef PXColorProfileGetData(PXColorProfile profile) PX_NOEXCEPT;
PX_API int PXColorProfileSetData(PXColorProfile profile, CFDataRef cube) PX_NOEXCEPT;
PX_API int32_t PXColorProfileGetGridSize(PXColorProfile profile) PX_NOEXCEPT;
PX_API int PXColorProfileSetGridSize(PXColorProfile profile, int32_t gridSize) PX_NOEXCEPT;

/* An object of its own with the same content and names; null on failure. */
PX_API PXColorProfile PXColorProfileCreateCopy(PXColorProfile profile) PX_NOEXCEPT;

/* What the profile's device channels are: kPXColorSpaceGrey, RGB or CMYK; 0 for null and others. */
PX_API PXColorSpaceType PXColorProfileGetColorSpaceType(PXColorProfile profile) PX_NOEXCEPT;

/* The profile as a dictionary: "icc" (its bytes), or "raw" and "grid_size" for a raw cube; and a
 * profile from such a dictionary, in which "icc" wins. */
PX_API CFDictionaryRef PXColorProfileGetInfoCopy(PXColorProfile profile) PX_NOEXCEPT;
PX_API PXColorProfile PXColorProfileCreateWithInfo(CFDictionaryRef info) PX_NOEXCEPT;

/* Returns its argument; the last release frees the profile. */
PX_API PXColorProfile PXColorProfileRetain(PXColorProfile profile) PX_NOEXCEPT;
/* Gives a reference back. */
PX_API void PXColorProfileRelease(PXColorProfile profile) PX_NOEXCEPT;

/* Converts one colour of three RGB components, which a finite float may hold outside of 0…1 too,
 * by relative colorimetric intent; the result is clamped to 0…1. outColor may be the colour itself.
 * kPXErrMissing for a profile without ICC content, kPXErrNotFound when Little CMS refuses the pair
 * (both must be RGB). Floats build a transform each time: for many colours convert an image or
 * make a cube. */
PX_API int PXColorProfileConvertColor(PXColorProfile profile, PXColorProfile destinationProfile,
                                      const float color[3], float outColor[3]) PX_NOEXCEPT;
PX_API int PXColorProfileConvertColorPXVec3F(PXColorProfile profile,
                                             PXColorProfile destinationProfile, PXVec3F color,
                                             PXVec3F* outColor) PX_NOEXCEPT;
/* The same for bytes of 0…255. */
PX_API int PXColorProfileConvertColorRGB8(PXColorProfile profile, PXColorProfile destinationProfile,
                                          const uint8_t color[3], uint8_t outColor[3]) PX_NOEXCEPT;
/* How a display shows the colour once the device of proofProfile has printed it: into the device's
 * gamut by `intent`, from there to the display by relative colorimetric intent. Null displayProfile
 * means the monitor's; kPXErrNoDisplayProfile when that is not known. Not clamped. */
PX_API int PXColorProfileConvertColorSoftProofPXVec3F(PXColorProfile profile,
                                                      PXColorProfile proofProfile,
                                                      PXColorProfile displayProfile, int32_t intent,
                                                      PXVec3F color, PXVec3F* outColor) PX_NOEXCEPT;

/* Converts `rect` of the source image into the same rectangle of the destination image.
 *
 * Pixel layouts: RGB of 3 or 4 channels and CMYK of 4 channels in 8 or 16 bits, CMYK of 5 channels
 * in 8 bits, grey in 8 or 16 bits; others give kPXErrPixelLayout. The two images may differ in
 * depth and channels and may be the same image. Alpha is copied, scaled to another depth, when both
 * have four channels and are marked as carrying it; so is the fifth channel between CMYK images
 * that are marked. Fewer than 1000 rows or one band run on the caller's thread, otherwise `bands`
 * horizontal bands run side by side (kPXErrBadArgument for less than one). An empty destination
 * profile gives kPXErrBadArgument; an empty source profile, or a pair that Little CMS refuses,
 * kPXErrTransform. */
PX_API int PXColorProfileConvertProfile(PXColorProfile profile, PXColorProfile destinationProfile,
                                        PXImage source, PXImage destination, PXRect rect,
                                        int32_t intent) PX_NOEXCEPT;
PX_API int PXColorProfileConvertProfile2(PXColorProfile profile, PXColorProfile destinationProfile,
                                         PXImage source, PXImage destination, PXRect rect,
                                         int32_t bands, int32_t intent) PX_NOEXCEPT;

/* The same with progress, which is reported on every 32nd row while one band runs; `progress` may
 * be null. */
PX_API int PXColorProfileConvertProfile3(PXColorProfile profile, PXColorProfile destinationProfile,
                                         PXImage source, PXImage destination, PXRect rect,
                                         int32_t bands, int32_t intent, PXProgressProc progress,
                                         void* progressContext) PX_NOEXCEPT;

PX_EXTERN_C_END
