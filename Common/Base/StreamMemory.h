#pragma once

// StreamMemory — a stream on a block of data that grows as it is written to.
//
// Data that may be changed is changed in place, so that its owner sees what is written; constant
// data is copied by the first write. Nothing needs to be opened or closed.

#include "Base/Stream.h"

class PX_API CBaseStreamMemory : public CBaseStream {
public:
    CBaseStreamMemory();  // on new, empty data
    ~CBaseStreamMemory() override;

    // Retained; null means new, empty data. The position becomes 0.
    void SetData(CFMutableDataRef data);
    void SetConstantData(CFDataRef data);
    CFDataRef GetData() const noexcept { return data_; }  // borrowed
    // The first byte, until the data changes.
    const UInt8* GetBytePtr() const noexcept;

    // Nothing to do: 0.
    PXStatus Open() override;
    void Close() override;
    // Copies what there is up to the end; kPXErrStreamEnd for none.
    PXStatus ReadChunk(void* buffer, int flag, size_t& size) override;
    // Replaces bytes up to the data's end and appends the rest there, also from a position behind
    // the end. 0 unless memory runs out or constant data was set as changeable (kPXErrCreate,
    // logged).
    PXStatus WriteChunk(const void* buffer, size_t& size) override;
    // As CBaseStream says.
    PXStatus ReadChar(char& character) override;
    PXStatus ReadLine(char*& buffer, size_t& capacity) override;
    PXStatus GetPos(uint64_t& position) override;
    PXStatus SetPos(uint64_t position) override;
    PXStatus GetLength(uint64_t& length) override;
    PXStatus Skip(uint64_t count) override;
    PXStatus CreateCopy(CBaseStream*& copy) override;
    bool IsEOF() override;
    // Reads the list where it lies, without a copy.
    PXStatus readPropertyListCopy(CFOptionFlags options, CFPropertyListRef& list) override;

private:
    void Replace(CFDataRef data, CFMutableDataRef changeable);
    bool MakeChangeable();
    PXStatus WriteBeyondRoom(const void* buffer, size_t& size);
    uint64_t Length() const noexcept { return static_cast<uint64_t>(span_->length); }

    CFDataRef data_ = nullptr;               // never null, unless memory ran out
    CFMutableDataRef changeable_ = nullptr;  // the same, or null for constant data
    PXCFDataSpan* span_;                     // of the data; an empty one without
    uint64_t position_ = 0;
};
