#include "Image/CubeFile.h"

#include "Base/Status.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <memory>

namespace px {

namespace {

constexpr char kEventSource[] = "LCMSColorCube";

constexpr uint32_t kMinGrid = 2;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr size_t kShortestLine = 6;  // "0 0 0" and its end

bool IsGridOfFormat(uint32_t gridSize)
{
    return gridSize >= kMinGrid && gridSize <= kMaxCubeGrid;
}

constexpr size_t kLongestNumber = 15;  // "-1.17549435e-38"

char* AppendText(std::string_view text, char* at)
{
    return std::copy(text.begin(), text.end(), at);
}

char* AppendTriple(const float* triple, char* at)
{
    constexpr int kDigits = 9;
    for (int c = 0; c < 3; ++c) {
        at = std::to_chars(at, at + kLongestNumber, triple[c], std::chars_format::general, kDigits)
                 .ptr;
        *at++ = c < 2 ? ' ' : '\n';
    }
    return at;
}

// Reads the text line by line and word by word.
class Reader {
public:
    Reader(std::string_view text, CubeFileContent* content) : rest_(text), content_(content)
    {
        if (rest_.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
            rest_.remove_prefix(kByteOrderMark.size());
        }
    }

    PXStatus Run();

private:
    bool NextLine();
    std::string_view NextWord();
    bool HasWord() { return line_.find_first_not_of(kBlanks) != std::string_view::npos; }
    bool NextNumber(float* number);
    bool ReadTriple(float* triple);
    bool ReadRange();
    PXStatus ReadSize();
    PXStatus ReadKeyword(std::string_view keyword);
    PXStatus ReadNodes();
    PXStatus CheckDomain();
    PXStatus Refuse(CFStringRef reason, PXStatus status = kPXErrNotFound) const;

    static constexpr std::string_view kBlanks = " \t";

    std::string_view rest_;
    std::string_view line_;
    int32_t lineNumber_ = 0;
    CubeFileContent* content_;
};

PXStatus Reader::Refuse(CFStringRef reason, PXStatus status) const
{
    PXLogWithParams(4, CFSTR("LCMSColorCube"), static_cast<int32_t>(status),
                    CFSTR("Colour cube file, line %d: %@"), lineNumber_, reason);
    return status;
}

// Goes to the next line that says something. Lines end as on any system.
bool Reader::NextLine()
{
    while (!rest_.empty()) {
        const size_t end = rest_.find_first_of("\r\n");
        line_ = rest_.substr(0, end);
        size_t used = end == std::string_view::npos ? rest_.size() : end + 1;
        if (used < rest_.size() && rest_[used - 1] == '\r' && rest_[used] == '\n') ++used;
        rest_.remove_prefix(used);
        ++lineNumber_;
        if (HasWord() && line_[line_.find_first_not_of(kBlanks)] != '#') return true;
    }
    line_ = {};
    return false;
}

std::string_view Reader::NextWord()
{
    line_.remove_prefix(std::min(line_.find_first_not_of(kBlanks), line_.size()));
    const std::string_view word = line_.substr(0, line_.find_first_of(kBlanks));
    line_.remove_prefix(word.size());
    return word;
}

bool Reader::NextNumber(float* number)
{
    std::string_view word = NextWord();
    if (word.size() > 1 && word[0] == '+' && word[1] != '-') word.remove_prefix(1);
    const char* end = word.data() + word.size();
    std::from_chars_result result = std::from_chars(word.data(), end, *number);
    if (result.ec == std::errc::result_out_of_range) {
        // Too large, which is refused, or too small, which is nearly 0.
        double wide = 0;
        result = std::from_chars(word.data(), end, wide);
        if (result.ec != std::errc() || std::fabs(wide) > 1) return false;
        *number = static_cast<float>(wide);
    }
    return result.ec == std::errc() && result.ptr == end && std::isfinite(*number);
}

bool Reader::ReadTriple(float* triple)
{
    return NextNumber(triple) && NextNumber(triple + 1) && NextNumber(triple + 2) && !HasWord();
}

// One range for all three components, as some programs write it.
bool Reader::ReadRange()
{
    float range[2];
    if (!NextNumber(&range[0]) || !NextNumber(&range[1]) || HasWord()) return false;
    content_->domainMin.fill(range[0]);
    content_->domainMax.fill(range[1]);
    return true;
}

PXStatus Reader::ReadSize()
{
    const std::string_view word = NextWord();
    uint32_t size = 0;
    const auto result = std::from_chars(word.data(), word.data() + word.size(), size);
    if (result.ec != std::errc() || result.ptr != word.data() + word.size() || HasWord() ||
        !IsGridOfFormat(size) || content_->gridSize) {
        return Refuse(CFSTR("LUT_3D_SIZE is not one number from 2 to 256"));
    }
    content_->gridSize = size;
    return kPXOK;
}

PXStatus Reader::ReadKeyword(std::string_view keyword)
{
    if (keyword == "LUT_3D_SIZE") return ReadSize();
    if (keyword == "TITLE") {
        const size_t first = line_.find('"');
        const size_t last = line_.rfind('"');
        if (first == last) return Refuse(CFSTR("the title is not in quotes"));
        content_->title = line_.substr(first + 1, last - first - 1);
        return kPXOK;
    }
    bool isRead = false;
    if (keyword == "DOMAIN_MIN") {
        isRead = ReadTriple(content_->domainMin.data());
    } else if (keyword == "DOMAIN_MAX") {
        isRead = ReadTriple(content_->domainMax.data());
    } else if (keyword == "LUT_3D_INPUT_RANGE") {
        isRead = ReadRange();
    } else if (keyword == "LUT_1D_SIZE") {
        return Refuse(CFSTR("it is a table of one dimension"), kPXErrNotSupported);
    } else {
        return Refuse(CFSTR("the keyword is unknown"));
    }
    return isRead ? PXStatus{kPXOK} : Refuse(CFSTR("the domain is not of finite numbers"));
}

PXStatus Reader::CheckDomain()
{
    for (size_t c = 0; c < 3; ++c) {
        const float extent = content_->domainMax[c] - content_->domainMin[c];
        if (!(extent > 0) || !std::isfinite(extent)) return Refuse(CFSTR("the domain is empty"));
    }
    return kPXOK;
}

// The reader stands on the first of these lines.
PXStatus Reader::ReadNodes()
{
    const int64_t count = CubeBytes(content_->gridSize) / int64_t{3 * sizeof(float)};
    const size_t lines = static_cast<size_t>(count) - 1;  // those that follow this one
    if (rest_.size() + 1 < lines * kShortestLine) return Refuse(CFSTR("the file is too short"));
    const CFIndex bytes = CubeBytes(content_->gridSize);
    const auto cube = CFRef<CFMutableDataRef>::Adopt(CFDataCreateMutable(nullptr, bytes));
    if (cube) CFDataSetLength(cube.Get(), bytes);
    if (!cube || CFDataGetLength(cube.Get()) != bytes) return PX_FAIL(kPXErrCreate);
    auto* node = reinterpret_cast<float*>(CFDataGetMutableBytePtr(cube.Get()));
    bool hasLine = true;
    for (int64_t i = 0; i < count; ++i, node += 3, hasLine = NextLine()) {
        if (!hasLine) return Refuse(CFSTR("the file ends before its table"));
        if (!ReadTriple(node)) return Refuse(CFSTR("the line is not of three finite numbers"));
    }
    if (hasLine) return Refuse(CFSTR("the file goes on after its table"));
    content_->data = CFRef<CFDataRef>::Retain(cube.Get());
    return kPXOK;
}

PXStatus Reader::Run()
{
    while (NextLine()) {
        const std::string_view whole = line_;
        const std::string_view keyword = NextWord();
        if ((keyword[0] >= 'A' && keyword[0] <= 'Z') || (keyword[0] >= 'a' && keyword[0] <= 'z')) {
            PX_TRY(ReadKeyword(keyword));
            continue;
        }
        line_ = whole;
        if (!content_->gridSize) return Refuse(CFSTR("there is no LUT_3D_SIZE before the table"));
        PX_TRY(CheckDomain());
        return ReadNodes();
    }
    return Refuse(CFSTR("there is no table"));
}

}  // namespace

PXStatus WriteCubeText(const CubeView& cube, std::string_view title, CFRef<CFDataRef>* outText)
{
    *outText = {};
    if (!IsGridOfFormat(cube.gridSize)) return PX_FAIL(kPXErrNotSupported);
    const size_t values = static_cast<size_t>(CubeBytes(cube.gridSize)) / sizeof(float);
    for (size_t i = 0; i < values; ++i) {
        if (!std::isfinite(cube.nodes[i])) return PX_FAIL(kPXErrNotSupported);
    }
    // What is not used of this is never touched.
    constexpr size_t kRoomForHead = 256;
    const size_t room = kRoomForHead + title.size() + values * (kLongestNumber + 1);
    const std::unique_ptr<char, decltype(&std::free)> text(static_cast<char*>(std::malloc(room)),
                                                           &std::free);
    if (!text) return PX_FAIL(kPXErrCreate);
    char* at = text.get();
    if (!title.empty()) {
        at = AppendText("TITLE \"", at);
        // A line holds it, and quotes end it.
        for (const char c : title) *at++ = c == '"' || c == '\n' || c == '\r' ? '\'' : c;
        at = AppendText("\"\n", at);
    }
    at = AppendText("LUT_3D_SIZE " + std::to_string(cube.gridSize) + "\nDOMAIN_MIN ", at);
    at = AppendTriple(cube.domainMin.data(), at);
    at = AppendText("DOMAIN_MAX ", at);
    at = AppendTriple(cube.domainMax.data(), at);
    for (size_t i = 0; i < values; i += 3) at = AppendTriple(cube.nodes + i, at);
    *outText =
        CFRef<CFDataRef>::Adopt(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(text.get()),
                                             static_cast<CFIndex>(at - text.get())));
    return *outText ? PXStatus{kPXOK} : PX_FAIL(kPXErrCreate);
}

PXStatus ReadCubeText(std::string_view text, CubeFileContent* outContent)
{
    *outContent = {};
    return Reader(text, outContent).Run();
}

}  // namespace px
