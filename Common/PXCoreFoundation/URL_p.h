#pragma once

// URL_p — the parts of a URL reference and their composition, on plain ASCII text.
//
// A CFURL keeps its text as ASCII (URLs hold nothing else), so its parts are views into that text.

#include <string>
#include <string_view>

#include "CoreFoundation/CFURL.h"
#include "Runtime.h"

struct __CFURL : px::cf::Object {
    static constexpr px::cf::Type kType = px::cf::Type::kURL;
    __CFURL(CFStringRef adoptedText, CFURLRef adoptedBase)
        : Object(kType, 0), text(adoptedText), base(adoptedBase)
    {
    }

    CFStringRef text;
    CFURLRef base;  // never has a base of its own; null for an absolute text
};

namespace px::cf {

// The five parts of a reference. Absent scheme, authority, query and fragment differ from empty
// ones.
struct URLParts {
    std::string_view scheme;
    std::string_view authority;
    std::string_view path;
    std::string_view query;
    std::string_view fragment;
    bool hasScheme = false;
    bool hasAuthority = false;
    bool hasQuery = false;
    bool hasFragment = false;
};

std::string_view TextOf(CFURLRef url);  // valid references only
URLParts Split(std::string_view text);
std::string Join(const URLParts& parts);
// Resolves a reference against an absolute text: merges the paths and removes dot segments.
std::string Resolve(std::string_view base, std::string_view reference);

// Escapes the bytes of a path for a URL.
std::string EscapePath(std::string_view path);
// Decodes a path; false when an escape is malformed or stands for a zero byte.
bool DecodePath(std::string_view escaped, std::string* path);

// Compares ASCII letters in either case.
bool EqualsIgnoringCase(std::string_view a, std::string_view b);

// The native path of a file URL in the style of this library's path calls; false when it has none.
bool PathOf(CFURLRef url, bool resolveAgainstBase, CFURLPathStyle style, std::string* path);

// An owned URL over ASCII text, null when memory runs out. Retains `base`.
CFURLRef NewURL(std::string_view text, CFURLRef base);
// The UTF-8 bytes of a string; false for text that has none (an unpaired surrogate, a zero).
bool PathBytes(CFStringRef text, std::string* bytes);
// A string from UTF-8 bytes, null when they are malformed.
CFStringRef NewStringFrom(std::string_view utf8);

}  // namespace px::cf
