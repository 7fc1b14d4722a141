#include "Base/StreamSocket.h"

#include "Base/Platform/Platform.h"
#include "Base/Socket.h"
#include "Base/Status.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr char kEventSource[] = "BaseStreamSocket";

// 16 KiB holds the usual message whole; longer reads go past the buffer.
constexpr size_t kBufferBytes = 16 << 10;

}  // namespace

CBaseStreamSocket::CBaseStreamSocket() noexcept = default;

CBaseStreamSocket::~CBaseStreamSocket()
{
    PXSocketRelease(socket_);
}

CBaseSocket* CBaseStreamSocket::Socket() const noexcept
{
    return px::ToSocket(socket_);
}

void CBaseStreamSocket::SetSocket(PXSocket socket)
{
    PXSocketRetain(socket);
    PXSocketRelease(socket_);
    socket_ = socket;
    isAtEnd_ = false;
    first_ = end_ = 0;
}

void CBaseStreamSocket::SetReadDeadline(uint32_t milliseconds)
{
    if (!socket_) return;
    Socket()->SetReceiveDeadline(
        milliseconds == 0 ? 0 : px::os::Os().monotonicNanos() + int64_t{milliseconds} * 1'000'000);
}

void CBaseStreamSocket::SetWriteTimeout(uint32_t milliseconds)
{
    if (socket_) Socket()->SetSendTimeout(static_cast<int32_t>(std::min(milliseconds, 1U << 30)));
}

PXStatus CBaseStreamSocket::Open()
{
    return socket_ ? PXStatus{kPXOK} : PX_FAIL(kPXErrNotFound);
}

void CBaseStreamSocket::Close()
{
    if (socket_) Socket()->Close();
}

// Gets what has arrived into the empty buffer; kPXErrStreamEnd at the end.
PXStatus CBaseStreamSocket::Fill()
{
    if (!socket_) return kPXErrNotFound;
    if (!buffer_) buffer_.reset(new (std::nothrow) char[kBufferBytes]);
    if (!buffer_) return PX_FAIL(kPXErrCreate);
    first_ = end_ = 0;
    size_t got = 0;
    PX_TRY(Socket()->Receive(buffer_.get(), kBufferBytes, got));
    end_ = got;
    isAtEnd_ = got == 0;
    return got > 0 ? PXStatus{kPXOK} : kPXErrStreamEnd;
}

PXStatus CBaseStreamSocket::ReadChunk(void* buffer, int /*flag*/, size_t& size)
{
    auto* to = static_cast<char*>(buffer);
    const size_t wanted = size;
    size = 0;
    while (size < wanted) {
        const size_t left = wanted - size;
        PXStatus status = kPXOK;
        if (first_ == end_ && left >= kBufferBytes && socket_) {
            size_t got = 0;
            status = Socket()->Receive(to + size, left, got);
            isAtEnd_ = status == kPXOK && got == 0;
            if (isAtEnd_) status = kPXErrStreamEnd;
            size += got;
        } else {
            if (first_ == end_) status = Fill();
            const size_t step = std::min(left, end_ - first_);
            if (step > 0) std::memcpy(to + size, buffer_.get() + first_, step);
            first_ += step;
            size += step;
        }
        if (status == kPXErrStreamEnd && size > 0) return kPXOK;
        if (status != kPXOK) return status;
    }
    return kPXOK;
}

PXStatus CBaseStreamSocket::WriteChunk(const void* buffer, size_t& size)
{
    px::os::SendPart part = {buffer, size};
    const PXStatus status = socket_ ? Socket()->Send(&part, 1) : PXStatus{kPXErrNotFound};
    if (status != kPXOK) size -= part.size;
    return status;
}

PXStatus CBaseStreamSocket::WriteParts(const CBaseStreamPart* parts, size_t count)
{
    if (count > px::os::kMostSendParts) return CBaseStream::WriteParts(parts, count);
    px::os::SendPart pieces[px::os::kMostSendParts];
    for (size_t i = 0; i < count; ++i) pieces[i] = {parts[i].bytes, parts[i].size};
    const PXStatus status = socket_ ? Socket()->Send(pieces, count) : PXStatus{kPXErrNotFound};
    return status == kPXOK ? status : PX_FAIL(status);
}

PXStatus CBaseStreamSocket::ReadChar(char& character)
{
    if (first_ == end_) PX_TRY(Fill());
    character = buffer_[first_++];
    return kPXOK;
}

PXStatus CBaseStreamSocket::ReadLine(char*& buffer, size_t& capacity)
{
    const Lender lend = [](CBaseStream* stream, PXStatus* status) -> Lent {
        auto* self = static_cast<CBaseStreamSocket*>(stream);
        if (self->first_ == self->end_) *status = self->Fill();
        return {self->buffer_.get() + self->first_, self->end_ - self->first_};
    };
    const Taker take = [](CBaseStream* stream, size_t size) {
        static_cast<CBaseStreamSocket*>(stream)->first_ += size;
    };
    return ReadLineLent(lend, take, buffer, capacity);
}

PXStatus CBaseStreamSocket::Skip(uint64_t count)
{
    while (count > 0) {
        if (first_ == end_) PX_TRY(Fill());
        const auto step = static_cast<size_t>(std::min<uint64_t>(count, end_ - first_));
        first_ += step;
        count -= step;
    }
    return kPXOK;
}

bool CBaseStreamSocket::IsEOF()
{
    return isAtEnd_ && first_ == end_;
}
