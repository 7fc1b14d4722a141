#include "Base/BroadcastConn.h"

#include "Base/HTTPMessage.h"
#include "Base/Msg.h"
#include "Base/Mutex.h"
#include "Base/Status.h"
#include "Base/Stream.h"

#include <atomic>
#include <cerrno>

namespace {

constexpr char kEventSource[] = "BaseBroadcastConn";

}  // namespace

struct CBaseBroadcastConn::State {
    PXRef<CBaseStream> stream;
    PXRef<CBaseMsgBroadcaster> broadcaster;
    std::atomic<bool> isClosed{false};
    px::Mutex mutex;  // held while a message goes out
    uint32_t lastNumber PX_GUARDED_BY(mutex) = 0;
};

CBaseBroadcastConn::CBaseBroadcastConn(CBaseStream* stream, CBaseMsgBroadcaster* broadcaster)
    : state_(std::make_unique<State>())
{
    state_->stream = PXRef<CBaseStream>::Retain(stream);
    state_->broadcaster = PXRef<CBaseMsgBroadcaster>::Retain(broadcaster);
}

CBaseBroadcastConn::~CBaseBroadcastConn() = default;

void CBaseBroadcastConn::Lock() PX_NO_THREAD_ANALYSIS
{
    state_->mutex.lock();
}

void CBaseBroadcastConn::Unlock() PX_NO_THREAD_ANALYSIS
{
    state_->mutex.unlock();
}

void CBaseBroadcastConn::HandleMessage(CBaseMsg* message)
{
    Send(message);
}

PXStatus CBaseBroadcastConn::Write(CBaseMsg* message)
{
    px::MutexLocker lock(state_->mutex);
    if (state_->isClosed) return EPIPE;
    CHTTPMessage push(CFSTR("POST"), CFSTR("server"), CFSTR("message"));
    if (message->GetName()) push.SetParamObj(CFSTR("msg_name"), message->GetName());
    push.SetParam(CFSTR("id"), ++state_->lastNumber);
    push.SetContent(message);
    return push.Write(state_->stream.Get());
}

PXStatus CBaseBroadcastConn::Send(CBaseMsg* message)
{
    PX_REQUIRE(message);
    if (state_->isClosed) return EPIPE;
    const PXStatus status = Write(message);
    // What went out in part cannot be made whole again; a list that cannot be written did not
    // begin.
    if (status != kPXOK && status != kPXErrListWrite && status != kPXErrBadArgument) Close();
    return status;
}

void CBaseBroadcastConn::Close()
{
    if (state_->isClosed.exchange(true)) return;
    state_->stream->Close();
    if (state_->broadcaster) state_->broadcaster->RemoveListener(this);
}
