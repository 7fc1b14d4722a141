// Starting, ending and watching other processes, and what this one was started as.

#include "Base/PXProcess.h"
#include "Base/Platform/Platform.h"
#include "Base/ProcessWatcher.h"
#include "Base/Status.h"
#include "Base/UTF8Text.h"
#include "CoreFoundation/CoreFoundation.h"

#include <climits>
#include <string>
#include <vector>

namespace {

constexpr char kEventSource[] = "PXProcess";
constexpr size_t kMaxPath = 4096;

bool IsProcessId(uint32_t processID)
{
    return processID > 0 && processID <= INT32_MAX;
}

// False for what is no list of texts, or a text that a program could not be handed whole.
bool TextsOf(CFArrayRef list, std::vector<std::string>* texts)
{
    const CFIndex count = list ? CFArrayGetCount(list) : 0;
    for (CFIndex i = 0; i < count; ++i) {
        const void* element = CFArrayGetValueAtIndex(list, i);
        if (!element || CFGetTypeID(element) != CFStringGetTypeID()) return false;
        std::string text = px::UTF8Of(static_cast<CFStringRef>(element));
        if (text.find('\0') != std::string::npos) return false;
        texts->push_back(std::move(text));
    }
    return true;
}

int Launch(const std::string& path, const std::vector<std::string>& arguments,
           const std::string& folder, uint32_t* processId)
{
    std::vector<const char*> pointers = {path.c_str()};
    for (const std::string& argument : arguments) pointers.push_back(argument.c_str());
    pointers.push_back(nullptr);
    const px::os::Launch launch = {path.c_str(), pointers.data(),
                                   folder.empty() ? nullptr : folder.c_str()};
    return px::os::Os().launchProcess(launch, processId);
}

void AppendQuoted(const char* argument, std::string* line)
{
    const std::string text = argument;
    if (!line->empty()) *line += ' ';
    if (!text.empty() && text.find_first_of(" \t\n\"\\") == std::string::npos) {
        *line += text;
        return;
    }
    *line += '"';
    for (const char c : text) {
        if (c == '"' || c == '\\') *line += '\\';
        *line += c;
    }
    *line += '"';
}

}  // namespace

PXStatus PXProcessLaunchApplication(CFURLRef application, CFArrayRef arguments) noexcept
{
    return PXProcessLaunchApplication2(application, arguments, nullptr, nullptr);
}

PXStatus PXProcessLaunchApplication2(CFURLRef application, CFArrayRef arguments, CFURLRef folder,
                                     uint32_t* outProcessID) noexcept
{
    if (outProcessID) *outProcessID = 0;
    const std::string path = px::PathOf(application);
    const std::string start = px::PathOf(folder);
    std::vector<std::string> texts;
    PX_REQUIRE(!path.empty() && (!folder || !start.empty()) && TextsOf(arguments, &texts));
    uint32_t processId = 0;
    if (const int error = Launch(path, texts, start, &processId))
        return PX_FAIL(px::os::StatusOf(error));
    // It runs; that its end cannot be collected now is worth a line, not a failure.
    if (const int error = px::ProcessWatcher::Shared().AddChild(processId))
        (void)PX_FAIL(px::os::StatusOf(error));
    if (outProcessID) *outProcessID = processId;
    return kPXOK;
}

PXStatus PXProcessKill(uint32_t processID) noexcept
{
    PX_REQUIRE(IsProcessId(processID));
    const int error = px::os::Os().killProcess(processID);
    return error ? PX_FAIL(px::os::StatusOf(error)) : PXStatus{kPXOK};
}

PXStatus PXProcessWatchProcessTermination(uint32_t processID, PXProcessTerminationProc procedure,
                                          void* context) noexcept
{
    PX_REQUIRE(IsProcessId(processID) && procedure);
    const int error = px::ProcessWatcher::Shared().Watch(processID, procedure, context);
    return error ? PX_FAIL(px::os::StatusOf(error)) : PXStatus{kPXOK};
}

CFURLRef PXProcessCreateCurrentProcessPath(void) noexcept
{
    char path[kMaxPath];
    if (px::os::Os().executablePath(path, sizeof(path)) != 0) return nullptr;
    return px::URLOf(path, false).Detach();
}

CFStringRef PXProcessGetCmdLineCopy(void) noexcept
{
    std::string line;
    const int error = px::os::Os().commandLine(
        [](const char* argument, void* context) {
            AppendQuoted(argument, static_cast<std::string*>(context));
        },
        &line);
    return error ? nullptr : px::StringOfAnyBytes(line).Detach();
}
