#pragma once

/* PXServer: how helper processes find an application's message server, and what it lets in. The
 * server itself is CBaseServer (Server.h), which explains the protocol; its client CBaseServerAPI.
 *
 * Statuses are 0, the system's error number (below 1000), or a status. Threads: any. */

#include "CoreFoundation/CFString.h"
#include "PXCore/PXHttpMessage.h"

PX_EXTERN_C_BEGIN

typedef uint32_t PXServerListenAddress;
enum {
    kPXServerListenLoopback = 0, /* this machine only */
    kPXServerListenAny = 1       /* any address: whoever reaches the machine may knock */
};

/* Sent back as "result" when client and server have different versions of their interface. */
enum { kPXServerVersionMismatch = -6969 };

/* Who is let in. All switches are off in new settings: helpers of the same user connect, nobody
 * else. */
typedef struct PXServerSettings {
    bool allowsOtherUsers; /* also peers of other users, and those whose user the system does not
                              tell, as are all on other machines */
    bool allowsBrowsers;   /* also requests with an Origin or Sec-Fetch header, but for the commands
                            of URI "server" */
    bool checksHost;       /* a Host header must name this machine: localhost or 127.0.0.1 */
    uint32_t firstRequestMs; /* 30,000: a client without a request by then is let go; 0: never.
                                Other clients are not let in before that */
    uint32_t pushMs;     /* 5000: a listener that takes a message no sooner is let go; 0: never */
    PXHttpLimits limits; /* of requests */
} PXServerSettings;

/* The settings of a new server. */
PX_API void PXServerSettingsGetDefault(PXServerSettings* outSettings) PX_NOEXCEPT;

/* The file DATA/Quarvo/PRODUCT/ServerData.plist (PXFolders.h) of a running server: its port and
 * process id. `productName` is one file name, else kPXErrBadArgument. */

/* Writes the port and this process's id, in one step and for the user alone (0600). A failure is
 * logged as "PXUtilsWriteServerData failed". */
PX_API PXStatus PXUtilsWriteServerData(CFStringRef productName, int32_t port) PX_NOEXCEPT;
/* Reads both; a number that the file does not have is 0. 2 (ENOENT) without a file; 1 (EPERM) for
 * one that another user owns or may write to; 3 (ESRCH) when the process has ended, which left the
 * file behind; kPXErrListRead for a file that is something else. *outPort and *outProcessId are
 * then 0. Logged as "PXUtilsReadServerData failed", but for 2 and 3, which tell that no server
 * runs, and kPXErrListRead, which is an event of its own. */
PX_API PXStatus PXUtilsReadServerData(CFStringRef productName, int32_t* outPort,
                                      int32_t* outProcessId) PX_NOEXCEPT;
/* 0 also when there is none. A failure is logged as "PXUtilsDeleteServerData failed". */
PX_API PXStatus PXUtilsDeleteServerData(CFStringRef productName) PX_NOEXCEPT;

PX_EXTERN_C_END
