#include "Base/StreamMemory.h"

#include "Base/Ref.h"
#include "Base/Status.h"
#include "PXCore/PXUtils.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr char kEventSource[] = "BaseStreamMemory";

// Numbers are what small pieces usually are, and for them a call costs more than the copy. The
// bytes may overlap, as those of a stream's own data do.
inline void Move(void* to, const void* from, size_t size)
{
    switch (size) {
        case 0:
            return;
        case 2:
            std::memmove(to, from, 2);
            return;
        case 4:
            std::memmove(to, from, 4);
            return;
        case 8:
            std::memmove(to, from, 8);
            return;
        default:
            std::memmove(to, from, size);
    }
}

// Stands for missing data. Its capacity is 0, so nothing is written to it.
constinit PXCFDataSpan noSpan = {};

}  // namespace

CBaseStreamMemory::CBaseStreamMemory()
{
    SetData(nullptr);
}

CBaseStreamMemory::~CBaseStreamMemory()
{
    if (data_) CFRelease(data_);
}

void CBaseStreamMemory::Replace(CFDataRef data, CFMutableDataRef changeable)
{
    const auto former = CFRef<CFDataRef>::Adopt(data_);
    data_ = CFRef<CFDataRef>::Retain(data).Detach();
    changeable_ = changeable;
    span_ = data ? PXCFDataGetSpan(data) : &noSpan;
}

void CBaseStreamMemory::SetData(CFMutableDataRef data)
{
    position_ = 0;
    if (data) return Replace(data, data);
    const auto made = CFRef<CFMutableDataRef>::Adopt(CFDataCreateMutable(nullptr, 0));
    if (!made) PX_FAIL(kPXErrCreate);
    Replace(made.Get(), made.Get());
}

void CBaseStreamMemory::SetConstantData(CFDataRef data)
{
    if (!data) return SetData(nullptr);
    position_ = 0;
    Replace(data, nullptr);
}

bool CBaseStreamMemory::MakeChangeable()
{
    if (changeable_) return true;
    const auto copy = CFRef<CFMutableDataRef>::Adopt(
        data_ ? CFDataCreateMutableCopy(nullptr, 0, data_) : CFDataCreateMutable(nullptr, 0));
    if (!copy) return false;
    Replace(copy.Get(), copy.Get());
    return true;
}

const UInt8* CBaseStreamMemory::GetBytePtr() const noexcept
{
    return data_ ? CFDataGetBytePtr(data_) : nullptr;
}

PXStatus CBaseStreamMemory::Open()
{
    return kPXOK;
}

void CBaseStreamMemory::Close() {}

PXStatus CBaseStreamMemory::ReadChunk(void* buffer, int /*flag*/, size_t& size)
{
    const uint64_t length = Length();
    if (position_ > length || (position_ == length && size > 0)) {
        size = 0;
        return kPXErrStreamEnd;
    }
    size = static_cast<size_t>(std::min<uint64_t>(size, length - position_));
    Move(buffer, span_->bytes + position_, size);
    position_ += size;
    return kPXOK;
}

PXStatus CBaseStreamMemory::WriteChunk(const void* buffer, size_t& size)
{
    const uint64_t start = std::min(position_, Length());
    const auto capacity = static_cast<uint64_t>(span_->capacity);
    if (start > capacity || size > capacity - start) [[unlikely]] {
        return WriteBeyondRoom(buffer, size);
    }
    Move(span_->bytes + start, buffer, size);
    span_->length = std::max(span_->length, static_cast<CFIndex>(start + size));
    position_ += size;
    return kPXOK;
}

PXStatus CBaseStreamMemory::WriteBeyondRoom(const void* buffer, size_t& size)
{
    const size_t wanted = size;
    size = 0;
    if (!MakeChangeable()) return PX_FAIL(kPXErrCreate);
    const uint64_t length = Length();
    const uint64_t start = std::min(position_, length);
    const auto inside = std::min<uint64_t>(wanted, length - start);
    // In one step, because the bytes may be some of the data's own.
    CFDataReplaceBytes(changeable_,
                       CFRangeMake(static_cast<CFIndex>(start), static_cast<CFIndex>(inside)),
                       static_cast<const UInt8*>(buffer), static_cast<CFIndex>(wanted));
    // Constant data that was given as changeable stays as it is, and its capacity tells.
    if (Length() != length + (wanted - inside) || span_->capacity < span_->length) {
        return PX_FAIL(kPXErrCreate);
    }
    size = wanted;
    position_ += size;
    return kPXOK;
}

PXStatus CBaseStreamMemory::ReadChar(char& character)
{
    if (position_ >= Length()) return kPXErrStreamEnd;
    character = static_cast<char>(span_->bytes[position_++]);
    return kPXOK;
}

PXStatus CBaseStreamMemory::ReadLine(char*& buffer, size_t& capacity)
{
    const Lender lend = [](CBaseStream* stream, PXStatus* status) -> Lent {
        const auto* memory = static_cast<CBaseStreamMemory*>(stream);
        const uint64_t length = memory->Length();
        if (memory->position_ >= length) {
            *status = kPXErrStreamEnd;
            return {};
        }
        return {reinterpret_cast<const char*>(memory->span_->bytes) + memory->position_,
                static_cast<size_t>(length - memory->position_)};
    };
    const Taker take = [](CBaseStream* stream, size_t size) {
        static_cast<CBaseStreamMemory*>(stream)->position_ += size;
    };
    return ReadLineLent(lend, take, buffer, capacity);
}

PXStatus CBaseStreamMemory::GetPos(uint64_t& position)
{
    position = position_;
    return kPXOK;
}

PXStatus CBaseStreamMemory::SetPos(uint64_t position)
{
    // Room for what a transfer may add.
    if (position > INT64_MAX) return kPXErrBadArgument;
    position_ = position;
    return kPXOK;
}

PXStatus CBaseStreamMemory::GetLength(uint64_t& length)
{
    length = Length();
    return kPXOK;
}

PXStatus CBaseStreamMemory::Skip(uint64_t count)
{
    return SetPos(count > INT64_MAX ? count : position_ + count);
}

PXStatus CBaseStreamMemory::CreateCopy(CBaseStream*& copy)
{
    copy = nullptr;
    auto made = PXRef<CBaseStreamMemory>::Adopt(new (std::nothrow) CBaseStreamMemory);
    const auto data = CFRef<CFMutableDataRef>::Adopt(
        data_ ? CFDataCreateMutableCopy(nullptr, 0, data_) : nullptr);
    if (!made || !data) return PX_FAIL(kPXErrCreate);
    made->SetData(data.Get());
    made->position_ = position_;
    made->SetByteOrder(GetByteOrder());
    made->SetReadOnly(GetReadOnly());
    made->SetReadCap(GetReadCap());
    copy = made.Detach();
    return kPXOK;
}

bool CBaseStreamMemory::IsEOF()
{
    return position_ >= Length();
}

PXStatus CBaseStreamMemory::readPropertyListCopy(CFOptionFlags options, CFPropertyListRef& list)
{
    list = nullptr;
    uint64_t length = 0;
    PX_TRY(ReadUInt64(length));
    if (length > GetReadCap()) return PX_FAIL(kPXErrNotSupported);
    if (length > Length() - position_) return PX_FAIL(kPXErrStreamEnd);
    const UInt8* bytes = GetBytePtr() + position_;
    position_ += length;
    return static_cast<PXStatus>(
        PXUtilsCreatePropertyList(bytes, static_cast<long>(length), options, &list));
}
