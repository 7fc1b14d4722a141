#include "pxtool/Compare.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace px::tool {

namespace {

constexpr double kMostSample = 65535;
constexpr double kSamplesPerLevel = 257;
constexpr size_t kMostSteps = 65535;

// The samples of a row in 16 bits.
void ReadRow(const Picture& picture, int32_t y, std::vector<int32_t>* samples)
{
    const auto count =
        static_cast<size_t>(picture.layout.width) * static_cast<size_t>(picture.layout.Channels());
    const uint8_t* row = picture.View().Row(y);
    samples->resize(count);
    if (picture.layout.depth == 8) {
        std::transform(row, row + count, samples->begin(),
                       [](uint8_t sample) { return sample * int32_t{257}; });
    } else {
        const auto* wide = reinterpret_cast<const uint16_t*>(row);
        std::copy(wide, wide + count, samples->begin());
    }
}

class Comparer {
public:
    Comparer(const CompareSide& a, const CompareSide& b, const CompareOptions& options,
             Comparison* result)
        : a_(a), b_(b), options_(options), result_(*result)
    {
    }

    Failure Open();
    void Row(int32_t y);

private:
    void CompareLevels(int32_t y);
    void CompareColours(int32_t y);
    void Keep();

    const CompareSide& a_;
    const CompareSide& b_;
    const CompareOptions& options_;
    Comparison& result_;
    LabReader colours1_, colours2_;
    std::vector<int32_t> row1_, row2_;
    std::vector<Lab> labs1_, labs2_;
    std::vector<double> measures_;
};

Failure Comparer::Open()
{
    const PictureLayout& first = a_.picture.layout;
    const PictureLayout& second = b_.picture.layout;
    result_.hasLevels = first.model == second.model && first.hasAlpha == second.hasAlpha;
    if (!result_.hasLevels && !options_.isProfileAware) {
        return CannotRead(b_.path, "its colour model or alpha is not that of the other picture",
                          "compare the colours with --profile-aware");
    }
    Failure failure = colours1_.Open(a_.path, a_.picture);
    if (!failure) failure = colours2_.Open(b_.path, b_.picture);
    result_.hasColours = !failure;
    return options_.isProfileAware ? failure : Done();
}

void Comparer::CompareLevels(int32_t y)
{
    ReadRow(a_.picture, y, &row1_);
    ReadRow(b_.picture, y, &row2_);
    const auto channels = static_cast<size_t>(a_.picture.layout.Channels());
    for (size_t i = 0; i < row1_.size(); ++i) {
        const double off = std::abs(row1_[i] - row2_[i]);
        result_.levels.Add(off / kSamplesPerLevel);
        result_.squares += off / kMostSample * (off / kMostSample);
        double& measure = measures_[i / channels];
        if (!options_.isProfileAware) measure = std::max(measure, off / kSamplesPerLevel);
    }
    result_.samples += static_cast<int64_t>(row1_.size());
}

void Comparer::CompareColours(int32_t y)
{
    colours1_.Read(y, &labs1_);
    colours2_.Read(y, &labs2_);
    for (size_t i = 0; i < labs1_.size(); ++i) {
        const double off = DeltaE2000(labs1_[i], labs2_[i]);
        result_.deltaE2000.Add(off);
        result_.deltaE76.Add(DeltaE76(labs1_[i], labs2_[i]));
        if (options_.isProfileAware) measures_[i] = off;
    }
}

void Comparer::Keep()
{
    for (const double measure : measures_) {
        result_.differing += measure > options_.threshold;
        result_.largestMeasure = std::max(result_.largestMeasure, measure);
        if (options_.keepsMeasures) result_.measures.push_back(static_cast<float>(measure));
    }
}

void Comparer::Row(int32_t y)
{
    measures_.assign(static_cast<size_t>(a_.picture.layout.width), 0);
    if (result_.hasLevels) CompareLevels(y);
    if (result_.hasColours) CompareColours(y);
    Keep();
}

}  // namespace

Differences::Differences(double stepsPerUnit) : stepsPerUnit_(stepsPerUnit), counts_(kMostSteps + 1)
{
}

void Differences::Add(double difference)
{
    // A hair above a whole step is that step: the division before may have made it.
    constexpr double kSlack = 1e-6;
    const double step = std::ceil(difference * stepsPerUnit_ - kSlack);
    ++counts_[static_cast<size_t>(std::clamp(step, 0.0, double{kMostSteps}))];
    largest_ = std::max(largest_, difference);
    sum_ += difference;
    ++count_;
}

double Differences::Percentile99() const
{
    const int64_t wanted = count_ - count_ / 100;
    int64_t found = 0;
    for (size_t i = 0; i < counts_.size(); ++i) {
        found += counts_[i];
        if (found >= wanted) return std::min(static_cast<double>(i) / stepsPerUnit_, largest_);
    }
    return largest_;
}

double Comparison::PSNR() const
{
    if (squares == 0) return std::numeric_limits<double>::infinity();
    return 10 * std::log10(static_cast<double>(samples) / squares);
}

Failure ComparePictures(const CompareSide& a, const CompareSide& b, const CompareOptions& options,
                        Progress& progress, Comparison* comparison)
{
    Comparer comparer(a, b, options, comparison);
    if (Failure failure = comparer.Open()) return failure;
    const int32_t height = a.picture.layout.height;
    for (int32_t y = 0; y < height; ++y) {
        if (!progress.Step(Phase::kWrite, y, height)) return Cancelled();
        comparer.Row(y);
    }
    return Done();
}

}  // namespace px::tool
