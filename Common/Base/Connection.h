#pragma once

// Connection — what a server has for each client: a stream, an id, and what answers its requests.
//
// An application derives from CServerConnection, answers in HandleRequest, and gives the server a
// factory that makes such connections. Server.h explains the protocol. A connection's requests are
// answered one after the other on one pool thread; connections run side by side. Push may be called
// from any thread.

#include <memory>

#include "Base/BaseCore.h"
#include "CoreFoundation/CFString.h"
#include "PXCore/PXStatus.h"

class CBaseBroadcastConn;
class CBaseMsg;
class CBaseServer;
class CBaseStream;
class CHTTPMessage;

class PX_API CBaseConnection : public CBaseCore {
public:
    ~CBaseConnection() override;

    // Answers requests, `first` (may be null) before those on the stream, until the connection
    // ends.
    virtual void MessageLoop(CHTTPMessage* first) = 0;
    // A listener was attached: Push reaches the client from now on.
    virtual void ListenerAttached();

    CBaseStream* GetStream() const noexcept;  // borrowed, as are the next two
    CFStringRef GetID() const noexcept;       // 32 hexadecimal digits
    CBaseServer* GetServer() const noexcept;  // null before the server has taken the connection
    // Once, before the loop begins; for servers.
    void SetID(CFStringRef id);
    void SetServer(CBaseServer* server);

    // Takes the place of the listener before, which is closed; null: of none.
    void AttachListener(CBaseBroadcastConn* listener);
    // Sends a message to the client's listener; kPXErrNotFound without one.
    PXStatus Push(CBaseMsg* message);

protected:
    // The stream is retained.
    explicit CBaseConnection(CBaseStream* stream);

private:
    struct State;
    std::unique_ptr<State> state_;
};

// A connection that answers requests with HandleRequest.
class PX_API CServerConnection : public CBaseConnection {
public:
    // The stream is retained.
    explicit CServerConnection(CBaseStream* stream);

    // Reads a request, has it answered, writes the answer, and so on. The connection stays open
    // from one request to the next, and requests may arrive before the earlier ones are answered. A
    // request that is malformed or too long is answered with code 400 and ends the connection.
    void MessageLoop(CHTTPMessage* first) override;

    // Fills `response`, which is empty and has code 200. Not called for what the connection answers
    // itself: URI "server" with "cmd" = "message" or "disconnect". The class's own answers code 404
    // and "result" 1025. An exception ends the connection.
    virtual void HandleRequest(CHTTPMessage& request, CHTTPMessage& response);

private:
    bool Answer(CHTTPMessage& request);
    bool HandleServerRequest(CHTTPMessage& request, CHTTPMessage& response, bool* goesOn);
    PXStatus PostFrom(CHTTPMessage& request);
};

// Makes the connections of a server.
class PX_API CBaseConnectionFactory : public CBaseCore {
public:
    CBaseConnectionFactory() noexcept = default;

    // The caller owns the result; null refuses the client. The class's own makes a
    // CServerConnection.
    virtual CBaseConnection* CreateConnection(CBaseStream* stream);
};
