#include "pxtool/Plan.h"

#include "Base/Platform/Platform.h"
#include "pxtool/Profiles.h"
#include "pxtool/Values.h"

namespace px::tool {

namespace {

std::string Line(const char* verb, const std::string& path, const std::string& note)
{
    return Plain(std::string("would ") + verb + " '" + path + "'" +
                 (note.empty() ? "" : ": " + note)) +
           '\n';
}

}  // namespace

std::string WouldRead(const std::string& path, const std::string& note)
{
    return Line("read", path, note);
}

std::string WouldWrite(const std::string& path, const std::string& note)
{
    os::FileFacts facts;
    return Line(os::Os().factsOfPath(path.c_str(), &facts) ? "write" : "replace", path, note);
}

std::string NoteOf(const PictureLayout& layout)
{
    return std::to_string(layout.width) + " x " + std::to_string(layout.height) + " pixels, " +
           std::to_string(layout.depth) + " bits, " + ModelName(layout.model) +
           (layout.hasAlpha ? " with alpha" : "");
}

}  // namespace px::tool
