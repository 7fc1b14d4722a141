#include "Image/TableTransform.h"

#include <lcms2_plugin.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace px {

namespace {

constexpr uint32_t kInputs = 3;
constexpr uint32_t kNodeSamples = 4;

// Any pixels but black, which Little CMS keeps the result of.
constexpr uint16_t kProbes[][kInputs] = {
    {0xFFFF, 0xFFFF, 0xFFFF}, {0x0101, 0x8080, 0xC7C7}, {0xF3F3, 0x1212, 0x7F7F},
    {0x3434, 0xEDED, 0x0202}, {0x6B6B, 0x6A6A, 0x6969},
};

// Colours of whole bytes or words, in the order of the table, with further channels behind them.
bool IsPlain(cmsUInt32Number type, uint32_t mostColors)
{
    const cmsUInt32Number others =
        type & ~static_cast<cmsUInt32Number>(COLORSPACE_SH(31) | EXTRA_SH(7) | CHANNELS_SH(15) |
                                             BYTES_SH(7));
    return others == 0 && T_CHANNELS(type) >= kInputs && T_CHANNELS(type) <= mostColors &&
           (T_BYTES(type) == 1 || T_BYTES(type) == 2);
}

WordPixels PixelsOf(cmsUInt32Number type)
{
    return {static_cast<int32_t>(T_BYTES(type)),
            static_cast<int32_t>(T_CHANNELS(type) + T_EXTRA(type)),
            static_cast<int32_t>(T_CHANNELS(type))};
}

// The sample of a pixel that stands for a word.
void PutWord(uint16_t word, int32_t sampleBytes, uint8_t* sample)
{
    if (sampleBytes == 2) {
        std::memcpy(sample, &word, sizeof(word));
    } else {
        *sample = static_cast<uint8_t>((uint32_t{word} * 65281 + 8388608) >> 24);
    }
}

}  // namespace

// What the plug-in saw of one pixel.
struct TableTransform::Sight {
    int calls = 0;
    const cmsInterpParams* params = nullptr;
    uint16_t input[kInputs] = {};
    uint16_t output[kNodeSamples] = {};
};

thread_local TableTransform::Sight* TableTransform::watching_ = nullptr;

// Tetrahedra along the grey diagonal, in the arithmetic of Little CMS: words become fixed-point
// positions, and steps along the edges, the largest fraction first, are weighed with 16 bits.
void TableTransform::Lerp(const cmsUInt16Number input[], cmsUInt16Number output[],
                          const cmsInterpParams* params)
{
    struct Step {
        uint32_t fraction;
        uint32_t stride;
    };
    Step steps[kInputs];
    auto* node = static_cast<const uint16_t*>(params->Table);
    for (uint32_t c = 0; c < kInputs; ++c) {
        const uint32_t product = input[c] * params->Domain[c];
        const uint32_t fixed = product + (product + 0x7FFF) / 0xFFFF;
        const uint32_t stride = params->opta[kInputs - 1 - c];
        node += size_t{fixed >> 16} * stride;
        steps[c] = {fixed & 0xFFFF, input[c] == 0xFFFF ? 0 : stride};
    }
    std::stable_sort(steps, steps + kInputs,
                     [](const Step& a, const Step& b) { return a.fraction > b.fraction; });
    for (uint32_t i = 0; i < params->nOutputs; ++i) {
        const uint16_t* at = node + i;
        uint32_t rest = 0x8001;
        for (const Step& step : steps) {
            const uint16_t* next = at + step.stride;
            rest += (uint32_t{*next} - uint32_t{*at}) * step.fraction;
            at = next;
        }
        const auto sum = static_cast<int32_t>(rest);
        const uint32_t rounded = rest + static_cast<uint32_t>(sum >> 16);
        output[i] = static_cast<uint16_t>(
            node[i] + static_cast<uint32_t>(static_cast<int32_t>(rounded) >> 16));
    }
    if (Sight* sight = watching_) {
        ++sight->calls;
        sight->params = params;
        std::copy(input, input + kInputs, sight->input);
        std::copy(output, output + params->nOutputs, sight->output);
    }
}

void* TableTransform::Plugin()
{
    static constexpr auto kFactory = [](cmsUInt32Number inputs, cmsUInt32Number outputs,
                                        cmsUInt32Number flags) {
        cmsInterpFunction function = {};  // none: Little CMS takes its own
        const bool isOurs = flags == CMS_LERP_FLAGS_16BITS && inputs == kInputs &&
                            outputs >= kInputs && outputs <= kNodeSamples;
        if (isOurs) function.Lerp16 = Lerp;
        return function;
    };
    static cmsPluginInterpolation plugin = {
        {cmsPluginMagicNumber, 2000, cmsPluginInterpolationSig, nullptr}, kFactory};
    return &plugin;
}

// Whether every probe pixel goes through one table as it is, and comes out of it as it is.
bool TableTransform::Probe(cmsHTRANSFORM transform, const WordPixels& from, const WordPixels& to,
                           Sight* sight)
{
    const cmsInterpParams* params = nullptr;
    for (const auto& probe : kProbes) {
        uint8_t source[16] = {};
        uint8_t found[16] = {};
        uint8_t wanted[16] = {};
        for (uint32_t c = 0; c < kInputs; ++c) {
            PutWord(probe[c], from.sampleBytes,
                    source + c * static_cast<uint32_t>(from.sampleBytes));
        }
        *sight = {};
        watching_ = sight;
        cmsDoTransform(transform, source, found, 1);
        watching_ = nullptr;
        if (sight->calls != 1 || (params && params != sight->params)) return false;
        params = sight->params;
        if (params->nOutputs != static_cast<uint32_t>(to.colors)) return false;
        for (uint32_t c = 0; c < params->nOutputs; ++c) {
            PutWord(sight->output[c], to.sampleBytes,
                    wanted + c * static_cast<uint32_t>(to.sampleBytes));
        }
        if (!std::equal(probe, probe + kInputs, sight->input) ||
            std::memcmp(found, wanted, sizeof(found)) != 0) {
            return false;
        }
    }
    return true;
}

TableTransform::TableTransform(const Sight& sight, const WordPixels& from, const WordPixels& to)
    : kernels_(SelectTableKernels()), from_(from), to_(to)
{
    const cmsInterpParams& params = *sight.params;
    size_t count = 1;
    for (uint32_t c = 0; c < kInputs; ++c) {
        count *= params.nSamples[c];
        table_.last[c] = params.Domain[c];
        table_.strides[c] = params.opta[kInputs - 1 - c] / params.nOutputs;
    }
    nodes_.resize(count * kNodeSamples);
    auto* table = static_cast<const uint16_t*>(params.Table);
    for (size_t node = 0; node < count; ++node) {
        std::copy_n(table + node * params.nOutputs, params.nOutputs, &nodes_[node * kNodeSamples]);
    }
    table_.nodes = nodes_.data();
}

std::unique_ptr<TableTransform> TableTransform::Find(cmsHTRANSFORM transform,
                                                     cmsUInt32Number sourceType,
                                                     cmsUInt32Number destinationType)
{
    if (!IsPlain(sourceType, kInputs) || !IsPlain(destinationType, kNodeSamples)) return {};
    const WordPixels from = PixelsOf(sourceType);
    const WordPixels to = PixelsOf(destinationType);
    Sight sight;
    if (!Probe(transform, from, to, &sight)) return {};
    return std::unique_ptr<TableTransform>(new TableTransform(sight, from, to));
}

void TableTransform::Convert(const void* source, void* destination, uint32_t pixels) const
{
    kernels_.convert(table_, from_, source, to_, destination, pixels);
}

}  // namespace px
