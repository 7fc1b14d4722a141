#pragma once

/* PXColorProfileDesc: what a list of colour profiles shows of one, without keeping it open: where
 * its file is, its file name, its display name (the description in the profile) and its type.
 *
 * Descriptions are counted; Make and Copy functions return one reference that the caller owns, or
 * null. Get functions lend what lives until the description is changed or released. Lists are
 * CFArrays of descriptions, which retain them; they are sorted by display name, without regard to
 * case. Functions return 0 or the status they also log; null handles give the neutral value and
 * kPXErrBadArgument.
 *
 * Threads: a description may be shared, but while it is changed only one thread may use it. */

#include "PXCore/PXColorProfile.h"

PX_EXTERN_C_BEGIN

typedef struct __PXColorProfileDesc* PXColorProfileDesc;

/* Types: what kind of device a profile is for, as the profile's header says. Others are possible.
 */
enum {
    kPXColorProfileTypeNone = 0,
    kPXColorProfileTypeDisplay = 0x6D6E7472,    /* 'mntr' */
    kPXColorProfileTypePrinter = 0x70727472,    /* 'prtr' */
    kPXColorProfileTypeScanner = 0x73636E72,    /* 'scnr', cameras too */
    kPXColorProfileTypeColorSpace = 0x73706163, /* 'spac' */
    kPXColorProfileTypeLink = 0x6C696E6B,       /* 'link' */
    kPXColorProfileTypeAbstract = 0x61627374,   /* 'abst' */
    kPXColorProfileTypeNamed = 0x6E6D636C       /* 'nmcl' */
};

/* Describes the profile in a file. A profile without a description gets the file name as display
 * name. Null, with kPXErrNotFound in the log, for what is no readable profile. */
PX_API PXColorProfileDesc PXColorProfileDescMakeFromPath(CFStringRef path) PX_NOEXCEPT;
/* The built-in sRGB, which lies in no file. */
PX_API PXColorProfileDesc PXColorProfileGetDefaultProfileDescCopy(void) PX_NOEXCEPT;
/* The first profile with this display name, without regard to case, in the shared and the user
 * profile folder and the system's colour folders; a name of the built-in sRGB gives that. Null,
 * without a word in the log, when there is none. */
PX_API PXColorProfileDesc
PXColorProfileGetColorProfileDescWithDisplayNameCopy(CFStringRef displayName) PX_NOEXCEPT;
/* Returns its argument. */
PX_API PXColorProfileDesc PXColorProfileDescRetain(PXColorProfileDesc desc) PX_NOEXCEPT;
/* Gives a reference back. */
PX_API void PXColorProfileDescRelease(PXColorProfileDesc desc) PX_NOEXCEPT;

/* The file; null for the built-in sRGB. */
PX_API CFURLRef PXColorProfileDescGetURL(PXColorProfileDesc desc) PX_NOEXCEPT;
/* The same as a path; file name, display name and type. */
PX_API CFStringRef PXColorProfileGetPathFromDesc(PXColorProfileDesc desc) PX_NOEXCEPT;
PX_API CFStringRef PXColorProfileDescGetName(PXColorProfileDesc desc) PX_NOEXCEPT;
PX_API CFStringRef PXColorProfileDescGetDisplayName(PXColorProfileDesc desc) PX_NOEXCEPT;
PX_API uint32_t PXColorProfileDescGetType(PXColorProfileDesc desc) PX_NOEXCEPT;
/* What the profile's device channels are; 0 for what is neither grey, RGB nor CMYK. */
PX_API PXColorSpaceType PXColorProfileDescGetColorSpaceType(PXColorProfileDesc desc) PX_NOEXCEPT;
/* They change the description, not the file. */
PX_API int PXColorProfileDescSetName(PXColorProfileDesc desc, CFStringRef name) PX_NOEXCEPT;
PX_API int PXColorProfileDescSetDisplayName(PXColorProfileDesc desc,
                                            CFStringRef displayName) PX_NOEXCEPT;

/* The profile that a name stands for: a file or display name of a standard profile gives the shared
 * standard; any other is looked up as a file name, then as a display name, among the profiles of
 * all folders, or opened as an absolute path. *outProfile is null unless 0 is returned;
 * kPXErrNotFound when there is no such profile. */
PX_API int PXColorProfileCreateWithName(CFStringRef name, PXColorProfile* outProfile) PX_NOEXCEPT;
/* Gives a profile the file name and display name of a description. */
PX_API int PXColorProfileSetICCNameFromDesc(PXColorProfile profile,
                                            PXColorProfileDesc desc) PX_NOEXCEPT;

/* The profiles in the system's colour folders (files *.icc and *.icm, sub-folders and the user's
 * own folder for all applications included): all, and those of printers. */
PX_API int PXColorProfileGetICCProfilesCopy(CFArrayRef* outProfiles) PX_NOEXCEPT;
PX_API int PXColorProfileGetPrinterProfilesCopy(CFArrayRef* outProfiles) PX_NOEXCEPT;
/* The profiles in the user profile folder, where PXColorProfileImportUserColorProfile puts them. */
PX_API int PXColorProfileGetUserProfilesCopy(CFArrayRef* outProfiles) PX_NOEXCEPT;

/* Whether a file holds an RGB profile. What cannot be read or is no profile is not valid, and no
 * failure. */
PX_API int PXColorProfileUserColorProfileValid(CFURLRef file, bool* outValid) PX_NOEXCEPT;
/* Copies a profile into the user profile folder, which is made when missing, in place of one of the
 * same name. Whole or not at all: after a failure, or seen from another process meanwhile, the
 * folder is as it was. With outDesc, which may be null, the file must be named *.icc, *.icm, *.ICC
 * or *.ICM and hold an RGB profile (else kPXErrNotFound), and *outDesc describes the copy.
 *
 * kPXErrReservedName when the name is that of the standard sRGB, Adobe RGB or ProPhoto file,
 * without regard to case or to dots and blanks at its end, which some systems ignore.
 * kPXErrNotFound when there is no such file, it is larger than PXColorProfileSetMaxICCSize allows,
 * or it cannot be copied; kPXErrBadArgument for a URL of no file, and for control characters in the
 * name. */
PX_API int PXColorProfileImportUserColorProfile(CFURLRef file,
                                                PXColorProfileDesc* outDesc) PX_NOEXCEPT;

PX_EXTERN_C_END
