#pragma once

// LabReader — the colours of a picture as CIE Lab, by the profile that it carries.

#include "pxtool/DeltaE.h"
#include "pxtool/Picture.h"

#include <string>
#include <vector>

namespace px::tool {

// Relative colorimetric without black point compensation. One thread.
class LabReader {
public:
    LabReader() = default;
    LabReader(const LabReader&) = delete;
    LabReader& operator=(const LabReader&) = delete;
    ~LabReader();

    // A picture without a profile is sRGB; kInput for CMYK without one, and for a profile that is
    // for other pixels. `path` names the picture in the failure. The picture must stay.
    Failure Open(const std::string& path, const Picture& picture);
    // The colours of a row, without alpha.
    void Read(int32_t row, std::vector<Lab>* colours) const;

private:
    const Picture* picture_ = nullptr;
    void* transform_ = nullptr;
};

}  // namespace px::tool
