// Property lists like files of presets: reading and writing, in bytes of the XML or binary file.
//
// Expat without handlers is the floor of any reader that stands on it. Reading is timed without the
// release of what was read, for us and for libplist; rows named Release hold that alone.

#include <benchmark/benchmark.h>
#include <expat.h>
#if defined(PX_HAVE_LIBPLIST)
#include <plist/plist.h>
#endif

#include <cstdint>
#include <map>
#include <string>

#include "CoreFoundation/CoreFoundation.h"
#include "PresetList.h"

namespace {

using px::bench::PresetsXML;

CFDataRef DataOver(const std::string& bytes)
{
    return CFDataCreateWithBytesNoCopy(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                       static_cast<CFIndex>(bytes.size()), kCFAllocatorNull);
}

CFPropertyListRef Read(const std::string& bytes, CFOptionFlags options = 0)
{
    CFDataRef data = DataOver(bytes);
    CFPropertyListRef list = CFPropertyListCreateWithData(nullptr, data, options, nullptr, nullptr);
    CFRelease(data);
    return list;
}

const std::string& PresetsBinary(size_t bytes)
{
    static std::map<size_t, std::string> made;
    std::string& binary = made[bytes];
    if (!binary.empty()) return binary;
    CFPropertyListRef list = Read(PresetsXML(bytes));
    CFDataRef data =
        CFPropertyListCreateData(nullptr, list, kCFPropertyListBinaryFormat_v1_0, 0, nullptr);
    binary.assign(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                  static_cast<size_t>(CFDataGetLength(data)));
    CFRelease(data);
    CFRelease(list);
    return binary;
}

void Report(benchmark::State& state, size_t bytes)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(bytes));
}

size_t SizeOf(const benchmark::State& state)
{
    return static_cast<size_t>(state.range(0));
}

void ReadList(benchmark::State& state, const std::string& bytes, CFOptionFlags options = 0)
{
    for (auto _ : state) {
        CFPropertyListRef list = Read(bytes, options);
        if (!list) state.SkipWithError("refused");
        state.PauseTiming();
        CFRelease(list);
        state.ResumeTiming();
    }
    Report(state, bytes.size());
}

void Release(benchmark::State& state)
{
    const std::string& xml = PresetsXML(SizeOf(state));
    for (auto _ : state) {
        state.PauseTiming();
        CFPropertyListRef list = Read(xml);
        state.ResumeTiming();
        CFRelease(list);
    }
    Report(state, xml.size());
}

void WriteList(benchmark::State& state, CFPropertyListFormat format)
{
    CFPropertyListRef list = Read(PresetsXML(SizeOf(state)));
    size_t size = 0;
    for (auto _ : state) {
        CFDataRef data = CFPropertyListCreateData(nullptr, list, format, 0, nullptr);
        size = static_cast<size_t>(CFDataGetLength(data));
        CFRelease(data);
    }
    CFRelease(list);
    Report(state, size);
}

void XMLExpatAlone(benchmark::State& state)
{
    const std::string& xml = PresetsXML(SizeOf(state));
    for (auto _ : state) {
        XML_Parser parser = XML_ParserCreate("UTF-8");
        if (XML_Parse(parser, xml.data(), static_cast<int>(xml.size()), 1) != XML_STATUS_OK) {
            state.SkipWithError("refused");
        }
        XML_ParserFree(parser);
    }
    Report(state, xml.size());
}

void XMLRead(benchmark::State& state)
{
    ReadList(state, PresetsXML(SizeOf(state)));
}

void XMLReadMutable(benchmark::State& state)
{
    ReadList(state, PresetsXML(SizeOf(state)), kCFPropertyListMutableContainersAndLeaves);
}

void BinaryRead(benchmark::State& state)
{
    ReadList(state, PresetsBinary(SizeOf(state)));
}

void XMLWrite(benchmark::State& state)
{
    WriteList(state, kCFPropertyListXMLFormat_v1_0);
}

void BinaryWrite(benchmark::State& state)
{
    WriteList(state, kCFPropertyListBinaryFormat_v1_0);
}

#if defined(PX_HAVE_LIBPLIST)

void XMLReadLibplist(benchmark::State& state)
{
    const std::string& xml = PresetsXML(SizeOf(state));
    for (auto _ : state) {
        plist_t list = nullptr;
        plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &list);
        if (!list) state.SkipWithError("refused");
        state.PauseTiming();
        plist_free(list);
        state.ResumeTiming();
    }
    Report(state, xml.size());
}

void BinaryReadLibplist(benchmark::State& state)
{
    const std::string& binary = PresetsBinary(SizeOf(state));
    for (auto _ : state) {
        plist_t list = nullptr;
        plist_from_bin(binary.data(), static_cast<uint32_t>(binary.size()), &list);
        if (!list) state.SkipWithError("refused");
        state.PauseTiming();
        plist_free(list);
        state.ResumeTiming();
    }
    Report(state, binary.size());
}

void WriteLibplist(benchmark::State& state, bool asXML)
{
    const std::string& xml = PresetsXML(SizeOf(state));
    plist_t list = nullptr;
    plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &list);
    uint32_t size = 0;
    for (auto _ : state) {
        char* bytes = nullptr;
        if (asXML) {
            plist_to_xml(list, &bytes, &size);
        } else {
            plist_to_bin(list, &bytes, &size);
        }
        free(bytes);
    }
    plist_free(list);
    Report(state, size);
}

void ReleaseLibplist(benchmark::State& state)
{
    const std::string& xml = PresetsXML(SizeOf(state));
    for (auto _ : state) {
        state.PauseTiming();
        plist_t list = nullptr;
        plist_from_xml(xml.data(), static_cast<uint32_t>(xml.size()), &list);
        state.ResumeTiming();
        plist_free(list);
    }
    Report(state, xml.size());
}

void XMLWriteLibplist(benchmark::State& state)
{
    WriteLibplist(state, true);
}

void BinaryWriteLibplist(benchmark::State& state)
{
    WriteLibplist(state, false);
}

#endif

constexpr int64_t kSmall = 10 << 10;
constexpr int64_t kLarge = 10 << 20;

BENCHMARK(XMLExpatAlone)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(XMLRead)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(XMLReadMutable)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(Release)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(XMLWrite)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BinaryRead)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BinaryWrite)->Arg(kSmall)->Arg(kLarge);
#if defined(PX_HAVE_LIBPLIST)
BENCHMARK(XMLReadLibplist)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(ReleaseLibplist)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(XMLWriteLibplist)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BinaryReadLibplist)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BinaryWriteLibplist)->Arg(kSmall)->Arg(kLarge);
#endif

}  // namespace
