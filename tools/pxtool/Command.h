#pragma once

// Command — what a command of the tool says about its arguments, and its work.
//
// Help, man pages and completions are made from the same declarations that arguments are read by.

#include "pxtool/Errors.h"
#include "pxtool/Values.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace px::tool {

// What completions offer for a value.
enum class Expects : uint8_t { kNothing, kFile, kFolder, kProfile, kCommand };

// One argument. Without it the value stays as it is, and that is the default that help tells.
struct Option {
    const char* name;  // "--quality", or "IN" for one that is known by its place
    std::variant<std::string*, int32_t*, double*, bool*> value;  // bool: given or not
    const char* help = "";
    const char* typeName = "";  // stands for the value in the help
    bool isRequired = false;
    double least = 0;  // of numbers; not more than `most` unless any number will do
    double most = -1;
    std::span<const std::string_view> choices = {};  // the words that it takes, unless it is empty
    const char* standard = "";                       // the default in words
    Expects expects = Expects::kNothing;
};

// The options that commands share; each has those that make sense for it.
enum Shared : uint32_t {
    kSharesJSON = 1 << 0,    // answers a query
    kSharesDryRun = 1 << 1,  // writes something
    kSharesForce = 1 << 2,   // writes files, which may stand there already
    kSharesQuiet = 1 << 3,   // shows its progress
    kSharesStats = 1 << 4,   // works for a while
};

// What a command that makes one file from another shares.
inline constexpr uint32_t kSharedOfWriters =
    kSharesDryRun | kSharesForce | kSharesQuiet | kSharesStats;

struct SharedOptions {
    bool wantsJSON = false;
    bool isDryRun = false;
    bool mayReplace = false;
    bool isQuiet = false;
    bool wantsStats = false;
};

class Command {
public:
    Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;
    virtual ~Command() = default;

    // One word, or two for a command of a group: "cube make".
    virtual const char* Name() const = 0;
    // A line without a full stop: "turn a picture clockwise".
    virtual const char* Summary() const = 0;
    // Paragraphs with empty lines between them; a line that begins with a space stays as it is.
    virtual std::string Details() const { return ""; }
    // Of Shared.
    virtual uint32_t Shares() const = 0;
    virtual std::vector<Option> Options() { return {}; }
    // Makes sense of the values, which were checked against range and choices, and does the work.
    virtual Failure Run() = 0;

    std::vector<Option> SharedOptionList();
    const SharedOptions& Settings() const { return shared_; }

protected:
    // Prints the answer of a query as JSON or, without --json, the text for people.
    Failure Tell(Fields answer, const std::string& text) const;
    Failure Tell(Fields answer) const;

private:
    SharedOptions shared_;
};

std::unique_ptr<Command> MakeCompletionsCommand();
std::unique_ptr<Command> MakeConvertCommand();
std::unique_ptr<Command> MakeCropCommand();
std::unique_ptr<Command> MakeCubeApplyCommand();
std::unique_ptr<Command> MakeCubeMakeCommand();
std::unique_ptr<Command> MakeCubeMeasureCommand();
std::unique_ptr<Command> MakeCurveApplyCommand();
std::unique_ptr<Command> MakeCurvePlotCommand();
std::unique_ptr<Command> MakeCurveShowCommand();
std::unique_ptr<Command> MakeDiffCommand();
std::unique_ptr<Command> MakeDoctorCommand();
std::unique_ptr<Command> MakeInfoCommand();
std::unique_ptr<Command> MakeListenCommand();
std::unique_ptr<Command> MakeManCommand();
std::unique_ptr<Command> MakeMipsCommand();
std::unique_ptr<Command> MakePlistConvertCommand();
std::unique_ptr<Command> MakePlistLintCommand();
std::unique_ptr<Command> MakePresetExportCommand();
std::unique_ptr<Command> MakePresetImportCommand();
std::unique_ptr<Command> MakePresetLintCommand();
std::unique_ptr<Command> MakePresetListCommand();
std::unique_ptr<Command> MakePresetRenameCommand();
std::unique_ptr<Command> MakePresetShowCommand();
std::unique_ptr<Command> MakePresetSortCommand();
std::unique_ptr<Command> MakePresetThumbnailCommand();
std::unique_ptr<Command> MakeProfileImportCommand();
std::unique_ptr<Command> MakeProfileInfoCommand();
std::unique_ptr<Command> MakeProfileListCommand();
std::unique_ptr<Command> MakeProfileMonitorCommand();
std::unique_ptr<Command> MakeProofCommand();
std::unique_ptr<Command> MakeResizeCommand();
std::unique_ptr<Command> MakeRotateCommand();
std::unique_ptr<Command> MakeSelfTestCommand();
std::unique_ptr<Command> MakeSendCommand();
std::unique_ptr<Command> MakeServeCommand();
std::unique_ptr<Command> MakeTransformCommand();

// kUsage, with the nearest of the candidates as the hint; without a near one what to look up.
Failure UsageFailure(std::string text, std::string_view word,
                     std::span<const std::string_view> candidates, std::string_view command);

// The place of a word among choices that it was checked to be one of.
size_t IndexOf(std::string_view word, std::span<const std::string_view> choices);

// Whether the value of an option is what it may be: a number in its range, one of its choices.
Failure CheckValue(const Option& option, std::string_view command);

// What an option takes and what holds without it, for people: "1 to 100; default: 92". Empty when
// there is nothing to tell. The value must not have been read yet.
std::string RangeOf(const Option& option);
std::string DefaultOf(const Option& option);
// "nearest, bilinear or bicubic".
std::string ListOf(std::span<const std::string_view> choices);

inline bool IsPositional(const Option& option)
{
    return option.name[0] != '-';
}

}  // namespace px::tool
