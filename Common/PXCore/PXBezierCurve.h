#pragma once

// PXBezierCurve — an editable tone curve, which is also a preset.
//
// The curve has M slots for control points, evenly spaced in x, and N samples that filters read.
// Points lie in the unit square with y as in a graph: 0 at the top, 1 at the bottom, so that a
// fresh curve runs from (0, 1) to (1, 0) and its samples fall from 1 to 0. A point belongs into the
// slot round((M - 1) x); a slot is empty when its point is (-1, -1), and its point is active when
// its x is at least 0. Editors work in pixels of their graph, 0…N - 1 in both directions.
//
// Positions become indices by floor(v + 0.5), also below 0, and beyond the range of an int the
// nearest int. Positions, tangents and samples are computed in double and rounded to float once.
// Changing points does not change the samples: calculateCurve does, and initWithPresetData.
//
// Counted, as CBaseCore says; a copy is an object of its own. One thread at a time may change a
// curve or use it while another changes it. Slots and indices out of range log 1005 under the
// source "PXBezierCurve" and are answered with (-1, -1) or 0.

#include <vector>

#include "Base/BaseCore.h"
#include "PXCore/PXPreset.h"

class PX_API PXBezierCurve : public CBaseCore, public PXPreset {
public:
    static const CFStringRef kVersionKey;                // "curveVersion"
    static const CFStringRef kIdKey;                     // "id"
    static const CFStringRef kSelectedControlPointsKey;  // "selectedControlPoint"
    static const CFStringRef kControlPointCountKey;      // "controlPointCount"
    static const CFStringRef kControlPointsKey;          // "controlPoints"
    static const CFStringRef kControlPointXKey;          // "controlPointX"
    static const CFStringRef kControlPointYKey;          // "controlPointY"
    static constexpr int32_t kVersion = 2;

    // The most samples, and the most slots, that a curve can have.
    static constexpr int32_t kMaxSamples = 1 << 24;
    static constexpr int32_t kMaxControlPoints = 1 << 16;

    // `id` is the caller's, for example a channel. Counts outside 2…kMaxSamples and
    // 1…kMaxControlPoints log 1005 and become the nearest that is inside.
    PXBezierCurve(int32_t id, int32_t sampleCount, int32_t controlPointCount);
    PXBezierCurve(const PXBezierCurve& other);
    PXBezierCurve& operator=(const PXBezierCurve& other);
    ~PXBezierCurve() override;

    // Back to the falling line: its samples, its two points in the first and the last slot, the
    // first selected.
    void reset();
    // Computes the samples from the active points.
    void calculateCurve();

    // Copies of the slots, M of them, and of the samples.
    std::vector<PXPointF> getControlPoints() const;
    void setControlPoints(const std::vector<PXPointF>& points);
    std::vector<float> getSamples() const;
    void setSamples(const std::vector<float>& samples);
    // N, and how many samples there are, which is another number only after setSamples.
    int32_t sampleCount() const noexcept;
    int32_t curvePointCount() const noexcept;
    int32_t controlPointCount() const noexcept;

    // As given to the constructor, or set or read since.
    int32_t id() const noexcept;
    void setId(int32_t id) noexcept;
    // The slot that an editor works on.
    int32_t selectedControlPoint() const noexcept;
    void setSelectedControlPoint(int32_t slot) noexcept;

    // From pixels to the unit square by division by N - 1, and back by multiplication with
    // N - 0.001, which a truncation turns into 0…N - 1.
    PXPointF convertPixelsToPercent(PXPoint point) const noexcept;
    PXPointF convertPercentToPixels(PXPointF point) const noexcept;

    // The slot of the active point nearest to a pixel column, the lowest of equals, or, when none
    // is within 1/(2 M), the slot where a new point belongs, which may lie outside of the curve.
    int32_t getClosestControlPoint(int32_t x) const noexcept;
    // Selects the slot and puts the point, in pixels, into it.
    void setControlPoint(int32_t slot, PXPoint point);
    void clearControlPoint(int32_t slot);
    static bool isValidControlPoint(PXPointF point) noexcept;
    // The columns that points may lie in.
    int32_t minControlPointX() const noexcept;
    int32_t maxControlPointX() const noexcept;

    // The index of the sample at x, 0…1, and the sample there or at an index.
    int32_t curveIndex(float x) const noexcept;
    float curveAt(float x) const noexcept;
    float curveAt(int32_t index) const noexcept;
    // The slot of x, 0…1, and the point there or in a slot.
    int32_t pointIndex(float x) const noexcept;
    PXPointF pointAt(float x) const noexcept;
    PXPointF pointAt(int32_t slot) const noexcept;

    // The samples as pixels, truncated; more than 255 becomes 255.
    std::vector<uint8_t> getSamplePoints() const;
    // The active points as pixels, truncated, in slot order.
    std::vector<PXPoint> getActiveControlPoints() const;

    // All fields but those of the preset: points and samples within 2^-22, the rest exactly.
    bool operator==(const PXBezierCurve& other) const noexcept;
    bool operator!=(const PXBezierCurve& other) const noexcept;
    // Equal lengths, and no number differs by more than 2^-22.
    static bool pointVectorCompare(const std::vector<PXPointF>& a,
                                   const std::vector<PXPointF>& b) noexcept;
    static bool vectorCompare(const std::vector<float>& a, const std::vector<float>& b) noexcept;

    // Reads what is present, makes as many slots as the list has points and calculates the curve; a
    // coordinate that is missing stays as it was, and that of a new slot is -1. The count of slots
    // is taken as it stands, on purpose also where the list has fewer. The version is not checked;
    // the number of samples stays. Returns 0, or 1005, with nothing changed, for null and for more
    // points than kMaxControlPoints.
    PXStatus initWithPresetData(CFDictionaryRef dictionary) override;
    // Writes the curve into the preset's own dictionary first.
    CFDictionaryRef presetData() override;
    // Releases one reference.
    void deletePreset() override;

private:
    bool HasSlot(int32_t slot) const noexcept;
    void PlotSegment(const PXPointF* previous, const PXPointF& first, const PXPointF& second,
                     const PXPointF* next);
    void ReadControlPoints(CFArrayRef points);

    int32_t id_;
    int32_t selectedControlPoint_ = 0;
    std::vector<PXPointF> controlPoints_;
    std::vector<float> samples_;
    int32_t controlPointCount_;
    int32_t sampleCount_;
    // The limits of x are the second and the fourth.
    float controlPointRange_[4] = {0.0F, 0.0F, 1.0F, 1.0F};
    float nearLimit_;   // 2 N: beyond any distance
    float pixelScale_;  // N - 0.001
};
