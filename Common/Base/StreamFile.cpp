#include "Base/StreamFile.h"

#include "Base/BufferedFile.h"
#include "Base/Ref.h"
#include "Base/Status.h"
#include "Base/UTF8Text.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

namespace {

constexpr char kEventSource[] = "BaseStreamFile";

}  // namespace

CBaseStreamFile::CBaseStreamFile() : file_(std::make_unique<px::BufferedFile>()) {}

CBaseStreamFile::~CBaseStreamFile()
{
    CBaseStreamFile::Close();
    SetPath(nullptr);
    SetMode(nullptr);
}

void CBaseStreamFile::SetPath(CFURLRef path)
{
    const auto former = CFRef<CFURLRef>::Adopt(path_);
    path_ = CFRef<CFURLRef>::Retain(path).Detach();
}

void CBaseStreamFile::SetMode(CFStringRef mode)
{
    const auto former = CFRef<CFStringRef>::Adopt(mode_);
    mode_ = mode ? CFStringCreateCopy(nullptr, mode) : nullptr;
}

PXStatus CBaseStreamFile::Open()
{
    const std::string path = px::PathOf(path_);
    PX_REQUIRE(!path.empty());
    std::string mode = px::UTF8Of(mode_);
    if (mode.find('b') == std::string::npos) mode += 'b';
    Close();
    const int error = file_->Open(path, mode);
    if (error == EINVAL) return PX_FAIL(kPXErrBadArgument);
    if (error) return PX_FAIL(px::os::StatusOf(error));
    if (isUnbuffered_) file_->SwitchOffBuffer();
    return kPXOK;
}

void CBaseStreamFile::Close()
{
    if (const int error = file_->Close()) PX_FAIL(static_cast<PXStatus>(error));
}

PXStatus CBaseStreamFile::ReadChunk(void* buffer, int /*flag*/, size_t& size)
{
    const size_t wanted = size;
    size = file_->Read(buffer, wanted);
    return size == wanted ? PXStatus{kPXOK} : static_cast<PXStatus>(file_->Error());
}

PXStatus CBaseStreamFile::WriteChunk(const void* buffer, size_t& size)
{
    const size_t wanted = size;
    size = file_->Write(buffer, wanted);
    return size == wanted ? PXStatus{kPXOK} : static_cast<PXStatus>(file_->Error());
}

PXStatus CBaseStreamFile::ReadChar(char& character)
{
    const std::string_view ahead = file_->Peek();
    if (ahead.empty()) {
        return file_->Error() ? static_cast<PXStatus>(file_->Error()) : kPXErrStreamEnd;
    }
    character = ahead.front();
    file_->Consume(1);
    return kPXOK;
}

PXStatus CBaseStreamFile::ReadLine(char*& buffer, size_t& capacity)
{
    const Lender lend = [](CBaseStream* stream, PXStatus* status) -> Lent {
        px::BufferedFile& file = *static_cast<CBaseStreamFile*>(stream)->file_;
        const std::string_view ahead = file.Peek();
        if (ahead.empty())
            *status = file.Error() ? static_cast<PXStatus>(file.Error()) : kPXErrStreamEnd;
        return {ahead.data(), ahead.size()};
    };
    const Taker take = [](CBaseStream* stream, size_t size) {
        static_cast<CBaseStreamFile*>(stream)->file_->Consume(size);
    };
    return ReadLineLent(lend, take, buffer, capacity);
}

PXStatus CBaseStreamFile::GetPos(uint64_t& position)
{
    if (!file_->IsOpen()) return EBADF;
    position = static_cast<uint64_t>(file_->Position());
    return kPXOK;
}

PXStatus CBaseStreamFile::SetPos(uint64_t position)
{
    if (position > INT64_MAX) return EINVAL;
    return static_cast<PXStatus>(file_->Seek(static_cast<int64_t>(position)));
}

PXStatus CBaseStreamFile::GetLength(uint64_t& length)
{
    int64_t size = 0;
    if (const int error = file_->Size(&size)) return static_cast<PXStatus>(error);
    length = static_cast<uint64_t>(size);
    return kPXOK;
}

PXStatus CBaseStreamFile::Skip(uint64_t count)
{
    if (count == 0) return kPXOK;
    uint64_t position = 0;
    PX_TRY(GetPos(position));
    if (count > UINT64_MAX - position) return EINVAL;
    const PXStatus status = SetPos(position + count);
    // A pipe has no positions, but what it brings can be read and dropped.
    return status == ESPIPE ? CBaseStream::Skip(count) : status;
}

PXStatus CBaseStreamFile::SetBuffer(CFDataRef /*buffer*/)
{
    isUnbuffered_ = true;
    file_->SwitchOffBuffer();
    return kPXOK;
}

PXStatus CBaseStreamFile::SetCaching(bool /*isOn*/)
{
    return kPXOK;
}

bool CBaseStreamFile::IsEOF()
{
    return file_->IsAtEnd();
}

PXStatus CBaseStreamFile::Flush()
{
    const int error = file_->Flush();
    return error ? PX_FAIL(static_cast<PXStatus>(error)) : PXStatus{kPXOK};
}
