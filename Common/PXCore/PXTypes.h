#pragma once

/* PXTypes: the plain records and opaque handles of the interface.
 *
 * Field orders and sizes are contract. Integer rectangles have inclusive edges
 * (right = x + width - 1), float rectangles exclusive ones (right = x + width). */

#include <stdint.h>

#include "PXCore/PXExport.h"
#include "PXCore/PXStatus.h"

typedef struct PXPoint {
    int32_t x, y;
} PXPoint;

typedef struct PXPointF {
    float x, y;
} PXPointF;

typedef struct PXVec2 {
    int32_t x, y;
} PXVec2;

typedef struct PXVec2F {
    float x, y;
} PXVec2F;

typedef struct PXVec3 {
    int32_t x, y, z;
} PXVec3;

typedef struct PXVec3F {
    float x, y, z;
} PXVec3F;

typedef struct PXVec4 {
    int32_t x, y, z, w;
} PXVec4;

typedef struct PXVec4F {
    float x, y, z, w;
} PXVec4F;

typedef struct PXSize {
    int32_t width, height;
} PXSize;

typedef struct PXSizeF {
    float width, height;
} PXSizeF;

typedef struct PXRect {
    int32_t x, y, width, height;
} PXRect;

typedef struct PXRectF {
    float x, y, width, height;
} PXRectF;

typedef struct PXTriangle {
    PXPoint a, b, c;
} PXTriangle;

typedef struct PXTriangleF {
    PXPointF a, b, c;
} PXTriangleF;

typedef struct PXLine {
    int32_t x1, y1, x2, y2;
} PXLine;

typedef struct PXLineF {
    float x1, y1, x2, y2;
} PXLineF;

/* Four corners: top-left, top-right, bottom-right, bottom-left. */
typedef struct PXQuad {
    PXPointF topLeft, topRight, bottomRight, bottomLeft;
} PXQuad;

/* A point maps to (m0 x + m1 y + tx, m2 x + m3 y + ty). */
typedef struct PXAffineTransform {
    float m0, m1, m2, m3, tx, ty;
} PXAffineTransform;

/* How a preview is turned; an opaque value that is copied whole and compared exactly on all seven
 * fields. The identity is (0, 0, 1, 1, 0, 0, 0). */
typedef struct PXOrientation {
    float values[7];
} PXOrientation;

/* A view rectangle and its magnification. The identity is (0, 0, 0, 0, 1, 1). */
typedef struct PXPreviewScene {
    float x, y, width, height, magX, magY;
} PXPreviewScene;

typedef struct __PXImage* PXImage;
typedef struct __PXColorProfile* PXColorProfile;

/* Where an image keeps its pixels. */
typedef uint32_t PXDataSourceType;
enum {
    kPXDataSourceDefault = 0,  /* what PXImageSetDefaultDataSourceType chose */
    kPXDataSourceMemory = 1,   /* one block in memory */
    kPXDataSourceTiled = 2,    /* tiles, paged to a cache file when memory is short */
    kPXDataSourceSolidFill = 3 /* no pixel memory; every read yields the fill */
};

/* What the channels of a pixel mean. Images store and return any value unchanged; the colour
 * functions know these. 2 and 3 are also the colour models that an ICC header reports. */
typedef uint32_t PXColorSpaceType;
enum {
    kPXColorSpaceByChannels = 0, /* 1 or 2 channels grey, 3 or 4 RGB, 5 CMYK and one more */
    kPXColorSpaceGrey = 1,
    kPXColorSpaceRGB = 2,
    kPXColorSpaceCMYK = 3
};

/* Whether a fourth channel of an RGB image is alpha. */
typedef uint32_t PXTransparency;
enum { kPXTransparencyNone = 0, kPXTransparencyAlpha = 1 };

/* A long call reports to this procedure. `row` is the image row about to be worked on, `eventCode`
 * is kPXProgressRow. A result other than 0 stops the call, which then returns that result;
 * kPXErrSoft stops it without a line in the log. Called on the caller's thread. */
typedef PXStatus (*PXProgressProc)(void* context, int32_t row, uint32_t eventCode);
enum { kPXProgressRow = 2 };
