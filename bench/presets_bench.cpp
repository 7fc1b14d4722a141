// Presets: a category of 10,000 files on a warm disk cache, and the samples of a curve.
//
// Category rows name their unit as items: presets. BareWalk is what any reader must do at least:
// list the folder, read each file and parse it; the rows beside it are to be read as its multiples.
// Curve rows count samples.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXBezierCurve.h"
#include "PXCore/PXPresetManager.h"
#include "PXCore/PXUtils.h"

namespace {

namespace fs = std::filesystem;

constexpr int kPresets = 10000;
constexpr int kPoints = 10;
constexpr int kSlots = 16;

class CurveMaker final : public PXPresetMaker {
public:
    PXPreset* createPreset() override { return new PXBezierCurve(0, 256, kSlots); }
};

void SetPoints(PXBezierCurve* curve)
{
    std::vector<PXPointF> points(kSlots, {-1, -1});
    for (int i = 0; i < kPoints; ++i) {
        const float x = static_cast<float>(i) / (kPoints - 1);
        points[static_cast<size_t>(curve->pointIndex(x))] = {x, i % 3 ? 1 - x : 1 - x * x};
    }
    curve->setControlPoints(points);
}

// A module's folder with one category, gone when the program ends.
class Category {
public:
    static Category& Shared()
    {
        static Category category;
        return category;
    }

    std::string Folder() const { return (root_ / "Curves" / "Many").string(); }
    PXPresetManager manager;

private:
    Category() : root_(fs::temp_directory_path() / "px_presets_bench")
    {
        fs::create_directories(Folder());
        manager.initialize(PXString(root_.c_str()), PXString("Curves"), PXString(".pxcurve"));
        PXBezierCurve curve(0, 256, kSlots);
        SetPoints(&curve);
        for (int i = 0; i < kPresets; ++i) {
            const std::string name = "Look " + std::to_string(i * 7919 % kPresets);
            curve.setName(PXString(name.c_str()));
            curve.setCustomSortOrder(i % 100 + 1);
            CFDataRef xml = PXUtilsCreateXMLData(nullptr, curve.presetData());
            std::ofstream(Folder() + "/" + name + ".pxcurve", std::ios::binary)
                .write(reinterpret_cast<const char*>(CFDataGetBytePtr(xml)), CFDataGetLength(xml));
            CFRelease(xml);
        }
    }
    ~Category() { fs::remove_all(root_); }

    fs::path root_;
};

void Report(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * kPresets);
}

void BM_BareWalk(benchmark::State& state)
{
    const std::string folder = Category::Shared().Folder();
    for (auto _ : state) {
        for (const auto& entry : fs::directory_iterator(folder)) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string bytes(std::istreambuf_iterator<char>(file), {});
            CFDataRef data =
                CFDataCreateWithBytesNoCopy(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                            static_cast<CFIndex>(bytes.size()), kCFAllocatorNull);
            CFRelease(CFPropertyListCreateFromXMLData(nullptr, data, 0, nullptr));
            CFRelease(data);
        }
    }
    Report(state);
}
BENCHMARK(BM_BareWalk)->Unit(benchmark::kMillisecond);

void BM_BareList(benchmark::State& state)
{
    const std::string folder = Category::Shared().Folder();
    for (auto _ : state) {
        size_t files = 0;
        for (const auto& entry : fs::directory_iterator(folder)) files += entry.is_regular_file();
        benchmark::DoNotOptimize(files);
    }
    Report(state);
}
BENCHMARK(BM_BareList)->Unit(benchmark::kMillisecond);

void BM_ListCategory(benchmark::State& state)
{
    const PXString category("Many");
    for (auto _ : state) {
        if (Category::Shared().manager.getPresets(category).size() != kPresets)
            state.SkipWithError("presets are missing");
    }
    Report(state);
}
BENCHMARK(BM_ListCategory)->Unit(benchmark::kMillisecond);

void BM_LoadCategory(benchmark::State& state)
{
    CurveMaker maker;
    const PXString category("Many");
    for (auto _ : state) {
        std::deque<PXPreset*> presets;
        Category::Shared().manager.loadCategory(&maker, category, &presets);
        if (presets.size() != kPresets) state.SkipWithError("presets are missing");
        PXPresetManager::releasePresetList(&presets);
    }
    Report(state);
}
BENCHMARK(BM_LoadCategory)->Unit(benchmark::kMillisecond);

void BM_CalculateCurve(benchmark::State& state)
{
    PXBezierCurve curve(0, static_cast<int32_t>(state.range(0)), kSlots);
    SetPoints(&curve);
    for (auto _ : state) curve.calculateCurve();
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_CalculateCurve)->Arg(256)->Arg(65536);

}  // namespace
