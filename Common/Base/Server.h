#pragma once

// Server — the message server of an application, to which its helper processes connect.
//
// The protocol, for whoever writes a helper. Messages are those of PXHttpMessage.h; answers have a
// property list with "result", 0 on success. A client finds the port with PXUtilsReadServerData and
// opens two connections, or just one:
//
//   command   GET /server?cmd=connect&api-version=N      answer: "result" 0, or -6969 when the
//   server
//                                                        has another version than N, and
//                                                        "connection-id", 32 hexadecimal digits
//   listener  GET /server?cmd=connect_listener           answer: "result" 0, also for an id that is
//                 &connection-id=ID[&direct=1]           unknown and attaches nothing
//
// Then the command connection takes requests, as many as the client likes, each answered in turn:
//
//   POST /server?cmd=message[&msg_name=NAME]    the body (list or packed) goes as a message to all
//                                               listeners; its name may stand in it as "msg_name"
//   GET  /server?cmd=disconnect                 answered, and then the connection ends
//   anything else                               CServerConnection::HandleRequest
//
// A parameter "task-id" comes back as the header Task-Id. The listener connection carries pushed
// messages only (BroadcastConn.h): with direct=1 those for this client alone
// (CBaseConnection::Push), else also what is broadcast. A connection that begins with any other
// request is a command connection without an id's use. In messages, "name" and "id" are free for
// the application, as is "message" for a text to show.
//
// Who is let in: PXServer.h. Every connection is one thread-pool item, and so is the accept loop,
// in which the first request of each is read: a client that sends none holds up the next ones until
// the deadline for it.
//
// Thread-safe. An object that listens lives until Shutdown has ended.

#include <memory>

#include "Base/BaseCore.h"
#include "Base/PXServer.h"

class CBaseConnection;
class CBaseConnectionFactory;
class CBaseMsg;
class CBaseMsgBroadcaster;
class CBaseStream;
class CBaseStreamSocket;
class CHTTPMessage;

class PX_API CBaseServer : public CBaseCore {
public:
    // A server that does not listen yet.
    CBaseServer();
    ~CBaseServer() override;

    // Both are retained. 0, or the error of the system's sockets.
    PXStatus Initialize(CBaseMsgBroadcaster* broadcaster, CBaseConnectionFactory* factory);
    PXStatus Initialize(CBaseMsgBroadcaster* broadcaster, CBaseConnectionFactory* factory,
                        int apiVersion);
    // In place of what Initialize was given; for connections to come.
    void SetConnFactory(CBaseConnectionFactory* factory);
    void SetMsgBroacaster(CBaseMsgBroadcaster* broadcaster);  // sic
    // Before it listens.
    void SetSettings(const PXServerSettings& settings);
    // The settings as they were set last.
    const PXServerSettings& GetSettings() const noexcept;

    // Port 0 lets the system choose. 0 or the first error, logged with the step that failed.
    PXStatus StartListening(int port);  // at the loopback address
    PXStatus StartListening2(PXServerListenAddress address, int port);
    // The port that it listens at.
    int GetPort() const;
    // Clients that are connected now.
    size_t GetConnectionCount() const;

    // Ends listening and every connection, and waits until their requests have been answered. Not
    // to be called by a connection's own handler. Afterwards the server may listen again.
    void Shutdown();

    // To everybody who listens, soon; kPXErrNotFound without a broadcaster.
    PXStatus PostMessage(CBaseMsg* message);
    // Whether the settings let a request in; logs why not.
    bool IsWelcome(CHTTPMessage& request) const;

protected:
    // The accept loop.
    void Listen();
    // A new connection of the factory's with an id, in the list; borrowed from there. Null when
    // there is none.
    CBaseConnection* CreateConnection(CBaseStream* stream);
    // The caller owns the result; null when there is none.
    CBaseConnection* GetConnectionByID(CFStringRef id);
    // Reads the first request and starts what it asks for. An error ends the accept loop.
    virtual PXStatus StartConnection(CBaseStream* stream);
    // Ends a connection and takes it off the list.
    virtual void RemoveConnection(CBaseConnection* connection);

private:
    struct State;
    struct Start;

    bool LetsIn(CBaseStreamSocket& stream);
    PXStatus Connect(CHTTPMessage& request, CBaseStream* stream);
    PXStatus ConnectListener(CHTTPMessage& request, CBaseStream* stream);
    PXStatus StartLoop(CBaseConnection* connection, CHTTPMessage* first);
    void CountLoops(int change);
    static void RunLoop(void* start);
    static void RunListen(void* server);

    std::unique_ptr<State> state_;
};
