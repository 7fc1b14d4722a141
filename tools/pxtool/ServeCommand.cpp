// ServeCommand — "pxtool serve": a message server that answers a few queries.

#include "Base/Connection.h"
#include "Base/HTTPMessage.h"
#include "Base/MsgBroadcaster.h"
#include "Base/Platform/Platform.h"
#include "Base/Server.h"
#include "PXCore/PXPreset.h"
#include "pxtool/Messages.h"
#include "pxtool/PictureFile.h"
#include "pxtool/Progress.h"

#include <new>

namespace px::tool {

namespace {

constexpr int64_t kLookNanos = 50'000'000;

std::string HTMLOf(const std::string& text)
{
    std::string html;
    for (const char character : text) {
        switch (character) {
            case '<':
                html += "&lt;";
                break;
            case '&':
                html += "&amp;";
                break;
            default:
                html += character;
        }
    }
    return html;
}

class ToolConnection final : public CServerConnection {
public:
    ToolConnection(CBaseStream* stream, const std::string& product, bool hasPage)
        : CServerConnection(stream), product_(product), hasPage_(hasPage)
    {
    }

    void HandleRequest(CHTTPMessage& request, CHTTPMessage& response) override
    {
        const std::string uri = TextFrom(request.GetUri());
        if (hasPage_ && uri.empty()) return ShowPage(response);
        if (request.IsFromBrowser()) return CServerConnection::HandleRequest(request, response);
        if (uri == "echo") return Echo(request, response);
        if (uri == "image/info") return DescribeImage(request, response);
        if (uri == "preset/info") return DescribePreset(request, response);
        CServerConnection::HandleRequest(request, response);
    }

private:
    static void Echo(CHTTPMessage& request, CHTTPMessage& response)
    {
        if (!request.GetRawContent()) return response.SetContentInt(CFSTR("result"), 0);
        response.SetContent(request.GetRawContentType() ? request.GetRawContentType()
                                                        : CFSTR("application/octet-stream"),
                            request.GetRawContent());
    }

    static void Refuse(CHTTPMessage& response, const Failure& failure)
    {
        response.SetResponseCode(404);
        response.SetContentInt(CFSTR("result"), kPXErrNotFound);
        response.SetContentString(CFSTR("message"), StringFrom(failure.text).Get());
    }

    static void DescribeImage(CHTTPMessage& request, CHTTPMessage& response)
    {
        const std::string path = TextFrom(request.GetParamString(CFSTR("path")));
        Progress progress("", false);
        Picture picture;
        if (const Failure failure = ReadPicture(path, progress, &picture))
            return Refuse(response, failure);
        response.SetContentInt(CFSTR("result"), 0);
        response.SetContentInt(CFSTR("width"), picture.layout.width);
        response.SetContentInt(CFSTR("height"), picture.layout.height);
        response.SetContentInt(CFSTR("depth"), picture.layout.depth);
        response.SetContentInt(CFSTR("channels"), picture.layout.Channels());
    }

    static void DescribePreset(CHTTPMessage& request, CHTTPMessage& response)
    {
        const std::string path = TextFrom(request.GetParamString(CFSTR("path")));
        CFRef<CFDataRef> bytes;
        if (const Failure failure = ReadBytes(path, &bytes)) return Refuse(response, failure);
        PXPreset preset;
        if (preset.initWithPresetRawData(bytes.Get()) != kPXOK)
            return Refuse(response, CannotRead(path, "it is no preset", ""));
        response.SetContentInt(CFSTR("result"), 0);
        response.SetContentValue(CFSTR("preset"), preset.presetData());
    }

    void ShowPage(CHTTPMessage& response) const
    {
        const size_t count = GetServer() ? GetServer()->GetConnectionCount() : 0;
        const std::string page = "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>" +
                                 HTMLOf(product_) + "</title></head>\n<body><h1>" +
                                 HTMLOf(product_) + "</h1>\n<p>process " +
                                 std::to_string(os::Os().processId()) + ", connections " +
                                 std::to_string(count) + "</p></body></html>\n";
        response.SetContentHTML(StringFrom(page).Get());
    }

    const std::string product_;
    const bool hasPage_;
};

class ToolFactory final : public CBaseConnectionFactory {
public:
    ToolFactory(const std::string& product, bool hasPage) : product_(product), hasPage_(hasPage) {}

    CBaseConnection* CreateConnection(CBaseStream* stream) override
    {
        return new (std::nothrow) ToolConnection(stream, product_, hasPage_);
    }

private:
    const std::string product_;
    const bool hasPage_;
};

class ServeCommand final : public Command {
public:
    const char* Name() const override { return "serve"; }
    const char* Summary() const override
    {
        return "serve requests of this user's programs on this machine";
    }
    std::string Details() const override;
    uint32_t Shares() const override { return 0; }
    std::vector<Option> Options() override;
    Failure Run() override;

private:
    ServerPlace place_;
    int32_t version_ = kDefaultVersion;
    bool hasPage_ = false;
};

std::string ServeCommand::Details() const
{
    return "Answered until Ctrl-C are echo (the body comes back), image/info?path=FILE and "
           "preset/info?path=FILE. Messages that a program sends go to all that listen. The port "
           "is published under the product's name, where pxtool send and pxtool listen find it.";
}

std::vector<Option> ServeCommand::Options()
{
    return WithPlace(&place_, "any that is free",
                     {{.name = "--status-page",
                       .value = &hasPage_,
                       .help = "show a page about the server to browsers, too"},
                      {.name = "--api-version",
                       .value = &version_,
                       .help = "what clients must ask for",
                       .typeName = "N",
                       .least = 0,
                       .most = INT32_MAX}});
}

Failure ServeCommand::Run()
{
    const auto broadcaster = PXRef<CBaseMsgBroadcaster>::Adopt(new CBaseMsgBroadcaster);
    const auto factory = PXRef<ToolFactory>::Adopt(new ToolFactory(place_.product, hasPage_));
    const auto server = PXRef<CBaseServer>::Adopt(new CBaseServer);
    PXServerSettings settings;
    PXServerSettingsGetDefault(&settings);
    settings.allowsBrowsers = hasPage_;
    settings.checksHost = true;
    server->SetSettings(settings);
    PXStatus status = server->Initialize(broadcaster.Get(), factory.Get(), version_);
    if (status == kPXOK) status = server->StartListening(place_.port);
    if (status != kPXOK) {
        return {ExitCode::kResources,
                std::string("cannot listen: ") + os::TextOf(static_cast<int>(status)),
                "choose another port, or none"};
    }
    const auto product = StringFrom(place_.product);
    status = PXUtilsWriteServerData(product.Get(), server->GetPort());
    if (status == kPXOK) {
        Failure failure = WriteOut("listening on port " + std::to_string(server->GetPort()) + "\n");
        while (!failure && !IsCancelled()) os::Os().sleepNanos(kLookNanos);
        PXUtilsDeleteServerData(product.Get());
    }
    server->Shutdown();
    if (status == kPXOK) return Done();
    return CannotWrite(place_.product, "the server's data file cannot be written",
                       "choose a product's name without a slash");
}

}  // namespace

std::unique_ptr<Command> MakeServeCommand()
{
    return std::make_unique<ServeCommand>();
}

}  // namespace px::tool
