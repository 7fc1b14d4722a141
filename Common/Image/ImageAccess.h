#pragma once

// ImageAccess — a rectangle of an image, lent row by row.
//
// Rows of an image in memory are lent in place. Otherwise a band of rows is in a buffer:
// [bandFirst_, bandFirst_ + bandRows_) in image coordinates, bandRows_ being 0 when there is none.
// A row that was lent for writing is marked and goes back with the band. One thread at a time.

#include <memory>
#include <vector>

#include "Image/ImageRec.h"
#include "PXCore/PXImageAccess.h"

class CImageAccess final : public CBaseCore {
public:
    [[nodiscard]] static PXStatus Create(CImageRec* image, const PXRect& rect,
                                         PXImageAccessMode mode, const PXImageOutside* outside,
                                         PXRef<CImageAccess>* outAccess);
    ~CImageAccess() override;

    [[nodiscard]] PXStatus GetRow(int32_t y, void** outRow);
    [[nodiscard]] PXStatus Close();

private:
    CImageAccess(CImageRec* image, const PXRect& rect, PXImageAccessMode mode);

    [[nodiscard]] PXStatus Open(const PXImageOutside* outside);
    [[nodiscard]] PXStatus Load(int32_t y);
    [[nodiscard]] PXStatus Flush();
    bool Writes() const { return mode_ != kPXImageAccessRead; }

    PXRef<CImageRec> image_;
    const PXRect rect_;
    const PXImageAccessMode mode_;
    PXImageOutside outside_ = {kPXImageOutsideRefuse, nullptr};
    std::vector<char> fill_;
    bool isOpen_ = false;

    // In place: the first row, rowBytes_ apart.
    char* pixels_ = nullptr;
    int64_t rowBytes_ = 0;

    std::unique_ptr<char[]> band_;
    int32_t bandCapacity_ = 0;
    int32_t bandFirst_ = 0;
    int32_t bandRows_ = 0;
    std::vector<bool> isLent_;  // rows of the band that go back
};
