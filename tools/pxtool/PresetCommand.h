#pragma once

// PresetCommand — what the commands of preset folders share.

#include "PXCore/PXPresetManager.h"
#include "pxtool/Command.h"
#include "pxtool/LogCapture.h"

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace px::tool {

// A preset of any module: what the manager keeps of the keys is enough here.
class AnyMaker final : public PXPresetMaker {
public:
    PXPreset* createPreset() override { return new PXPreset; }
};

class PresetCommand : public Command {
public:
    std::vector<Option> Options() final;
    // Opens the folder, then works on it.
    Failure Run() final;

protected:
    // The arguments that follow FOLDER, and options.
    virtual std::vector<Option> MoreOptions() { return {}; }
    virtual Failure Work() = 0;

    PXPresetManager& Manager() { return manager_; }
    const std::string& Folder() const { return folder_; }
    static PXString Text(const std::string& utf8) { return PXString(utf8.c_str()); }

    // What the library said, as a failure about the folder.
    Failure Said(ExitCode code) const;
    // That something named is not there.
    Failure CheckCategory(const std::string& category);
    Failure CheckPreset(const std::string& category, const std::string& name);

    static Option CategoryOption(std::string* category);
    static Option NameOption(std::string* name);

private:
    Failure Open();

    std::string folder_;
    std::string extension_ = ".pxcurve";
    std::optional<LogCapture> log_;
    PXPresetManager manager_;
};

}  // namespace px::tool
