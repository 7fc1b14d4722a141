#pragma once

// Errors — how a step of the tool says that it failed: an exit code, what happened, and one hint.
//
// Steps return a Failure; one that is empty means success. Texts are UTF-8 and become one line on
// standard error.

#include <string>
#include <string_view>

namespace px::tool {

// The exit codes are contract for scripts.
enum class ExitCode : int {
    kDone = 0,
    kDifferent = 1,  // what was compared differs, what was checked is faulty
    kUsage = 2,      // the arguments make no sense
    kInput = 3,      // a file could not be read or is not what it should be
    kOutput = 4,     // the result could not be written, or its format cannot hold it
    kResources = 5,  // memory or the like ran out
    kCancelled = 130,
};

struct [[nodiscard]] Failure {
    ExitCode code = ExitCode::kDone;
    std::string text;  // "cannot read 'a.jpg': it is cut short"
    std::string hint;  // what to do about it; may be empty

    explicit operator bool() const { return code != ExitCode::kDone; }
};

inline Failure Done()
{
    return {};
}

inline Failure Cancelled()
{
    return {ExitCode::kCancelled, "cancelled", ""};
}

// "cannot read 'PATH': REASON" with kInput, and "cannot write 'PATH': REASON" with kOutput.
Failure CannotRead(std::string_view path, std::string_view reason, std::string_view hint);
Failure CannotWrite(std::string_view path, std::string_view reason, std::string_view hint);

// kResources: the picture or step named by `path` needs more memory than there is.
Failure OutOfMemory(std::string_view path);

// "pxtool: TEXT. Hint: HINT.\n". Control characters, which a file name may hold, become '?': a
// message is one line and steers no terminal.
std::string LineFor(const Failure& failure);

}  // namespace px::tool
