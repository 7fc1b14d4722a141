#pragma once

// Command — what a command of the tool says about its arguments, and its work.

#include "pxtool/Errors.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace px::tool {

// One argument. Without it the value stays as it is.
struct Option {
    const char* name;  // "--quality", or "IN" for one that is known by its place
    std::variant<std::string*, int32_t*, double*, bool*> value;  // bool: given or not
    const char* help;
    const char* typeName = "";  // stands for the value in the help
    bool isRequired = false;
    double least = 0;  // of numbers; not more than `most` unless any number will do
    double most = -1;
};

class Command {
public:
    Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;
    virtual ~Command() = default;

    // One word, or two for a command of a group: "cube make".
    virtual const char* Name() const = 0;
    virtual const char* About() const = 0;
    virtual const char* Footer() const { return ""; }
    virtual std::vector<Option> Options() = 0;
    // Makes sense of the values, then does the work.
    virtual Failure Run() = 0;
};

std::unique_ptr<Command> MakeConvertCommand();
std::unique_ptr<Command> MakeCropCommand();
std::unique_ptr<Command> MakeCubeApplyCommand();
std::unique_ptr<Command> MakeCubeMakeCommand();
std::unique_ptr<Command> MakeCubeMeasureCommand();
std::unique_ptr<Command> MakeCurveCommand();
std::unique_ptr<Command> MakeListenCommand();
std::unique_ptr<Command> MakeMipsCommand();
std::unique_ptr<Command> MakePlistCommand();
std::unique_ptr<Command> MakePresetCommand();
std::unique_ptr<Command> MakeProfileCommand();
std::unique_ptr<Command> MakeProofCommand();
std::unique_ptr<Command> MakeResizeCommand();
std::unique_ptr<Command> MakeRotateCommand();
std::unique_ptr<Command> MakeSendCommand();
std::unique_ptr<Command> MakeServeCommand();
std::unique_ptr<Command> MakeTransformCommand();

// kUsage, with the nearest of the candidates as the hint; without a near one what to look up.
Failure UsageFailure(std::string text, std::string_view word,
                     std::span<const std::string_view> candidates, std::string_view command);
// The place of a word among the choices of an option; a failure that names the option's `kind` when
// it is none of them.
Failure ChooseWord(const std::string& word, std::span<const std::string_view> choices,
                   std::string_view kind, std::string_view command, size_t* index);

}  // namespace px::tool
