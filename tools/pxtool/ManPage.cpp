#include "pxtool/ManPage.h"

#include "pxtool/Help.h"

namespace px::tool {

namespace {

// Text as roff takes it: no escapes, requests or hyphens by accident.
std::string Roff(std::string_view text)
{
    std::string roff;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool isLineStart = i == 0 || text[i - 1] == '\n';
        if (isLineStart && (c == '.' || c == '\'')) roff += "\\&";
        if (c == '\\') {
            roff += "\\e";
        } else if (c == '-') {
            roff += "\\-";
        } else {
            roff += c;
        }
    }
    return roff;
}

std::string Upper(std::string text)
{
    for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    return text;
}

std::string Head(const std::string& page, std::string_view summary)
{
    return ".TH " + Roff(Upper(page)) +
           " 1 \"\" \"pxtool " PXTOOL_VERSION "\" \"User Commands\"\n.SH NAME\n" + Roff(page) +
           " \\- " + Roff(summary) + '\n';
}

std::string Item(std::string_view title, std::string_view text)
{
    return ".TP\n.B " + Roff(title) + '\n' + Roff(text) + '\n';
}

std::string ExitSection()
{
    std::string section = ".SH EXIT STATUS\n";
    for (const ExitMeaning& each : ExitMeanings()) {
        section += Item(std::to_string(each.code), each.meaning);
    }
    return section;
}

std::string Items(const std::vector<Option>& options, bool ofPositionals)
{
    std::string items;
    for (const Option& option : options) {
        if (IsPositional(option) == ofPositionals) items += Item(TitleOf(option), TextOf(option));
    }
    return items;
}

}  // namespace

std::string PageName(std::string_view command)
{
    std::string name = "pxtool";
    if (!command.empty()) name += '-' + std::string(command);
    for (char& c : name) c = c == ' ' ? '-' : c;
    return name;
}

std::string ManPageFor(Command& command)
{
    const std::vector<Option> options = command.Options();
    std::string page = Head(PageName(command.Name()), command.Summary()) +
                       ".SH SYNOPSIS\n.B pxtool " + Roff(command.Name()) + '\n' +
                       Roff(UsageOf(command)) + '\n';
    std::string description;
    for (const std::string& paragraph : ParagraphsOf(command)) {
        description += ".PP\n" + Roff(paragraph) + '\n';
    }
    if (!description.empty()) page += ".SH DESCRIPTION\n" + description.substr(4);
    if (const std::string items = Items(options, true); !items.empty()) {
        page += ".SH ARGUMENTS\n" + items;
    }
    page += ".SH OPTIONS\n" + Items(options, false);
    for (const Option& option : command.SharedOptionList()) page += Item(option.name, option.help);
    return page + Item("-h, --help", "print help and exit") + ExitSection() +
           ".SH SEE ALSO\n.BR pxtool (1)\n";
}

std::string ManPageForTool(const Commands& commands)
{
    std::string page = Head("pxtool", kAbout) +
                       ".SH SYNOPSIS\n.B pxtool\n.I COMMAND\n[OPTIONS] ...\n"
                       ".br\n.B pxtool\n\\-\\-help | \\-\\-version\n.SH COMMANDS\n"
                       "Each has a page of its own, such as\n.BR pxtool\\-convert (1).\n";
    for (const auto& command : commands) page += Item(command->Name(), command->Summary());
    page +=
        ".SH OPTIONS\nCommands have those of these that make sense for them.\n.TP\n.B \\-\\-json\n"
        "Answer in one JSON object. Keys are only ever added.\n.TP\n.B \\-\\-stats\n"
        "Tell of the run on standard error, or with \\-\\-json under the key \"stats\".\n.TP\n"
        ".B \\-\\-dry\\-run\nDo everything but write; tell what would be read and written.\n.TP\n"
        ".B \\-\\-force\nReplace a file that stands there; nothing is replaced without it.\n.TP\n"
        ".B \\-\\-quiet\nShow no progress, which only a terminal is shown.\n";
    page += ExitSection() + ".SH ENVIRONMENT\n" +
            Item("TMPDIR", "the folder of the cache, else /var/tmp") +
            Item("XDG_DATA_HOME, XDG_DATA_DIRS", "where profiles, presets and servers are found");
    std::string seen;
    for (const auto& command : commands) {
        if (!seen.empty()) seen += ",\n";
        seen += ".BR " + Roff(PageName(command->Name())) + " (1)";
    }
    return page + ".SH SEE ALSO\n" + seen + '\n';
}

}  // namespace px::tool
