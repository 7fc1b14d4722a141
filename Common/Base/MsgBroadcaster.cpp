#include "Base/MsgBroadcaster.h"

#include "Base/Msg.h"
#include "Base/Mutex.h"
#include "Base/Status.h"
#include "Base/TaskQueue.h"

#include <algorithm>
#include <new>
#include <vector>

namespace {

constexpr char kEventSource[] = "BaseMsgBroadcaster";

}  // namespace

namespace px {

// Shared by the broadcaster and the deliveries on their way, which may outlive it.
class ListenerList : public CBaseCore {
public:
    void Add(CBaseMsgListener* listener)
    {
        MutexLocker lock(mutex_);
        if (Find(listener) == listeners_.end())
            listeners_.push_back(PXRef<CBaseMsgListener>::Retain(listener));
    }
    void Remove(CBaseMsgListener* listener)
    {
        PXRef<CBaseMsgListener> removed;  // let go of without the lock
        MutexLocker lock(mutex_);
        const auto found = Find(listener);
        if (found == listeners_.end()) return;
        removed = std::move(*found);
        listeners_.erase(found);
    }
    size_t Count()
    {
        MutexLocker lock(mutex_);
        return listeners_.size();
    }
    void Deliver(CBaseMsg* message)
    {
        for (const auto& listener : Copy()) listener->HandleMessage(message);
    }

private:
    using Listeners = std::vector<PXRef<CBaseMsgListener>>;

    Listeners Copy()
    {
        MutexLocker lock(mutex_);
        return listeners_;
    }
    Listeners::iterator Find(const CBaseMsgListener* listener) PX_REQUIRES_LOCK(mutex_)
    {
        return std::find_if(listeners_.begin(), listeners_.end(),
                            [&](const auto& one) { return one.Get() == listener; });
    }

    Mutex mutex_;
    Listeners listeners_ PX_GUARDED_BY(mutex_);
};

}  // namespace px

CBaseMsgListener::~CBaseMsgListener() = default;

CBaseMsgBroadcaster::CBaseMsgBroadcaster()
    : listeners_(PXRef<px::ListenerList>::Adopt(new px::ListenerList)),
      queue_(PXRef<CBaseTaskQueue>::Adopt(new CBaseTaskQueue))
{
    // One at a time: messages arrive in the order of their posting.
    queue_->Initialize(CFSTR("MsgBroadcaster"), 0, 1);
}

CBaseMsgBroadcaster::~CBaseMsgBroadcaster() = default;

void CBaseMsgBroadcaster::AddListener(CBaseMsgListener* listener)
{
    PX_REQUIRE_OR(listener, static_cast<void>(0));
    listeners_->Add(listener);
}

void CBaseMsgBroadcaster::RemoveListener(CBaseMsgListener* listener)
{
    listeners_->Remove(listener);
}

size_t CBaseMsgBroadcaster::ListenerCount() const
{
    return listeners_->Count();
}

void CBaseMsgBroadcaster::BroadcastMessage(CBaseMsg* message)
{
    PX_REQUIRE_OR(message, static_cast<void>(0));
    listeners_->Deliver(message);
}

PXStatus CBaseMsgBroadcaster::PostMessage(CBaseMsg* message)
{
    PX_REQUIRE(message);
    const auto task = PXRef<CBaseMsgTask>::Adopt(new (std::nothrow) CBaseMsgTask(this, message));
    if (!task) return PX_FAIL(kPXErrCreate);
    return static_cast<PXStatus>(queue_->Push(task.Get()));
}

CBaseMsgTask::CBaseMsgTask(CBaseMsgBroadcaster* broadcaster, CBaseMsg* message)
    : listeners_(broadcaster->listeners_), message_(PXRef<CBaseMsg>::Retain(message))
{
}

CBaseMsgTask::~CBaseMsgTask() = default;

void CBaseMsgTask::Run()
{
    listeners_->Deliver(message_.Get());
}

void CBaseMsgTask::TaskComplete() {}
