// Strings: making and dropping, counting references, UTF-8 in and out, searching, formats.
//
// Text rates are bytes per second: of the UTF-8 for conversions, of 16-bit units for searches,
// however the text is stored.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"
#include "StringKernels.h"

namespace {

constexpr CFIndex kSearchUnits = (1 << 20) / 2;  // 1 MiB of UTF-16

std::string MixedText()
{
    std::string text;
    while (text.size() < 1 << 20)
        text += "Größe und Maß der Fläche — 日本語のテキスト, plain words. ";
    return text;
}

std::string AsciiText()
{
    std::string text;
    while (text.size() < 1 << 20)
        text += "The quick brown fox jumps over the lazy dog. 0123456789\n";
    text.resize(1 << 20);
    return text;
}

CFStringRef Make(const std::string& utf8)
{
    return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                   static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false);
}

void CreateRelease(benchmark::State& state)
{
    for (auto _ : state) {
        CFStringRef made =
            CFStringCreateWithCString(nullptr, "ImageTileSize", kCFStringEncodingUTF8);
        benchmark::DoNotOptimize(made);
        CFRelease(made);
    }
}
BENCHMARK(CreateRelease);

void RetainReleaseOf(benchmark::State& state, CFStringRef text)
{
    for (auto _ : state) {
        CFRetain(text);
        CFRelease(text);
    }
}

void RetainRelease(benchmark::State& state)
{
    CFStringRef made = Make("counted");
    RetainReleaseOf(state, made);
    CFRelease(made);
}
BENCHMARK(RetainRelease);

void RetainReleaseImmortal(benchmark::State& state)
{
    RetainReleaseOf(state, CFSTR("constant"));
}
BENCHMARK(RetainReleaseImmortal);

void HashShortMutable(benchmark::State& state)
{
    CFMutableStringRef text = CFStringCreateMutableCopy(nullptr, 0, CFSTR("ImageTileSize"));
    for (auto _ : state) benchmark::DoNotOptimize(CFHash(text));
    CFRelease(text);
}
BENCHMARK(HashShortMutable);

void DecodeUtf8(benchmark::State& state, const std::string& utf8)
{
    for (auto _ : state) {
        CFStringRef made = Make(utf8);
        benchmark::DoNotOptimize(made);
        CFRelease(made);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(utf8.size()));
}
BENCHMARK_CAPTURE(DecodeUtf8, ascii, AsciiText());
BENCHMARK_CAPTURE(DecodeUtf8, mixed, MixedText());

void EncodeUtf8(benchmark::State& state, const std::string& utf8)
{
    CFStringRef text = Make(utf8);
    std::vector<UInt8> buffer(utf8.size());
    for (auto _ : state) {
        CFIndex used = 0;
        CFStringGetBytes(text, CFRangeMake(0, CFStringGetLength(text)), kCFStringEncodingUTF8, 0,
                         false, buffer.data(), static_cast<CFIndex>(buffer.size()), &used);
        benchmark::DoNotOptimize(used);
    }
    CFRelease(text);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(utf8.size()));
}
BENCHMARK_CAPTURE(EncodeUtf8, ascii, AsciiText());
BENCHMARK_CAPTURE(EncodeUtf8, mixed, MixedText());

// An absent needle in 1 MiB of UTF-16 text that is ASCII, stored as 8 or as 16 bits.
CFStringRef SearchedText(bool isWide)
{
    std::string ascii = AsciiText();
    ascii.resize(kSearchUnits);
    CFMutableStringRef text = CFStringCreateMutable(nullptr, 0);
    if (isWide) CFStringAppendCString(text, "\u2014", kCFStringEncodingUTF8);
    CFStringAppendCString(text, ascii.c_str(), kCFStringEncodingASCII);
    if (isWide) CFStringDelete(text, CFRangeMake(0, 1));
    return text;
}

void FindAbsent(benchmark::State& state, bool isWide, CFStringCompareFlags flags)
{
    CFStringRef text = SearchedText(isWide);
    CFStringRef needle = CFSTR("lazy cat");
    for (auto _ : state) {
        const CFRange found = CFStringFind(text, needle, flags);
        if (found.location != kCFNotFound) state.SkipWithError("found");
        benchmark::DoNotOptimize(found);
    }
    CFRelease(text);
    state.SetBytesProcessed(state.iterations() * kSearchUnits * 2);
}
BENCHMARK_CAPTURE(FindAbsent, wide_case_insensitive, true, kCFCompareCaseInsensitive);
BENCHMARK_CAPTURE(FindAbsent, narrow_case_insensitive, false, kCFCompareCaseInsensitive);
BENCHMARK_CAPTURE(FindAbsent, wide_literal, true, 0);
BENCHMARK_CAPTURE(FindAbsent, narrow_literal, false, 0);
BENCHMARK_CAPTURE(FindAbsent, wide_literal_backwards, true, kCFCompareBackwards);
BENCHMARK_CAPTURE(FindAbsent, wide_diacritic_insensitive, true, kCFCompareDiacriticInsensitive);

void FindAbsentMixed(benchmark::State& state)
{
    CFStringRef text = Make(MixedText());
    CFStringRef needle = CFSTR("lazy cat");
    for (auto _ : state) {
        benchmark::DoNotOptimize(CFStringFind(text, needle, kCFCompareCaseInsensitive));
    }
    state.SetBytesProcessed(state.iterations() * CFStringGetLength(text) * 2);
    CFRelease(text);
}
BENCHMARK(FindAbsentMixed);

void FindFoldWithTable(benchmark::State& state, const px::cf::StringKernels* kernels)
{
    const std::string ascii = AsciiText();
    const std::vector<uint16_t> text(ascii.begin(), ascii.begin() + kSearchUnits);
    const uint16_t needle[] = {'l', 'a', 'z', 'y', ' ', 'c', 'a', 't'};
    for (auto _ : state) {
        benchmark::DoNotOptimize(kernels->findFold16(text.data(), text.size(), needle, 8));
    }
    state.SetBytesProcessed(state.iterations() * kSearchUnits * 2);
}

void FormatShort(benchmark::State& state)
{
    CFStringRef name = CFSTR("Quarvo");
    for (auto _ : state) {
        CFStringRef made =
            CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@-%d (%.2f)"), name, 42, 2.5);
        benchmark::DoNotOptimize(made);
        CFRelease(made);
    }
}
BENCHMARK(FormatShort);

void AppendPieces(benchmark::State& state)
{
    CFStringRef piece = CFSTR("0123456789");
    for (auto _ : state) {
        CFMutableStringRef text = CFStringCreateMutable(nullptr, 0);
        for (int i = 0; i < 1000; ++i) CFStringAppend(text, piece);
        CFRelease(text);
    }
    state.SetBytesProcessed(state.iterations() * 10000);
}
BENCHMARK(AppendPieces);

void NormalizeMixed(benchmark::State& state, CFStringNormalizationForm form)
{
    CFStringRef text = Make(MixedText());
    for (auto _ : state) {
        CFMutableStringRef copy = CFStringCreateMutableCopy(nullptr, 0, text);
        CFStringNormalize(copy, form);
        CFRelease(copy);
    }
    state.SetBytesProcessed(state.iterations() * CFStringGetLength(text) * 2);
    CFRelease(text);
}
BENCHMARK_CAPTURE(NormalizeMixed, composed, kCFStringNormalizationFormC);
BENCHMARK_CAPTURE(NormalizeMixed, decomposed, kCFStringNormalizationFormD);

void FindAbsentSet(benchmark::State& state)
{
    CFStringRef text = Make(MixedText());
    CFCharacterSetRef control = CFCharacterSetGetPredefined(kCFCharacterSetControl);
    const CFRange all = CFRangeMake(0, CFStringGetLength(text));
    for (auto _ : state) {
        benchmark::DoNotOptimize(CFStringFindCharacterFromSet(text, control, all, 0, nullptr));
    }
    state.SetBytesProcessed(state.iterations() * all.length * 2);
    CFRelease(text);
}
BENCHMARK(FindAbsentSet);

const int registered = [] {
    px::cf::ForEachStringKernels(
        [](const px::cf::StringKernels& kernels, void*) {
            benchmark::RegisterBenchmark((std::string("FindFoldWithTable/") + kernels.name).c_str(),
                                         FindFoldWithTable, &kernels);
        },
        nullptr);
    return 0;
}();

}  // namespace
