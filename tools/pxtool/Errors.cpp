#include "pxtool/Errors.h"

namespace px::tool {

namespace {

std::string Sentence(std::string_view verb, std::string_view path, std::string_view reason)
{
    std::string text = "cannot ";
    text += verb;
    text += " '";
    text += path;
    text += "': ";
    text += reason;
    return text;
}

}  // namespace

Failure CannotRead(std::string_view path, std::string_view reason, std::string_view hint)
{
    return {ExitCode::kInput, Sentence("read", path, reason), std::string(hint)};
}

Failure CannotWrite(std::string_view path, std::string_view reason, std::string_view hint)
{
    return {ExitCode::kOutput, Sentence("write", path, reason), std::string(hint)};
}

Failure OutOfMemory(std::string_view path)
{
    return {ExitCode::kResources, Sentence("work on", path, "it needs more memory than there is"),
            "close other programs, or choose a smaller picture"};
}

std::string LineFor(const Failure& failure)
{
    std::string line = "pxtool: " + failure.text;
    if (!failure.hint.empty()) line += ". Hint: " + failure.hint;
    for (char& c : line) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) c = '?';
    }
    return line + "\n";
}

}  // namespace px::tool
