#pragma once

// ListIndentation — skips the white space between the elements of an XML property list.
//
// Lists are indented, a line for every element, and to a parser each line's end and each run of
// tabs is an event like a value. What is skipped stands between the end of a value, key or
// container tag and the next "<", where it means nothing.

#include <cstddef>
#include <string_view>

namespace px::cf {

// Whether white space can be told by the tags around it: there are no comments and CDATA sections,
// whose text may look like tags, and no declarations inside the document type.
bool HasPlainMarkup(std::string_view document);

// The pieces of a document of plain markup in an encoding that has ASCII's bytes for ASCII.
class ListPieces {
public:
    explicit ListPieces(std::string_view document) : rest_(document) {}

    bool IsAtEnd() const { return rest_.empty(); }
    std::string_view Next();

private:
    std::string_view rest_;
};

}  // namespace px::cf
