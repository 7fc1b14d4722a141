#include "Base/StreamSub.h"

#include "Base/Status.h"

#include <algorithm>
#include <new>

namespace {

constexpr char kEventSource[] = "BaseStreamSub";

}  // namespace

// Offset, range and position stay below 2^63 together, so that no sum of them wraps.
CBaseStreamSub::CBaseStreamSub(CBaseStream* stream, uint64_t offset, uint64_t length)
    : stream_(PXRef<CBaseStream>::Retain(stream)),
      offset_(std::min<uint64_t>(offset, INT64_MAX)),
      length_(std::min(length, INT64_MAX - offset_))
{
    SetByteOrder(stream->GetByteOrder());
}

PXStatus CBaseStreamSub::Open()
{
    return kPXOK;
}

void CBaseStreamSub::Close() {}

PXStatus CBaseStreamSub::ReadChunk(void* buffer, int flag, size_t& size)
{
    if (position_ >= length_ && size > 0) {
        size = 0;
        return kPXErrStreamEnd;
    }
    size = static_cast<size_t>(std::min<uint64_t>(size, length_ - std::min(position_, length_)));
    const size_t wanted = size;
    PXStatus status = stream_->SetPos(offset_ + position_);
    if (status == kPXOK) {
        status = stream_->ReadChunk(buffer, flag, size);
    } else {
        size = 0;
    }
    position_ += size;
    return status == kPXOK && size == 0 && wanted > 0 ? kPXErrStreamEnd : status;
}

PXStatus CBaseStreamSub::WriteChunk(const void* buffer, size_t& size)
{
    const size_t wanted = size;
    size = 0;
    if (position_ > length_ || wanted > length_ - position_) return kPXErrBadArgument;
    PX_TRY(stream_->SetPos(offset_ + position_));
    size = wanted;
    const PXStatus status = stream_->WriteChunk(buffer, size);
    position_ += size;
    return status;
}

PXStatus CBaseStreamSub::ReadChar(char& character)
{
    size_t size = 1;
    return ReadChunk(&character, kFixedWidth, size);
}

PXStatus CBaseStreamSub::GetPos(uint64_t& position)
{
    position = position_;
    return kPXOK;
}

PXStatus CBaseStreamSub::SetPos(uint64_t position)
{
    if (position > INT64_MAX - offset_) return kPXErrBadArgument;
    position_ = position;
    return kPXOK;
}

PXStatus CBaseStreamSub::GetLength(uint64_t& length)
{
    uint64_t whole = 0;
    PX_TRY(stream_->GetLength(whole));
    length = std::min(length_, whole - std::min(offset_, whole));
    return kPXOK;
}

PXStatus CBaseStreamSub::Skip(uint64_t count)
{
    return SetPos(count > INT64_MAX ? count : position_ + count);
}

PXStatus CBaseStreamSub::CreateCopy(CBaseStream*& copy)
{
    auto made = PXRef<CBaseStreamSub>::Adopt(new (std::nothrow)
                                                 CBaseStreamSub(stream_.Get(), offset_, length_));
    copy = nullptr;
    if (!made) return PX_FAIL(kPXErrCreate);
    made->position_ = position_;
    made->SetByteOrder(GetByteOrder());
    made->SetReadOnly(GetReadOnly());
    made->SetReadCap(GetReadCap());
    copy = made.Detach();
    return kPXOK;
}

bool CBaseStreamSub::IsEOF()
{
    uint64_t length = 0;
    return GetLength(length) != kPXOK || position_ >= length;
}
