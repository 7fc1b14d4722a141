// ListenCommand — "pxtool listen": prints the messages that a server pushes.

#include "Base/Msg.h"
#include "Base/Platform/Platform.h"
#include "Base/ServerAPI.h"
#include "PXCore/PXUtils.h"
#include "pxtool/Json.h"
#include "pxtool/Messages.h"
#include "pxtool/Progress.h"

#include <atomic>
#include <thread>

namespace px::tool {

namespace {

constexpr int64_t kLookNanos = 50'000'000;

class ListenCommand final : public Command {
public:
    const char* Name() const override { return "listen"; }
    const char* Summary() const override { return "print the messages that a server pushes"; }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharesJSON; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure PrintMessages(CBaseServerAPI* server) const;

    ServerPlace place_;
    int32_t count_ = 0;
    int32_t version_ = kDefaultVersion;
};

std::string ListenCommand::Details() const
{
    return "Each message is printed as a property list, or with --json as a line of JSON, until "
           "Ctrl-C or the server's end. Raw bytes of a message are told by their number.";
}

std::vector<Option> ListenCommand::Options()
{
    return WithPlace(&place_, "as published",
                     {{.name = "--count",
                       .value = &count_,
                       .help = "end after so many messages",
                       .typeName = "N",
                       .least = 1,
                       .most = INT32_MAX,
                       .standard = "no end"},
                      {.name = "--api-version",
                       .value = &version_,
                       .help = "the version to ask for",
                       .typeName = "N",
                       .least = 0,
                       .most = INT32_MAX}});
}

Failure ListenCommand::PrintMessages(CBaseServerAPI* server) const
{
    for (int32_t i = 0; count_ == 0 || i < count_; ++i) {
        CBaseMsg* next = nullptr;
        const PXStatus status = server->ReadMessage(next);
        const auto message = PXRef<CBaseMsg>::Adopt(next);
        if (status != kPXOK) return IsCancelled() ? Done() : ServerFailure(place_, status);
        if (message->GetRaw())
            message->SetInt(CFSTR("raw bytes"),
                            static_cast<int>(CFDataGetLength(message->GetRaw())));
        if (Settings().wantsJSON) {
            if (Failure failure = Print(JsonOf(message->GetDictionary()) + '\n')) return failure;
            continue;
        }
        const auto text =
            CFRef<CFDataRef>::Adopt(PXUtilsCreateXMLData(nullptr, message->GetDictionary()));
        if (!text) continue;
        if (Failure failure = WriteOut(text.Get())) return failure;
    }
    return Done();
}

Failure ListenCommand::Run()
{
    if (Failure failure = FindServer(&place_)) return failure;
    const auto server = PXRef<CBaseServerAPI>::Adopt(new CBaseServerAPI);
    PXStatus status = server->OpenStreams(place_.port);
    if (status == kPXOK) status = server->Connect(version_);
    if (status != kPXOK) return ServerFailure(place_, status);
    // Reading waits in the system, where a signal's flag is not seen.
    std::atomic<bool> isDone{false};
    std::thread watcher([&] {
        while (!isDone && !IsCancelled()) os::Os().sleepNanos(kLookNanos);
        server->Disconnect();
    });
    Failure failure = PrintMessages(server.Get());
    isDone = true;
    watcher.join();
    return failure;
}

}  // namespace

std::unique_ptr<Command> MakeListenCommand()
{
    return std::make_unique<ListenCommand>();
}

}  // namespace px::tool
