#pragma once

// Lists — property lists in tests: read from text, written to text, and their failures as text.

#include <string>
#include <string_view>

#include "support/CF.h"

namespace px::test {

struct ReadResult {
    Owned<CFPropertyListRef> list;
    std::string failure;  // empty on success
    CFIndex code = 0;
    CFPropertyListFormat format = -1;
};

inline std::string TakeFailure(CFErrorRef error, CFIndex* code)
{
    if (!error) return {};
    Owned<CFErrorRef> owned(error);
    EXPECT_TRUE(CFEqual(kCFErrorDomainCocoa, CFErrorGetDomain(error)));
    *code = CFErrorGetCode(error);
    Owned<CFStringRef> text(CFErrorCopyDescription(error));
    return Utf8Of(text.Get());
}

inline ReadResult ReadList(std::string_view bytes, CFOptionFlags options = 0)
{
    ReadResult result;
    CFErrorRef error = nullptr;
    result.list.Reset(CFPropertyListCreateWithData(nullptr, DataOf(bytes).Get(), options,
                                                   &result.format, &error));
    result.failure = TakeFailure(error, &result.code);
    EXPECT_EQ(!result.list, !result.failure.empty());
    return result;
}

// Empty when the list cannot be written; the reason goes to *failure.
inline std::string WriteList(CFPropertyListRef list, CFPropertyListFormat format,
                             CFOptionFlags options = 0, std::string* failure = nullptr)
{
    CFErrorRef error = nullptr;
    Owned<CFDataRef> data(CFPropertyListCreateData(nullptr, list, format, options, &error));
    CFIndex code = 0;
    const std::string text = TakeFailure(error, &code);
    EXPECT_EQ(!data, code == kCFPropertyListWriteStreamError);
    if (failure) *failure = text;
    if (!data) return {};
    return BytesOf(data.Get());
}

inline std::string WriteXML(CFPropertyListRef list)
{
    return WriteList(list, kCFPropertyListXMLFormat_v1_0);
}

// The list as "%@" prints it.
inline std::string Shown(CFPropertyListRef list)
{
    return Taken(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), list));
}

// The element that a list of one value holds.
inline std::string ElementOf(CFPropertyListRef list)
{
    const std::string xml = WriteXML(list);
    const std::string start = "<plist version=\"1.0\">\n", end = "\n</plist>\n";
    const size_t from = xml.find(start);
    if (from == std::string::npos) return "<not written>";
    return xml.substr(from + start.size(), xml.size() - from - start.size() - end.size());
}

}  // namespace px::test
