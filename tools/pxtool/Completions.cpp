#include "pxtool/Completions.h"

#include <algorithm>

namespace px::tool {

namespace {

constexpr char kStandardProfiles[] = "srgb adobergb prophoto prophoto22";

std::vector<Option> AllOptions(Command& command)
{
    std::vector<Option> options = command.Options();
    for (const Option& option : command.SharedOptionList()) options.push_back(option);
    return options;
}

void AddWord(std::string_view word, std::string* words)
{
    if (!words->empty()) *words += ' ';
    *words += word;
}

// The words that may stand first, groups once each.
std::string FirstWords(const Commands& commands)
{
    std::string words;
    std::string_view former;
    for (const auto& command : commands) {
        const std::string_view name = command->Name();
        const std::string_view group = GroupOf(name);
        if (group.empty() || group != former) AddWord(group.empty() ? name : group, &words);
        former = group;
    }
    return words;
}

std::string WordsOfGroup(const Commands& commands, std::string_view group)
{
    std::string words;
    for (const auto& command : commands) {
        const std::string_view name = command->Name();
        if (GroupOf(name) == group) AddWord(name.substr(group.size() + 1), &words);
    }
    return words;
}

// The words offered for a value; empty for files, folders and what only the user knows.
std::string WordsFor(const Option& option, const Commands& commands)
{
    std::string words;
    for (const std::string_view choice : option.choices) AddWord(choice, &words);
    if (option.expects == Expects::kProfile) words = kStandardProfiles;
    if (option.expects == Expects::kCommand) words = FirstWords(commands);
    return words;
}

bool TakesValue(const Option& option)
{
    return !std::holds_alternative<bool*>(option.value);
}

std::string OptionWords(Command& command)
{
    std::string words = "--help";
    for (const Option& option : AllOptions(command)) {
        if (!IsPositional(option)) AddWord(option.name, &words);
    }
    return words;
}

// The text between single quotes of a shell.
std::string Quoted(std::string_view text, std::string_view escaped, std::string_view quote)
{
    std::string out;
    for (const char c : text) {
        if (c == '\'') {
            out += quote;
        } else {
            if (escaped.find(c) != std::string_view::npos) out += '\\';
            out += c;
        }
    }
    return out;
}

std::string ForZsh(std::string_view text)
{
    return Quoted(text, "[]:\\", "'\\''");
}

std::string ForFish(std::string_view text)
{
    return Quoted(text, "\\", "\\'");
}

// What bash offers for the value of an option, and stops.
std::string BashValue(const Option& option, const Commands& commands)
{
    const std::string words = WordsFor(option, commands);
    std::string offer = words.empty() ? "" : "_pxtool_words '" + words + "'; ";
    if (option.expects == Expects::kFolder) offer += "_pxtool_files -d; ";
    if (option.expects == Expects::kFile || option.expects == Expects::kProfile) {
        offer += "_pxtool_files -f; ";
    }
    // Nothing is offered where only the user knows, not even files.
    return offer.empty() ? "compopt +o default +o bashdefault 2>/dev/null; " : offer;
}

std::string BashCase(Command& command, const Commands& commands)
{
    std::string values;
    std::string positionals;
    for (const Option& option : AllOptions(command)) {
        if (IsPositional(option)) {
            const std::string words = WordsFor(option, commands);
            if (!words.empty()) positionals += "_pxtool_words '" + words + "'; ";
        } else if (TakesValue(option)) {
            values += "        " + std::string(option.name) + ") " + BashValue(option, commands) +
                      "return ;;\n";
        }
    }
    return "    '" + std::string(command.Name()) + "')\n" +
           (values.empty() ? "" : "        case \"$prev\" in\n" + values + "        esac\n") +
           "        case \"$cur\" in -*) _pxtool_words '" + OptionWords(command) +
           "'; return ;; esac\n        " + positionals + ";;\n";
}

std::string ZshValue(const Option& option, const Commands& commands)
{
    const std::string words = WordsFor(option, commands);
    if (option.expects == Expects::kProfile) {
        return "{ compadd -- " + words + "; _files }";
    }
    if (!words.empty()) return '(' + words + ')';
    if (option.expects == Expects::kFolder) return "_files -/";
    return option.expects == Expects::kFile ? "_files" : " ";
}

std::string ZshCase(Command& command, const Commands& commands)
{
    std::string text =
        "    '" + std::string(command.Name()) + "')\n        _arguments '--help[help]'";
    int place = 0;
    for (const Option& option : AllOptions(command)) {
        text += " \\\n            '";
        if (IsPositional(option)) {
            text += std::to_string(++place) + (option.isRequired ? ":" : "::") + option.name + ':' +
                    ZshValue(option, commands);
        } else {
            // The equals sign: the value is the next word, or stands behind "=".
            text += option.name + std::string(TakesValue(option) ? "=[" : "[") +
                    ForZsh(option.help) + ']';
            if (TakesValue(option)) {
                text += ':' + ForZsh(option.typeName) + ':' + ZshValue(option, commands);
            }
        }
        text += '\'';
    }
    return text + "\n        ;;\n";
}

std::string ZshList(const Commands& commands, std::string_view group)
{
    std::string list;
    std::string_view former;
    for (const auto& command : commands) {
        const std::string_view name = command->Name();
        const std::string_view its = GroupOf(name);
        std::string_view word = name;
        std::string_view about = command->Summary();
        if (!group.empty()) {
            if (its != group) continue;
            word = name.substr(group.size() + 1);
        } else if (!its.empty()) {
            if (its == former) continue;
            former = its;
            word = its;
            about = AboutGroup(its);
        }
        list += " '" + std::string(word) + ':' + ForZsh(about) + '\'';
    }
    return list;
}

std::string FishOption(const Option& option, const std::string& command, const Commands& commands)
{
    std::string line = "complete -c pxtool -n '__pxtool_is " + command + '\'';
    if (IsPositional(option)) {
        const std::string words = WordsFor(option, commands);
        if (words.empty()) return "";
        return line + (option.expects == Expects::kProfile ? " -a '" : " -f -a '") + words + "'\n";
    }
    line += std::string(" -l ") + (option.name + 2);
    if (TakesValue(option)) {
        const bool offersFiles = option.expects != Expects::kNothing;
        line += offersFiles ? " -r -F" : " -x";
        const std::string words = WordsFor(option, commands);
        if (!words.empty()) line += " -a '" + words + '\'';
    }
    return line + " -d '" + ForFish(option.help) + "'\n";
}

}  // namespace

std::string CompletionsForBash(const Commands& commands)
{
    std::string text =
        "# What bash completes behind pxtool; made by \"pxtool completions bash\".\n\n"
        "_pxtool_words() { COMPREPLY+=($(compgen -W \"$1\" -- \"$cur\")); }\n"
        "_pxtool_files() { local IFS=$'\\n'; compopt -o filenames 2>/dev/null;"
        " COMPREPLY+=($(compgen \"$1\" -- \"$cur\")); }\n\n"
        "_pxtool()\n{\n"
        "    local cur=\"${COMP_WORDS[COMP_CWORD]}\" prev=\"${COMP_WORDS[COMP_CWORD-1]}\"\n"
        "    local command=\"${COMP_WORDS[1]}\"\n"
        "    COMPREPLY=()\n"
        "    # --option=value comes as three words.\n"
        "    if [ \"$cur\" = \"=\" ]; then cur=\"\"\n"
        "    elif [ \"$prev\" = \"=\" ]; then prev=\"${COMP_WORDS[COMP_CWORD-2]}\"; fi\n"
        "    if [ \"$COMP_CWORD\" -eq 1 ]; then\n        _pxtool_words '" +
        FirstWords(commands) +
        " --help --version'\n        return\n    fi\n"
        "    case \"$command\" in\n";
    for (const std::string_view group : GroupNames()) {
        text += "    " + std::string(group) +
                ")\n        if [ \"$COMP_CWORD\" -eq 2 ]; then _pxtool_words '" +
                WordsOfGroup(commands, group) +
                " --help'; return; fi\n        command=\"$command ${COMP_WORDS[2]}\" ;;\n";
    }
    text += "    esac\n    case \"$command\" in\n";
    for (const auto& command : commands) text += BashCase(*command, commands);
    return text + "    esac\n}\n\ncomplete -o bashdefault -o default -F _pxtool pxtool\n";
}

std::string CompletionsForZsh(const Commands& commands)
{
    std::string text =
        "#compdef pxtool\n# What zsh completes behind pxtool; made by \"pxtool completions "
        "zsh\".\n\n"
        "_pxtool()\n{\n    local -a list\n    if (( CURRENT == 2 )); then\n        list=(" +
        ZshList(commands, "") +
        ")\n        _describe command list\n        return\n    fi\n    case \"$words[2]\" in\n";
    for (const std::string_view group : GroupNames()) {
        text += "    " + std::string(group) +
                ")\n        if (( CURRENT == 3 )); then\n            list=(" +
                ZshList(commands, group) +
                ")\n            _describe command list\n            return\n        fi\n"
                "        words=(\"$words[2] $words[3]\" \"${(@)words[4,-1]}\")\n"
                "        (( CURRENT -= 2 )) ;;\n";
    }
    text +=
        "    *)\n        shift words\n        (( CURRENT-- )) ;;\n    esac\n    case \"$words[1]\" "
        "in\n";
    for (const auto& command : commands) text += ZshCase(*command, commands);
    return text + "    esac\n}\n\n_pxtool \"$@\"\n";
}

std::string CompletionsForFish(const Commands& commands)
{
    std::string text =
        "# What fish completes behind pxtool; made by \"pxtool completions fish\".\n\n"
        "function __pxtool_is\n    set -l words (commandline -opc)\n"
        "    set -l last (math (count $argv) + 1)\n"
        "    test (count $words) -ge $last; and test \"$words[2..$last]\" = \"$argv\"\nend\n"
        "function __pxtool_at\n    set -l words (commandline -opc)\n"
        "    test \"$words[2..-1]\" = \"$argv\"\nend\n\n"
        "complete -c pxtool -l help -d 'tell how it is used'\n"
        "complete -c pxtool -n __pxtool_at -f\n";
    std::string_view former;
    for (const auto& command : commands) {
        const std::string name = command->Name();
        const std::string_view group = GroupOf(name);
        const std::string first = group.empty() ? name : std::string(group);
        if (group.empty() || group != former) {
            text +=
                "complete -c pxtool -n __pxtool_at -a " + first + " -d '" +
                ForFish(group.empty() ? std::string_view(command->Summary()) : AboutGroup(group)) +
                "'\n";
        }
        former = group;
        if (!group.empty()) {
            text += "complete -c pxtool -n '__pxtool_at " + first + "' -f -a " +
                    name.substr(group.size() + 1) + " -d '" + ForFish(command->Summary()) + "'\n";
        }
        for (const Option& option : AllOptions(*command)) {
            text += FishOption(option, name, commands);
        }
    }
    return text;
}

}  // namespace px::tool
