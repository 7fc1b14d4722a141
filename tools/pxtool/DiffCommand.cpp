// DiffCommand — "pxtool diff": how far two pictures are apart.

#include "pxtool/Compare.h"
#include "pxtool/PictureCommand.h"
#include "pxtool/Plan.h"

#include <algorithm>
#include <iterator>

namespace px::tool {

namespace {

constexpr double kMostThreshold = 1000;

// From no difference to the largest.
constexpr uint8_t kHeat[][3] = {
    {0, 0, 0}, {0, 0, 160}, {200, 0, 60}, {255, 200, 0}, {255, 255, 255}};

Value Facts(bool has, const Differences& differences)
{
    if (!has) return {};
    return Fields{{"max", differences.Largest()},
                  {"mean", differences.Mean()},
                  {"p99", differences.Percentile99()}};
}

class DiffCommand final : public Command {
public:
    const char* Name() const override { return "diff"; }
    const char* Summary() const override { return "tell how far two pictures are apart"; }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharesJSON | kSharedOfWriters; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure ReadBoth(Progress& progress);
    Failure TellResult(const Comparison& comparison, bool isAlike) const;
    Failure WriteHeat(const Comparison& comparison, Progress& progress) const;

    std::string first_;
    std::string second_;
    std::string heat_;
    double threshold_ = 0;
    double mostPercent_ = 0;
    bool isProfileAware_ = false;
    Picture a_;
    Picture b_;
};

std::string DiffCommand::Details() const
{
    return "A pixel differs when one of its samples is off by more than the threshold, in levels "
           "of "
           "8 bits whatever the depth; with --profile-aware when its colour is off by more, in "
           "CIEDE2000. The pictures are alike when no more than --max percent of the pixels "
           "differ; the exit code is then 0, else 1, as it is for pictures of different size.\n"
           "\n"
           "Both are turned upright as their orientation says. Colours are compared by the "
           "profiles that the pictures carry, sRGB without one, relative to white; profiles that "
           "differ are so seen through with --profile-aware. p99 is what 99 % of the samples or "
           "pixels do not exceed. The heat map is black where nothing differs, and goes over "
           "blue, red and yellow to white for the largest difference.";
}

std::vector<Option> DiffCommand::Options()
{
    return {{.name = "A",
             .value = &first_,
             .help = "a picture",
             .isRequired = true,
             .expects = Expects::kFile},
            {.name = "B",
             .value = &second_,
             .help = "the picture to compare it with",
             .isRequired = true,
             .expects = Expects::kFile},
            {.name = "--threshold",
             .value = &threshold_,
             .help = "what a pixel may be off",
             .typeName = "N",
             .least = 0,
             .most = kMostThreshold},
            {.name = "--max",
             .value = &mostPercent_,
             .help = "how many pixels may differ",
             .typeName = "PERCENT",
             .least = 0,
             .most = 100},
            {.name = "--profile-aware",
             .value = &isProfileAware_,
             .help = "judge by colours, not by samples"},
            {.name = "--heat",
             .value = &heat_,
             .help = "a PNG picture of the differences to write",
             .typeName = "FILE",
             .expects = Expects::kFile}};
}

Failure DiffCommand::ReadBoth(Progress& progress)
{
    if (Failure failure = ReadUpright(first_, progress, &a_)) return failure;
    return ReadUpright(second_, progress, &b_);
}

Failure DiffCommand::TellResult(const Comparison& comparison, bool isAlike) const
{
    const PictureLayout& layout = a_.layout;
    const bool isSameSize = layout.width == b_.layout.width && layout.height == b_.layout.height;
    const auto pixels = int64_t{layout.width} * layout.height;
    const double percent =
        100.0 * static_cast<double>(comparison.differing) / static_cast<double>(pixels);
    return Tell({{"alike", isAlike},
                 {"sameSize", isSameSize},
                 {"pixels", pixels},
                 {"differing", isSameSize ? Value(comparison.differing) : Value()},
                 {"percent", isSameSize ? Value(percent) : Value()},
                 {"psnr", comparison.hasLevels ? Value(comparison.PSNR()) : Value()},
                 {"levels", Facts(comparison.hasLevels, comparison.levels)},
                 {"deltaE2000", Facts(comparison.hasColours, comparison.deltaE2000)},
                 {"deltaE76", Facts(comparison.hasColours, comparison.deltaE76)}});
}

Failure DiffCommand::WriteHeat(const Comparison& comparison, Progress& progress) const
{
    Picture map;
    map.layout.width = a_.layout.width;
    map.layout.height = a_.layout.height;
    if (Settings().isDryRun) return Print(WouldWrite(heat_, NoteOf(map.layout)));
    if (Failure failure = MakeImage(map.layout, heat_, &map.image)) return failure;
    constexpr size_t kLast = std::size(kHeat) - 1;
    const double scale = comparison.largestMeasure > 0 ? kLast / comparison.largestMeasure : 0;
    size_t i = 0;
    for (int32_t y = 0; y < map.layout.height; ++y) {
        uint8_t* pixel = map.View().Row(y);
        for (int32_t x = 0; x < map.layout.width; ++x, ++i, pixel += 3) {
            const double heat = std::min(comparison.measures[i] * scale, double{kLast});
            const size_t from = std::min(static_cast<size_t>(heat), kLast - 1);
            const double part = heat - static_cast<double>(from);
            for (size_t c = 0; c < 3; ++c) {
                pixel[c] = static_cast<uint8_t>(kHeat[from][c] * (1 - part) +
                                                kHeat[from + 1][c] * part + 0.5);
            }
        }
    }
    return WritePicture(map, heat_, Settings().mayReplace, kDefaultQuality, progress);
}

Failure DiffCommand::Run()
{
    if (!heat_.empty()) {
        Format format = Format::kUnknown;
        if (Failure failure = CheckOutput(heat_, Settings().mayReplace, &format)) return failure;
        if (format != Format::kPNG) {
            return UsageFailure("the heat map is a PNG picture", "", {}, Name());
        }
    }
    Progress progress(first_, second_, Settings().isQuiet);
    if (Failure failure = ReadBoth(progress)) return failure;
    const Failure different = {ExitCode::kDifferent, "", ""};
    Comparison comparison;
    if (a_.layout.width != b_.layout.width || a_.layout.height != b_.layout.height) {
        progress.Clear();
        const Failure told = TellResult(comparison, false);
        return told ? told : different;
    }
    const CompareOptions options = {isProfileAware_, !heat_.empty(), threshold_};
    if (Failure failure =
            ComparePictures({first_, a_}, {second_, b_}, options, progress, &comparison)) {
        return failure;
    }
    if (!heat_.empty()) {
        if (Failure failure = WriteHeat(comparison, progress)) return failure;
    }
    progress.Clear();
    const double pixels = static_cast<double>(a_.layout.width) * a_.layout.height;
    const bool isAlike = static_cast<double>(comparison.differing) <= pixels * mostPercent_ / 100;
    if (Failure failure = TellResult(comparison, isAlike)) return failure;
    return isAlike ? Done() : different;
}

}  // namespace

std::unique_ptr<Command> MakeDiffCommand()
{
    return std::make_unique<DiffCommand>();
}

}  // namespace px::tool
