#include "PXCore/PXColor.h"
#include "PXCore/PXDictionary.h"
#include "PXCore/PXString.h"
#include "PXCore/PXUtils.h"
#include "PXCore/PXVariant.h"
#include "PXCore/PXVariantPointerContainer.h"
#include "support/RefFind.h"
#include "support/Test.h"
#include "support/ValueTest.h"

namespace {

using namespace px::test;
using testing::ElementsAre;

constexpr CFStringRef kNullText = nullptr;
constexpr const char* kNullUtf8 = nullptr;
constexpr const UniChar* kNullUnits = nullptr;

class StringValue : public ValueTest {};
class VariantValue : public ValueTest {};
class DictionaryValue : public ValueTest {};
class TextCopy : public ValueTest {};

std::string Event(int number, int line)
{
    return "Event (" + std::to_string(number) + ") on line " + std::to_string(line) +
           " of PXString";
}

const UniChar* Units(const std::u16string& text)
{
    return reinterpret_cast<const UniChar*>(text.c_str());
}

PXString Make(const std::u16string& text)
{
    return {Units(text), static_cast<int>(text.size())};
}

PXString NullString()
{
    return PXString("\xFF");
}

TEST_F(StringValue, MakesFreshCopies)
{
    const auto source = ChangeableText(u"Lumi\u00E8re");
    const PXString fromString(source.Get()), copy(fromString);
    CFStringAppend(source, CFSTR("!"));
    EXPECT_EQ(u"Lumi\u00E8re", UnitsOf(fromString));
    EXPECT_TRUE(copy == fromString);
    EXPECT_NE(copy.toCFString(), fromString.toCFString());
    EXPECT_TRUE(PXString("Lumi\xC3\xA8re") == copy);
    EXPECT_EQ(u"Lum", UnitsOf(PXString(Units(u"Lumi\u00E8re"), 3)));
    EXPECT_EQ("\\", Utf8Of(PXString::pathSeparator()));
    EXPECT_TRUE(PXString().isEmpty());
    const std::unique_ptr<char, decltype(&std::free)> utf8(copy, std::free);
    EXPECT_STREQ("Lumi\xC3\xA8re", utf8.get());
    const std::unique_ptr<UniChar, decltype(&std::free)> wide(copy.ucs2Copy(), std::free);
    EXPECT_EQ(0, std::memcmp(u"Lumi\u00E8re\0", wide.get(), (7 + 2) * 2));
}

TEST_F(StringValue, ReportsMisuseByItsSite)
{
    const PXString null = NullString();
    const struct {
        const char* name;
        std::function<void()> misuse;
        std::vector<std::string> want;
    } rows[] = {
        {"text that is not UTF-8", [] { NullString(); }, {}},
        {"null units", [] { PXString(kNullUnits, 1); }, {Event(1005, 38)}},
        {"negative length", [] { PXString(Units(u"a"), -1); }, {Event(1005, 38)}},
        {"null string", [] { const PXString made(kNullText); }, {Event(1005, 60)}},
        {"null UTF-8", [] { const PXString made(kNullUtf8); }, {Event(1005, 72)}},
        {"copy of null", [&] { const PXString made(null); }, {Event(1005, 516)}},
        {"size", [&] { EXPECT_EQ(0, null.size()); }, {Event(1003, 121)}},
        {"emptiness", [&] { EXPECT_TRUE(null.isEmpty()); }, {Event(1003, 121)}},
        {"units", [&] { EXPECT_EQ(nullptr, null.ucs2Copy()); }, {Event(1003, 159)}},
        {"UTF-8", [&] { EXPECT_EQ(nullptr, null.utf8Copy()); }, {Event(1003, 169)}},
        {"conversion", [&] { EXPECT_EQ(nullptr, static_cast<char*>(null)); }, {}},
        {"assignment",
         [&] {
             PXString target("kept");
             target = null;
             EXPECT_TRUE(target == CFSTR("kept"));
             target = *&target;
             EXPECT_TRUE(target == CFSTR("kept"));
         },
         {Event(1005, 516)}},
        {"a variant of null",
         [&] { EXPECT_EQ(nullptr, PXVariant(null).stringValue().toCFString()); },
         {Event(1005, 516)}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EventLog events;
        row.misuse();
        EXPECT_EQ(row.want, events.Messages());
    }
}

// Calls `check` with the same needle in each of its types.
template <class Check>
void ForEachNeedle(const std::u16string& needle, const Check& check)
{
    const PXString value = Make(needle);
    const std::string utf8 = Utf8Of(value);
    check(value.toCFString());
    check(value);
    check(Units(needle));
    check(utf8.c_str());
    if (needle.size() == 1) check(static_cast<UniChar>(needle[0]));
}

TEST_F(StringValue, SearchesTheWholeTextInEachOverload)
{
    const PXString text("abcb");
    ForEachNeedle(u"b", [&](const auto& needle) {
        EXPECT_EQ(1, text.indexOf(needle, 5, true));
        EXPECT_EQ(3, text.lastIndexOf(needle, 5, true));
        EXPECT_TRUE(text.endsWith(needle, true));
        EXPECT_EQ(3U, text.split(needle).size());
        PXString longer(text);
        EXPECT_TRUE((longer += needle) == CFSTR("abcbb"));
    });
    EXPECT_TRUE(PXUtilsCFStringContainsString(text, CFSTR("BC")));
}

TEST_F(StringValue, AnswersNeutrallyWithoutText)
{
    PXString null = NullString();
    EventLog events;
    int asked = 0;
    ForEachNeedle(u"b", [&](const auto& needle) {
        EXPECT_EQ(0, null.indexOf(needle, 0, true));
        EXPECT_EQ(0, null.lastIndexOf(needle, 0, true));
        EXPECT_FALSE(null.endsWith(needle, true));
        EXPECT_TRUE(null.split(needle).empty());
        null += needle;
        asked += 5;
    });
    EXPECT_FALSE(null.contains("b", true));
    EXPECT_FALSE(null == CFSTR("b") || null != CFSTR("b") || null < CFSTR("b") ||
                 null > CFSTR("b"));
    EXPECT_TRUE(null <= CFSTR("b") && null >= CFSTR("b"));
    null.chop(1);
    EXPECT_EQ(asked + 8, events.Count(1003));
    EXPECT_EQ(0, events.Count(1005));
    PXString text("b");
    const auto ask = [&](const auto& needle) {
        EXPECT_EQ(0, text.indexOf(needle, 0, true));
        EXPECT_EQ(0, text.lastIndexOf(needle, 0, true));
        EXPECT_FALSE(text.endsWith(needle, true));
        EXPECT_TRUE(text.split(needle).empty());
    };
    ask(kNullText);
    ask(kNullUtf8);
    ask(kNullUnits);
    ask(null);
    EXPECT_FALSE(text == null || text != null || text < null || text > kNullText);
    EXPECT_EQ(16 + 4, events.Count(1005));
    text += "\xFF";
    EXPECT_EQ(16 + 4, events.Count(1005));
    text += kNullUtf8;
    EXPECT_EQ(16 + 5, events.Count(1005));
    EXPECT_TRUE(text == CFSTR("b"));
    null.clear();
    EXPECT_TRUE((null += "is back") == CFSTR("is back"));
}

TEST_F(StringValue, AgreesWithANaiveSearch)
{
    std::mt19937_64 random(Seed(230));
    const auto draw = [&](size_t longest, std::u16string_view letters) {
        std::u16string text(random() % (longest + 1), u' ');
        for (char16_t& unit : text) unit = letters[random() % letters.size()];
        return text;
    };
    for (int step = 0; step < 4000; ++step) {
        const bool caseSensitive = random() % 2;
        // Halves of pairs are no characters and so have no folding.
        const std::u16string_view letters =
            caseSensitive ? u"abA\u00E9\u6F22\xD83D\xDE00" : u"abAB\u00E9\u00C9\u6F22";
        const std::u16string hay = draw(20, letters), needle = draw(3, letters);
        SCOPED_TRACE(Utf8Of(Text(hay)) + " / " + Utf8Of(Text(needle)));
        const PXString text = Make(hay), sought = Make(needle);
        const auto find = [&](bool isBackwards, bool isAnchored) {
            const auto match = RefFind(hay, needle, !caseSensitive, isBackwards, isAnchored);
            return match ? static_cast<int>(match->first) : -1;
        };
        EXPECT_EQ(find(false, false), text.indexOf(sought, step, caseSensitive));
        EXPECT_EQ(find(true, false), text.lastIndexOf(sought, step, caseSensitive));
        EXPECT_EQ(find(false, false) >= 0, text.contains(sought, caseSensitive));
        EXPECT_EQ(needle.empty() || find(true, true) >= 0, text.endsWith(sought, caseSensitive));
        const int order = hay.compare(needle);
        EXPECT_TRUE((text < sought) == (order < 0) && (text > sought) == (order > 0));
        EXPECT_TRUE((text == sought) == (order == 0) && (text != sought) == (order != 0));
        EXPECT_TRUE((text <= sought) == (order <= 0) && (text >= sought) == (order >= 0));

        std::vector<std::u16string> pieces, want;
        for (const PXString& piece : text.split(sought)) pieces.push_back(UnitsOf(piece));
        size_t from = 0, at = 0;
        while (!needle.empty() && (at = hay.find(needle, from)) != std::u16string::npos) {
            want.push_back(hay.substr(from, at - from));
            from = at + needle.size();
        }
        want.push_back(hay.substr(from));
        EXPECT_EQ(want, pieces);

        PXString chopped(text);
        const int n = static_cast<int>(random() % 24) - 2;
        chopped.chop(n);
        const size_t cut = std::min(hay.size(), static_cast<size_t>(std::max(n, 0)));
        EXPECT_EQ(hay.substr(0, hay.size() - cut), UnitsOf(chopped));
    }
}

std::string Encoded(CFStringRef text)
{
    const Owned<CFDataRef> bytes(
        CFStringCreateExternalRepresentation(nullptr, text, kCFStringEncodingUTF8, '*'));
    return BytesOf(bytes);
}

TEST_F(TextCopy, IsUtf8WhereverTheFirstPassEnds)
{
    const std::u16string tails[] = {u"",           u"z",      u"\u00E9",           u"\u6F22\u6F22",
                                    u"\U0001F600", u"\xD83D", u"\xDE00\U0001F600", u"\U0001F600z"};
    for (size_t filled = 0; filled < 8; ++filled)
        for (const std::u16string& tail : tails)
            for (const char16_t* filler : {u"a", u"\u00E9", u"\u6F22", u"\U0001F600"}) {
                std::u16string text;
                for (size_t i = 0; i < filled; ++i) text += filler;
                text += tail;
                const auto string = Text(text);
                const std::unique_ptr<char, decltype(&std::free)> copy(
                    PXUtilsGetUTF8StringCopy(string), std::free);
                EXPECT_EQ(Encoded(string), copy.get());
                EXPECT_EQ(Encoded(string).substr(0, text.size()),
                          PXUtilsCFStringToStdString(string));
            }
    EventLog events;
    EXPECT_EQ("", PXUtilsCFStringToStdString(nullptr));
    EXPECT_EQ(0, events.Count(1005));
    EXPECT_EQ(nullptr, PXUtilsGetUTF8StringCopy(nullptr));
    EXPECT_EQ(nullptr, PXUtilsGetUniCharStringCopy(nullptr));
    EXPECT_EQ(2, events.Count(1005));
}

// Says what happens to it, and opens what is protected.
class Probe : public PXVariant {
public:
    using PXVariant::createPXColor;
    using PXVariant::operator=;
    using PXVariant::PXVariant;
    using PXVariant::reset;
    explicit Probe(uint32_t tag) { tag_ = tag; }

    uint32_t Tag() const { return tag_; }
    void createInt32(int32_t value) override
    {
        ++created;
        PXVariant::createInt32(value);
    }
    int created = 0;
};

// The tests that read the tag are called one by one through their slots elsewhere.
void ExpectKind(const PXVariant& variant, size_t tag)
{
    uint32_t stored = 0;
    std::memcpy(&stored, reinterpret_cast<const char*>(&variant) + sizeof(void*), sizeof(stored));
    EXPECT_EQ(tag, stored);
}

// One kind in and out, copied, assigned over another kind, and asked for by the checked accessors.
template <class T>
void CheckKind(size_t tag, const T& value, T& (PXVariant::*get)() const noexcept,
               PXStatus (PXVariant::*tryGet)(T*) const)
{
    SCOPED_TRACE(tag);
    const auto isSame = [](const T& a, const T& b) {
        if constexpr (std::is_trivially_copyable_v<T>)
            return std::memcmp(&a, &b, sizeof(T)) == 0;
        else
            return a == b;
    };
    const PXVariant variant(value), copy(variant);
    PXVariant assigned(std::vector<int>{1, 2});
    assigned = copy;
    assigned = *&assigned;
    for (const PXVariant* each : {&variant, &copy, &static_cast<const PXVariant&>(assigned)}) {
        ExpectKind(*each, tag);
        EXPECT_TRUE(isSame(value, (each->*get)()));
    }
    EXPECT_NE(&(variant.*get)(), &(copy.*get)());
    T out = {};
    EventLog events;
    EXPECT_EQ(kPXOK, (variant.*tryGet)(&out));
    EXPECT_TRUE(isSame(value, out));
    EXPECT_EQ(kPXErrBadArgument, (variant.*tryGet)(nullptr));
    EXPECT_EQ(kPXErrBadArgument, (PXVariant().*tryGet)(&out));
    EXPECT_TRUE(isSame(value, out));
    EXPECT_EQ(2, events.Count(1005));
}

TEST_F(VariantValue, KeepsEachKind)
{
    ExpectKind(PXVariant(), 0);
    using V = PXVariant;
    CheckKind<uint8_t>(1, 0xAB, &V::uint8Value, &V::tryGetUInt8);
    CheckKind<uint16_t>(2, 0xABCD, &V::uint16Value, &V::tryGetUInt16);
    CheckKind<int16_t>(3, -2, &V::int16Value, &V::tryGetInt16);
    CheckKind<uint32_t>(4, 0xABCDEF01, &V::uint32Value, &V::tryGetUInt32);
    CheckKind<int32_t>(5, -3, &V::int32Value, &V::tryGetInt32);
    CheckKind<int64_t>(6, INT64_MIN, &V::int64Value, &V::tryGetInt64);
    CheckKind<float>(7, 0.1F, &V::floatValue, &V::tryGetFloat);
    CheckKind<double>(8, 0.1, &V::doubleValue, &V::tryGetDouble);
    CheckKind<bool>(9, true, &V::boolValue, &V::tryGetBool);
    CheckKind<PXPoint>(10, {1, 2}, &V::pxPointValue, &V::tryGetPXPoint);
    CheckKind<PXPointF>(11, {1, 2}, &V::pxPointFValue, &V::tryGetPXPointF);
    CheckKind<PXSize>(12, {1, 2}, &V::pxSizeValue, &V::tryGetPXSize);
    CheckKind<PXSizeF>(13, {1, 2}, &V::pxSizeFValue, &V::tryGetPXSizeF);
    CheckKind<PXRect>(14, {1, 2, 3, 4}, &V::pxRectValue, &V::tryGetPXRect);
    CheckKind<PXRectF>(15, {1, 2, 3, 4}, &V::pxRectFValue, &V::tryGetPXRectF);
    CheckKind<PXOrientation>(16, {{1, 2, 3, 4, 5, 6, 7}}, &V::pxOrientationValue,
                             &V::tryGetPXOrientation);
    CheckKind<PXPreviewScene>(17, {1, 2, 3, 4, 5, 6}, &V::pxPreviewSceneValue,
                              &V::tryGetPXPreviewScene);
    CheckKind<PXString>(19, "text", &V::stringValue, &V::tryGetString);
    CheckKind<std::deque<PXString>>(20, {"a", "b"}, &V::stringListValue, &V::tryGetStringList);
    CheckKind<std::vector<int>>(21, {1, -2}, &V::intVectorValue, &V::tryGetIntVector);
}

TEST_F(VariantValue, WrongPlainKindGivesTheOtherKindsBytes)
{
    EXPECT_EQ(0x3F800000U, PXVariant(1.0F).uint32Value());
    EXPECT_EQ(7, PXVariant(uint8_t{7}).int64Value());
    EXPECT_EQ(0, PXVariant(int64_t{7}).pxOrientationValue().values[6]);
}

TEST_F(VariantValue, HoldsOneReferenceToAnObject)
{
    int target = 0;
    auto* object = new PXVariantPointerContainer(&target);
    {
        const PXVariant first(object);
        ExpectKind(first, 22);
        EXPECT_EQ(2, object->RetainCount());
        PXVariant second(5);
        second = first;
        EXPECT_EQ(3, object->RetainCount());
        CBaseCore* lent = nullptr;
        EXPECT_EQ(kPXOK, second.tryGetObjectPtr(&lent));
        EXPECT_EQ(&target, static_cast<PXVariantPointerContainer*>(lent)->value());
        EXPECT_EQ(3, object->RetainCount());
        second = PXVariant(static_cast<CBaseCore*>(nullptr));
        EXPECT_EQ(2, object->RetainCount());
        ExpectKind(second, 22);
        EXPECT_EQ(nullptr, second.objectPtrValue());
    }
    EXPECT_EQ(1, object->RetainCount());
    PXVariantPointerContainer copy(*object);
    copy.setValue(nullptr);
    EXPECT_EQ(&target, object->value());
    EXPECT_EQ(1, copy.RetainCount());
    copy = *object;
    EXPECT_EQ(&target, copy.value());
    object->Release();
}

TEST_F(VariantValue, ClearsWithoutForgetting)
{
    Probe probe(std::vector<int>{1});
    probe.clear();
    EXPECT_EQ(21U, probe.Tag());
    probe.reset();
    ExpectKind(probe, 0);
    probe = PXVariant(8);
    EXPECT_EQ(1, probe.created);
    EXPECT_EQ(8, probe.int32Value());
    // A tag without a block travels alone.
    probe = Probe(uint32_t{19});
    ExpectKind(probe, 19);
}

TEST_F(VariantValue, HoldsColoursByTheirChannels)
{
    PXColor colour(1, -2, 300, 4);
    colour.presetData();
    const PXVariant first(colour);
    colour.clear();
    const PXVariant copy(first);
    ExpectKind(copy, 18);
    const PXColor* lent = nullptr;
    EXPECT_EQ(kPXOK, copy.tryGetColor(&lent));
    EXPECT_EQ(lent, &copy.colorValue());
    EXPECT_TRUE(*lent == PXColor(1, -2, 300, 4));
    EventLog events;
    EXPECT_EQ(kPXErrBadArgument, Probe(uint32_t{18}).tryGetColor(&lent));
    EXPECT_EQ(1, events.Count(1005));
}

TEST_F(DictionaryValue, EmptiesOnlyWhatItMade)
{
    Owned<CFMutableDictionaryRef> mine(PXUtilsCFDictionaryCreateMutable2());
    {
        PXDictionary wrapper(mine.Get());
        EXPECT_EQ(2, CFGetRetainCount(mine));
        wrapper.setIntValue(CFSTR("a"), 1);
        const PXDictionary reader(static_cast<CFDictionaryRef>(mine.Get()));
        EXPECT_EQ(1, reader.getIntValue(CFSTR("a"), 7));
    }
    EXPECT_EQ(1, CFGetRetainCount(mine));
    EXPECT_EQ(1, CFDictionaryGetCount(mine));

    struct Opened : PXDictionary {
        using PXDictionary::mutableDictionary_;
    };
    auto made = std::make_unique<Opened>();
    made->setIntValue(CFSTR("a"), 1);
    const Owned<CFDictionaryRef> seen(
        static_cast<CFDictionaryRef>(CFRetain(made->mutableDictionary_)));
    const Owned<CFMutableDictionaryRef> copy(made->copyDictionary());
    made.reset();
    EXPECT_EQ(0, CFDictionaryGetCount(seen));
    EXPECT_EQ(1, CFDictionaryGetCount(copy));
}

TEST_F(DictionaryValue, ConvertsNumbersAndKeepsDefaults)
{
    const Owned<CFMutableDictionaryRef> source(PXUtilsCFDictionaryCreateMutable2());
    PXDictionary dictionary(source.Get());
    const auto set = [&](CFTypeRef value) { CFDictionarySetValue(source, CFSTR("k"), value); };
    constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
    constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
    const struct {
        const char* name;
        Owned<CFNumberRef> number;
        signed char asChar;
        int asInt;
        int32_t asLong;
        double asDouble;
    } rows[] = {
        {"small", Number(int64_t{-5}), -5, -5, -5, -5},
        {"257", Number(int64_t{257}), 1, 257, 257, 257},
        {"2^32 + 5", Number((int64_t{1} << 32) + 5), 5, 5, kMax, 4294967301},
        {"-2^40", Number(-(int64_t{1} << 40)), 0, 0, kMin, -1099511627776},
        {"2.75", Number(2.75), 2, 2, 2, 2.75},
        {"-1e30", Number(-1e30), -128, kMin, kMin, -1e30},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        set(row.number);
        EXPECT_EQ(row.asChar, dictionary.getCharValue(CFSTR("k"), 9));
        EXPECT_EQ(row.asInt, dictionary.getIntValue(CFSTR("k"), 9));
        EXPECT_EQ(row.asLong, dictionary.getLongValue(CFSTR("k"), 9));
        EXPECT_EQ(row.asDouble, dictionary.getDoubleValue(CFSTR("k"), 9));
        EXPECT_EQ(static_cast<float>(row.asDouble), dictionary.getFloatValue(CFSTR("k"), 9));
    }
    for (CFTypeRef value : {static_cast<CFTypeRef>(CFSTR("12")), CFTypeRef{kCFBooleanTrue}}) {
        set(value);
        EXPECT_EQ(9, dictionary.getShortValue(CFSTR("k"), 9));
        EXPECT_EQ(9, dictionary.getLongValue(CFSTR("k"), 9));
        EXPECT_EQ(9, dictionary.getDoubleValue(CFSTR("k"), 9));
    }
    EXPECT_EQ(9, dictionary.getLongValue(CFSTR("absent"), 9));
    EXPECT_TRUE(dictionary.getBooleanValue(CFSTR("absent"), true));
    PXUtilsCFDictionarySetValueBool(source, CFSTR("k"), true);
    EXPECT_FALSE(dictionary.getBooleanValue(CFSTR("k"), true));
    EXPECT_TRUE(PXUtilsCFDictionaryGetValueBool(source, CFSTR("k")));
    dictionary.setLongValue(CFSTR("k"), kMin);
    const CFNumberRef stored = dictionary.getNumberValue(CFSTR("k"), nullptr);
    EXPECT_EQ(CFIndex{sizeof(long)}, CFNumberGetByteSize(stored));
    EXPECT_EQ(kMin, dictionary.getLongValue(CFSTR("k"), 9));
    EXPECT_EQ(stored, static_cast<CFTypeRef>(dictionary.getStringValue(CFSTR("k"), nullptr)));
}

TEST_F(DictionaryValue, IgnoresWhatItCannotDo)
{
    EventLog events;
    const Owned<CFMutableDictionaryRef> source(PXUtilsCFDictionaryCreateMutable2());
    PXDictionary reader(static_cast<CFDictionaryRef>(source.Get()));
    reader.setIntValue(CFSTR("k"), 1);
    reader.setBooleanValue(CFSTR("k"), true);
    EXPECT_EQ(0, CFDictionaryGetCount(source));
    PXDictionary writer(source.Get());
    writer.setDoubleValue(nullptr, 1);
    EXPECT_EQ(7, writer.getIntValue(nullptr, 7));
    EXPECT_EQ(0, writer.containsKey(nullptr));
    EXPECT_EQ(0, writer.containsValue(nullptr));
    PXDictionary null(static_cast<CFMutableDictionaryRef>(nullptr));
    EXPECT_EQ(nullptr, null.getKeys());
    EXPECT_EQ(nullptr, null.copyDictionary());
    null.setIntValue(CFSTR("k"), 1);
    EXPECT_EQ(9, events.Count(1005));
    EXPECT_EQ(7, null.getIntValue(CFSTR("k"), 7));
    EXPECT_EQ(9, events.Count(1005));
}

TEST_F(DictionaryValue, AgreesWithAStandardMap)
{
    std::mt19937_64 random(Seed(364));
    PXDictionary dictionary;
    EXPECT_TRUE(!dictionary.getKeys() && !dictionary.getValues());
    std::map<std::string, double> model;
    for (int step = 0; step < 3000; ++step) {
        const std::string name = "key " + std::to_string(random() % 40);
        const auto key = Text(name);
        const auto known = model.find(name);
        ASSERT_EQ(known == model.end() ? -1000 : known->second,
                  dictionary.getDoubleValue(key, -1000));
        ASSERT_EQ(known != model.end(), dictionary.containsKey(key));
        const auto value = static_cast<signed char>(random());
        const std::function<void()> sets[] = {
            [&] { dictionary.setCharValue(key, value); },
            [&] { dictionary.setShortValue(key, value); },
            [&] { dictionary.setIntValue(key, value); },
            [&] { dictionary.setLongValue(key, value); },
            [&] { dictionary.setFloatValue(key, value); },
            [&] { dictionary.setDoubleValue(key, value); },
        };
        sets[random() % std::size(sets)]();
        model[name] = value;
        ASSERT_EQ(1, dictionary.containsValue(Number(int64_t{value})));
        if (step % 100 != 0) continue;
        const CFArrayRef keys = dictionary.getKeys(), values = dictionary.getValues();
        ASSERT_EQ(static_cast<CFIndex>(model.size()), CFArrayGetCount(keys));
        ASSERT_EQ(static_cast<CFIndex>(model.size()), CFArrayGetCount(values));
        for (CFIndex i = 0; i < CFArrayGetCount(keys); ++i) {
            const auto* number = static_cast<CFNumberRef>(CFArrayGetValueAtIndex(values, i));
            ASSERT_EQ(model.at(Utf8Of(static_cast<CFStringRef>(CFArrayGetValueAtIndex(keys, i)))),
                      PXUtilsGetDoubleValue(number));
        }
    }
    // The array before is given up, and an owner sees it as it was.
    const Owned<CFArrayRef> former(static_cast<CFArrayRef>(CFRetain(dictionary.getKeys())));
    EXPECT_EQ(2, CFGetRetainCount(former));
    EXPECT_NE(former.Get(), dictionary.getKeys());
    EXPECT_EQ(1, CFGetRetainCount(former));
    EXPECT_EQ(static_cast<CFIndex>(model.size()), CFArrayGetCount(former));
}

// Whichever allocation fails first: neutral answers, nothing left behind.
TEST_F(DictionaryValue, LackOfMemoryIsSurvived)
{
    for (int allocations = 0; allocations < 60; ++allocations) {
        px::cf::FailAllocationsAfter(allocations);
        {
            PXString text("Lumi\xC3\xA8re");
            text += "s";
            (void)text.split("i").size();
            PXString copy(text);
            copy = text;
            copy.clear();
            copy.chop(1);
            std::free(text.utf8Copy());
            PXDictionary dictionary;
            dictionary.setIntValue(text, 1 << 30);
            PXUtilsCFDictionarySetValuePXRect(nullptr, text, {});
            (void)dictionary.getKeys();
            (void)dictionary.getValues();
            const Owned<CFMutableDictionaryRef> list(dictionary.copyDictionary());
            PXUtilsCFDictionarySetValuePXRect(list, text, {1, 2, 3, 4});
            const Owned<CFDataRef> xml(PXUtilsCreateXMLData(nullptr, list));
            CFPropertyListRef read = nullptr;
            PXUtilsCreatePropertyListFromData(xml, 0, &read);
            CFRelease(read);
        }
        px::cf::FailAllocationsAfter(-1);
    }
}

}  // namespace
