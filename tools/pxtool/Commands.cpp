#include "pxtool/Commands.h"

namespace px::tool {

namespace {

constexpr struct {
    std::string_view name;
    std::string_view about;
} kGroups[] = {
    {"cube", "colour cubes: tables from RGB to RGB in .cube files"},
    {"curve", "tone curves out of preset files"},
    {"plist", "property lists in XML, binary and the older text form"},
    {"preset", "folders of presets, which hold one folder for each category"},
    {"profile", "colour profiles of the system, the user and the monitor"},
};

}  // namespace

Commands MakeCommands()
{
    Commands commands;
    commands.push_back(MakeCompletionsCommand());
    commands.push_back(MakeConvertCommand());
    commands.push_back(MakeCropCommand());
    commands.push_back(MakeCubeApplyCommand());
    commands.push_back(MakeCubeMakeCommand());
    commands.push_back(MakeCubeMeasureCommand());
    commands.push_back(MakeCurveApplyCommand());
    commands.push_back(MakeCurvePlotCommand());
    commands.push_back(MakeCurveShowCommand());
    commands.push_back(MakeDiffCommand());
    commands.push_back(MakeDoctorCommand());
    commands.push_back(MakeInfoCommand());
    commands.push_back(MakeListenCommand());
    commands.push_back(MakeManCommand());
    commands.push_back(MakeMipsCommand());
    commands.push_back(MakePlistConvertCommand());
    commands.push_back(MakePlistLintCommand());
    commands.push_back(MakePresetExportCommand());
    commands.push_back(MakePresetImportCommand());
    commands.push_back(MakePresetLintCommand());
    commands.push_back(MakePresetListCommand());
    commands.push_back(MakePresetRenameCommand());
    commands.push_back(MakePresetShowCommand());
    commands.push_back(MakePresetSortCommand());
    commands.push_back(MakePresetThumbnailCommand());
    commands.push_back(MakeProfileImportCommand());
    commands.push_back(MakeProfileInfoCommand());
    commands.push_back(MakeProfileListCommand());
    commands.push_back(MakeProfileMonitorCommand());
    commands.push_back(MakeProofCommand());
    commands.push_back(MakeResizeCommand());
    commands.push_back(MakeRotateCommand());
    commands.push_back(MakeSelfTestCommand());
    commands.push_back(MakeSendCommand());
    commands.push_back(MakeServeCommand());
    commands.push_back(MakeTransformCommand());
    return commands;
}

std::vector<std::string_view> NamesOf(const Commands& commands)
{
    std::vector<std::string_view> names;
    for (const auto& command : commands) names.emplace_back(command->Name());
    return names;
}

std::string_view AboutGroup(std::string_view word)
{
    for (const auto& group : kGroups) {
        if (group.name == word) return group.about;
    }
    return "";
}

std::vector<std::string_view> GroupNames()
{
    std::vector<std::string_view> names;
    for (const auto& group : kGroups) names.push_back(group.name);
    return names;
}

std::string_view GroupOf(std::string_view name)
{
    const size_t space = name.find(' ');
    return space == std::string_view::npos ? std::string_view() : name.substr(0, space);
}

}  // namespace px::tool
