#include "pxtool/CommandLine.h"

#include "pxtool/Command.h"
#include "pxtool/Progress.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

namespace px::tool {

namespace {

constexpr char kAbout[] = "pxtool - works on picture files with colour management";
constexpr std::string_view kGeneralOptions[] = {"--help", "--version"};

using Commands = std::vector<std::unique_ptr<Command>>;

// In the order of the help.
Commands MakeCommands()
{
    Commands commands;
    commands.push_back(MakeConvertCommand());
    commands.push_back(MakeCropCommand());
    commands.push_back(MakeCubeApplyCommand());
    commands.push_back(MakeCubeMakeCommand());
    commands.push_back(MakeCubeMeasureCommand());
    commands.push_back(MakeCurveCommand());
    commands.push_back(MakeListenCommand());
    commands.push_back(MakeMipsCommand());
    commands.push_back(MakePlistCommand());
    commands.push_back(MakePresetCommand());
    commands.push_back(MakeProfileCommand());
    commands.push_back(MakeProofCommand());
    commands.push_back(MakeResizeCommand());
    commands.push_back(MakeRotateCommand());
    commands.push_back(MakeSendCommand());
    commands.push_back(MakeServeCommand());
    commands.push_back(MakeTransformCommand());
    return commands;
}

// The help of a group of commands.
const char* AboutGroup(std::string_view group)
{
    return group == "cube" ? "Colour cubes: tables from RGB to RGB in .cube files." : "";
}

void Say(const Failure& failure)
{
    std::fputs(LineFor(failure).c_str(), stderr);
}

bool IsOneOf(std::string_view word, std::span<const std::string_view> words)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

std::vector<std::string_view> NamesOf(const Commands& commands)
{
    std::vector<std::string_view> names;
    for (const auto& command : commands) names.emplace_back(command->Name());
    return names;
}

std::vector<std::string_view> OptionNames(Command* command)
{
    std::vector<std::string_view> names(std::begin(kGeneralOptions), std::end(kGeneralOptions));
    if (!command) return names;
    for (const Option& option : command->Options()) {
        if (option.name[0] == '-') names.emplace_back(option.name);
    }
    return names;
}

// The first word that looks like an option and is none; empty when there is none.
std::string_view UnknownOption(int argc, const char* const* argv,
                               std::span<const std::string_view> names)
{
    for (int i = 1; i < argc; ++i) {
        const std::string_view word(argv[i]);
        if (word == "--") break;
        const std::string_view name = word.substr(0, word.find('='));
        if (name.substr(0, 2) == "--" && !IsOneOf(name, names)) return name;
    }
    return {};
}

// What CLI11 says, as a part of one line.
Failure FailureOf(const CLI::ParseError& error, Command* command, int argc, const char* const* argv)
{
    std::string text = error.what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    while (!text.empty() && (text.back() == '.' || text.back() == ' ')) text.pop_back();
    const std::vector<std::string_view> names = OptionNames(command);
    return UsageFailure(std::move(text), UnknownOption(argc, argv, names), names,
                        command ? command->Name() : "");
}

CLI::Option* Add(CLI::App* app, const Option& option)
{
    return std::visit(
        [&](auto* value) -> CLI::Option* {
            if constexpr (std::is_same_v<decltype(value), bool*>) {
                return app->add_flag(option.name, *value, option.help);
            } else {
                return app->add_option(option.name, *value, option.help);
            }
        },
        option.value);
}

// Where a command belongs, which is made with the first command of its group.
CLI::App* GroupOf(CLI::App& app, std::string_view name)
{
    const size_t space = name.find(' ');
    if (space == std::string_view::npos) return &app;
    const std::string group(name.substr(0, space));
    const auto former =
        app.get_subcommands([&](const CLI::App* sub) { return sub->get_name() == group; });
    if (!former.empty()) return former.front();
    CLI::App* made = app.add_subcommand(group, AboutGroup(group));
    made->require_subcommand(1);
    return made;
}

void AddCommand(CLI::App& app, Command& command)
{
    const std::string_view name = command.Name();
    CLI::App* sub = GroupOf(app, name)->add_subcommand(std::string(name.substr(name.find(' ') + 1)),
                                                       command.About());
    sub->footer(command.Footer());
    for (const Option& option : command.Options()) {
        CLI::Option* added = Add(sub, option);
        added->required(option.isRequired);
        if (option.typeName[0]) added->type_name(option.typeName);
        if (option.least > option.most) continue;
        if (std::holds_alternative<double*>(option.value)) {
            added->check(CLI::Range(option.least, option.most));
        } else {
            added->check(CLI::Range(static_cast<int>(option.least), static_cast<int>(option.most)));
        }
    }
}

bool IsGroup(std::string_view word, std::span<const std::string_view> names)
{
    return std::any_of(names.begin(), names.end(), [&](std::string_view name) {
        return name.size() > word.size() && name.starts_with(word) && name[word.size()] == ' ';
    });
}

// The name of the command that the arguments begin with: two words when the first is a group and
// the second no option.
std::string FirstWords(int argc, const char* const* argv, std::span<const std::string_view> names)
{
    std::string words(argv[1]);
    if (argc > 2 && argv[2][0] != '-' && IsGroup(words, names)) words += std::string(" ") + argv[2];
    return words;
}

int Finish(const Failure& failure)
{
    if (failure) Say(failure);
    return static_cast<int>(failure.code);
}

int Run(int argc, const char* const* argv)
{
    const Commands commands = MakeCommands();
    const std::vector<std::string_view> names = NamesOf(commands);
    if (argc < 2) return Finish(UsageFailure("no command is given", "", names, ""));
    const std::string word = FirstWords(argc, argv, names);
    const auto chosen = std::find(names.begin(), names.end(), word);
    // CLI11 would only miss a command; naming the mistyped one helps more.
    if (word[0] != '-' && chosen == names.end() && !IsGroup(word, names)) {
        return Finish(UsageFailure("there is no command '" + word + "'", word, names, ""));
    }
    Command* command = chosen == names.end()
                           ? nullptr
                           : commands[static_cast<size_t>(chosen - names.begin())].get();
    CLI::App app(kAbout, "pxtool");
    app.set_version_flag("--version", "pxtool " PXTOOL_VERSION);
    app.require_subcommand(1);
    for (const auto& each : commands) AddCommand(app, *each);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& wish) {
        return app.exit(wish);  // prints the help or the version
    } catch (const CLI::ParseError& error) {
        return Finish(FailureOf(error, command, argc, argv));
    }
    CatchSignals();
    // Options before the command do not keep it from being found.
    std::string name = app.get_subcommands().front()->get_name();
    if (IsGroup(name, names)) {
        name += ' ' + app.get_subcommands().front()->get_subcommands().front()->get_name();
    }
    const auto found = std::find(names.begin(), names.end(), name);
    return Finish(commands[static_cast<size_t>(found - names.begin())]->Run());
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
        return Run(argc, argv);
    } catch (const std::bad_alloc&) {
        return FinishBadly("memory ran out");
    } catch (const std::exception& error) {
        return FinishBadly(error.what());
    } catch (...) {
        return FinishBadly("something unexpected happened");
    }
}

}  // namespace px::tool
