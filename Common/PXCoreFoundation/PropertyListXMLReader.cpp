// Reads XML property lists: documents as programs write them straight from their markup, all others
// through expat, whose events become objects at once.
//
// Nothing here recurses: containers that are open stand on a stack of frames, their elements so far
// on one shared stack of values.

#include "Base64.h"
#include "Containers_p.h"
#include "CoreFoundation/CFData.h"
#include "CoreFoundation/CFDate.h"
#include "CoreFoundation/PXCFExtensions.h"
#include "ListEncoding.h"
#include "ListKeys.h"
#include "ListMarkup.h"
#include "ListText.h"
#include "Number_p.h"
#include "PropertyList_p.h"
#include "StringCharsets.h"
#include "String_p.h"

#include "Base/Platform/Platform.h"

#include <expat.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

namespace px::cf {

namespace {

// Expat counts the bytes of one call in an int.
constexpr size_t kMostBytesOfCall = size_t{1} << 29;

bool IsSpace(const char* text, size_t length)
{
    for (size_t i = 0; i < length; ++i) {
        if (!IsListSpace(static_cast<uint8_t>(text[i]))) return false;
    }
    return true;
}

// How much of a name fits into a message without cutting a character.
int ShownLength(const char* name)
{
    constexpr size_t kMost = 40;
    size_t length = strnlen(name, kMost + 1);
    if (length <= kMost) return static_cast<int>(length);
    for (--length; length > 0 && (static_cast<uint8_t>(name[length]) & 0xC0) == 0x80;) --length;
    return static_cast<int>(length);
}

// The parser of the latest small list waits here for the next one. Making one takes as long as
// reading a kilobyte, and its large blocks make malloc tidy up all small ones that were freed
// since.
constinit std::atomic<XML_Parser> idleParser{nullptr};
// A parser that has read more than this holds too much memory to be kept.
constexpr size_t kMostIdleBytes = 65536;

// Keeps anyone from choosing names that collide. Left to itself, expat asks the system for a new
// one at every list, which takes as long as half a kilobyte of it. 0 lets expat do so.
unsigned long NameSalt()
{
    static const unsigned long salt = [] {
        unsigned long fresh = 0;
        return os::Os().randomBytes(&fresh, sizeof(fresh)) == 0 ? fresh : 0;
    }();
    return salt;
}

XML_Parser TakeParser(const char* encoding)
{
    XML_Parser parser = idleParser.exchange(nullptr, std::memory_order_acquire);
    if (parser && !XML_ParserReset(parser, encoding)) {
        XML_ParserFree(parser);
        return nullptr;
    }
    if (!parser) parser = XML_ParserCreate(encoding);
    if (parser) XML_SetHashSalt(parser, NameSalt());
    return parser;
}

void ReturnParser(XML_Parser parser, size_t bytesRead)
{
    XML_Parser none = nullptr;
    if (bytesRead <= kMostIdleBytes &&
        idleParser.compare_exchange_strong(none, parser, std::memory_order_release,
                                           std::memory_order_relaxed)) {
        return;
    }
    XML_ParserFree(parser);
}

class Reader {
public:
    Reader(const ListDocument& document, Mutability mutability, ListFailure* failure)
        : document_(document), mutability_(mutability), failure_(failure)
    {
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader();

    // Of a document as ListMarkup knows it; null for any other and for one with faults, which Read
    // is to look at then.
    CFPropertyListRef ReadPlainMarkup();
    CFPropertyListRef Read();

private:
    // The elements of an open container are values_[base]… to the top; those of a dictionary are
    // keys and values in turn.
    struct Frame {
        CFIndex base;
        bool isDictionary;
    };

    static void OnStart(void* reader, const char* name, const char** attributes);
    static void OnEnd(void* reader, const char* name);
    static void OnText(void* reader, const char* text, int length);
    static void OnOther(void* reader, const char* text, int length);
    static void OnSkipped(void* reader, const char* name, int isParameter);
    static int OnEncoding(void* reader, const char* name, XML_Encoding* encoding);

    bool Reserve();
    void SetHandlers();
    std::string_view Document() const;
    bool Feed(std::string_view bytes);
    bool ReportExpatError();
    bool TakeToken(const ListMarkup& markup, ListMarkup::Token token);
    bool IsOpen(Element element) const;
    void Start(Element element, const char* name);
    void TakeText(const char* text, size_t length);
    void End();
    bool CheckPlace(Element element, const char* name);
    void StartPlist();
    void StartContainer(bool isDictionary);
    void EndContainer();
    void EndLeaf();
    CFTypeRef NewContainer(const Frame& frame);
    CFTypeRef NewLeaf();
    CFTypeRef NewString();
    CFTypeRef NewIntegerOrFail();
    CFTypeRef NewRealOrFail();
    CFTypeRef NewDateOrFail();
    CFTypeRef NewDataOrFail();
    // Takes over the reference; null stands for a failure or a lack of memory.
    void Place(CFTypeRef value);

    // The byte of the whole input where the present event starts.
    size_t Offset() const
    {
        if (!parser_) return document_.start;
        return document_.start + static_cast<size_t>(XML_GetCurrentByteIndex(parser_));
    }
    [[gnu::format(printf, 3, 4)]] void Fail(size_t offset, const char* format, ...);
    // Names the line of the start tag of the leaf that ends here. No offset is kept for it, because
    // asking for it at every leaf would cost more than all checks together.
    void FailLeaf(std::string_view tag, const char* what)
    {
        Fail(document_.FindBackward(tag, Offset()), "%s", what);
    }
    void FailMemory();
    void Stop();
    bool HasFailed() const { return static_cast<bool>(*failure_); }
    std::string_view LeafText() const
    {
        return {text_.Elements(), static_cast<size_t>(text_.Count())};
    }

    const ListDocument& document_;
    const Mutability mutability_;
    ListFailure* const failure_;
    XML_Parser parser_ = nullptr;

    Element leaf_ = Element::kUnknown;  // the open element without children
    bool collectsText_ = false;         // it is one with text
    bool wantsKey_ = false;             // the innermost container is a dictionary before a key
    GrowingBuffer<char> text_;

    GrowingBuffer<CFTypeRef> values_;
    int depth_ = 0;
    bool hasPlist_ = false;
    CFTypeRef root_ = nullptr;
    ListKeys keys_;
    Frame frames_[kMaxListDepth];
};

Reader::~Reader()
{
    if (parser_) ReturnParser(parser_, document_.size);
    for (CFIndex i = 0; i < values_.Count(); ++i) CFRelease(values_[i]);
    CFRelease(root_);
}

void Reader::Fail(size_t offset, const char* format, ...)
{
    if (HasFailed()) return;
    char what[sizeof(failure_->text) - 40];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(what, sizeof(what), format, arguments);
    va_end(arguments);
    failure_->Set(kCFPropertyListReadCorruptError, "%s on line %llu", what,
                  static_cast<unsigned long long>(document_.LineAt(offset)));
    Stop();
}

void Reader::FailMemory()
{
    if (HasFailed()) return;
    failure_->OutOfMemory(kCFPropertyListReadCorruptError);
    Stop();
}

// Expat may have events left that it reports after a stop; without handlers none arrives.
void Reader::Stop()
{
    if (!parser_) return;
    XML_SetElementHandler(parser_, nullptr, nullptr);
    XML_SetCharacterDataHandler(parser_, nullptr);
    XML_SetDefaultHandlerExpand(parser_, nullptr);
    XML_SetSkippedEntityHandler(parser_, nullptr);
    XML_StopParser(parser_, XML_FALSE);
}

void Reader::OnStart(void* reader, const char* name, const char**)
{
    static_cast<Reader*>(reader)->Start(ElementNamed(name), name);
}

void Reader::OnEnd(void* reader, const char*)
{
    static_cast<Reader*>(reader)->End();
}

void Reader::OnText(void* reader, const char* text, int length)
{
    static_cast<Reader*>(reader)->TakeText(text, static_cast<size_t>(length));
}

// Most texts are the white space between elements.
void Reader::TakeText(const char* text, size_t length)
{
    if (collectsText_) {
        if (!text_.Append(text, static_cast<CFIndex>(length))) FailMemory();
    } else if (!IsSpace(text, length)) [[unlikely]] {
        Fail(Offset(), "Text outside of a value");
    }
}

// Gets, besides comments, the tokens of a document type. The entity handler would miss declarations
// that redefine a predefined entity.
void Reader::OnOther(void* reader, const char* text, int length)
{
    constexpr std::string_view kEntity = "<!ENTITY";
    if (std::string_view(text, static_cast<size_t>(length)).substr(0, kEntity.size()) != kEntity) {
        return;
    }
    auto* self = static_cast<Reader*>(reader);
    self->Fail(self->Offset(), "Entity declarations are not allowed");
}

// With a document type that is not read, an undefined entity is no error to expat.
void Reader::OnSkipped(void* reader, const char* name, int)
{
    auto* self = static_cast<Reader*>(reader);
    self->Fail(self->Offset(), "The entity \"%.*s\" is not defined", ShownLength(name), name);
}

int Reader::OnEncoding(void*, const char* name, XML_Encoding* encoding)
{
    const bool isMacRoman = std::string_view(name) == "macintosh";
    if (!isMacRoman && std::string_view(name) != "windows-1252") return XML_STATUS_ERROR;
    for (int i = 0; i < 256; ++i) {
        const auto byte = static_cast<uint8_t>(i);
        encoding->map[i] = isMacRoman ? MacRomanCharacter(byte) : Windows1252Character(byte);
    }
    encoding->data = nullptr;
    encoding->convert = nullptr;
    encoding->release = nullptr;
    return XML_STATUS_OK;
}

void Reader::SetHandlers()
{
    XML_SetUserData(parser_, this);
    XML_SetElementHandler(parser_, OnStart, OnEnd);
    XML_SetCharacterDataHandler(parser_, OnText);
    XML_SetDefaultHandlerExpand(parser_, OnOther);
    XML_SetSkippedEntityHandler(parser_, OnSkipped);
    XML_SetUnknownEncodingHandler(parser_, OnEncoding, nullptr);
}

// Saves the first few growths, and an empty text is never a null pointer.
bool Reader::Reserve()
{
    if (text_.Reserve(512) && values_.Reserve(64)) return true;
    FailMemory();
    return false;
}

std::string_view Reader::Document() const
{
    return {reinterpret_cast<const char*>(document_.whole.bytes) + document_.start, document_.size};
}

CFPropertyListRef Reader::Read()
{
    parser_ = TakeParser(document_.encoding);
    if (!parser_) FailMemory();
    if (!parser_ || !Reserve()) return nullptr;
    SetHandlers();
    return Feed(Document()) ? std::exchange(root_, nullptr) : nullptr;
}

CFPropertyListRef Reader::ReadPlainMarkup()
{
    ListMarkup markup(Document());
    if (!markup.SkipProlog() || !Reserve()) return nullptr;
    hasPlist_ = true;
    for (;;) {
        const ListMarkup::Token token = markup.Next();
        if (token == ListMarkup::Token::kEnd && markup.GetElement() == Element::kPlist) break;
        if (!TakeToken(markup, token)) return nullptr;
    }
    const bool isWhole = markup.IsAtEnd() && IsOpen(Element::kPlist);
    return isWhole ? std::exchange(root_, nullptr) : nullptr;
}

bool Reader::TakeToken(const ListMarkup& markup, ListMarkup::Token token)
{
    using Token = ListMarkup::Token;
    const Element element = markup.GetElement();
    switch (token) {
        case Token::kStart:
        case Token::kEmpty:
            Start(element, "");
            if (token == Token::kEmpty && !HasFailed()) End();
            break;
        case Token::kEnd:
            if (!IsOpen(element)) return false;
            End();
            break;
        case Token::kText:
            TakeText(markup.Text().data(), markup.Text().size());
            break;
        default:
            return false;
    }
    return !HasFailed();
}

// Whether it is the innermost open element of a document that began with the plist tag.
bool Reader::IsOpen(Element element) const
{
    if (leaf_ != Element::kUnknown) return element == leaf_;
    if (depth_ == 0) return element == Element::kPlist;
    return element == (frames_[depth_ - 1].isDictionary ? Element::kDict : Element::kArray);
}

bool Reader::Feed(std::string_view bytes)
{
    do {
        const std::string_view piece = bytes.substr(0, kMostBytesOfCall);
        bytes.remove_prefix(piece.size());
        if (XML_Parse(parser_, piece.data(), static_cast<int>(piece.size()), bytes.empty()) !=
            XML_STATUS_OK) {
            return ReportExpatError();
        }
    } while (!bytes.empty());
    return !HasFailed();
}

bool Reader::ReportExpatError()
{
    if (HasFailed()) return false;
    const XML_Error error = XML_GetErrorCode(parser_);
    if (error == XML_ERROR_NO_MEMORY) {
        FailMemory();
    } else {
        Fail(Offset(), "The XML is faulty (%s)", XML_ErrorString(error));
    }
    return false;
}

void Reader::Start(Element element, const char* name)
{
    const bool isPlain = element > Element::kPlist && depth_ > 0 && leaf_ == Element::kUnknown;
    if (!isPlain || (element == Element::kKey) != wantsKey_) [[unlikely]] {
        if (!CheckPlace(element, name)) return;
    }
    switch (element) {
        case Element::kPlist:
            hasPlist_ = true;
            return;
        case Element::kArray:
        case Element::kDict:
            StartContainer(element == Element::kDict);
            return;
        default:
            leaf_ = element;
            collectsText_ = element < Element::kTrue;
            text_.Truncate(0);
    }
}

// Finds what is wrong with an element at this place, if anything is.
bool Reader::CheckPlace(Element element, const char* name)
{
    const char* fault = nullptr;
    if (leaf_ != Element::kUnknown) {
        Fail(Offset(), "The element \"%.*s\" stands inside a value", ShownLength(name), name);
        return false;
    }
    if (element == Element::kUnknown || (element == Element::kPlist && hasPlist_)) {
        Fail(Offset(), "Unknown element \"%.*s\"", ShownLength(name), name);
        return false;
    }
    if (wantsKey_) {
        if (element != Element::kKey) fault = "A value without a key";
    } else if (element == Element::kKey) {
        const bool inDictionary = depth_ > 0 && frames_[depth_ - 1].isDictionary;
        fault = inDictionary ? "A key follows a key" : "A key outside a dictionary";
    } else if (depth_ == 0 && root_) {
        fault = "A second object";
    }
    if (element == Element::kPlist && (depth_ > 0 || root_)) fault = "A misplaced plist element";
    if (fault) Fail(Offset(), "%s", fault);
    return !fault;
}

void Reader::StartContainer(bool isDictionary)
{
    if (depth_ == kMaxListDepth) {
        Fail(Offset(), "Containers are nested deeper than %d", kMaxListDepth);
        return;
    }
    frames_[depth_++] = {values_.Count(), isDictionary};
    wantsKey_ = isDictionary;
}

void Reader::End()
{
    if (leaf_ != Element::kUnknown) {
        EndLeaf();
    } else if (depth_ > 0) {
        EndContainer();
    } else if (!root_) {
        Fail(Offset(), "The list holds no object");
    }
}

void Reader::EndContainer()
{
    const Frame frame = frames_[--depth_];
    if (frame.isDictionary && !wantsKey_) {
        Fail(document_.FindBackward("<key", Offset()), "A key without a value");
        return;
    }
    CFTypeRef made = NewContainer(frame);
    values_.Truncate(frame.base);
    Place(made);
}

CFTypeRef Reader::NewContainer(const Frame& frame)
{
    const bool isMutable = mutability_ != Mutability::kNone;
    const CFTypeRef* elements = values_.Elements() + frame.base;
    const CFIndex count = values_.Count() - frame.base;
    return frame.isDictionary ? CFTypeRef(AdoptDictionary(elements, count / 2, isMutable))
                              : AdoptArray(elements, count, isMutable);
}

void Reader::EndLeaf()
{
    CFTypeRef made = NewLeaf();
    const bool isKey = leaf_ == Element::kKey;
    leaf_ = Element::kUnknown;
    collectsText_ = false;
    Place(made);
    if (isKey) wantsKey_ = false;
}

CFTypeRef Reader::NewLeaf()
{
    switch (leaf_) {
        case Element::kKey:
            return keys_.Copy(text_.Elements(), text_.Count());
        case Element::kString:
            return NewString();
        case Element::kInteger:
            return NewIntegerOrFail();
        case Element::kReal:
            return NewRealOrFail();
        case Element::kDate:
            return NewDateOrFail();
        case Element::kData:
            return NewDataOrFail();
        default:
            return leaf_ == Element::kTrue ? kCFBooleanTrue : kCFBooleanFalse;
    }
}

CFTypeRef Reader::NewString()
{
    CFStringRef made = NewUTF8String(text_.Elements(), text_.Count());
    if (mutability_ != Mutability::kLeaves || !made) return made;
    CFMutableStringRef copy = CFStringCreateMutableCopy(nullptr, 0, made);
    CFRelease(made);
    return copy;
}

CFTypeRef Reader::NewIntegerOrFail()
{
    uint64_t value = 0;
    bool isNegative = false;
    if (!ParseListInteger(LeafText(), &value, &isNegative)) {
        FailLeaf("<integer", "No integer from -2^63 to 2^64-1");
        return nullptr;
    }
    if (isNegative || value <= static_cast<uint64_t>(INT64_MAX)) {
        return NewInteger(static_cast<int64_t>(value));
    }
    return PXCFNumberCreateUInt64(nullptr, value);
}

CFTypeRef Reader::NewRealOrFail()
{
    double value = 0;
    if (ParseListReal(LeafText(), &value)) return NewReal(value);
    FailLeaf("<real", "No real number");
    return nullptr;
}

CFTypeRef Reader::NewDateOrFail()
{
    double time = 0;
    if (ParseListDate(LeafText(), &time)) return CFDateCreate(nullptr, time);
    FailLeaf("<date", "No date of the form YYYY-MM-DDTHH:MM:SSZ");
    return nullptr;
}

CFTypeRef Reader::NewDataOrFail()
{
    auto* bytes = reinterpret_cast<uint8_t*>(text_.Elements());
    size_t size = 0;
    if (!DecodeBase64(bytes, static_cast<size_t>(text_.Count()), &size)) {
        FailLeaf("<data", "The data is not base64");
        return nullptr;
    }
    const auto length = static_cast<CFIndex>(size);
    if (mutability_ != Mutability::kLeaves) return CFDataCreate(nullptr, bytes, length);
    CFMutableDataRef made = CFDataCreateMutable(nullptr, 0);
    if (!made) return nullptr;
    CFDataAppendBytes(made, bytes, length);
    if (CFDataGetLength(made) == length) return made;
    CFRelease(made);
    return nullptr;
}

void Reader::Place(CFTypeRef value)
{
    if (!value) {
        FailMemory();
    } else if (depth_ == 0) {
        root_ = value;
        wantsKey_ = false;
    } else if (values_.Append(value)) {
        wantsKey_ = frames_[depth_ - 1].isDictionary;
    } else {
        CFRelease(value);
        FailMemory();
    }
}

}  // namespace

CFPropertyListRef ReadXMLList(const ListDocument& document, Mutability mutability,
                              ListFailure* failure)
{
    const int savedErrno = errno;
    CFPropertyListRef list = nullptr;
    if (document.unitSize == 1) {
        ListFailure unused;
        list = Reader(document, mutability, &unused).ReadPlainMarkup();
    }
    if (!list) list = Reader(document, mutability, failure).Read();
    errno = savedErrno;
    return list;
}

}  // namespace px::cf
