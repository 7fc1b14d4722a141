#pragma once

// Compare — how far two pictures of one size are apart.

#include "pxtool/LabReader.h"
#include "pxtool/Picture.h"
#include "pxtool/Progress.h"

#include <cstdint>
#include <string>
#include <vector>

namespace px::tool {

// Differences that come one at a time, their number not kept: exact but for the 99th percentile of
// what is no whole number of steps, which is rounded up to the next step.
class Differences {
public:
    // Steps are what one unit is cut into.
    explicit Differences(double stepsPerUnit);

    void Add(double difference);
    double Largest() const { return largest_; }
    double Mean() const { return count_ == 0 ? 0 : sum_ / static_cast<double>(count_); }
    // The smallest of them, in whole steps, that 99 % do not exceed.
    double Percentile99() const;

private:
    double stepsPerUnit_;
    double largest_ = 0;
    double sum_ = 0;
    int64_t count_ = 0;
    std::vector<int64_t> counts_;
};

struct Comparison {
    // Samples of all channels, in levels of 8 bits: 0 to 255.
    Differences levels{257};
    Differences deltaE76{256};
    Differences deltaE2000{256};
    bool hasLevels = false;  // both have the same colour model and alpha
    bool hasColours = false;
    double squares = 0;  // of samples as fractions of the whole range
    int64_t samples = 0;
    int64_t differing = 0;  // pixels whose measure is above the threshold
    double largestMeasure = 0;
    std::vector<float> measures;  // of every pixel, when they are to be kept

    // In decibels; infinite for equal pictures.
    double PSNR() const;
};

struct CompareOptions {
    bool isProfileAware = false;  // a pixel's measure is CIEDE2000, else its largest level
    bool keepsMeasures = false;
    double threshold = 0;
};

struct CompareSide {
    const std::string& path;
    const Picture& picture;
};

// The pictures must have the same size. Without profile awareness also the same colour model and
// alpha; colours are then compared where both can be read.
Failure ComparePictures(const CompareSide& a, const CompareSide& b, const CompareOptions& options,
                        Progress& progress, Comparison* comparison);

}  // namespace px::tool
