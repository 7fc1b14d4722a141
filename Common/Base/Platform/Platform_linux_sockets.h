#pragma once

// Platform_linux_sockets — Linux's answers about sockets, for the table.

#include "Base/Platform/Platform.h"

namespace px::os {

int StartSockets();
int MakeSocket(File* socket);
int SetNoDelay(File socket);
int BindSocket(File socket, uint32_t address, uint16_t port);
int ListenSocket(File socket, int backlog);
int AcceptSocket(File socket, File* accepted);
int ConnectSocket(File socket, uint32_t address, uint16_t port);
int SocketName(File socket, uint32_t* address, uint16_t* port);
int ReceiveSome(File socket, void* buffer, size_t size, size_t* got);
int SendParts(File socket, const SendPart* parts, size_t count, bool mayWait, size_t* sent);
int WaitForSocket(File socket, bool toSend, int timeoutMs, bool* isReady);
int ShutDownSocket(File socket);
int CloseSocket(File socket);
int IsPeerOurs(File socket, bool* isOurs);
int PeerOwner(File socket, uint32_t* owner);

}  // namespace px::os
