#include "pxtool/CommandLine.h"

#include "pxtool/Commands.h"
#include "pxtool/Help.h"
#include "pxtool/Progress.h"
#include "pxtool/Stats.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

namespace px::tool {

namespace {

// The words behind the name of the program.
using Words = std::span<const char* const>;

void Say(const Failure& failure)
{
    std::fputs(LineFor(failure).c_str(), stderr);
}

int Finish(const Failure& failure)
{
    if (!failure.text.empty()) Say(failure);
    return static_cast<int>(failure.code);
}

bool IsHelp(std::string_view word)
{
    return word == "--help" || word == "-h";
}

std::vector<Option> AllOptions(Command* command)
{
    std::vector<Option> options = command->Options();
    for (const Option& option : command->SharedOptionList()) options.push_back(option);
    return options;
}

// That there is an option or an argument too many; CLI11 tells of both alike.
Failure ExtraFailure(const std::string& word, Command* command)
{
    std::vector<std::string_view> names = {"--help"};
    for (const Option& option : AllOptions(command)) {
        if (!IsPositional(option)) names.emplace_back(option.name);
    }
    if (word[0] != '-') {
        return UsageFailure("'" + word + "' is one argument too many", "", {}, command->Name());
    }
    const std::string name = word.substr(0, word.find('='));
    return UsageFailure("there is no option '" + name + "'", name, names, command->Name());
}

// What CLI11 says, as a part of one line.
Failure FailureOf(const CLI::ParseError& error, const CLI::App& app, Command* command)
{
    // A mistyped option is named first: what CLI11 misses is often what it would have been.
    const std::vector<std::string> rest = app.remaining();
    const auto mistyped = std::find_if(rest.begin(), rest.end(), [](const std::string& word) {
        return word.size() > 1 && word[0] == '-';
    });
    if (mistyped != rest.end()) return ExtraFailure(*mistyped, command);
    if (!rest.empty()) return ExtraFailure(rest.front(), command);
    std::string text = error.what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    while (!text.empty() && (text.back() == '.' || text.back() == ' ')) text.pop_back();
    return UsageFailure(std::move(text), "", {}, command->Name());
}

// Before CLI11 reads a number, and in our words; whether it is in its range is looked at later.
template <class Number>
CLI::Validator IsNumber(const Option& option)
{
    const std::string range = RangeOf(option);
    const std::string takes =
        std::string(option.name) + " takes " + (range.empty() ? "a number" : range) + ", not '";
    const auto check = [takes](std::string& text) -> std::string {
        Number number{};
        if (CLI::detail::lexical_cast(text, number)) return "";
        throw CLI::ConversionError(takes + text + "'", CLI::ExitCodes::ConversionError);
    };
    return CLI::Validator(check, "");
}

CLI::Option* Add(CLI::App* app, const Option& option)
{
    CLI::Option* added = std::visit(
        [&](auto* value) -> CLI::Option* {
            using Kind = std::remove_pointer_t<decltype(value)>;
            if constexpr (std::is_same_v<Kind, bool>) {
                return app->add_flag(option.name, *value, option.help);
            } else if constexpr (std::is_same_v<Kind, std::string>) {
                return app->add_option(option.name, *value, option.help);
            } else {
                return app->add_option(option.name, *value, option.help)
                    ->check(IsNumber<Kind>(option));
            }
        },
        option.value);
    added->required(option.isRequired);
    if (option.typeName[0]) added->type_name(option.typeName);
    return added;
}

// Reads the words that follow the command's name. *isDone is set when they only asked for help.
Failure ReadArguments(Words words, Command* command, bool* isDone)
{
    CLI::App app;
    app.set_help_flag("-h,--help");
    const std::vector<Option> options = AllOptions(command);
    const std::string help = HelpFor(*command);  // before there are other values than defaults
    std::vector<CLI::Option*> added;
    for (const Option& option : options) added.push_back(Add(&app, option));
    try {
        // CLI11 takes them from the back.
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::CallForHelp&) {
        *isDone = true;
        return Print(help);
    } catch (const CLI::ParseError& error) {
        return FailureOf(error, app, command);
    }
    for (size_t i = 0; i < options.size(); ++i) {
        if (added[i]->count() == 0) continue;
        if (Failure failure = CheckValue(options[i], command->Name())) return failure;
    }
    return Done();
}

// Finds the command that the words begin with, and how many of them are its name. Null when help
// was asked for, or with a failure.
Failure FindCommand(Words words, const Commands& commands, Command** command, size_t* used)
{
    *command = nullptr;
    std::vector<std::string_view> names = NamesOf(commands);
    if (words.empty()) return UsageFailure("no command is given", "", names, "");
    std::string name = words[0];
    if (IsHelp(name)) return Print(HelpForTool(commands));
    if (name == "--version") return Print("pxtool " PXTOOL_VERSION "\n");
    *used = 1;
    if (!AboutGroup(name).empty()) {
        if (words.size() == 1) {
            return UsageFailure("'" + name + "' needs the name of one of its commands", "", {},
                                name);
        }
        if (IsHelp(words[1])) return Print(HelpForGroup(commands, name));
        name += std::string(" ") + words[1];
        *used = 2;
    }
    const auto found = std::find(names.begin(), names.end(), name);
    if (found != names.end()) {
        *command = commands[static_cast<size_t>(found - names.begin())].get();
        return Done();
    }
    if (name[0] == '-') return UsageFailure("the command comes before '" + name + "'", "", {}, "");
    const std::string text = "there is no command '" + name + "'";
    if (*used == 2) return UsageFailure(text, name, names, words[0]);
    for (const std::string_view group : GroupNames()) names.push_back(group);
    return UsageFailure(text, name, names, "");
}

int Run(Words words)
{
    StartStats();
    const Commands commands = MakeCommands();
    Command* command = nullptr;
    size_t used = 0;
    const Failure failure = FindCommand(words, commands, &command, &used);
    if (!command) return Finish(failure);
    bool isDone = false;
    if (Failure wrong = ReadArguments(words.subspan(used), command, &isDone); wrong || isDone) {
        return Finish(wrong);
    }
    CatchSignals();
    const Failure result = command->Run();
    const SharedOptions& settings = command->Settings();
    if (settings.wantsStats && !settings.wantsJSON) {
        std::fputs(TextOf(StatsNow()).c_str(), stderr);
    }
    return Finish(result);
}

// Without an allocation: memory may be what is missing.
int FinishBadly(const char* what) noexcept
{
    std::fprintf(stderr, "pxtool: %s. Hint: close other programs, or convert a smaller picture\n",
                 what);
    return static_cast<int>(ExitCode::kResources);
}

}  // namespace

int Main(int argc, const char* const* argv) noexcept
{
    try {
        const Words all(argv, static_cast<size_t>(argc));
        return Run(all.subspan(std::min<size_t>(1, all.size())));
    } catch (const std::bad_alloc&) {
        return FinishBadly("memory ran out");
    } catch (const std::exception& error) {
        return FinishBadly(error.what());
    } catch (...) {
        return FinishBadly("something unexpected happened");
    }
}

}  // namespace px::tool
