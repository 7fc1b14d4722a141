// DoctorCommand — "pxtool doctor": what there is to know when something goes wrong.

#include "pxtool/Command.h"
#include "pxtool/Doctor.h"

namespace px::tool {

namespace {

Values ListOf(const std::vector<std::string>& texts)
{
    return Values(texts.begin(), texts.end());
}

class DoctorCommand final : public Command {
public:
    const char* Name() const override { return "doctor"; }
    const char* Summary() const override { return "tell what problems of this machine come from"; }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharesJSON; }
    Failure Run() override;
};

std::string DoctorCommand::Details() const
{
    return "Told are versions, the processor's features and the kernels chosen for it, memory and "
           "where its limit comes from, the cache folder, the monitor's profile and its source, "
           "the folders of profiles, servers that run, and the limits in force. Problems end with "
           "exit code 1; notes do not. The tool looks at nothing beyond this machine.";
}

Failure DoctorCommand::Run()
{
    Diagnosis found = Diagnose();
    found.facts.push_back({"problems", ListOf(found.problems)});
    found.facts.push_back({"notes", ListOf(found.notes)});
    if (Failure failure = Tell(std::move(found.facts))) return failure;
    return {found.problems.empty() ? ExitCode::kDone : ExitCode::kDifferent, "", ""};
}

}  // namespace

std::unique_ptr<Command> MakeDoctorCommand()
{
    return std::make_unique<DoctorCommand>();
}

}  // namespace px::tool
