#include "pxtool/Help.h"

#include <algorithm>
#include <iterator>

namespace px::tool {

namespace {

constexpr size_t kWidth = 80;
constexpr size_t kColumn = 26;  // where what an option is for begins

constexpr char kProfileNote[] =
    "PROFILE is srgb, adobergb, prophoto or prophoto22, the path of an ICC file, or the name of "
    "one in the system's colour folders.";

// Words are put on lines of kWidth, the first of which goes on at `at` and the others at `indent`.
std::string Wrap(std::string_view text, size_t at, size_t indent)
{
    std::string lines;
    size_t column = at;
    while (!text.empty()) {
        const size_t size = std::min(text.find(' '), text.size());
        const std::string_view word = text.substr(0, size);
        text.remove_prefix(std::min(size + 1, text.size()));
        const bool isFirst = column == at && lines.empty();
        if (!isFirst && column + 1 + word.size() > kWidth) {
            lines += '\n' + std::string(indent, ' ');
            column = indent;
        } else if (!isFirst) {
            lines += ' ';
            ++column;
        }
        lines += word;
        column += word.size();
    }
    return lines + '\n';
}

std::string Row(const std::string& title, std::string_view text)
{
    std::string row = "  " + title;
    if (row.size() + 2 > kColumn) {
        row += '\n' + std::string(kColumn, ' ');
    } else {
        row.append(kColumn - row.size(), ' ');
    }
    return row + Wrap(text, kColumn, kColumn);
}

std::string Rows(const char* title, const std::vector<Option>& options, bool ofPositionals)
{
    std::string rows;
    for (const Option& option : options) {
        if (IsPositional(option) == ofPositionals) rows += Row(TitleOf(option), TextOf(option));
    }
    return rows.empty() ? rows : std::string("\n") + title + ":\n" + rows;
}

}  // namespace

std::string TitleOf(const Option& option)
{
    if (IsPositional(option) || std::holds_alternative<bool*>(option.value)) return option.name;
    return std::string(option.name) + ' ' + (option.typeName[0] ? option.typeName : "TEXT");
}

std::string TextOf(const Option& option)
{
    std::string text = option.help;
    const std::string range = RangeOf(option);
    if (!range.empty()) text += (text.empty() ? "" : ": ") + range;
    const std::string standard = DefaultOf(option);
    if (!standard.empty()) text += " (default: " + standard + ")";
    if (option.isRequired && !IsPositional(option)) text += " (required)";
    return text;
}

std::string UsageOf(Command& command)
{
    std::string usage = "[OPTIONS]";
    std::string open;
    for (const Option& option : command.Options()) {
        if (IsPositional(option)) {
            usage += option.isRequired ? ' ' + std::string(option.name)
                                       : " [" + std::string(option.name);
            if (!option.isRequired) open += ']';
        }
    }
    usage += open;
    for (const Option& option : command.Options()) {
        if (!IsPositional(option) && option.isRequired) usage += ' ' + TitleOf(option);
    }
    return usage;
}

std::vector<std::string> ParagraphsOf(Command& command)
{
    std::vector<std::string> paragraphs;
    std::string rest = command.Details();
    while (!rest.empty()) {
        const size_t end = std::min(rest.find("\n\n"), rest.size());
        paragraphs.push_back(rest.substr(0, end));
        rest.erase(0, end + 2);
    }
    const std::vector<Option> options = command.Options();
    const bool hasProfile = std::any_of(options.begin(), options.end(), [](const Option& option) {
        return option.expects == Expects::kProfile;
    });
    if (hasProfile) paragraphs.emplace_back(kProfileNote);
    return paragraphs;
}

std::vector<ExitMeaning> ExitMeanings()
{
    return {
        {0, "done; of diff: the pictures are alike"},
        {1, "of diff: the pictures differ; of doctor and selftest: something is wrong"},
        {2, "the arguments make no sense"},
        {3, "a file or a server could not be read, or is not what it should be"},
        {4, "the result could not be written, stands there already, or does not fit its format"},
        {5, "memory or the like ran out"},
        {130, "cancelled by Ctrl-C or a request to terminate"}};
}

std::string HelpFor(Command& command)
{
    const std::string start = "Usage: pxtool " + std::string(command.Name()) + ' ';
    std::string help =
        Wrap("pxtool " + std::string(command.Name()) + " - " + command.Summary(), 0, 2) + '\n' +
        start + Wrap(UsageOf(command), start.size(), start.size());
    for (const std::string& paragraph : ParagraphsOf(command)) {
        help += '\n' + (paragraph[0] == ' ' ? paragraph + '\n' : Wrap(paragraph, 0, 0));
    }
    const std::vector<Option> options = command.Options();
    help += Rows("Arguments", options, true) + Rows("Options", options, false);
    help += "\nOptions that commands share:\n";
    for (const Option& option : command.SharedOptionList()) {
        help += Row(option.name, option.help);
    }
    return help + Row("-h, --help", "print this and exit") +
           "\nExit codes: 0 done, 1 different or faulty, 2 wrong arguments, 3 input, 4 output,\n"
           "5 resources, 130 cancelled.\n";
}

std::string HelpForGroup(const Commands& commands, std::string_view group)
{
    std::string help = "pxtool " + std::string(group) + " - " + std::string(AboutGroup(group)) +
                       "\n\nUsage: pxtool " + std::string(group) + " COMMAND ...\n\nCommands:\n";
    for (const auto& command : commands) {
        const std::string_view name = command->Name();
        if (GroupOf(name) != group) continue;
        help += Row(std::string(name.substr(group.size() + 1)), command->Summary());
    }
    return help + "\nSee pxtool " + std::string(group) + " COMMAND --help for one of them.\n";
}

std::string HelpForTool(const Commands& commands)
{
    std::string help = std::string("pxtool - ") + kAbout +
                       "\n\nUsage: pxtool COMMAND ...\n       pxtool --help | --version\n"
                       "\nCommands:\n";
    for (const auto& command : commands) help += Row(command->Name(), command->Summary());
    return help + "\nSee pxtool COMMAND --help for one of them.\n";
}

}  // namespace px::tool
