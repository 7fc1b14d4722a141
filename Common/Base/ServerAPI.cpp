#include "Base/ServerAPI.h"

#include "Base/HTTPMessage.h"
#include "Base/Msg.h"
#include "Base/PXSocket.h"
#include "Base/Status.h"
#include "Base/Stream.h"
#include "PXCore/PXUtils.h"

namespace {

constexpr char kEventSource[] = "BaseServerAPI";

PXStatus OpenOne(int port, PXRef<CBaseStream>* outStream)
{
    PXSocket socket = nullptr;
    PX_TRY(PXSocketCreate(&socket));
    PXStream stream = nullptr;
    PXSocketSetAddressLoopback(socket, static_cast<uint16_t>(port));
    PXStatus status = PXSocketConnect(socket);
    if (status == kPXOK) status = PXStreamCreateForSocket(socket, &stream);
    PXSocketRelease(socket);
    *outStream = PXRef<CBaseStream>::Adopt(px::ToStream(stream));
    return status;
}

// The dictionary of an answer whose "result" is 0.
PXStatus Check(CHTTPMessage& answer)
{
    const CFDictionaryRef dictionary = answer.GetResponse();
    if (!dictionary) return kPXErrStreamEnd;
    return static_cast<PXStatus>(
        PXUtilsCFValueGetInt(CFDictionaryGetValue(dictionary, CFSTR("result"))));
}

}  // namespace

CBaseServerAPI::~CBaseServerAPI()
{
    Disconnect();
}

void CBaseServerAPI::SetCmdStream(CBaseStream* stream)
{
    cmdStream_ = PXRef<CBaseStream>::Retain(stream);
}

void CBaseServerAPI::SetMsgStream(CBaseStream* stream)
{
    msgStream_ = PXRef<CBaseStream>::Retain(stream);
}

PXStatus CBaseServerAPI::OpenStreams(int port)
{
    PX_REQUIRE(port > 0 && port <= UINT16_MAX);
    messagePort_ = port;
    return OpenOne(port, &cmdStream_);
}

PXStatus CBaseServerAPI::Connect(int apiVersion)
{
    PX_REQUIRE(cmdStream_);
    const PXStatus status = Shake(apiVersion);
    if (status != kPXOK) Disconnect();
    return status;
}

PXStatus CBaseServerAPI::Shake(int apiVersion)
{
    CHTTPMessage request(CFSTR("GET"), CFSTR("server"), CFSTR("connect"));
    request.SetParam(CFSTR("api-version"), apiVersion);
    CHTTPMessage answer(kHTTPMessageResponse);
    PX_TRY(SendRequest(request, answer));
    PX_TRY(Check(answer));
    const CFTypeRef id = CFDictionaryGetValue(answer.GetResponse(), CFSTR("connection-id"));
    if (!id || CFGetTypeID(id) != CFStringGetTypeID()) return kPXErrStreamEnd;
    connectionID_ = CFRef<CFStringRef>::Retain(static_cast<CFStringRef>(id));
    if (messagePort_) PX_TRY(OpenOne(messagePort_, &msgStream_));
    if (!msgStream_) return kPXOK;
    CHTTPMessage listen(CFSTR("GET"), CFSTR("server"), CFSTR("connect_listener"));
    listen.SetParamObj(CFSTR("connection-id"), id);
    if (isDirect_) listen.SetParam(CFSTR("direct"), 1);
    PX_TRY(listen.Write(msgStream_.Get()));
    return answer.Read(msgStream_.Get());
}

// The streams stay until the object goes: another thread may be waiting on one.
void CBaseServerAPI::Disconnect()
{
    if (cmdStream_) cmdStream_->Close();
    if (msgStream_) msgStream_->Close();
}

PXStatus CBaseServerAPI::SendRequest(CHTTPMessage& request, CHTTPMessage& response)
{
    PX_REQUIRE(cmdStream_);
    PX_TRY(request.Write(cmdStream_.Get()));
    return response.Read(cmdStream_.Get());
}

PXStatus CBaseServerAPI::SendMessage(CBaseMsg* message)
{
    PX_REQUIRE(message);
    CHTTPMessage request(CFSTR("POST"), CFSTR("server"), CFSTR("message"));
    request.SetContent(message);
    CHTTPMessage answer(kHTTPMessageResponse);
    PX_TRY(SendRequest(request, answer));
    return Check(answer);
}

PXStatus CBaseServerAPI::ReadMessage(CBaseMsg*& message)
{
    message = nullptr;
    if (!msgStream_) return PX_FAIL(kPXErrNotFound);
    CHTTPMessage push;
    PX_TRY(push.Read(msgStream_.Get()));
    const CFDictionaryRef dictionary = push.GetResponse();
    if (!dictionary) return kPXErrListRead;
    message = CBaseMsg::CreateFromDictionary(dictionary);
    return message ? PXStatus{kPXOK} : PX_FAIL(kPXErrCreate);
}
