#pragma once

// MsgBroadcaster — hands messages to everybody who listens, in this process and, through broadcast
// connections, in others.
//
// Listeners are called without a lock, in the order in which they were added, and may add and
// remove listeners. One that was removed while a message is on its way may still get that one.
// Thread-safe.

#include <cstddef>

#include "Base/BaseCore.h"
#include "Base/Msg.h"
#include "Base/Ref.h"
#include "Base/Task.h"
#include "PXCore/PXStatus.h"

class CBaseTaskQueue;

namespace px {
class ListenerList;
}

class PX_API CBaseMsgListener : public CBaseCore {
public:
    ~CBaseMsgListener() override;

    // Called on the thread that broadcasts. The message is shared: not to be changed.
    virtual void HandleMessage(CBaseMsg* message) = 0;

protected:
    CBaseMsgListener() noexcept = default;
};

// The list of listeners, and the queue on which messages are posted to them.
class PX_API CBaseMsgBroadcaster : public CBaseCore {
public:
    // Without listeners.
    CBaseMsgBroadcaster();
    // Waits until what was posted is delivered.
    ~CBaseMsgBroadcaster() override;

    // Retained until it is removed. Adding one again, or removing an unknown one, does nothing.
    void AddListener(CBaseMsgListener* listener);
    void RemoveListener(CBaseMsgListener* listener);
    // Broadcast connections included.
    size_t ListenerCount() const;

    // Delivers before it returns.
    void BroadcastMessage(CBaseMsg* message);
    // Delivers on a pool thread, one message after the other in the order of the calls. Returns 0;
    // kPXErrBadArgument for null.
    PXStatus PostMessage(CBaseMsg* message);

private:
    friend class CBaseMsgTask;

    PXRef<px::ListenerList> listeners_;
    PXRef<CBaseTaskQueue> queue_;
};

// The delivery of one message, for a task queue.
class PX_API CBaseMsgTask : public CBaseTask {
public:
    // Retains the message, and who listens to the broadcaster.
    CBaseMsgTask(CBaseMsgBroadcaster* broadcaster, CBaseMsg* message);
    ~CBaseMsgTask() override;

    void Run() override;
    void TaskComplete() override;

private:
    PXRef<px::ListenerList> listeners_;
    PXRef<CBaseMsg> message_;
};
