// SendCommand — "pxtool send": one request to a server, and its answer.

#include "Base/HTTPMessage.h"
#include "Base/ServerAPI.h"
#include "pxtool/Messages.h"

#include <algorithm>
#include <string_view>

namespace px::tool {

namespace {

class SendCommand final : public Command {
public:
    const char* Name() const override { return "send"; }
    const char* About() const override;
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure SetBody(CHTTPMessage* request) const;
    Failure SetList(CHTTPMessage* request) const;
    void SetTarget(CHTTPMessage* request) const;

    ServerPlace place_;
    std::string target_;
    std::string method_ = "GET";
    std::string list_;
    std::string json_;
    std::string file_;
    std::string raw_;
};

const char* SendCommand::About() const
{
    return "Sends one request to a server and prints the body of the answer.\n"
           "\n"
           "URI is what follows the host, such as echo or image/info?path=a.jpg; values behind "
           "the\n"
           "question mark stand as they are, without escapes.";
}

std::vector<Option> SendCommand::Options()
{
    return WithPlace(
        &place_, {{"URI", &target_, "what is asked for", "", true},
                  {"--method", &method_, "of the request (without this option: GET)", "WORD"},
                  {"--plist", &list_, "a property list, a dictionary, as the body", "FILE"},
                  {"--packed", &raw_, "a file that goes raw beside the list of --plist", "FILE"},
                  {"--json", &json_, "JSON as the body", "TEXT"},
                  {"--file", &file_, "a file as the body", "FILE"}});
}

void SendCommand::SetTarget(CHTTPMessage* request) const
{
    const size_t mark = target_.find('?');
    request->SetUri(StringFrom(target_.substr(0, mark)).Get());
    if (mark == std::string::npos) return;
    std::string_view rest = std::string_view(target_).substr(mark + 1);
    while (!rest.empty()) {
        const std::string_view piece = rest.substr(0, rest.find('&'));
        rest.remove_prefix(std::min(piece.size() + 1, rest.size()));
        const size_t equals = piece.find('=');
        if (equals == std::string_view::npos) continue;
        request->SetParamObj(StringFrom(std::string(piece.substr(0, equals))).Get(),
                             StringFrom(std::string(piece.substr(equals + 1))).Get());
    }
}

Failure SendCommand::SetList(CHTTPMessage* request) const
{
    CFRef<CFDataRef> bytes;
    if (Failure failure = ReadBytes(list_, &bytes)) return failure;
    const auto list = CFRef<CFPropertyListRef>::Adopt(CFPropertyListCreateWithData(
        nullptr, bytes.Get(), kCFPropertyListImmutable, nullptr, nullptr));
    if (!list || CFGetTypeID(list.Get()) != CFDictionaryGetTypeID()) {
        return CannotRead(list_, "it is no property list with a dictionary", "");
    }
    const auto dictionary = static_cast<CFDictionaryRef>(list.Get());
    if (raw_.empty()) {
        request->SetContent(dictionary);
        return Done();
    }
    CFRef<CFDataRef> raw;
    if (Failure failure = ReadBytes(raw_, &raw)) return failure;
    PXHttpMessageSetContentPacked(px::ToHandle(request), raw.Get(), dictionary);
    return Done();
}

Failure SendCommand::SetBody(CHTTPMessage* request) const
{
    const int bodies = !list_.empty() + !json_.empty() + !file_.empty();
    if (bodies > 1 || (list_.empty() && !raw_.empty())) {
        return UsageFailure("a request has one body, and --packed goes with --plist", "", {},
                            Name());
    }
    if (!list_.empty()) return SetList(request);
    CFRef<CFDataRef> bytes;
    if (!json_.empty()) {
        bytes = CFRef<CFDataRef>::Adopt(CFDataCreate(nullptr,
                                                     reinterpret_cast<const UInt8*>(json_.data()),
                                                     static_cast<CFIndex>(json_.size())));
        request->SetContentJson(bytes.Get());
    } else if (!file_.empty()) {
        if (Failure failure = ReadBytes(file_, &bytes)) return failure;
        request->SetContentBinary(bytes.Get());
    }
    return Done();
}

Failure SendCommand::Run()
{
    CHTTPMessage request(StringFrom(method_).Get(), nullptr, nullptr);
    SetTarget(&request);
    if (Failure failure = SetBody(&request)) return failure;
    if (Failure failure = FindServer(&place_)) return failure;
    CBaseServerAPI server;
    CHTTPMessage answer(kHTTPMessageResponse);
    PXStatus status = server.OpenStreams(place_.port);
    if (status == kPXOK) status = server.SendRequest(request, answer);
    if (status != kPXOK) return ServerFailure(place_, status);
    if (answer.GetRawContent()) {
        if (Failure failure = WriteOut(answer.GetRawContent())) return failure;
    }
    if (answer.GetResponseCode() == 200) return Done();
    return {ExitCode::kInput,
            "the server answered with code " + std::to_string(answer.GetResponseCode()), ""};
}

}  // namespace

std::unique_ptr<Command> MakeSendCommand()
{
    return std::make_unique<SendCommand>();
}

}  // namespace px::tool
