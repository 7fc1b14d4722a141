// ProfileListCommand — "pxtool profile list": the colour profiles that there are.

#include "Base/Ref.h"
#include "PXCore/PXColorProfileDesc.h"
#include "pxtool/Command.h"
#include "pxtool/ProfileFacts.h"

namespace px::tool {

namespace {

Failure AddList(int (*get)(CFArrayRef*), Values* records)
{
    CFArrayRef list = nullptr;
    if (get(&list) != kPXOK) return OutOfMemory("the list of profiles");
    const auto owner = CFRef<CFArrayRef>::Adopt(list);
    for (CFIndex i = 0; i < CFArrayGetCount(list); ++i) {
        records->emplace_back(FactsOf(
            static_cast<PXColorProfileDesc>(const_cast<void*>(CFArrayGetValueAtIndex(list, i)))));
    }
    return Done();
}

class ProfileListCommand final : public Command {
public:
    const char* Name() const override { return "profile list"; }
    const char* Summary() const override
    {
        return "list the profiles in the system's colour folders and those imported";
    }
    uint32_t Shares() const override { return kSharesJSON; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    bool printersOnly_ = false;
    bool importedOnly_ = false;
};

std::vector<Option> ProfileListCommand::Options()
{
    return {{.name = "--printers",
             .value = &printersOnly_,
             .help = "the system's profiles of printers alone"},
            {.name = "--imported", .value = &importedOnly_, .help = "the imported ones alone"}};
}

Failure ProfileListCommand::Run()
{
    if (printersOnly_ && importedOnly_) {
        return UsageFailure("only one of --printers and --imported chooses", "", {}, Name());
    }
    Values records;
    Failure failure = Done();
    if (printersOnly_) {
        failure = AddList(PXColorProfileGetPrinterProfilesCopy, &records);
    } else {
        failure = AddList(PXColorProfileGetUserProfilesCopy, &records);
        if (!failure && !importedOnly_) {
            failure = AddList(PXColorProfileGetICCProfilesCopy, &records);
        }
    }
    if (failure) return failure;
    const std::string text = TableOf(records);
    return Tell({{"profiles", std::move(records)}}, text);
}

}  // namespace

std::unique_ptr<Command> MakeProfileListCommand()
{
    return std::make_unique<ProfileListCommand>();
}

}  // namespace px::tool
