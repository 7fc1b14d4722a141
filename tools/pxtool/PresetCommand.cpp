// PresetCommand — "pxtool preset": folders of presets, as applications keep them.

#include "CoreFoundation/CoreFoundation.h"
#include "PXCore/PXImageDerived.h"
#include "PXCore/PXPresetManager.h"
#include "pxtool/Command.h"
#include "pxtool/Json.h"
#include "pxtool/ListFile.h"
#include "pxtool/LogCapture.h"
#include "pxtool/Paths.h"
#include "pxtool/PictureCommand.h"
#include "pxtool/Records.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

namespace px::tool {

namespace {

constexpr int32_t kDefaultSide = 256;

// A preset of any module: what the manager keeps of the keys is enough here.
class AnyMaker final : public PXPresetMaker {
public:
    PXPreset* createPreset() override { return new PXPreset; }
};

class PresetCommand final : public Command {
public:
    const char* Name() const override { return "preset"; }
    const char* About() const override;
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    struct Action {
        std::string_view name;
        int least, most;  // words after FOLDER
        bool answersJson;
        Failure (PresetCommand::*run)();
    };
    static const Action kActions[];

    Failure Check(const Action** action);
    Failure Open();
    Failure List();
    Failure Show();
    Failure Lint();
    Failure Export();
    Failure Import();
    Failure Rename();
    Failure Sort();
    Failure Thumbnail();
    Failure Scale(Picture* picture, Progress& progress) const;
    Failure PrintNames(const std::deque<PXString>& names) const;
    // What the library said, as a failure about the folder.
    Failure Said(ExitCode code) const;
    PXString Word(size_t index) const { return PXString(words_[index].c_str()); }

    std::string action_;
    std::string folder_;
    std::string words_[4];
    std::string extension_ = ".pxcurve";
    bool isSorted_ = false;
    bool isJson_ = false;
    int32_t side_ = kDefaultSide;
    std::optional<LogCapture> log_;
    PXPresetManager manager_;
};

const PresetCommand::Action PresetCommand::kActions[] = {
    {"list", 0, 1, true, &PresetCommand::List},
    {"show", 2, 2, true, &PresetCommand::Show},
    {"lint", 0, 0, true, &PresetCommand::Lint},
    {"export", 2, 2, false, &PresetCommand::Export},
    {"import", 2, 2, false, &PresetCommand::Import},
    {"rename", 3, 3, false, &PresetCommand::Rename},
    {"sort", 1, 3, false, &PresetCommand::Sort},
    {"thumbnail", 3, 3, false, &PresetCommand::Thumbnail},
};

const char* PresetCommand::About() const
{
    return "Works on a folder of presets, which holds one folder for each category.\n"
           "\n"
           "list FOLDER [CATEGORY]                  the categories, or a category's presets\n"
           "show FOLDER CATEGORY NAME               what a preset holds\n"
           "lint FOLDER                             what is wrong in the folder\n"
           "export FOLDER CATEGORY ARCHIVE          a category as a zip archive\n"
           "import FOLDER ARCHIVE CATEGORY          and back, whole or not at all\n"
           "rename FOLDER CATEGORY OLD NEW          a preset, with its thumbnail and favourites\n"
           "sort FOLDER CATEGORY [NAME POSITION]    numbers the presets in reading order, or moves "
           "one\n"
           "                                        to a position, from 1, of the user's own "
           "order\n"
           "thumbnail FOLDER CATEGORY NAME PICTURE  makes a preset's thumbnail from a picture";
}

std::vector<Option> PresetCommand::Options()
{
    return {{"ACTION", &action_, "one of the above", "", true},
            {"FOLDER", &folder_, "the folder of a module's presets", "", true},
            {"FIRST", &words_[0], "see above"},
            {"SECOND", &words_[1], "see above"},
            {"THIRD", &words_[2], "see above"},
            {"FOURTH", &words_[3], "see above"},
            {"--ext", &extension_, "what names of presets end in (without this option: .pxcurve)",
             "EXT"},
            {"--sorted", &isSorted_, "list in the order of the user's own"},
            {"--size", &side_, "longer side of a thumbnail (without this option: 256)", "PIXELS",
             false, 16, 4096},
            {"--json", &isJson_, "answer list, show and lint in JSON"}};
}

Failure PresetCommand::Check(const Action** action)
{
    std::vector<std::string_view> names;
    for (const Action& each : kActions) names.push_back(each.name);
    size_t index = 0;
    if (Failure failure = ChooseWord(action_, names, "action", Name(), &index)) return failure;
    *action = &kActions[index];
    const auto given = std::count_if(std::begin(words_), std::end(words_),
                                     [](const std::string& word) { return !word.empty(); });
    if (given < (*action)->least || given > (*action)->most)
        return UsageFailure("'" + action_ + "' needs other words after the folder", "", {}, Name());
    if (isJson_ && !(*action)->answersJson)
        return UsageFailure("'" + action_ + "' has no answer in JSON", "", {}, Name());
    return Done();
}

// The manager would make a folder that is missing, which is not what was meant here.
Failure PresetCommand::Open()
{
    std::string folder = folder_;
    while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
    os::FileFacts facts;
    if (os::Os().factsOfPath(folder.c_str(), &facts) || !facts.isFolder)
        return CannotRead(folder_, "there is no such folder",
                          "name the folder that holds the categories");
    const size_t slash = folder.rfind('/');
    const std::string root = slash == std::string::npos ? "."
                             : slash == 0               ? "/"
                                                        : folder.substr(0, slash);
    if (manager_.initialize(PXString(root.c_str()), PXString(folder.substr(slash + 1).c_str()),
                            PXString(extension_.c_str())))
        return Done();
    return Said(ExitCode::kUsage);
}

Failure PresetCommand::Said(ExitCode code) const
{
    const std::string sentence = log_->First();
    return {code, sentence.empty() ? "'" + action_ + "' failed in '" + folder_ + "'" : sentence,
            "see pxtool preset lint"};
}

Failure PresetCommand::PrintNames(const std::deque<PXString>& names) const
{
    std::string text;
    for (const PXString& name : names) {
        const std::string line = UTF8Of(name);
        if (isJson_)
            text += (text.empty() ? "" : ", ") + JsonText(line);
        else
            text += line + "\n";
    }
    return Print(isJson_ ? "[" + text + "]\n" : text);
}

Failure PresetCommand::List()
{
    if (words_[0].empty()) {
        return PrintNames(manager_.getCategories());
    }
    if (!manager_.categoryExists(Word(0)))
        return CannotRead(words_[0], "there is no such category",
                          "see pxtool preset list " + folder_);
    return PrintNames(isSorted_ ? manager_.getPresetsByCustomSortOrder(Word(0))
                                : manager_.getPresets(Word(0)));
}

Failure PresetCommand::Show()
{
    PXString category = Word(0);
    PXString name = Word(1);
    if (manager_.checkFavorites(name) && category == PXPresetManager::kFavoritesCategory &&
        !manager_.redirectFavorite(Word(1), &category, &name))
        return Said(ExitCode::kInput);
    const auto url = CFRef<CFURLRef>::Adopt(manager_.copyPresetURL(name, category));
    if (!url) return Said(ExitCode::kInput);
    CFRef<CFPropertyListRef> list;
    CFPropertyListFormat format = 0;
    if (Failure failure = ReadListFile(PathOf(url.Get()), &list, &format)) return failure;
    if (isJson_) {
        return Print(JsonOf(list.Get()) + "\n");
    }
    PXPreset preset;
    if (CFGetTypeID(list.Get()) != CFDictionaryGetTypeID())
        return CannotRead(PathOf(url.Get()), "it is no preset", "see pxtool preset lint");
    preset.initWithPresetData(static_cast<CFDictionaryRef>(list.Get()));
    return Print(TextOf(Record{
        {"name", UTF8Of(preset.name())},
        {"author", UTF8Of(preset.author())},
        {"description", UTF8Of(preset.description())},
        {"factory", preset.isFactoryPreset() ? "yes" : "no"},
        {"order", std::to_string(preset.customSortOrder())},
        {"properties", std::to_string(preset.properties())},
        {"keys", std::to_string(CFDictionaryGetCount(static_cast<CFDictionaryRef>(list.Get())))}}));
}

Failure PresetCommand::Lint()
{
    const std::deque<PXPresetFault> faults = manager_.lint();
    std::string text;
    for (const PXPresetFault& fault : faults) {
        const std::string category = UTF8Of(fault.category);
        const std::string file = UTF8Of(fault.file);
        if (isJson_)
            text += (text.empty() ? "" : ", ") + ("{\"category\": " + JsonText(category)) +
                    ", \"file\": " + JsonText(file) +
                    ", \"fault\": " + JsonText(UTF8Of(fault.text)) + "}";
        else
            text +=
                (category.empty() ? "" : category + "/") + file + ": " + UTF8Of(fault.text) + "\n";
    }
    // Names of strangers steer no terminal.
    std::replace_if(
        text.begin(), text.end(),
        [](char c) { return c == 0x7F || (c >= 0 && c < ' ' && c != '\n'); }, '?');
    if (Failure failure = Print(isJson_ ? "[" + text + "]\n" : text)) return failure;
    if (faults.empty()) return Done();
    return {ExitCode::kInput, std::to_string(faults.size()) + " faults in '" + folder_ + "'",
            "rename or remove what is listed"};
}

Failure PresetCommand::Export()
{
    return manager_.exportCategory(Word(0), Word(1)) ? Done() : Said(ExitCode::kOutput);
}

Failure PresetCommand::Import()
{
    return manager_.importCategory(Word(0), Word(1)) ? Done() : Said(ExitCode::kInput);
}

Failure PresetCommand::Rename()
{
    AnyMaker maker;
    return manager_.renamePreset(Word(0), Word(1), Word(2), &maker) ? Done()
                                                                    : Said(ExitCode::kInput);
}

Failure PresetCommand::Sort()
{
    std::deque<PXString> names = words_[1].empty() ? manager_.getPresets(Word(0))
                                                   : manager_.getPresetsByCustomSortOrder(Word(0));
    if (names.empty())
        return CannotRead(words_[0], "there are no presets in it",
                          "see pxtool preset list " + folder_);
    if (!words_[1].empty()) {
        size_t position = 0;
        const std::string& word = words_[2];
        const auto end = std::from_chars(word.data(), word.data() + word.size(), position);
        if (word.empty() || end.ptr != word.data() + word.size() || position < 1 ||
            position > names.size())
            return UsageFailure(
                "'" + word + "' is no position from 1 to " + std::to_string(names.size()), "", {},
                Name());
        const PXString name = Word(1);
        const auto found = std::find_if(names.begin(), names.end(),
                                        [&](const PXString& each) { return each == name; });
        if (found == names.end())
            return CannotRead(words_[1], "there is no such preset", "see pxtool preset list");
        names.erase(found);
        names.insert(names.begin() + static_cast<std::ptrdiff_t>(position - 1), name);
    }
    return manager_.setCustomSortOrder(Word(0), names) ? Done() : Said(ExitCode::kOutput);
}

Failure PresetCommand::Scale(Picture* picture, Progress& progress) const
{
    const PictureLayout& layout = picture->layout;
    const double factor = std::min(1.0, double(side_) / std::max(layout.width, layout.height));
    const auto side = [&](int32_t pixels) {
        return std::max(1, static_cast<int32_t>(std::floor(pixels * factor + 0.5)));
    };
    const CallProgress call(progress);
    const PXImageScaleOptions options = {kPXBlitLanczos3, kPXDataSourceDefault, 0, call.Get()};
    ImageOwner scaled;
    if (const PXStatus status = PXImageCreateScaled(picture->image.Get(),
                                                    {0, 0, side(layout.width), side(layout.height)},
                                                    &options, scaled.Receive()))
        return CallProgress::FailureOf(status, words_[2]);
    TakeImage(std::move(scaled), picture);
    return Done();
}

Failure PresetCommand::Thumbnail()
{
    if (!manager_.presetExists(Word(1), Word(0)))
        return CannotRead(words_[1], "there is no such preset", "see pxtool preset list");
    PictureFiles files;
    files.input = words_[2];
    files.output = PathOf(manager_.getCategoryImagePath(Word(0), Word(1)));
    return ChangePicture(
        files, [this](Picture* picture, Progress& progress) { return Scale(picture, progress); });
}

Failure PresetCommand::Run()
{
    const Action* action = nullptr;
    if (Failure failure = Check(&action)) return failure;
    log_.emplace();
    if (Failure failure = Open()) return failure;
    return (this->*action->run)();
}

}  // namespace

std::unique_ptr<Command> MakePresetCommand()
{
    return std::make_unique<PresetCommand>();
}

}  // namespace px::tool
