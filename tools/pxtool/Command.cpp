#include "pxtool/Command.h"

#include "pxtool/Profiles.h"

#include <algorithm>
#include <utility>

namespace px::tool {

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

Failure ChooseWord(const std::string& word, std::span<const std::string_view> choices,
                   std::string_view kind, std::string_view command, size_t* index)
{
    const auto found = std::find(choices.begin(), choices.end(), word);
    *index = static_cast<size_t>(found - choices.begin());
    if (found != choices.end()) return Done();
    return UsageFailure("there is no " + std::string(kind) + " '" + word + "'", word, choices,
                        command);
}

}  // namespace px::tool
