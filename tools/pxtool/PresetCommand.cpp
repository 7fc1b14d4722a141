#include "pxtool/PresetCommand.h"

#include "Base/Platform/Platform.h"

#include <filesystem>
#include <system_error>

namespace px::tool {

std::vector<Option> PresetCommand::Options()
{
    std::vector<Option> options = {{.name = "FOLDER",
                                    .value = &folder_,
                                    .help = "the folder of a module's presets",
                                    .isRequired = true,
                                    .expects = Expects::kFolder}};
    for (const Option& option : MoreOptions()) options.push_back(option);
    options.push_back({.name = "--ext",
                       .value = &extension_,
                       .help = "what names of presets end in",
                       .typeName = "EXT"});
    return options;
}

// The manager would make a folder that is missing, which is not what was meant here.
Failure PresetCommand::Open()
{
    std::string folder = folder_;
    while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
    os::FileFacts facts;
    if (os::Os().factsOfPath(folder.c_str(), &facts) || !facts.isFolder) {
        return CannotRead(folder_, "there is no such folder",
                          "name the folder that holds the categories");
    }
    // The manager asks for the name of the folder, which "." and ".." keep to themselves.
    std::error_code error;
    if (folder.ends_with('.')) folder = std::filesystem::canonical(folder, error).string();
    if (error) return CannotRead(folder_, os::TextOf(error.value()), "name the folder");
    const size_t slash = folder.rfind('/');
    const std::string root = slash == std::string::npos ? "."
                             : slash == 0               ? "/"
                                                        : folder.substr(0, slash);
    const bool isOpen =
        manager_.initialize(Text(root), Text(folder.substr(slash + 1)), Text(extension_));
    return isOpen ? Done() : Said(ExitCode::kUsage);
}

Failure PresetCommand::Said(ExitCode code) const
{
    const std::string sentence = log_->First();
    return {code,
            sentence.empty() ? std::string(Name()) + " failed in '" + folder_ + "'" : sentence,
            "see pxtool preset lint"};
}

Failure PresetCommand::CheckCategory(const std::string& category)
{
    if (manager_.categoryExists(Text(category))) return Done();
    return CannotRead(category, "there is no such category", "see pxtool preset list " + folder_);
}

Failure PresetCommand::CheckPreset(const std::string& category, const std::string& name)
{
    if (manager_.presetExists(Text(name), Text(category))) return Done();
    return CannotRead(name, "there is no such preset", "see pxtool preset list");
}

Option PresetCommand::CategoryOption(std::string* category)
{
    return {.name = "CATEGORY", .value = category, .help = "a category", .isRequired = true};
}

Option PresetCommand::NameOption(std::string* name)
{
    return {.name = "NAME", .value = name, .help = "the name of a preset", .isRequired = true};
}

Failure PresetCommand::Run()
{
    log_.emplace();
    if (Failure failure = Open()) return failure;
    return Work();
}

}  // namespace px::tool
