#pragma once

// StreamSub — a stream on a range of another stream.
//
// The range begins at an offset of the other stream and has a length, or reaches to wherever that
// stream ends (kPXStreamToEnd). Every transfer sets the other stream's position first, so that
// several sub-streams of one stream do not disturb each other. A read gets what the range holds, at
// its end kPXErrStreamEnd. A write that would leave the range is refused whole with
// kPXErrBadArgument. Closing leaves the other stream open.

#include "Base/Ref.h"
#include "Base/Stream.h"

class PX_API CBaseStreamSub : public CBaseStream {
public:
    // The stream is retained.
    CBaseStreamSub(CBaseStream* stream, uint64_t offset, uint64_t length);

    // Nothing to do: the other stream is open. 0.
    PXStatus Open() override;
    void Close() override;
    // Inside of the range, see above.
    PXStatus ReadChunk(void* buffer, int flag, size_t& size) override;
    PXStatus WriteChunk(const void* buffer, size_t& size) override;
    // As CBaseStream says; positions count from the offset.
    PXStatus ReadChar(char& character) override;
    PXStatus GetPos(uint64_t& position) override;
    PXStatus SetPos(uint64_t position) override;
    PXStatus GetLength(uint64_t& length) override;
    PXStatus Skip(uint64_t count) override;
    PXStatus CreateCopy(CBaseStream*& copy) override;
    bool IsEOF() override;

private:
    PXRef<CBaseStream> stream_;
    const uint64_t offset_;
    const uint64_t length_;
    uint64_t position_ = 0;
};
