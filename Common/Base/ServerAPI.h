#pragma once

// ServerAPI — the client's end of a connection to a CBaseServer, which explains the protocol.
//
// Commands go out on one stream; pushed messages come in on the other, which is optional. One
// thread sends commands and one, the same or another, reads messages; once connected, any may
// disconnect.

#include "Base/BaseCore.h"
#include "Base/Ref.h"
#include "Base/Stream.h"
#include "CoreFoundation/CFString.h"
#include "PXCore/PXStatus.h"

class CBaseMsg;
class CHTTPMessage;

class PX_API CBaseServerAPI : public CBaseCore {
public:
    CBaseServerAPI() noexcept = default;
    ~CBaseServerAPI() override;

    // Connected streams, retained.
    void SetCmdStream(CBaseStream* stream);
    void SetMsgStream(CBaseStream* stream);
    // Only messages for this client alone; before Connect.
    void SetDirect(bool isDirect) noexcept { isDirect_ = isDirect; }

    // Makes both streams, connected to a port of this machine: the second one in Connect, once the
    // first has its answer, because a server lets its clients in one after the other.
    PXStatus OpenStreams(int port);
    // Asks to be let in, on failure disconnects. 0; a stream's status; kPXErrStreamEnd (-1) when
    // the answer has no dictionary; otherwise what it has under "result", -6969 as 0xFFFFE4C7.
    PXStatus Connect(int apiVersion);
    // Ends both connections.
    void Disconnect();
    // What the server calls this client; null before Connect.
    CFStringRef GetConnectionID() const noexcept { return connectionID_.Get(); }

    // Sends a request and reads its answer.
    PXStatus SendRequest(CHTTPMessage& request, CHTTPMessage& response);
    // Sends a message to all listeners of the server.
    PXStatus SendMessage(CBaseMsg* message);
    // Waits for the next pushed message, which the caller owns; kPXErrStreamEnd when the server has
    // gone, kPXErrNotFound without a stream for messages.
    PXStatus ReadMessage(CBaseMsg*& message);

private:
    PXStatus Shake(int apiVersion);

    PXRef<CBaseStream> cmdStream_;
    PXRef<CBaseStream> msgStream_;
    CFRef<CFStringRef> connectionID_;
    int messagePort_ = 0;  // for the stream that Connect makes; 0: none
    bool isDirect_ = false;
};
