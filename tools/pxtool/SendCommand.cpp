// SendCommand — "pxtool send": one request to a server, and its answer.

#include "Base/HTTPMessage.h"
#include "Base/ServerAPI.h"
#include "pxtool/Json.h"
#include "pxtool/Messages.h"

#include <algorithm>
#include <string_view>

namespace px::tool {

namespace {

class SendCommand final : public Command {
public:
    const char* Name() const override { return "send"; }
    const char* Summary() const override
    {
        return "send one request to a server and print the answer";
    }
    std::string Details() const override;
    uint32_t Shares() const override { return kSharesJSON; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    Failure SetBody(CHTTPMessage* request) const;
    Failure SetList(CHTTPMessage* request) const;
    Failure Show(const CHTTPMessage& answer) const;
    void SetTarget(CHTTPMessage* request) const;

    ServerPlace place_;
    std::string target_;
    std::string method_ = "GET";
    std::string list_;
    std::string json_;
    std::string file_;
    std::string raw_;
};

std::string SendCommand::Details() const
{
    return "URI is what follows the host, such as echo or image/info?path=a.jpg; values behind "
           "the question mark stand as they are, without escapes. Printed is the body of the "
           "answer as it came, or with --json the code, the type and the body, which is an "
           "object when a property list came, else text.";
}

std::vector<Option> SendCommand::Options()
{
    return WithPlace(
        &place_, "as published",
        {{.name = "URI", .value = &target_, .help = "what is asked for", .isRequired = true},
         {.name = "--method", .value = &method_, .help = "of the request", .typeName = "WORD"},
         {.name = "--plist",
          .value = &list_,
          .help = "a property list, a dictionary, as the body",
          .typeName = "FILE",
          .expects = Expects::kFile},
         {.name = "--packed",
          .value = &raw_,
          .help = "a file that goes raw beside the list of --plist",
          .typeName = "FILE",
          .expects = Expects::kFile},
         {.name = "--json-body", .value = &json_, .help = "JSON as the body", .typeName = "TEXT"},
         {.name = "--file",
          .value = &file_,
          .help = "a file as the body",
          .typeName = "FILE",
          .expects = Expects::kFile}});
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

Failure SendCommand::Show(const CHTTPMessage& answer) const
{
    if (!Settings().wantsJSON) {
        return answer.GetRawContent() ? WriteOut(answer.GetRawContent()) : Done();
    }
    Value body;
    const auto list = CFRef<CFPropertyListRef>::Adopt(
        answer.GetRawContent()
            ? CFPropertyListCreateWithData(nullptr, answer.GetRawContent(),
                                           kCFPropertyListImmutable, nullptr, nullptr)
            : nullptr);
    if (list && CFGetTypeID(list.Get()) == CFDictionaryGetTypeID()) {
        body = JSONText{JsonOf(list.Get())};
    } else if (answer.GetRawContent()) {
        body = std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(answer.GetRawContent())),
                           static_cast<size_t>(CFDataGetLength(answer.GetRawContent())));
    }
    return Tell({{"code", answer.GetResponseCode()},
                 {"type", TextFrom(answer.GetRawContentType())},
                 {"body", std::move(body)}});
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
    if (Failure failure = Show(answer)) return failure;
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
