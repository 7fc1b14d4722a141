// ProfileInfoCommand — "pxtool profile info": what is known of a colour profile.

#include "pxtool/Command.h"
#include "pxtool/ProfileFacts.h"

namespace px::tool {

namespace {

class ProfileInfoCommand final : public Command {
public:
    const char* Name() const override { return "profile info"; }
    const char* Summary() const override { return "tell what is known of a colour profile"; }
    uint32_t Shares() const override { return kSharesJSON; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    std::string name_;
};

std::vector<Option> ProfileInfoCommand::Options()
{
    return {{.name = "PROFILE",
             .value = &name_,
             .help = "the profile to show",
             .isRequired = true,
             .expects = Expects::kProfile}};
}

Failure ProfileInfoCommand::Run()
{
    ProfileOwner profile;
    if (Failure failure = OpenProfile(name_, &profile)) return failure;
    return Tell(FactsOf(profile));
}

}  // namespace

std::unique_ptr<Command> MakeProfileInfoCommand()
{
    return std::make_unique<ProfileInfoCommand>();
}

}  // namespace px::tool
