// ProfileMonitorCommand — "pxtool profile monitor": the monitor's colour profile.

#include "pxtool/Command.h"
#include "pxtool/ProfileFacts.h"

namespace px::tool {

namespace {

class ProfileMonitorCommand final : public Command {
public:
    const char* Name() const override { return "profile monitor"; }
    const char* Summary() const override
    {
        return "show the monitor's profile, and where it comes from";
    }
    uint32_t Shares() const override { return kSharesJSON; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
};

std::vector<Option> ProfileMonitorCommand::Options()
{
    return {};
}

Failure ProfileMonitorCommand::Run()
{
    return Tell(MonitorFacts());
}

}  // namespace

std::unique_ptr<Command> MakeProfileMonitorCommand()
{
    return std::make_unique<ProfileMonitorCommand>();
}

}  // namespace px::tool
