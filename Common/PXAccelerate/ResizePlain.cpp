// The loops of the resize primitives one lane at a time, for processors without vectors of ours.

#include "PXAccelerate/ResizeKernels.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace px {

namespace {

float AsFloat(uint32_t lane)
{
    float value;
    std::memcpy(&value, &lane, sizeof(value));
    return value;
}

int32_t PairSum(uint32_t lane, uint32_t weights)
{
    return static_cast<int16_t>(lane) * static_cast<int16_t>(weights) +
           static_cast<int16_t>(lane >> 16) * static_cast<int16_t>(weights >> 16);
}

void PairRows(const uint8_t* first, const uint8_t* second, size_t /*ahead*/, size_t count,
              uint32_t* lanes)
{
    for (size_t i = 0; i < count; ++i) lanes[i] = first[i] | uint32_t{second[i]} << 16;
}

void FloatRow(const uint8_t* row, size_t /*ahead*/, size_t count, uint32_t* lanes)
{
    for (size_t i = 0; i < count; ++i) {
        const float value = row[i];
        std::memcpy(lanes + i, &value, sizeof(value));
    }
}

void WordRow(const uint8_t* row, size_t /*ahead*/, size_t count, uint32_t* lanes)
{
    std::memcpy(lanes, row, count * sizeof(uint16_t));
}

void FilterNumberRow(const ResizeRowJob& job, const ResizeRowSum& row)
{
    auto* out = static_cast<int16_t*>(row.out);
    for (size_t i = 0; i < job.count; ++i) {
        int32_t sum = 1 << (kRowShift - 1);
        for (size_t s = 0; s < row.count; ++s) {
            sum += PairSum(job.rows[row.first + s][job.at + i], row.weights[s]);
        }
        const size_t place = job.spreads ? i / 8 * 8 + i % 4 * 2 + i / 4 % 2 : i;
        out[place] = static_cast<int16_t>(std::clamp(sum >> kRowShift, -32768, 32767));
    }
}

void FilterNumberRows(const ResizeRowJob& job)
{
    for (size_t i = 0; i < job.sumCount; ++i) FilterNumberRow(job, job.sums[i]);
}

float LaneOf(const uint32_t* row, size_t lane, bool isWord)
{
    return isWord ? reinterpret_cast<const uint16_t*>(row)[lane] : AsFloat(row[lane]);
}

template <bool kWords>
void FilterRealRows(const ResizeRowJob& job)
{
    for (size_t k = 0; k < job.sumCount; ++k) {
        const ResizeRowSum& row = job.sums[k];
        auto* out = static_cast<float*>(row.out);
        for (size_t i = 0; i < job.count; ++i) {
            float sum = 0;
            for (size_t s = 0; s < row.count; ++s) {
                sum +=
                    LaneOf(job.rows[row.first + s], job.at + i, kWords) * AsFloat(row.weights[s]);
            }
            out[i] = sum;
        }
    }
}

template <size_t kChannels>
void SpreadNumbers(const void* pixels, size_t steps, uint32_t* lanes)
{
    const auto* in = static_cast<const uint16_t*>(pixels);
    for (size_t s = 0; s < steps; ++s, in += 2 * kChannels, lanes += 4) {
        for (size_t c = 0; c < kChannels; ++c) {
            lanes[c] = in[c] | uint32_t{in[kChannels + c]} << 16;
        }
    }
}

void SpreadFloats(const void* pixels, size_t steps, uint32_t* lanes)
{
    for (size_t s = 0; s < steps; ++s) {
        std::memcpy(lanes + 4 * s, static_cast<const float*>(pixels) + 3 * s, 3 * sizeof(float));
    }
}

template <class T, size_t kChannels, bool kNumbers>
void FilterColumns(const ResizeColumnJob& job)
{
    constexpr size_t kLanesPerStep = kChannels == 1 ? 1 : 4;
    constexpr float kHighest = std::numeric_limits<T>::max();
    for (size_t row = 0; row < job.rowCount; ++row) {
        uint8_t* out = job.out[row];
        for (size_t p = 0; p < job.pixels; ++p) {
            const uint32_t* weights = job.weights + p * job.stride;
            const uint32_t* in = job.rows[row] + job.steps[p].first * int64_t{kLanesPerStep};
            for (size_t c = 0; c < kChannels; ++c, out += sizeof(T)) {
                int32_t number = 1 << (kColumnShift - 1);
                float sum = 0.5F;
                for (int32_t s = 0; s < job.steps[p].count; ++s) {
                    const uint32_t lane = in[static_cast<size_t>(s) * kLanesPerStep + c];
                    if (kNumbers) number += PairSum(lane, weights[s]);
                    if (!kNumbers) sum += AsFloat(lane) * AsFloat(weights[s]);
                }
                const float value = kNumbers ? static_cast<float>(number >> kColumnShift) : sum;
                const T sample = static_cast<T>(std::clamp(value, 0.0F, kHighest));
                std::memcpy(out, &sample, sizeof(T));
            }
        }
    }
}

template <class T>
void AddRows(const ResizeAddJob& job, size_t at, size_t count, int64_t /*ahead*/)
{
    for (size_t s = 0; s < job.sumCount; ++s) {
        const ResizeAddJob::Sum& sum = job.sums[s];
        for (size_t i = at; i < at + count; ++i) {
            float value = sum.begins ? 0 : sum.lanes[i];
            for (size_t row = 0; row < kAddedRows; ++row) {
                T sample;
                std::memcpy(&sample, job.rows[row] + i * sizeof(T), sizeof(T));
                value += sample * sum.weights[row];
            }
            sum.lanes[i] = value;
        }
    }
}

void TurnRows(const float* const* rows, size_t count, float* columns)
{
    for (size_t i = 0; i < count; ++i) {
        for (size_t row = 0; row < kColumnRows; ++row) *columns++ = rows[row][i];
    }
}

template <class T, size_t kChannels>
void FilterTurned(const ResizeTurnedJob& job)
{
    constexpr size_t kPixel = kChannels * kColumnRows;
    constexpr float kHighest = std::numeric_limits<T>::max();
    for (size_t i = 0; i < job.rowCount * job.pixels * kChannels; ++i) {
        const size_t row = i % job.rowCount;
        const size_t at = i / job.rowCount;
        const size_t p = at / kChannels;
        const ResizeSteps steps = job.steps[p];
        const auto first = static_cast<size_t>(steps.first - job.steps[0].first);
        const float* in = job.columns + first * kPixel + at % kChannels * kColumnRows + row;
        float sum = 0.5F;
        for (size_t s = 0; s < static_cast<size_t>(steps.count); ++s) {
            sum += in[s * kPixel] * AsFloat(job.weights[p * job.stride + s]);
        }
        const T sample = static_cast<T>(std::clamp(sum, 0.0F, kHighest));
        std::memcpy(job.out[row] + at * sizeof(T), &sample, sizeof(T));
    }
}

}  // namespace

ResizeKernels PlainResizeKernels(const char* name)
{
    return {
        name,
        PairRows,
        {FloatRow, WordRow},
        {FilterRealRows<false>, FilterNumberRows, FilterRealRows<true>},
        {{SpreadFloats, nullptr}, {SpreadNumbers<3>, SpreadNumbers<4>}},
        {{FilterColumns<uint8_t, 1, false>, FilterColumns<uint8_t, 3, false>,
          FilterColumns<uint8_t, 4, false>},
         {FilterColumns<uint16_t, 1, false>, FilterColumns<uint16_t, 3, false>,
          FilterColumns<uint16_t, 4, false>},
         {FilterColumns<uint8_t, 1, true>, FilterColumns<uint8_t, 3, true>,
          FilterColumns<uint8_t, 4, true>}},
        {AddRows<uint8_t>, AddRows<uint16_t>},
        TurnRows,
        {{FilterTurned<uint8_t, 1>, FilterTurned<uint8_t, 3>, FilterTurned<uint8_t, 4>},
         {FilterTurned<uint16_t, 1>, FilterTurned<uint16_t, 3>, FilterTurned<uint16_t, 4>}},
    };
}

}  // namespace px
