// The value layer: dictionary access and text copies, in calls; and a 10 KB preset list read and
// written through PXUtils beside libplist, in bytes of its XML.
//
// Reading is timed with the release of what was read, for us and for libplist; lists_bench has the
// two apart.

#include <benchmark/benchmark.h>
#if defined(PX_HAVE_LIBPLIST)
#include <plist/plist.h>
#endif

#include <cstdlib>
#include <string>
#include <vector>

#include "Base/Ref.h"
#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXDictionary.h"
#include "PXCore/PXString.h"
#include "PXCore/PXUtils.h"
#include "PresetList.h"

namespace {

// Names of settings, as long as real ones are.
std::vector<PXString> Keys()
{
    std::vector<PXString> keys;
    for (int i = 0; i < 64; ++i) keys.emplace_back(("setting name " + std::to_string(i)).c_str());
    return keys;
}

void DictionarySet(benchmark::State& state)
{
    const std::vector<PXString> keys = Keys();
    PXDictionary dictionary;
    size_t i = 0;
    for (auto _ : state) {
        dictionary.setDoubleValue(keys[i % 64], static_cast<double>(i) + 0.5);
        ++i;
    }
    state.SetItemsProcessed(state.iterations());
}

void DictionaryGet(benchmark::State& state)
{
    const std::vector<PXString> keys = Keys();
    PXDictionary dictionary;
    for (const PXString& key : keys) dictionary.setDoubleValue(key, 0.5);
    size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(dictionary.getDoubleValue(keys[i++ % 64], 0));
    state.SetItemsProcessed(state.iterations());
}

void UTF8Copy(benchmark::State& state, const std::string& letter)
{
    std::string text;
    for (int64_t i = 0; i < state.range(0); ++i) text += letter;
    const PXString string(text.c_str());
    for (auto _ : state) {
        char* copy = PXUtilsGetUTF8StringCopy(string);
        benchmark::DoNotOptimize(copy);
        std::free(copy);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

CFRef<CFDataRef> PresetXML()
{
    const std::string& xml = px::bench::PresetsXML(10 << 10);
    return CFRef<CFDataRef>::Adopt(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(xml.data()),
                                                static_cast<CFIndex>(xml.size())));
}

void Report(benchmark::State& state, CFDataRef xml)
{
    state.SetBytesProcessed(state.iterations() * CFDataGetLength(xml));
}

void PresetRead(benchmark::State& state)
{
    const auto xml = PresetXML();
    for (auto _ : state) {
        CFPropertyListRef list = nullptr;
        if (PXUtilsCreatePropertyListFromData(xml.Get(), 0, &list)) state.SkipWithError("refused");
        CFRelease(list);
    }
    Report(state, xml.Get());
}

void PresetWrite(benchmark::State& state)
{
    const auto xml = PresetXML();
    CFPropertyListRef list = nullptr;
    PXUtilsCreatePropertyListFromData(xml.Get(), 0, &list);
    for (auto _ : state) CFRelease(PXUtilsCreateXMLData(nullptr, list));
    CFRelease(list);
    Report(state, xml.Get());
}

void PresetWriteThroughStream(benchmark::State& state)
{
    const auto xml = PresetXML();
    CFPropertyListRef list = nullptr;
    PXUtilsCreatePropertyListFromData(xml.Get(), 0, &list);
    for (auto _ : state) {
        CFDataRef data = nullptr;
        PXUtilsCreatePropertyListData(list, kCFPropertyListXMLFormat_v1_0, &data);
        CFRelease(data);
    }
    CFRelease(list);
    Report(state, xml.Get());
}

#if defined(PX_HAVE_LIBPLIST)

plist_t ReadWithLibplist(CFDataRef xml)
{
    plist_t list = nullptr;
    plist_from_xml(reinterpret_cast<const char*>(CFDataGetBytePtr(xml)),
                   static_cast<uint32_t>(CFDataGetLength(xml)), &list);
    return list;
}

void PresetReadLibplist(benchmark::State& state)
{
    const auto xml = PresetXML();
    for (auto _ : state) {
        plist_t list = ReadWithLibplist(xml.Get());
        if (!list) state.SkipWithError("refused");
        plist_free(list);
    }
    Report(state, xml.Get());
}

void PresetWriteLibplist(benchmark::State& state)
{
    const auto xml = PresetXML();
    plist_t list = ReadWithLibplist(xml.Get());
    for (auto _ : state) {
        char* bytes = nullptr;
        uint32_t size = 0;
        plist_to_xml(list, &bytes, &size);
        std::free(bytes);
    }
    plist_free(list);
    Report(state, xml.Get());
}

#endif

BENCHMARK(DictionarySet);
BENCHMARK(DictionaryGet);
BENCHMARK_CAPTURE(UTF8Copy, Ascii, "a")->Arg(4)->Arg(20)->Arg(1 << 20);
BENCHMARK_CAPTURE(UTF8Copy, Latin, "\xC3\xA9")->Arg(20)->Arg(1 << 20);
BENCHMARK_CAPTURE(UTF8Copy, Han, "\xE6\xBC\xA2")->Arg(20)->Arg(1 << 20);
BENCHMARK(PresetRead);
BENCHMARK(PresetWrite);
BENCHMARK(PresetWriteThroughStream);
#if defined(PX_HAVE_LIBPLIST)
BENCHMARK(PresetReadLibplist);
BENCHMARK(PresetWriteLibplist);
#endif

}  // namespace
