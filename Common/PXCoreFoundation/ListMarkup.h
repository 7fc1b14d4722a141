#pragma once

// ListMarkup — cuts the XML of a property list into tags and texts, as long as it is written the
// way programs write lists.
//
// That is: the usual declaration, document type and plist tag to the letter, the first two of which
// may be missing; other tags without attributes; text in UTF-8 with no escapes but the five names
// of XML. Everything else that XML knows, and everything that is wrong with a document, is left to
// a full parser, which is several times slower.

#include <cstdint>
#include <string_view>

namespace px::cf {

enum class Element : uint8_t {
    kUnknown,
    kPlist,
    kArray,
    kDict,
    kKey,
    kString,
    kInteger,
    kReal,
    kDate,
    kData,
    kTrue,
    kFalse
};

Element ElementNamed(std::string_view name);

class ListMarkup {
public:
    enum class Token : uint8_t {
        kStart,
        kEnd,
        kEmpty,  // a start and an end in one
        kText,   // a piece of it; whether it is valid UTF-8 is not looked at
        kOther   // for the full parser
    };

    explicit ListMarkup(std::string_view document)
        : at_(document.data()), end_(document.data() + document.size())
    {
    }

    // Goes behind the plist tag; false if there is anything unusual in front of it.
    bool SkipProlog();
    Token Next();
    // Of the latest tag, never unknown, and of the latest text.
    Element GetElement() const { return element_; }
    std::string_view Text() const { return text_; }
    bool IsAtEnd() const { return at_ == end_; }

private:
    bool Skip(std::string_view expected);
    void SkipSpace();
    Token NextTag();
    Token NextEscape();

    const char* at_;
    const char* const end_;
    Element element_ = Element::kUnknown;
    std::string_view text_;
};

}  // namespace px::cf
