#pragma once

// ServerState — what a CBaseServer holds; shared by the sources of the class.

#include <atomic>
#include <vector>

#include "Base/Connection.h"
#include "Base/MsgBroadcaster.h"
#include "Base/Mutex.h"
#include "Base/Ref.h"
#include "Base/Server.h"
#include "Base/Signal.h"
#include "Base/Socket.h"
#include "Base/Stream.h"

struct CBaseServer::State {
    // Set before the server listens.
    PXServerSettings settings;
    int apiVersion = 0;

    std::atomic<bool> isStopping{false};
    std::atomic<int> port{0};

    mutable px::Mutex mutex;
    px::Signal changed;  // a connection or the accept loop has ended
    PXRef<CBaseMsgBroadcaster> broadcaster PX_GUARDED_BY(mutex);
    PXRef<CBaseConnectionFactory> factory PX_GUARDED_BY(mutex);
    PXRef<CBaseSocket> listening PX_GUARDED_BY(mutex);  // null when there is no accept loop
    PXRef<CBaseStream> starting PX_GUARDED_BY(mutex);   // whose first request is being read
    std::vector<PXRef<CBaseConnection>> connections PX_GUARDED_BY(mutex);
    int loops PX_GUARDED_BY(mutex) = 0;  // message loops in the pool

    PXRef<CBaseMsgBroadcaster> Broadcaster()
    {
        px::MutexLocker lock(mutex);
        return broadcaster;
    }
};
