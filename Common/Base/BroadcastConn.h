#pragma once

// BroadcastConn — the connection on which a server pushes messages to one client.
//
// A pushed message is a request: method "POST", URI "server", parameters "cmd" = "message",
// "msg_name" = the message's name (when it has one) and "id" = its number on this connection, from
// 1; the body is the message's dictionary, packed with its raw bytes if it has any. It is not
// answered. A client that has gone, or takes a message no sooner than the server's limit, is cut
// off. Thread-safe.

#include <memory>

#include "Base/MsgBroadcaster.h"

class CBaseStream;

class PX_API CBaseBroadcastConn : public CBaseMsgListener {
public:
    // The stream is retained. The broadcaster (may be null) is told when the connection is cut off.
    CBaseBroadcastConn(CBaseStream* stream, CBaseMsgBroadcaster* broadcaster);
    ~CBaseBroadcastConn() override;

    void HandleMessage(CBaseMsg* message) override;
    // The same, and the status of the stream.
    PXStatus Send(CBaseMsg* message);
    // Ends the connection and leaves the broadcaster.
    void Close();

    // While held, from any thread, no message goes out.
    void Lock();
    void Unlock();

private:
    PXStatus Write(CBaseMsg* message);

    struct State;
    std::unique_ptr<State> state_;
};
