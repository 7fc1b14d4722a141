#pragma once

/* PXStatus: the numbers that functions return and that the event log reports.
 *
 * 0 is success. kPXErrSoft passes through every layer and is never logged. */

#include <stdint.h>

typedef uint32_t PXStatus;

enum {
    kPXOK = 0,
    kPXErrUnknownStandard = 1001, /* unknown standard colour signature */
    kPXErrCreate = 1002,          /* an object could not be made or memory ran out */
    kPXErrNotFound = 1003,        /* missing, could not be opened, or nothing freed */
    kPXErrEngineFormat = 1004,    /* format outside the accelerated engine's set */
    kPXErrBadArgument = 1005,     /* null handle, bad rectangle, unknown filter or method */
    kPXErrNoDisplayProfile = 1006,
    kPXErrSoft = 1007,        /* cancelled or already reported; never logged */
    kPXErrICCHeader = 1015,   /* ICC header rejected */
    kPXErrEntryPoint = 1016,  /* a needed vector-library entry point is missing */
    kPXErrPixelLayout = 1020, /* unsupported pixel layout or depth pair */
    kPXErrNotSupported = 1025,
    kPXErrMissing = 1026,      /* missing caller buffer, profile handle or start line */
    kPXErrCubeMode = 1052,     /* unsupported cube mode */
    kPXErrReservedName = 1056, /* reserved standard file name */
    kPXErrNoProPhoto22 = 1062, /* standard profile missing at start-up */
    kPXErrNoSRGB = 1067,       /* standard profile missing at start-up */
    kPXErrListWrite = 1073,    /* property-list write failed */
    kPXErrListRead = 1074,     /* property-list read failed */
    kPXErrTransform = 1100     /* colour transform could not be created */
};
