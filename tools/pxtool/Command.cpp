#include "pxtool/Command.h"

#include "pxtool/Profiles.h"
#include "pxtool/Stats.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace px::tool {

namespace {

std::string Digits(double number)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%.10g", number);
    return text;
}

bool HasRange(const Option& option)
{
    return option.least <= option.most;
}

Failure CheckNumber(const Option& option, double number, std::string_view command)
{
    if (!HasRange(option) || (number >= option.least && number <= option.most)) return Done();
    return UsageFailure(
        std::string(option.name) + " takes " + RangeOf(option) + ", not " + Digits(number), "", {},
        command);
}

}  // namespace

std::vector<Option> Command::SharedOptionList()
{
    const struct {
        Shared flag;
        Option option;
    } all[] = {
        {kSharesJSON, {"--json", &shared_.wantsJSON, "answer in JSON"}},
        {kSharesDryRun,
         {"--dry-run", &shared_.isDryRun,
          "do everything but write; tell what would be read and written"}},
        {kSharesForce, {"--force", &shared_.mayReplace, "replace a file that stands there"}},
        {kSharesQuiet, {"--quiet", &shared_.isQuiet, "show no progress"}},
        {kSharesStats,
         {"--stats", &shared_.wantsStats, "tell of time, memory, tiles and transforms"}},
    };
    std::vector<Option> options;
    for (const auto& each : all) {
        if (Shares() & each.flag) options.push_back(each.option);
    }
    return options;
}

Failure Command::Tell(Fields answer, const std::string& text) const
{
    if (!shared_.wantsJSON) return Print(text);
    if (shared_.wantsStats) answer.push_back({"stats", StatsNow()});
    return Print(JSONOf(std::move(answer)));
}

Failure Command::Tell(Fields answer) const
{
    const std::string text = TextOf(answer);
    return Tell(std::move(answer), text);
}

Failure UsageFailure(std::string text, std::string_view word,
                     std::span<const std::string_view> candidates, std::string_view command)
{
    const std::string_view nearest = word.empty() ? std::string_view() : Nearest(word, candidates);
    if (!nearest.empty()) {
        return {ExitCode::kUsage, std::move(text), "did you mean '" + std::string(nearest) + "'?"};
    }
    std::string hint = "see pxtool ";
    if (!command.empty()) hint += std::string(command) + ' ';
    return {ExitCode::kUsage, std::move(text), hint + "--help"};
}

size_t IndexOf(std::string_view word, std::span<const std::string_view> choices)
{
    return static_cast<size_t>(std::find(choices.begin(), choices.end(), word) - choices.begin());
}

Failure CheckValue(const Option& option, std::string_view command)
{
    if (const auto* number = std::get_if<int32_t*>(&option.value)) {
        return CheckNumber(option, **number, command);
    }
    if (const auto* number = std::get_if<double*>(&option.value)) {
        return CheckNumber(option, **number, command);
    }
    const auto* word = std::get_if<std::string*>(&option.value);
    if (!word || option.choices.empty() ||
        IndexOf(**word, option.choices) < option.choices.size()) {
        return Done();
    }
    return UsageFailure(
        std::string(option.name) + " takes " + ListOf(option.choices) + ", not '" + **word + "'",
        **word, option.choices, command);
}

std::string ListOf(std::span<const std::string_view> choices)
{
    std::string list;
    for (size_t i = 0; i < choices.size(); ++i) {
        list += i == 0 ? "" : i + 1 == choices.size() ? " or " : ", ";
        list += choices[i];
    }
    return list;
}

std::string RangeOf(const Option& option)
{
    if (!option.choices.empty()) return ListOf(option.choices);
    if (!HasRange(option)) return "";
    if (option.most >= INT32_MAX) return Digits(option.least) + " and more";
    return Digits(option.least) + " to " + Digits(option.most);
}

std::string DefaultOf(const Option& option)
{
    if (option.standard[0]) return option.standard;
    if (option.isRequired) return "";
    if (const auto* text = std::get_if<std::string*>(&option.value)) return **text;
    if (const auto* number = std::get_if<int32_t*>(&option.value)) {
        return HasRange(option) && **number < option.least ? "" : Digits(**number);
    }
    if (const auto* number = std::get_if<double*>(&option.value)) {
        return HasRange(option) && **number < option.least ? "" : Digits(**number);
    }
    return "";
}

}  // namespace px::tool
