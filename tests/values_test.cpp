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
    const auto assign = [&] {
        PXString target("kept");
        target = null;
        EXPECT_TRUE(target == CFSTR("kept"));
        target = *&target;
        EXPECT_TRUE(target == CFSTR("kept"));
    };
    // The event that is logged, if any, and what leads to it.
    const Rows<const char*, std::function<void()>> rows = {
        {"text that is not UTF-8", nullptr, [] { NullString(); }},
        {"null units", "(1005) on line 38", [] { PXString(kNullUnits, 1); }},
        {"negative length", "(1005) on line 38", [] { PXString(Units(u"a"), -1); }},
        {"null string", "(1005) on line 60", [] { const PXString made(kNullText); }},
        {"null UTF-8", "(1005) on line 72", [] { const PXString made(kNullUtf8); }},
        {"copy of null", "(1005) on line 516", [&] { const PXString made(null); }},
        {"a variant of null", "(1005) on line 516",
         [&] { EXPECT_EQ(nullptr, PXVariant(null).stringValue().toCFString()); }},
        {"size", "(1003) on line 121", [&] { EXPECT_EQ(0, null.size()); }},
        {"emptiness", "(1003) on line 121", [&] { EXPECT_TRUE(null.isEmpty()); }},
        {"units", "(1003) on line 159", [&] { EXPECT_EQ(nullptr, null.ucs2Copy()); }},
        {"UTF-8", "(1003) on line 169", [&] { EXPECT_EQ(nullptr, null.utf8Copy()); }},
        {"conversion", nullptr, [&] { EXPECT_EQ(nullptr, static_cast<char*>(null)); }},
        {"assignment", "(1005) on line 516", assign},
    };
    for (const auto& [name, event, misuse] : rows) {
        EventLog events;
        misuse();
        std::vector<std::string> want;
        if (event) want.push_back("Event " + std::string(event) + " of PXString");
        EXPECT_EQ(want, events.Messages()) << name;
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
    if (PXString(utf8.c_str()) == value) check(utf8.c_str());  // no halves of pairs
    if (needle.size() == 1) check(static_cast<UniChar>(needle[0]));
}

TEST_F(StringValue, AnswersNeutrallyWithoutText)
{
    PXString null = NullString();
    EventLog events;
    const auto ask = [](const PXString& text, const auto& needle) {
        EXPECT_EQ(0, text.indexOf(needle, 0, true));
        EXPECT_EQ(0, text.lastIndexOf(needle, 0, true));
        EXPECT_FALSE(text.endsWith(needle, true));
        EXPECT_TRUE(text.split(needle).empty());
    };
    int asked = 0;
    ForEachNeedle(u"b", [&](const auto& needle) {
        ask(null, needle);
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
    ask(text, kNullText);
    ask(text, kNullUtf8);
    ask(text, kNullUnits);
    ask(text, null);
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

TEST_F(StringValue, EachOverloadAgreesWithANaiveSearch)
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
        const PXString text = Make(hay), value = Make(needle);
        const auto find = [&](bool isBackwards, bool isAnchored) {
            const auto match = RefFind(hay, needle, !caseSensitive, isBackwards, isAnchored);
            return match ? static_cast<int>(match->first) : -1;
        };
        std::vector<std::u16string> pieces;
        size_t from = 0, at = 0;
        while (!needle.empty() && (at = hay.find(needle, from)) != std::u16string::npos) {
            pieces.push_back(hay.substr(from, at - from));
            from = at + needle.size();
        }
        pieces.push_back(hay.substr(from));
        ForEachNeedle(needle, [&](const auto& sought) {
            EXPECT_EQ(find(false, false), text.indexOf(sought, step, caseSensitive));
            EXPECT_EQ(find(true, false), text.lastIndexOf(sought, step, caseSensitive));
            EXPECT_EQ(needle.empty() || find(true, true) >= 0,
                      text.endsWith(sought, caseSensitive));
            std::vector<std::u16string> split;
            for (const PXString& piece : text.split(sought)) split.push_back(UnitsOf(piece));
            EXPECT_EQ(pieces, split);
            PXString longer(text);
            EXPECT_EQ(hay + needle, UnitsOf(longer += sought));
        });
        EXPECT_EQ(find(false, false) >= 0, text.contains(value, caseSensitive));
        const int order = hay.compare(needle);
        EXPECT_TRUE((text < value) == (order < 0) && (text > value) == (order > 0));
        EXPECT_TRUE((text == value) == (order == 0) && (text != value) == (order != 0));
        EXPECT_TRUE((text <= value) == (order <= 0) && (text >= value) == (order >= 0));

        PXString chopped(text);
        const int n = static_cast<int>(random() % 24) - 2;
        chopped.chop(n);
        const size_t cut = std::min(hay.size(), static_cast<size_t>(std::max(n, 0)));
        EXPECT_EQ(hay.substr(0, hay.size() - cut), UnitsOf(chopped));
    }
    EXPECT_TRUE(PXUtilsCFStringContainsString(CFSTR("abcb"), CFSTR("BC")));
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
                const std::string want = Encoded(string, kCFStringEncodingUTF8, '*');
                const std::unique_ptr<char, decltype(&std::free)> copy(
                    PXUtilsGetUTF8StringCopy(string), std::free);
                EXPECT_EQ(want, copy.get());
                EXPECT_EQ(want.substr(0, text.size()), PXUtilsCFStringToStdString(string));
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
    PXColor colour;
    colour.setRgb(1, -2, 300, 4);
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
    constexpr int64_t kBillions = int64_t{1} << 32;
    const std::pair<Owned<CFNumberRef>, int32_t> numbers[] = {
        // clang-format off
        {Number(int64_t{-5}), -5}, {Number(int64_t{257}), 257}, {Number(kBillions + 5), INT32_MAX},
        {Number(-kBillions * 256), INT32_MIN}, {Number(2.75), 2}, {Number(-1e30), INT32_MIN},
        // clang-format on
    };
    for (const auto& [number, asLong] : numbers) {
        SCOPED_TRACE(asLong);
        set(number);
        // As the number itself has it, but for the long, which stops at its ends.
        const auto check = [&, &number = number](auto value, CFNumberType type, auto get) {
            CFNumberGetValue(number, type, &value);
            EXPECT_EQ(value, (dictionary.*get)(CFSTR("k"), 9));
        };
        check(char{}, kCFNumberCharType, &PXDictionary::getCharValue);
        check(short{}, kCFNumberShortType, &PXDictionary::getShortValue);
        check(int{}, kCFNumberIntType, &PXDictionary::getIntValue);
        check(float{}, kCFNumberFloatType, &PXDictionary::getFloatValue);
        check(double{}, kCFNumberDoubleType, &PXDictionary::getDoubleValue);
        EXPECT_EQ(asLong, dictionary.getLongValue(CFSTR("k"), 9));
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
    dictionary.setLongValue(CFSTR("k"), INT32_MIN);
    const CFNumberRef stored = dictionary.getNumberValue(CFSTR("k"), nullptr);
    EXPECT_EQ(CFIndex{sizeof(long)}, CFNumberGetByteSize(stored));
    EXPECT_EQ(INT32_MIN, dictionary.getLongValue(CFSTR("k"), 9));
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

TEST_F(DictionaryValue, ListsItsKeysAndValuesAsTheyAreNow)
{
    PXDictionary dictionary;
    EXPECT_TRUE(!dictionary.getKeys() && !dictionary.getValues());
    dictionary.setCharValue(CFSTR("char"), -1);
    dictionary.setShortValue(CFSTR("short"), -2);
    dictionary.setIntValue(CFSTR("int"), -3);
    dictionary.setLongValue(CFSTR("long"), -4);
    dictionary.setFloatValue(CFSTR("float"), -0.5);
    const auto keys =
        ArrayOf({CFSTR("char"), CFSTR("short"), CFSTR("int"), CFSTR("long"), CFSTR("float")});
    const auto values = ArrayOf({Number(int64_t{-1}), Number(int64_t{-2}), Number(int64_t{-3}),
                                 Number(int64_t{-4}), Number(-0.5)});
    EXPECT_TRUE(CFEqual(keys, dictionary.getKeys()));
    EXPECT_TRUE(CFEqual(values, dictionary.getValues()));
    // The array before is given up, and an owner sees it as it was.
    const Owned<CFArrayRef> former(static_cast<CFArrayRef>(CFRetain(dictionary.getKeys())));
    EXPECT_EQ(2, CFGetRetainCount(former));
    dictionary.setDoubleValue(CFSTR("int"), 0.1);
    dictionary.setDoubleValue(CFSTR("double"), 0.1);
    EXPECT_EQ(6, CFArrayGetCount(dictionary.getKeys()));
    EXPECT_EQ(1, CFGetRetainCount(former));
    EXPECT_TRUE(CFEqual(keys, former));
    EXPECT_EQ(0.1, dictionary.getDoubleValue(CFSTR("int"), 9));
    EXPECT_EQ(1, dictionary.containsKey(CFSTR("int")));
    EXPECT_EQ(1, dictionary.containsValue(Number(0.1)));
    EXPECT_EQ(0, dictionary.containsValue(Number(int64_t{-3})));
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
