// Locales: an identifier, and the languages the user prefers, both from the environment.

#include "Locale_p.h"

#include "Base/Platform/Platform.h"
#include "Classes.h"
#include "CoreFoundation/CFArray.h"
#include "String_p.h"
#include "URL_p.h"

#include <algorithm>

// Immutable. Language and country are null when the identifier has none.
struct __CFLocale : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kLocale;
    constexpr explicit __CFLocale(const __CFString* constant)
        : Object(kType, px::cf::kImmortal), identifier(constant)
    {
    }
    struct Adopt {};
    __CFLocale(Adopt, CFStringRef adopted) : Object(kType, 0), identifier(adopted) {}

    CFStringRef identifier;
    CFStringRef language = nullptr;
    CFStringRef country = nullptr;
};

namespace px::cf {

namespace {

constinit const __CFString emptyIdentifier{""};
constinit __CFLocale systemLocale(&emptyIdentifier);

constinit __CFString identifierKey{"kCFLocaleIdentifier"};
constinit __CFString languageCodeKey{"kCFLocaleLanguageCode"};
constinit __CFString countryCodeKey{"kCFLocaleCountryCode"};
constinit __CFString decimalSeparatorKey{"kCFLocaleDecimalSeparator"};
constinit __CFString groupingSeparatorKey{"kCFLocaleGroupingSeparator"};
constinit __CFString decimalSeparator{"."};
constinit __CFString groupingSeparator{","};

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
    CFRelease(locale->language);
    CFRelease(locale->country);
    FreeObject(locale);
}

// A locale name without encoding and modifier; empty for the names that mean no locale.
std::string CutToIdentifier(const std::string& name)
{
    std::string identifier = name.substr(0, name.find_first_of(".@"));
    if (identifier == "C" || identifier == "POSIX") identifier.clear();
    return identifier;
}

char Lower(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + 0x20) : character;
}

char Upper(char character)
{
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - 0x20) : character;
}

// A part between "-" and "_" in the form that its place and length give it: a script has four
// letters and stands behind the language, a region and what follows it are in capitals.
std::string CanonicalPart(std::string part, bool isLanguage, bool mayBeScript)
{
    const bool isScript = mayBeScript && part.size() == 4;
    for (size_t i = 0; i < part.size(); ++i) {
        const bool isCapital = isScript ? i == 0 : !isLanguage;
        part[i] = isCapital ? Upper(part[i]) : Lower(part[i]);
    }
    if (isLanguage) return part;
    return (isScript ? "-" : "_") + part;
}

std::string Canonical(const std::string& name)
{
    const std::string identifier = CutToIdentifier(name);
    if (identifier.empty() && !name.empty()) return kDefaultIdentifier;
    std::string canonical;
    size_t count = 0;
    for (size_t begin = 0; begin <= identifier.size();) {
        const size_t end = std::min(identifier.find_first_of("-_", begin), identifier.size());
        const std::string part = identifier.substr(begin, end - begin);
        if (!part.empty()) {
            canonical += CanonicalPart(part, count == 0, count == 1);
            ++count;
        }
        begin = end + 1;
    }
    return canonical;
}

// Takes over the parts of a canonical identifier. Null when memory runs out.
CFLocaleRef NewLocale(const std::string& canonical)
{
    Owned<CFStringRef> identifier(NewStringFrom(canonical));
    if (!identifier) return nullptr;
    __CFLocale* made = NewObject<__CFLocale>(0, __CFLocale::Adopt{}, identifier.Get());
    if (!made) return nullptr;
    static_cast<void>(identifier.Detach());
    const std::string language = canonical.substr(0, canonical.find_first_of("-_"));
    if (!language.empty()) made->language = NewStringFrom(language);
    if (const size_t mark = canonical.find('_'); mark != std::string::npos) {
        made->country =
            NewStringFrom(canonical.substr(mark + 1, canonical.find('_', mark + 1) - mark - 1));
    }
    return made;
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

extern "C" {

constinit const CFLocaleKey kCFLocaleIdentifier = &identifierKey;
constinit const CFLocaleKey kCFLocaleLanguageCode = &languageCodeKey;
constinit const CFLocaleKey kCFLocaleCountryCode = &countryCodeKey;
constinit const CFLocaleKey kCFLocaleDecimalSeparator = &decimalSeparatorKey;
constinit const CFLocaleKey kCFLocaleGroupingSeparator = &groupingSeparatorKey;

}  // extern "C"

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
    CFLocaleRef made = NewLocale(CurrentIdentifier());
    return made ? made : NewLocale(kDefaultIdentifier);  // the environment may hold any bytes
}

CFLocaleRef CFLocaleCreate(CFAllocatorRef, CFLocaleIdentifier localeIdentifier)
{
    std::string name;
    if (!Check<const String>(localeIdentifier, __func__) || !PathBytes(localeIdentifier, &name)) {
        return nullptr;
    }
    return NewLocale(Canonical(name));
}

CFLocaleRef CFLocaleCreateCopy(CFAllocatorRef, CFLocaleRef locale)
{
    if (!Check<const __CFLocale>(locale, __func__)) return nullptr;
    return static_cast<CFLocaleRef>(CFRetain(locale));
}

CFLocaleIdentifier CFLocaleCreateCanonicalLocaleIdentifierFromString(CFAllocatorRef,
                                                                     CFStringRef localeIdentifier)
{
    std::string name;
    if (!Check<const String>(localeIdentifier, __func__) || !PathBytes(localeIdentifier, &name)) {
        return nullptr;
    }
    return NewStringFrom(Canonical(name));
}

CFTypeRef CFLocaleGetValue(CFLocaleRef locale, CFLocaleKey key)
{
    if (!Check<const __CFLocale>(locale, __func__)) return nullptr;
    if (!Check<const String>(key, __func__)) return nullptr;
    const struct {
        const __CFString* key;
        CFStringRef value;
    } rows[] = {
        {&identifierKey, locale->identifier},        {&languageCodeKey, locale->language},
        {&countryCodeKey, locale->country},          {&decimalSeparatorKey, &decimalSeparator},
        {&groupingSeparatorKey, &groupingSeparator},
    };
    for (const auto& row : rows) {
        if (StringsEqual(key, row.key)) return row.value;
    }
    return nullptr;
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
