// Locales: an identifier, and the languages the user prefers, both from the environment.

#include "Locale_p.h"

#include "Base/Platform/Platform.h"
#include "Classes.h"
#include "CoreFoundation/CFArray.h"
#include "String_p.h"

struct __CFLocale : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kLocale;
    constexpr explicit __CFLocale(const __CFString* constant)
        : Object(kType, px::cf::kImmortal), identifier(constant)
    {
    }
    struct Adopt {};
    __CFLocale(Adopt, CFStringRef adopted) : Object(kType, 0), identifier(adopted) {}

    CFStringRef identifier;
};

namespace px::cf {

namespace {

constinit const __CFString emptyIdentifier{""};
constinit __CFLocale systemLocale(&emptyIdentifier);

constexpr char kDefaultIdentifier[] = "en_US";
constexpr const char* kLocaleVariables[] = {"LC_ALL", "LC_MESSAGES", "LANG"};

const __CFLocale* AsLocale(const Object* object)
{
    return static_cast<const __CFLocale*>(object);
}

bool EqualLocales(const Object* a, const Object* b, PairList&)
{
    return StringsEqual(AsLocale(a)->identifier, AsLocale(b)->identifier);
}

CFHashCode HashLocale(const Object* object)
{
    return HashOfString(AsLocale(object)->identifier);
}

void DestroyLocale(Object* object)
{
    auto* locale = static_cast<__CFLocale*>(object);
    CFRelease(locale->identifier);
    FreeObject(locale);
}

// A locale name without encoding and modifier; empty for the names that mean no locale.
std::string CutToIdentifier(const std::string& name)
{
    std::string identifier = name.substr(0, name.find_first_of(".@"));
    if (identifier == "C" || identifier == "POSIX") identifier.clear();
    return identifier;
}

std::string CurrentIdentifier()
{
    for (const char* variable : kLocaleVariables) {
        const char* value = os::Os().environment(variable);
        if (!value || !*value) continue;
        const std::string identifier = CutToIdentifier(value);
        return identifier.empty() ? kDefaultIdentifier : identifier;
    }
    return kDefaultIdentifier;
}

void AddLanguage(std::vector<std::string>& languages, std::string language)
{
    for (char& character : language) {
        if (character == '_') character = '-';
    }
    if (language.empty()) return;
    for (const std::string& known : languages) {
        if (known == language) return;
    }
    languages.push_back(std::move(language));
}

}  // namespace

const ClassInfo kLocaleClass = {"CFLocale", DestroyLocale, EqualLocales,
                                HashLocale, nullptr,       false};

std::vector<std::string> PreferredLanguages()
{
    std::vector<std::string> languages;
    const char* list = os::Os().environment("LANGUAGE");
    std::string rest = list ? list : "";
    while (!rest.empty()) {
        const size_t colon = rest.find(':');
        AddLanguage(languages, CutToIdentifier(rest.substr(0, colon)));
        rest = colon == std::string::npos ? "" : rest.substr(colon + 1);
    }
    AddLanguage(languages, CurrentIdentifier());
    return languages;
}

}  // namespace px::cf

using namespace px::cf;

CFTypeID CFLocaleGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::kLocale);
}

CFLocaleRef CFLocaleGetSystem(void)
{
    return &systemLocale;
}

CFLocaleRef CFLocaleCopyCurrent(void)
{
    const std::string identifier = CurrentIdentifier();
    CFStringRef text = NewUTF8String(identifier.data(), static_cast<CFIndex>(identifier.size()));
    if (!text) text = NewAsciiString(kDefaultIdentifier, sizeof(kDefaultIdentifier) - 1);
    if (!text) return nullptr;
    __CFLocale* made = NewObject<__CFLocale>(0, __CFLocale::Adopt{}, text);
    if (!made) CFRelease(text);
    return made;
}

CFLocaleIdentifier CFLocaleGetIdentifier(CFLocaleRef locale)
{
    return Check<const __CFLocale>(locale, __func__) ? locale->identifier : nullptr;
}

CFArrayRef CFLocaleCopyPreferredLanguages(void)
{
    Owned<CFMutableArrayRef> languages(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    if (!languages) return nullptr;
    for (const std::string& language : PreferredLanguages()) {
        const Owned<CFStringRef> text(
            NewUTF8String(language.data(), static_cast<CFIndex>(language.size())));
        if (text) CFArrayAppendValue(languages.Get(), text.Get());
    }
    return CFArrayCreateCopy(nullptr, languages.Get());
}
