#pragma once

// TableTransform — the transforms that Little CMS runs through one table of three inputs, run by
// kernels of our own.
//
// Little CMS samples whatever it cannot do otherwise, among it every conversion of 16-bit RGB, into
// a table in 16 bits, and interpolates pixel by pixel. A plug-in for its interpolators shows which
// table that is: while a transform converts a few probe pixels, the plug-in sees what comes in,
// what goes out, and the table. Only when these are the pixels themselves, once each, nothing else
// is in the transform, and the table can take its place. The bytes are the same.

#include <lcms2.h>

#include <memory>
#include <vector>

#include "Image/TableKernels.h"

struct _cms_interp_struc;  // of Little CMS

namespace px {

class TableTransform {
public:
    // For cmsPluginTHR, in the contexts whose transforms are to be looked into.
    static void* Plugin();

    // Null for a transform of any other kind.
    static std::unique_ptr<TableTransform> Find(cmsHTRANSFORM transform, cmsUInt32Number sourceType,
                                                cmsUInt32Number destinationType);

    void Convert(const void* source, void* destination, uint32_t pixels) const;

private:
    struct Sight;

    TableTransform(const Sight& sight, const WordPixels& from, const WordPixels& to);
    static bool Probe(cmsHTRANSFORM transform, const WordPixels& from, const WordPixels& to,
                      Sight* sight);
    static void Lerp(const cmsUInt16Number input[], cmsUInt16Number output[],
                     const _cms_interp_struc* params);

    // Null while nobody looks.
    static thread_local Sight* watching_;

    const TableKernels& kernels_;
    const WordPixels from_;
    const WordPixels to_;
    std::vector<uint16_t> nodes_;
    ColorTable table_ = {};
};

}  // namespace px
