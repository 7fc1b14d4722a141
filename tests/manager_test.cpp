#include "PXCore/PXBezierCurve.h"
#include "PXCore/PXPresetManager.h"
#include "PXCore/PXUtils.h"
#include "PXCore/PresetArchive.h"
#include "PXCore/PresetFiles.h"
#include "support/FakePlatform.h"
#include "support/TempFolder.h"
#include "support/Test.h"
#include "support/ValueTest.h"

namespace fs = std::filesystem;

namespace {

using namespace px::test;
using namespace testing;

class Maker final : public PXPresetMaker {
public:
    explicit Maker(PXPreset* (*make)()) : make_(make) {}
    PXPreset* createPreset() override { return make_(); }

private:
    PXPreset* (*make_)();
};

class PlainFactory final : public PXPresetFactory {};

class PresetManager : public InTempFolder<ValueTest> {
protected:
    PresetManager()
    {
        // Looked up once in the process.
        PXPresetManager::getFavoritesName();
        PXPresetManager::getFavoriteLooksName();
        manager_.initialize(Path("").c_str(), "Curves", "pxcurve");
        manager_.addCategory("Warm");
    }

    static PXString S(const std::string& text) { return PXString(text.c_str()); }

    bool Save(const std::string& category, const std::string& name, int sortOrder = 0)
    {
        PXPreset preset;
        preset.setName(S(name));
        if (sortOrder) preset.setCustomSortOrder(sortOrder);
        return manager_.savePreset(S(category), &preset);
    }

    void WriteList(const std::string& path, const std::string& inner)
    {
        Write("Curves/" + path, "<plist version=\"1.0\">" + inner + "</plist>");
    }

    static std::vector<std::string> Names(const std::deque<PXString>& list)
    {
        std::vector<std::string> names;
        for (const PXString& name : list) names.push_back(Utf8Of(name));
        return names;
    }

    std::vector<std::string> Loaded(const std::string& category)
    {
        std::deque<PXPreset*> presets;
        manager_.loadCategory(&plain_, S(category), &presets);
        std::vector<std::string> names;
        for (PXPreset* preset : presets) names.push_back(Utf8Of(preset->name()));
        PXPresetManager::releasePresetList(&presets);
        return names;
    }

    std::vector<std::string> Sorted()
    {
        return Names(manager_.getPresetsByCustomSortOrder("Warm"));
    }

    // Every file below the temporary folder.
    std::vector<std::string> Files() const
    {
        std::vector<std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(root_))
            if (!entry.is_directory()) files.push_back(fs::relative(entry, root_).string());
        std::sort(files.begin(), files.end());
        return files;
    }

    PXPresetManager manager_;
    Maker plain_{[] { return new PXPreset; }};
};

TEST_F(PresetManager, KeepsWhatItWasInitializedWith)
{
    EXPECT_EQ(".pxcurve", Utf8Of(manager_.getFileExtension()));
    EXPECT_EQ("Curves", Utf8Of(manager_.getPresetFolderName()));
    EXPECT_TRUE(fs::is_directory(Utf8Of(manager_.getModuleDataPath())));
    EXPECT_TRUE(manager_.useCategoryExclusionList());
    PXPresetManager dotted(Path("").c_str(), "Dots", ".a.b");
    EXPECT_EQ(".a.b", Utf8Of(dotted.getFileExtension()));
    EventLog events;
    Write("file", "");
    EXPECT_FALSE(dotted.initialize(Path("file").c_str(), "Curves", "x"));
    EXPECT_THAT(
        events.Messages(),
        ElementsAre("initialize: Could not create 'Curves' directory in '" + Path("file") + "'"));
    EXPECT_FALSE(dotted.initialize(Path("").c_str(), "../Curves", "x"));
    EXPECT_FALSE(dotted.initialize(Path("").c_str(), "Curves", "/x"));
    EXPECT_TRUE(dotted.getCategories().empty());
    EXPECT_FALSE(dotted.addCategory("A"));
}

TEST_F(PresetManager, FindsTheFoldersOfProducts)
{
    FakeTable table;
    table.SetEnvironment(
        {{"HOME", Path("home")}, {"XDG_DATA_DIRS", Path("shared") + ":/usr/share"}});
    PXPresetManager manager("Atelier", true, kPXPresetSupportRoot, "Curves", "x");
    EXPECT_EQ(Path("home/.local/share/Atelier/Curves"), Utf8Of(manager.getModuleDataPath()));
    EXPECT_TRUE(manager.initialize("Atelier", false, kPXPresetSupportPresets, "Curves", "x"));
    EXPECT_EQ(Path("shared/Atelier/Presets/Curves"), Utf8Of(manager.getModuleDataPath()));
    EventLog events;
    EXPECT_FALSE(manager.initialize("Atelier", true, 7, "Curves", "x"));
    Write("home/.local/share/Block", "");
    EXPECT_FALSE(manager.initialize("Block", true, 0, "Curves", "x"));
    EXPECT_THAT(
        events.Messages(),
        ElementsAre("initialize: Could not get support URL for product: Atelier, user: true, "
                    "supportType: 7",
                    "initialize: Could not create 'Curves' directory '" +
                        Path("home/.local/share/Block") + "'"));
}

TEST_F(PresetManager, ListsCategoriesInReadingOrder)
{
    for (const char* name : {"look 10", "Look 9", "look 9b", "\xC3\x84pfel", "Zebra"})
        EXPECT_TRUE(manager_.addCategory(name));
    Write("Curves/Zebra/__EXCLUDE", "");
    Write("Curves/.hidden/x", "");
    Write("Curves/Hidden/__exclude", "");
    Write("Curves/file", "");
    EXPECT_THAT(Names(manager_.getCategories()), ElementsAre("Look 9", "look 9b", "look 10", "Warm",
                                                             "Zebra", "\xC3\x84pfel", "Favorites"));
    manager_.setUseCategoryExclusionList(false);
    EXPECT_THAT(Names(manager_.getCategories()), Contains("Hidden"));
    EXPECT_TRUE(manager_.categoryExists("Hidden"));
    EXPECT_FALSE(manager_.categoryExists("file") || manager_.categoryExists(".."));
}

TEST_F(PresetManager, ListsPresetsByNameCallbackAndSortOrder)
{
    EXPECT_TRUE(Save("Warm", "b", 3) && Save("Warm", "C") && Save("Warm", "a", 3));
    WriteList("Warm/d.pxcurve",
              "<dict><key>presetCommonData</key><dict><key>sortOrder</key>"
              "<integer>-1</integer></dict></dict>");
    Write("Curves/Warm/a.png", "");
    fs::create_directory(Path("Curves/Warm/folder.pxcurve"));
    EXPECT_THAT(Names(manager_.getPresets("Warm")), ElementsAre("a", "b", "C", "d"));
    EXPECT_THAT(Sorted(), ElementsAre("d", "C", "a", "b"));
    PXPresetManager::setPresetSortCallback([](const std::deque<PXString>& names) {
        return std::deque<PXString>(names.rbegin(), names.rend());
    });
    EXPECT_THAT(Names(manager_.getPresets("Warm")), ElementsAre("d", "C", "b", "a"));
    EXPECT_THAT(Sorted(), ElementsAre("d", "C", "b", "a"));
    PXPresetManager::setPresetSortCallback(nullptr);
    EXPECT_TRUE(manager_.setCustomSortOrder("Warm", {"b", "d", "C", "a"}));
    EXPECT_THAT(Sorted(), ElementsAre("b", "d", "C", "a"));
    EventLog events;
    EXPECT_FALSE(manager_.setCustomSortOrder("Warm", {"nobody"}));
    EXPECT_TRUE(manager_.getPresets("../Warm").empty());
    std::deque<PXPreset*> presets;
    EXPECT_TRUE(manager_.loadCategoryByCustomSortOrder(&plain_, "Warm", &presets));
    EXPECT_EQ(2, presets[1]->customSortOrder());
    PXPresetManager::releasePresetList(&presets);
}

TEST_F(PresetManager, KeepsTenThousandInOrder)
{
    std::mt19937_64 random(Seed(52));
    std::vector<std::string> names, sorted;
    std::multimap<uint64_t, std::string> bySortOrder;  // by name where the order is the same
    for (int i = 10'000; i < 20'000; ++i) {
        names.push_back(std::to_string(i));
        const uint64_t order = random() % 40;
        bySortOrder.emplace(order, names.back());
        WriteList("Warm/" + names.back() + ".pxcurve",
                  "<dict><key>presetName</key><string>" + names.back() +
                      "</string><key>sortOrder</key><integer>" + std::to_string(order) +
                      "</integer></dict>");
    }
    EXPECT_EQ(names, Loaded("Warm"));
    for (const auto& [order, name] : bySortOrder) sorted.push_back(name);
    EXPECT_EQ(sorted, Sorted());
}

TEST_F(PresetManager, SkipsAndReportsWhatCannotBeLoaded)
{
    WriteList("Warm/good.pxcurve", "<dict><key>presetName</key><string>good</string></dict>");
    WriteList("Warm/array.pxcurve", "<array/>");
    Write("Curves/Warm/empty.pxcurve", "");
    const std::string file = Path("Curves/Warm/");
    EventLog events;
    EXPECT_THAT(Loaded("Warm"), ElementsAre("good"));
    EXPECT_THAT(
        events.Messages(),
        ElementsAre(
            "createDictionary: Could not create dictionary for '" + file + "array.pxcurve'", _, _,
            "read: Invalid file size for '" + file + "empty.pxcurve'", _, _,
            StartsWith("loadCategory: Could not load preset 'empty' in category 'Warm' (")));
    EXPECT_EQ("<plist version=\"1.0\"><array/></plist>", Content(file + "array.pxcurve"));
}

TEST_F(PresetManager, SaysWhyAFileCannotBeRead)
{
    ASSERT_TRUE(Save("Warm", "a"));
    const std::string file = Path("Curves/Warm/a.pxcurve");
    const std::string load = "load: Could not load preset from file '" + file + "'";
    const std::string data = "createDictionary: Could not load data from file '" + file + "'";
    Maker empty([]() -> PXPreset* { return nullptr; });
    PlainFactory factory;
    for (PXPresetFactory* useless : std::vector<PXPresetFactory*>{&empty, &factory}) {
        EventLog events;
        EXPECT_EQ(nullptr, manager_.loadPreset("a", useless, "Warm"));
        EXPECT_THAT(
            events.Messages(),
            ElementsAre("load: Could not create preset from factory for file '" + file + "'",
                        load));
    }
    EventLog events;
    for (const Faulty faulty : {Faulty::kOpen, Faulty::kRead}) {
        FakePlatform platform(faulty, EIO);
        EXPECT_EQ(nullptr, manager_.loadPreset("a", &plain_, "Warm"));
    }
    EXPECT_EQ(nullptr, manager_.loadPreset("../Warm/a", &plain_, "Warm"));
    EXPECT_THAT(
        events.Messages(),
        ElementsAre("read: Could not open file '" + file + "' for reading", data, load,
                    "read: Bytes read (0) does not match file size (" +
                        std::to_string(fs::file_size(file)) + ") for file '" + file + "'",
                    data, load, "load: Refused the name '../Warm/a': it begins with a dot"));
}

class Dataless final : public PXPreset {
    CFDictionaryRef presetData() override { return nullptr; }
};

TEST_F(PresetManager, SaysWhyAPresetCannotBeSaved)
{
    EventLog events;
    Dataless dataless;
    PXPreset notXML;
    CFDictionarySetValue(As<CFMutableDictionaryRef>(notXML.presetData()), CFSTR("raw"), kCFNull);
    for (PXPreset* preset : {static_cast<PXPreset*>(&dataless), &notXML}) {
        preset->setName("a");
        EXPECT_FALSE(manager_.savePreset("Warm", preset));
    }
    EXPECT_FALSE(Save("Missing", "a"));
    FakePlatform platform(Faulty::kWrite, ENOSPC);
    EXPECT_FALSE(Save("Warm", "a", 5));
    std::vector<std::string> messages = events.Messages();
    std::erase_if(messages, [](const std::string& line) { return line.starts_with("Event"); });
    EXPECT_THAT(
        messages,
        ElementsAre(
            "savePreset: No data for preset 'a' in category 'Warm'",
            "savePreset: Could not create XML data from preset 'a' in category 'Warm'",
            "write: Could not open file '" + Path("Curves/Missing/a.pxcurve") + "' for writing",
            MatchesRegex("write: Bytes written .0. does not match bytes to write "
                         ".[0-9]+. for file '.*/Curves/Warm/a.pxcurve'")));
    EXPECT_THAT(Files(), IsEmpty());
}

// Whatever call fails, and wherever the process ends, the file holds the old or the new preset; the
// next start finds nothing else.
TEST_F(PresetManager, SavesWholeOrNotAtAll)
{
    ASSERT_TRUE(Save("Warm", "a", 1));
    const std::string file = Path("Curves/Warm/a.pxcurve");
    fs::permissions(file, fs::perms(0640));
    const std::string before = Content(file);
    ASSERT_TRUE(Save("Warm", "a", 2));
    const std::string after = Content(file);
    EXPECT_EQ(fs::perms(0640), fs::status(file).permissions());
    const auto expectWhole = [&](bool isSaved) {
        PXPresetManager next(Path("").c_str(), "Curves", "pxcurve");
        EXPECT_THAT(Files(), ElementsAre("Curves/Warm/a.pxcurve"));
        const std::string found = Content(file);
        EXPECT_TRUE(found == after || (!isSaved && found == before));
        ASSERT_TRUE(Save("Warm", "a", 1));
    };
    int step = 0;
    expectWhole(true);
    for (bool fails = true; fails; ++step) {
        SCOPED_TRACE(step);
        auto faulty = std::make_unique<FaultySaves>(step, EIO);
        const bool isSaved = Save("Warm", "a", 2);
        fails = faulty->Calls() > step;
        faulty = nullptr;
        expectWhole(isSaved);
        const auto die = [&] {
            FaultySaves dying(step, FaultySaves::kDies);
            Save("Warm", "a", 2);
        };
        if (fails) {
            EXPECT_EXIT(die(), ExitedWithCode(9), "");
        }
        expectWhole(false);
    }
    EXPECT_GT(step, 8);
}

TEST_F(PresetManager, LeavesTheFilesOfSavesUnderWay)
{
    for (const char* name : {".pxsave-1.tmp", ".pxsave-2.tmp", ".other.tmp"})
        Write(std::string("Curves/Warm/") + name, "");
    px::os::File file = px::os::kNoFile;
    ASSERT_EQ(0, px::os::Os().openFile(Path("Curves/Warm/.pxsave-1.tmp").c_str(),
                                       px::os::OpenMode::kReadWrite, &file));
    ASSERT_EQ(0, px::os::Os().lockFile(file));
    PXPresetManager next(Path("").c_str(), "Curves", "pxcurve");
    EXPECT_THAT(Files(), ElementsAre("Curves/Warm/.other.tmp", "Curves/Warm/.pxsave-1.tmp"));
    px::os::Os().closeFile(file);
}

TEST_F(PresetManager, TouchesNothingOutsideWhateverTheNames)
{
    const auto pieces =
        S("..,/,\\,.,a, ,:,CON,\n,\x01,nul.,\xC3\xA9,*,\xF0\x9F\x8C\x85,COM1,~,\x7F,?,"
          "Curves,%2e,\xC2\x85,__exclude,-,|,<,LPT\xC2\xB2.x")
            .split(",");
    std::mt19937_64 random(Seed(51));
    EventLog events;
    std::set<std::string> saved;
    for (int i = 0; i < 1000; ++i) {
        std::string name;
        for (uint64_t piece = random() % 4; piece < 4; ++piece)
            name += Utf8Of(pieces[random() % pieces.size()]);
        if (i % 50 == 0) name.assign(static_cast<size_t>(240 + i / 50), 'n');
        if (Save("Warm", name)) saved.insert(name);
        manager_.addCategory(S(name));
        manager_.deletePreset(S(name), "Nowhere");
        manager_.loadPreset(S(name), &plain_, S(name));
        manager_.renamePreset("Warm", "nobody", S(name), &plain_);
    }
    EXPECT_GT(saved.size(), 50U);
    EXPECT_EQ(saved.size(), Files().size());
    for (const std::string& file : Files()) {
        EXPECT_TRUE(file.starts_with("Curves/Warm/") && file.ends_with(".pxcurve")) << file;
        EXPECT_EQ(std::string::npos, file.find_first_of("\n\x01\\:*?|<", 12)) << file;
        EXPECT_LE(fs::path(file).filename().string().size(), 255U);
    }
    for (const auto& entry : fs::directory_iterator(root_))
        EXPECT_EQ("Curves", entry.path().filename());
    EXPECT_EQ(saved.size(), manager_.getPresets("Warm").size());
    const UniChar half[] = {'a', 0xD800};
    EXPECT_FALSE(manager_.addCategory(PXString(half, 2)));
    EXPECT_EQ("addCategory: Refused the name 'a?': it is not valid text", events.Last());
}

TEST_F(PresetManager, ReportsNamesThatDifferByCase)
{
    ASSERT_TRUE(Save("Warm", "Sunset"));
    EventLog events;
    EXPECT_TRUE(Save("Warm", "sunSet") && Save("Warm", "Sunset") && manager_.addCategory("WARM"));
    EXPECT_THAT(
        events.Messages(),
        ElementsAre(
            "'sunSet.pxcurve' differs only by case from 'Sunset.pxcurve' in category 'Warm'",
            "'WARM' differs only by case from 'Warm' in category 'WARM'"));
}

TEST_F(PresetManager, KeepsUnknownKeysThroughReadEditAndSave)
{
    WriteList("Warm/a.pxcurve",
              "<dict><key>presetCommonData</key><dict><key>presetName</key><string>a</string>"
              "<key>mood</key><string>calm</string></dict>"
              "<key>future</key><array><integer>1</integer></array>"
              "<key>id</key><integer>4</integer><key>controlPoints</key><array/></dict>");
    Maker curves([]() -> PXPreset* { return new PXBezierCurve(0, 256, 16); });
    for (PXPresetFactory* factory : {&plain_, &curves}) {
        PXPreset* preset = manager_.loadPreset("a", factory, "Warm");
        ASSERT_NE(nullptr, preset);
        if (auto* curve = dynamic_cast<PXBezierCurve*>(preset)) {
            EXPECT_EQ(4, curve->id());
            curve->setId(5);
        }
        preset->setAuthor("me");
        EXPECT_TRUE(manager_.savePreset("Warm", preset));
        PXPresetManager::releasePreset(preset);
    }
    const std::string content = Content(Path("Curves/Warm/a.pxcurve"));
    for (const char* kept : {"<key>future</key>\n\t<array>\n\t\t<integer>1</integer>", "calm", "me",
                             "<key>id</key>\n\t<integer>5</integer>"})
        EXPECT_THAT(content, HasSubstr(kept));
}

TEST_F(PresetManager, RenamesWithThumbnailAndSaysWhatFails)
{
    ASSERT_TRUE(Save("Warm", "old", 7) && Save("Warm", "other"));
    Write("Curves/Warm/old.png", "picture");
    EventLog events;
    const auto rename = [&](const char* from, const char* to) {
        return manager_.renamePreset("Warm", from, to, &plain_);
    };
    EXPECT_FALSE(rename("absent", "new"));
    EXPECT_EQ("renamePreset: Could load preset 'absent' in category 'Warm'", events.Last());
    for (const bool isSaved : {false, true}) {
        FakePlatform platform(isSaved ? Faulty::kRemove : Faulty::kWrite, EIO);
        EXPECT_FALSE(rename("old", isSaved ? "stays" : "new"));
        EXPECT_EQ(isSaved ? "renamePreset: Could delete preset 'old' in category 'Warm'"
                          : "renamePreset: Could save preset 'new' in category 'Warm'",
                  events.Last());
    }
    EXPECT_FALSE(rename("old", "other"));
    EXPECT_TRUE(rename("old", "old"));
    EXPECT_TRUE(rename("old", "OLD"));
    fs::create_hard_link(Path("Curves/Warm/OLD.pxcurve"), Path("Curves/Warm/new.pxcurve"));
    EXPECT_TRUE(rename("OLD", "new"));
    EXPECT_THAT(Files(), ElementsAre("Curves/Warm/new.png", "Curves/Warm/new.pxcurve",
                                     "Curves/Warm/other.pxcurve", "Curves/Warm/stays.pxcurve"));
    EXPECT_THAT(Sorted(), ElementsAre("other", "new", "stays"));
    EXPECT_EQ("picture", Content(Path("Curves/Warm/new.png")));
}

TEST_F(PresetManager, RedirectsFavouritesThroughRenames)
{
    ASSERT_TRUE(manager_.addCategory("Cold") && Save("Warm", "a") && Save("Cold", "a") &&
                Save("Warm", "b"));
    EXPECT_TRUE(manager_.loadFavorites(&plain_, nullptr) == false);
    EXPECT_TRUE(Loaded("Favorites").empty());
    EXPECT_TRUE(manager_.addFavorite("a", "Warm") && manager_.addFavorite("a", "Cold"));
    EXPECT_TRUE(manager_.addFavorite("a", "Warm") && manager_.addFavorite("b", "Warm"));
    EXPECT_FALSE(manager_.addFavorite("nobody", "Warm") || manager_.addFavorite("a", "Favorites"));
    EXPECT_THAT(Names(manager_.getPresets("Quarvo Favorite Looks")),
                ElementsAre("a", "a (Cold)", "b"));
    EXPECT_TRUE(manager_.renamePreset("Warm", "b", "c", &plain_));
    EXPECT_TRUE(manager_.renamePreset("Cold", "a", "ice", &plain_));
    EXPECT_TRUE(manager_.checkFavorites("c") && !manager_.checkFavorites("b"));
    PXString category, name;
    EXPECT_TRUE(manager_.redirectFavorite("a (Cold)", &category, &name));
    EXPECT_EQ("Cold ice", Utf8Of(category) + " " + Utf8Of(name));
    EXPECT_THAT(Loaded("Favorites"), ElementsAre("a", "ice", "c"));
    fs::remove(Path("Curves/Warm/c.pxcurve"));
    EventLog events;
    EXPECT_FALSE(manager_.redirectFavorite("c", &category, &name));
    EXPECT_EQ(
        "redirectFavorite: The preset 'c' in category 'Warm' that favorite 'c' stands for is "
        "missing",
        events.Last());
    EXPECT_THAT(Loaded("Favorites"), ElementsAre("a", "ice"));
    EXPECT_EQ("loadCategory: Could not load preset 'c' (Curves, .pxcurve)", events.Last());
    EXPECT_TRUE(manager_.removeFavorite("c") && !manager_.removeFavorite("c"));
    EXPECT_TRUE(Save("Favorites", "own") && manager_.redirectFavorite("own", &category, &name));
    EXPECT_EQ("Favorites own", Utf8Of(category) + " " + Utf8Of(name));
}

TEST_F(PresetManager, DeletesToTheTrashOrForGood)
{
    FakeTable table;
    table.SetEnvironment({{"HOME", Path("home")}});
    fs::create_directories(Path("home/.local/share"));
    ASSERT_TRUE(Save("Warm", "a") && Save("Warm", "b") && manager_.addCategory("Cold"));
    Write("Curves/Warm/a.png", "");
    // Without a desktop.
    EXPECT_TRUE(manager_.deletePreset("a", "Warm"));
    fs::create_directories(Path("outside/kept"));
    fs::create_directory_symlink(Path("outside"), Path("Curves/Cold/link"));
    Write("Curves/Cold/deep/er/x", "");
    EXPECT_TRUE(manager_.deleteCategory("Cold"));
    EXPECT_THAT(Files(), ElementsAre("Curves/Warm/b.pxcurve"));
    EXPECT_TRUE(fs::exists(Path("outside/kept")));
    // With one.
    table.SetEnvironment({{"XDG_DATA_HOME", Path("data")}, {"XDG_CURRENT_DESKTOP", "X"}});
    fs::create_directory(Path("data"));
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(Save("Warm", "\xC3\xA9 1"));
        EXPECT_TRUE(manager_.deletePreset("\xC3\xA9 1", "Warm"));
    }
    EXPECT_TRUE(manager_.deleteCategory("Warm"));
    EXPECT_THAT(
        Files(),
        ElementsAre("data/Trash/files/Warm/b.pxcurve", "data/Trash/files/\xC3\xA9 1.pxcurve",
                    "data/Trash/files/\xC3\xA9 1.pxcurve.2", "data/Trash/info/Warm.trashinfo",
                    "data/Trash/info/\xC3\xA9 1.pxcurve.2.trashinfo",
                    "data/Trash/info/\xC3\xA9 1.pxcurve.trashinfo"));
    EXPECT_THAT(Content(Path("data/Trash/info/\xC3\xA9 1.pxcurve.trashinfo")),
                MatchesRegex("\\[Trash Info\\]\nPath=/.*/Curves/Warm/%C3%A9%201.pxcurve\n"
                             "DeletionDate=....-..-..T..:..:..\n"));
    EventLog events;
    EXPECT_FALSE(manager_.deletePreset("b", "Warm") || manager_.deleteCategory("Warm"));
    EXPECT_EQ(2U, events.Messages().size());
}

TEST_F(PresetManager, DeletesNothingWhenTheTrashFails)
{
    ASSERT_TRUE(Save("Warm", "a"));
    bool isDeleted = false;
    for (int step = 0; !isDeleted; ++step) {
        SCOPED_TRACE(step);
        ASSERT_LT(step, 20);
        fs::remove_all(Path("data"));
        fs::create_directory(Path("data"));
        FaultySaves platform(step, EACCES);
        platform.SetEnvironment({{"XDG_DATA_HOME", Path("data")}, {"XDG_CURRENT_DESKTOP", "X"}});
        isDeleted = manager_.deletePreset("a", "Warm");
        EXPECT_EQ(isDeleted, !manager_.presetExists("a", "Warm"));
        // No call failed, or the file is where it was and nothing points to it.
        EXPECT_EQ(isDeleted, platform.Calls() <= step);
        EXPECT_EQ(isDeleted ? 2U : 1U, Files().size());
    }
}

TEST_F(PresetManager, NamesFilesAndShowsTheFolder)
{
    const Owned<CFURLRef> url(manager_.copyPresetURL("a b", "Warm"));
    EXPECT_THAT(Taken(CFURLCopyFileSystemPath(url, 0)), EndsWith("Curves/Warm/a b.pxcurve"));
    EXPECT_THAT(Taken(CFURLCopyFileSystemPath(manager_.getCategoryImagePath("Warm", "a"), 0)),
                EndsWith("/Curves/Warm/a.png"));
    EXPECT_EQ(nullptr, manager_.copyPresetURL("a/b", "Warm"));
    EXPECT_EQ(nullptr, manager_.getCategoryImagePath("a/b", "a"));
    FakeTable table;
    table.SetEnvironment({{"PATH", Path("bin")}});
    EventLog events;
    EXPECT_FALSE(manager_.launchFileBrowser());
    EXPECT_EQ("launchFileBrowser: Could not show '" + Path("Curves") + "'", events.Last());
    Write("bin/xdg-open", "#!/bin/sh\n");
    static std::string launched;
    table->launchProcess = [](const px::os::Launch& launch, uint32_t*) {
        launched = std::string(launch.path) + " " + launch.arguments[1];
        return ENOENT;
    };
    EXPECT_FALSE(manager_.launchFileBrowser());
    EXPECT_EQ(Path("bin/xdg-open") + " " + Path("Curves"), launched);
}

TEST_F(PresetManager, ListsWhatIsWrong)
{
    ASSERT_TRUE(Save("Warm", "good") && Save("Warm", "Good") &&
                manager_.addFavorite("good", "Warm"));
    Write("Curves/Warm/good.png", "");
    EXPECT_THAT(manager_.lint(), SizeIs(1));
    fs::remove(Path("Curves/Warm/Good.pxcurve"));
    EXPECT_TRUE(manager_.lint().empty());
    EXPECT_TRUE(manager_.deletePreset("good", "Warm"));
    Write("Curves/stray", "");
    Write("Curves/aux/x.pxcurve", "half");
    Write("Curves/Warm/.left.pxcurve", "");
    Write("Curves/Warm/lone.png", "");
    Write("Curves/Warm/\xFF.pxcurve", "");
    Write("Curves/Warm/__exclude", "");
    fs::create_directory(Path("Curves/Warm/folder"));
    WriteList("Warm/w:x.pxcurve", "<dict><key>presetName</key><string>y</string></dict>");
    EventLog events;
    std::vector<std::string> faults;
    for (const PXPresetFault& fault : manager_.lint())
        faults.push_back(Utf8Of(fault.category) + "/" + Utf8Of(fault.file) + ": " +
                         Utf8Of(fault.text));
    EXPECT_THAT(
        faults,
        UnorderedElementsAre(
            "/aux: as a name it is the name of a device", "aux/x.pxcurve: it cannot be read",
            "Favorites/good.pxcurve: the preset that it stands for is missing",
            "/stray: it is no category", "Warm/.left.pxcurve: it is no preset of this module",
            "Warm/folder: it is no file", "Warm/lone.png: it is a thumbnail without its preset",
            "Warm/w:x.pxcurve: as a name it holds one of the characters < > : \" | ? *",
            "Warm/w:x.pxcurve: the name inside is 'y'",
            "Warm/\uFFFD.pxcurve: as a name it is not valid text"));
}

using Contents = std::vector<std::pair<std::string, std::string>>;

std::string Zip(const Contents& files)
{
    std::vector<px::ArchiveEntry> entries;
    for (const auto& [name, bytes] : files)
        entries.push_back({name, CFRef<CFDataRef>::Adopt(DataOf(bytes).Detach())});
    return BytesOf(px::WriteArchive("Any", entries).Get());
}

TEST_F(PresetManager, TravelsAsAnArchive)
{
    ASSERT_TRUE(Save("Warm", "a") && Save("Warm", "\xC3\xA9 2"));
    Write("Curves/Warm/a.png", "picture");
    std::string archives[2];
    for (std::string& archive : archives) {
        EXPECT_TRUE(manager_.exportCategory("Warm", S(Path("warm.zip"))));
        archive = Content(Path("warm.zip"));
    }
    EXPECT_EQ(archives[0], archives[1]);
    EXPECT_TRUE(manager_.importCategory(S(Path("warm.zip")), "Copy"));
    for (const char* name : {"a.pxcurve", "\xC3\xA9 2.pxcurve", "a.png"})
        EXPECT_EQ(Content(Path("Curves/Warm/") + name), Content(Path("Curves/Copy/") + name));
    EventLog events;
    EXPECT_FALSE(manager_.exportCategory("Nothing", S(Path("none.zip"))));
    Write("Curves/Large/a.png", std::string(px::kMaxArchiveEntryBytes + 1, 'x'));
    EXPECT_FALSE(manager_.exportCategory("Large", S(Path("none.zip"))));
    EXPECT_THAT(events.Last(), HasSubstr("none.zip': it holds a file that is too large"));
    EXPECT_FALSE(manager_.importCategory(S(Path("none.zip")), "Copy"));
    EXPECT_FALSE(manager_.importCategory(S(Path("warm.zip")), "Copy"));
    EXPECT_EQ("importCategory: Could not import '" + Path("warm.zip") +
                  "' to category 'Copy': the category has a preset of the same name",
              events.Last());
}

TEST_F(PresetManager, RefusesArchivesOfStrangers)
{
    const std::string list = "<plist><dict/></plist>", zeros(1 << 20, '\0');
    std::string broken = Zip({{"a.pxcurve", list + std::string(200, ' ')}});
    broken[52] ^= 1;
    const std::multimap<std::string, std::string> rows = {
        {"it is no zip archive", "PK"},
        {"it is no zip archive", std::string(px::kMaxPresetBytes + 1, '\0')},
        {"a name that is refused", Zip({{"../a.pxcurve", list}})},
        {"a name that is refused", Zip({{"/a.pxcurve", list}})},
        {"a name that is refused", Zip({{"aux.pxcurve", list}})},
        {"no preset of this module", Zip({{"a.exe", list}})},
        {"a name twice", Zip({{"a.pxcurve", list}, {"A.pxcurve", list}})},
        {"packed too well", Zip({{"a.png", zeros}})},
        {"too large", Zip({{"a.png", std::string(px::kMaxArchiveEntryBytes + 1, 'x')}})},
        {"cannot be read", Zip({{"a.pxcurve", list}, {"b.pxcurve", "half"}})},
        {"damaged", broken},
        {"too many", Zip(Contents(px::kMaxArchiveEntries + 1))},
    };
    for (const auto& [reason, bytes] : rows) {
        Write("stranger.zip", bytes);
        EventLog events;
        EXPECT_FALSE(manager_.importCategory(S(Path("stranger.zip")), "Warm"));
        EXPECT_THAT(events.Last(), HasSubstr(reason));
        EXPECT_THAT(Files(), ElementsAre("stranger.zip"));
    }
}

}  // namespace
