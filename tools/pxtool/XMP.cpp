#include "pxtool/XMP.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include <expat.h>

namespace px::tool {

namespace {

// Stands between the parts of a name: namespace, name, prefix.
constexpr char kSeparator = '|';

constexpr std::string_view kUntrue[] = {
    "http://ns.adobe.com/exif/1.0/|ColorSpace",
    "http://ns.adobe.com/exif/1.0/|ComponentsConfiguration",
    "http://ns.adobe.com/exif/1.0/|CompressedBitsPerPixel",
    "http://ns.adobe.com/exif/1.0/|NativeDigest",
    "http://ns.adobe.com/exif/1.0/|PixelXDimension",
    "http://ns.adobe.com/exif/1.0/|PixelYDimension",
    "http://ns.adobe.com/photoshop/1.0/|ColorMode",
    "http://ns.adobe.com/photoshop/1.0/|ICCProfile",
    "http://ns.adobe.com/tiff/1.0/|BitsPerSample",
    "http://ns.adobe.com/tiff/1.0/|Compression",
    "http://ns.adobe.com/tiff/1.0/|ImageLength",
    "http://ns.adobe.com/tiff/1.0/|ImageWidth",
    "http://ns.adobe.com/tiff/1.0/|NativeDigest",
    "http://ns.adobe.com/tiff/1.0/|Orientation",
    "http://ns.adobe.com/tiff/1.0/|PhotometricInterpretation",
    "http://ns.adobe.com/tiff/1.0/|PlanarConfiguration",
    "http://ns.adobe.com/tiff/1.0/|PrimaryChromaticities",
    "http://ns.adobe.com/tiff/1.0/|ReferenceBlackWhite",
    "http://ns.adobe.com/tiff/1.0/|ResolutionUnit",
    "http://ns.adobe.com/tiff/1.0/|SamplesPerPixel",
    "http://ns.adobe.com/tiff/1.0/|TransferFunction",
    "http://ns.adobe.com/tiff/1.0/|WhitePoint",
    "http://ns.adobe.com/tiff/1.0/|XResolution",
    "http://ns.adobe.com/tiff/1.0/|YCbCrCoefficients",
    "http://ns.adobe.com/tiff/1.0/|YCbCrPositioning",
    "http://ns.adobe.com/tiff/1.0/|YCbCrSubSampling",
    "http://ns.adobe.com/tiff/1.0/|YResolution",
    "http://ns.adobe.com/xap/1.0/|Thumbnails",
    "http://ns.adobe.com/xmp/note/|HasExtendedXMP",  // the extension is not kept
};

static_assert(std::ranges::is_sorted(kUntrue));

struct Name {
    std::string_view full;    // namespace and name
    std::string_view prefix;  // empty when there is none
    std::string_view local;

    explicit Name(std::string_view name)
    {
        const size_t first = name.find(kSeparator);
        const size_t second = first == name.npos ? first : name.find(kSeparator, first + 1);
        full = name.substr(0, second);
        local = first == name.npos ? name : full.substr(first + 1);
        if (second != name.npos) prefix = name.substr(second + 1);
    }
    bool IsUntrue() const { return std::ranges::binary_search(kUntrue, full); }
};

struct Corrector {
    XML_Parser parser = nullptr;
    std::vector<uint8_t>* packet = nullptr;
    int depth = 0;
    int untrueDepth = 0;  // of the outermost untrue element that is open, 0 when none is
    XML_Index untrueStart = 0;

    void Blank(XML_Index from, XML_Index to) const
    {
        std::fill(packet->begin() + from, packet->begin() + to, uint8_t{' '});
    }
};

void Refuse(const Corrector& corrector)
{
    XML_StopParser(corrector.parser, XML_FALSE);
}

bool IsSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Overwrites `prefix:local="…"` in the start tag that expat stands at and found well-formed.
void BlankAttribute(const Corrector& corrector, const Name& name)
{
    const XML_Index start = XML_GetCurrentByteIndex(corrector.parser);
    const std::string_view tag(reinterpret_cast<const char*>(corrector.packet->data()) + start,
                               static_cast<size_t>(XML_GetCurrentByteCount(corrector.parser)));
    const std::string wanted = std::string(name.prefix) + ':' + std::string(name.local);
    size_t at = 0;
    while (at < tag.size() && !IsSpace(tag[at])) ++at;
    while (true) {
        while (at < tag.size() && IsSpace(tag[at])) ++at;
        const size_t quote = tag.find_first_of("\"'", at);
        if (quote == tag.npos) return;
        const size_t end = tag.find(tag[quote], quote + 1);
        if (end == tag.npos) return;
        const std::string_view found = tag.substr(at, tag.find_first_of(" \t\n\r=", at) - at);
        if (found == wanted) {
            corrector.Blank(start + static_cast<XML_Index>(at),
                            start + static_cast<XML_Index>(end) + 1);
            return;
        }
        at = end + 1;
    }
}

void XMLCALL StartElement(void* context, const XML_Char* name, const XML_Char** attributes)
{
    auto& corrector = *static_cast<Corrector*>(context);
    ++corrector.depth;
    if (corrector.untrueDepth) return;
    if (Name(name).IsUntrue()) {
        if (corrector.depth == 1) return Refuse(corrector);  // nothing would be left
        corrector.untrueDepth = corrector.depth;
        corrector.untrueStart = XML_GetCurrentByteIndex(corrector.parser);
        return;
    }
    for (; *attributes; attributes += 2) {
        const Name attribute(*attributes);
        if (attribute.IsUntrue()) BlankAttribute(corrector, attribute);
    }
}

void XMLCALL EndElement(void* context, const XML_Char*)
{
    auto& corrector = *static_cast<Corrector*>(context);
    if (corrector.depth-- != corrector.untrueDepth) return;
    corrector.untrueDepth = 0;
    corrector.Blank(corrector.untrueStart, XML_GetCurrentByteIndex(corrector.parser) +
                                               XML_GetCurrentByteCount(corrector.parser));
}

void XMLCALL StartDocumentType(void* context, const XML_Char*, const XML_Char*, const XML_Char*,
                               int)
{
    Refuse(*static_cast<Corrector*>(context));
}

bool Correct(std::vector<uint8_t>* packet)
{
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> owner(
        XML_ParserCreateNS("UTF-8", kSeparator), XML_ParserFree);
    XML_Parser parser = owner.get();
    if (!parser) return false;
    // Expat reads a copy: what is overwritten has been read, but that is its business.
    const std::vector<uint8_t> text = *packet;
    Corrector corrector{parser, packet};
    XML_SetUserData(parser, &corrector);
    XML_SetReturnNSTriplet(parser, XML_TRUE);
    XML_SetElementHandler(parser, StartElement, EndElement);
    XML_SetStartDoctypeDeclHandler(parser, StartDocumentType);
    return XML_Parse(parser, reinterpret_cast<const char*>(text.data()),
                     static_cast<int>(text.size()), XML_TRUE) == XML_STATUS_OK;
}

}  // namespace

void CorrectXMP(std::vector<uint8_t>* packet)
{
    // Expat believes a byte order mark of UTF-16; its characters would have zeros.
    const bool isOther = packet->size() > kMaxXMPBytes || std::ranges::count(*packet, 0) > 0;
    if (isOther || !Correct(packet)) packet->clear();
}

}  // namespace px::tool
