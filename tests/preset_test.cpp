#include "PXCore/PXColor.h"
#include "PXCore/PXPreset.h"
#include "PXCore/PXUtils.h"
#include "support/Test.h"
#include "support/ValueTest.h"

namespace {

using namespace px::test;
using testing::ElementsAre;

class Preset : public ValueTest {};

// The keys that a preset holds.
std::set<std::string> KeysOf(CFDictionaryRef dictionary)
{
    std::vector<const void*> keys(static_cast<size_t>(CFDictionaryGetCount(dictionary)));
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), nullptr);
    std::set<std::string> names;
    for (const void* key : keys) names.insert(Utf8Of(static_cast<CFStringRef>(key)));
    return names;
}

TEST_F(Preset, ReadsTheCommonKeysByTheirRules)
{
    const auto nested = DictionaryOf({{CFSTR("presetName"), CFSTR("inner")}});
    const struct {
        const char* name;
        Owned<CFMutableDictionaryRef> dictionary;
        std::set<std::string> keys;
        const char* presetName;
    } rows[] = {
        {"nothing", DictionaryOf({}), {}, ""},
        {"all",
         DictionaryOf({{CFSTR("presetName"), CFSTR("Dusk")},
                       {CFSTR("author"), CFSTR("A")},
                       {CFSTR("description"), CFSTR("")},
                       {CFSTR("isFactoryPreset"), kCFBooleanTrue},
                       {CFSTR("sortOrder"), Number(int64_t{-4})},
                       {CFSTR("properties"), Number(int64_t{6})}}),
         {"author", "description", "isFactoryPreset", "presetName", "properties", "sortOrder"},
         "Dusk"},
        {"false and zeros",
         DictionaryOf({{CFSTR("isFactoryPreset"), kCFBooleanFalse},
                       {CFSTR("sortOrder"), Number(int64_t{0})},
                       {CFSTR("properties"), Number(int64_t{0})}}),
         {},
         ""},
        {"nested alone counts",
         DictionaryOf({{CFSTR("presetName"), CFSTR("outer")},
                       {CFSTR("author"), CFSTR("outer")},
                       {CFSTR("presetCommonData"), nested}}),
         {"presetName"},
         "inner"},
        {"other kinds",
         DictionaryOf({{CFSTR("presetName"), Number(int64_t{1})},
                       {CFSTR("isFactoryPreset"), Number(int64_t{1})},
                       {CFSTR("sortOrder"), CFSTR("3")},
                       {CFSTR("presetCommonData"), CFSTR("none")},
                       {CFSTR("author"), CFSTR("B")},
                       {CFSTR("unknown"), CFSTR("left to the module")}}),
         {"author"},
         ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        PXPreset preset;
        EXPECT_EQ(kPXOK, preset.initWithPresetData(row.dictionary));
        EXPECT_EQ(row.keys, KeysOf(preset.presetData()));
        EXPECT_EQ(row.presetName, Utf8Of(preset.name()));
        EXPECT_EQ(row.keys.count("isFactoryPreset") > 0, preset.isFactoryPreset());
        EXPECT_EQ(row.keys.count("sortOrder") ? -4 : 0, preset.customSortOrder());
        EXPECT_EQ(row.keys.count("properties") ? 6 : 0, preset.properties());
        EXPECT_EQ(row.keys.count("author") == 0, preset.author().isEmpty());
        EXPECT_TRUE(preset.description().isEmpty());
        // What is absent changes nothing.
        EXPECT_EQ(kPXOK, preset.initWithPresetData(DictionaryOf({})));
        EXPECT_EQ(row.keys, KeysOf(preset.presetData()));
        const PXPreset copy(preset);
        EXPECT_EQ(row.presetName, Utf8Of(copy.name()));
    }
}

TEST_F(Preset, ReadsRawDataOrChangesNothing)
{
    PXPreset preset;
    preset.setName(PXString("before"));
    EventLog events;
    for (const char* bad : {"", "<plist><array/></plist>", "<plist><dict><key>presetName</key>"})
        EXPECT_EQ(kPXErrCreate, preset.initWithPresetRawData(DataOf(bad))) << bad;
    EXPECT_EQ(3, events.Count(1002));
    EXPECT_THAT(events.Messages()[0], testing::EndsWith(" of PXPreset"));
    EXPECT_EQ("before", Utf8Of(preset.name()));
    EXPECT_EQ(kPXOK, preset.initWithPresetRawData(
                         DataOf("<plist><dict><key>presetName</key><string>after</string>"
                                "<key>sortOrder</key><integer>9</integer></dict></plist>")));
    EXPECT_EQ("after", Utf8Of(preset.name()));
    EXPECT_EQ(9, preset.customSortOrder());
}

TEST_F(Preset, LendsItsOwnDictionaryToModulesUntilItGoes)
{
    const auto module = DictionaryOf({});
    auto preset = std::make_unique<PXPreset>();
    preset->setFactoryPreset(true);
    preset->addModuleData(module);
    CFDictionaryRef nested = PXUtilsCFDictionaryGetCFDictionary(module, CFSTR("presetCommonData"));
    EXPECT_EQ(preset->presetData(), nested);
    preset->setAuthor(PXString("later"));
    EXPECT_THAT(KeysOf(nested), ElementsAre("author", "isFactoryPreset"));
    preset->deletePreset();
    preset.release();
    EXPECT_EQ(0, CFDictionaryGetCount(nested));
}

TEST_F(Preset, RefusesNullAndWorkThatIsAModules)
{
    PXPreset preset;
    EventLog events;
    EXPECT_EQ(kPXErrBadArgument, preset.initWithPresetData(nullptr));
    EXPECT_EQ(kPXErrBadArgument, preset.initWithPresetRawData(nullptr));
    preset.addModuleData(nullptr);
    EXPECT_EQ(3, events.Count(1005));
    EXPECT_EQ(kPXErrNotSupported,
              preset.applyToImage(nullptr, nullptr, 0, nullptr, nullptr, {}, 0));
    EXPECT_EQ(1, events.Count(1025));
}

TEST_F(Preset, DataCopiesTexts)
{
    PXPresetData own;
    PXString text("one");
    own.setPXStringValue(CFSTR("key"), text);
    text += "two";
    EXPECT_EQ("one", Utf8Of(own.getPXStringValue(CFSTR("key"), text)));
    EXPECT_EQ("onetwo", Utf8Of(own.getPXStringValue(CFSTR("absent"), text)));
    own.setIntValue(CFSTR("number"), 1);
    EXPECT_EQ("onetwo", Utf8Of(own.getPXStringValue(CFSTR("number"), text)));
    const Owned<CFMutableDictionaryRef> copy(own.copyPresetData());
    EXPECT_NE(own.getPresetData(), copy.Get());
    EventLog events;
    PXPresetData reader(static_cast<CFDictionaryRef>(copy.Get()));
    EXPECT_EQ(nullptr, reader.getMutablePresetData());
    reader.setPXStringValue(CFSTR("key"), text);
    own.setPXStringValue(CFSTR("key"), PXString("\xFF"));
    EXPECT_EQ(2, events.Count(1005));
    EXPECT_EQ("one", Utf8Of(reader.getPXStringValue(CFSTR("key"), text)));
    EXPECT_EQ("one", Utf8Of(own.getPXStringValue(CFSTR("key"), text)));
}

class ColorValue : public ValueTest {};

TEST_F(ColorValue, StoresChannelsAsGiven)
{
    PXColor none;
    EXPECT_TRUE(none.isValid() && none == PXColor(0, 0, 0, 255));
    EXPECT_THAT(KeysOf(none.presetData()), ElementsAre("qColorVersion"));
    EXPECT_EQ(1, PXUtilsCFDictionaryGetValueInt(none.presetData(), PXColor::kVersionKey));
    PXColor colour(300, -1, INT32_MIN, 51);
    EXPECT_EQ(300, PXUtilsCFDictionaryGetValueInt(colour.presetData(), CFSTR("red")));
    EXPECT_EQ(300, colour.red());
    EXPECT_EQ(static_cast<float>(300 / 255.0), colour.redF());
    const PXVec3F rgb = colour.rgbF();
    EXPECT_EQ(static_cast<float>(-1 / 255.0), rgb.y);
    EXPECT_EQ(static_cast<float>(INT32_MIN / 255.0), rgb.z);
    EXPECT_EQ(0.2F, colour.alphaF());
    colour.clear();
    EXPECT_TRUE(colour == PXColor());
    EXPECT_THAT(KeysOf(colour.presetData()),
                ElementsAre("alpha", "blue", "green", "qColorVersion", "red"));
}

TEST_F(ColorValue, TakesOverChannelsAlone)
{
    const auto given = DictionaryOf({{CFSTR("green"), Number(int64_t{7})},
                                     {CFSTR("qColorVersion"), Number(int64_t{99})},
                                     {CFSTR("presetName"), CFSTR("Moss")}});
    PXColor colour(1, 2, 3, 4);
    EXPECT_EQ(kPXOK, colour.initWithPresetData(given));
    EXPECT_TRUE(colour == PXColor(0, 7, 0, 255));
    EXPECT_FALSE(colour.presetData() == given.Get());
    EXPECT_EQ(0, CFDictionaryContainsKey(colour.presetData(), CFSTR("presetName")));
    EXPECT_EQ(kPXOK, colour.initWithPresetData(colour.presetData()));
    PXColor copy(colour);
    EXPECT_TRUE(copy == colour && !(copy != colour));
    copy = *&copy;
    copy.setAlpha(3);
    EXPECT_TRUE(copy != colour);
}

TEST_F(ColorValue, IsInvalidWithoutItsDictionary)
{
    PXColor colour(1, 2, 3, 4);
    colour.deletePreset();
    EXPECT_FALSE(colour.isValid());
    EXPECT_EQ(nullptr, colour.presetData());
    EXPECT_TRUE(colour == PXColor());
    EventLog events;
    colour.setRed(5);
    EXPECT_EQ(1, events.Count(1003));
    EXPECT_EQ(kPXErrBadArgument, colour.initWithPresetData(nullptr));
    EXPECT_EQ(1, events.Count(1005));
    EXPECT_TRUE(PXColor(colour).isValid());
}

}  // namespace
