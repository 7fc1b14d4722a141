#pragma once

/* PXSocket: TCP connections over IPv4 between programs of one machine, or of several.
 *
 * Functions return 0 or the system's error number (98: the address is in use), as a status below
 * 1000; kPXErrBadArgument, which is logged, for a null socket or output. Steps of making, binding
 * and listening that fail leave a line in the log. Handles are counted.
 *
 * Threads: a socket may be used from any thread; one thread receives and one sends at a time.
 * PXSocketClose from any thread wakes who waits on the socket. */

#include <stdint.h>

#include "PXCore/PXExport.h"
#include "PXCore/PXStatus.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

PX_EXTERN_C_BEGIN

typedef struct __PXSocket* PXSocket;

/* A new socket that sends small messages at once. The caller owns one reference. */
PX_API PXStatus PXSocketCreate(PXSocket* outSocket) PX_NOEXCEPT;

/* What to listen at, or whom to connect to: this machine alone, or (listening) any address that it
 * has. Port 0 lets the system choose one. */
PX_API PXStatus PXSocketSetAddressLoopback(PXSocket socket, uint16_t port) PX_NOEXCEPT;
PX_API PXStatus PXSocketSetAddressAny(PXSocket socket, uint16_t port) PX_NOEXCEPT;

/* Binds to the address and listens; 30 connections may wait to be accepted. */
PX_API PXStatus PXSocketListen(PXSocket socket) PX_NOEXCEPT;
/* The port that is bound; 0 before. */
PX_API uint16_t PXSocketGetPort(PXSocket socket) PX_NOEXCEPT;
/* Waits for a connection, also while the process has no descriptor left for one. */
PX_API PXStatus PXSocketAccept(PXSocket socket, PXSocket* outConnection) PX_NOEXCEPT;

/* Connects to the address that was set, and waits until the other end has answered. */
PX_API PXStatus PXSocketConnect(PXSocket socket) PX_NOEXCEPT;

/* Whether the other end of a connection on this machine belongs to the user that this process runs
 * as. False, with 0, for what the system does not know. */
PX_API PXStatus PXSocketIsPeerOwnUser(PXSocket connection, bool* outIsOwn) PX_NOEXCEPT;

/* Ends the connection, or the listening, for both sides. */
PX_API void PXSocketClose(PXSocket socket) PX_NOEXCEPT;

PX_API PXSocket PXSocketRetain(PXSocket socket) PX_NOEXCEPT; /* null, in silence, for null */
PX_API void PXSocketRelease(PXSocket socket) PX_NOEXCEPT;    /* closes with the last reference */

PX_EXTERN_C_END
