#pragma once

// LineBuffer — a caller's malloc block that a line is put into and that doubles as it grows.
//
// For the duration of one ReadLine. A line ends at a line feed right behind a carriage return.

#include <cstdlib>
#include <cstring>
#include <algorithm>

#include "PXCore/PXStatus.h"

namespace px {

class LineBuffer {
public:
    // `capacity` is at least 1. A line takes `most` bytes without its ending.
    LineBuffer(char*& buffer, size_t& capacity, uint64_t most)
        : buffer_(buffer), capacity_(capacity), most_(std::min<uint64_t>(most, INT64_MAX))
    {
        buffer_[0] = '\0';
    }
    LineBuffer(const LineBuffer&) = delete;
    LineBuffer& operator=(const LineBuffer&) = delete;

    // Whether the character ends the line, which then stands in the buffer without its last
    // carriage return and with a zero behind it.
    bool IsEndedBy(char character)
    {
        if (character != '\n' || size_ == 0 || buffer_[size_ - 1] != '\r') return false;
        buffer_[size_ - 1] = '\0';
        return true;
    }
    [[nodiscard]] PXStatus Append(const char* bytes, size_t size)
    {
        // One more for the carriage return that goes again.
        if (size_ + size > most_ + 1) return kPXErrNotSupported;
        if (size_ + size > capacity_ && !Grow(size_ + size)) return kPXErrCreate;
        if (size > 0) std::memcpy(buffer_ + size_, bytes, size);
        size_ += size;
        return kPXOK;
    }

private:
    bool Grow(size_t needed)
    {
        size_t grown = capacity_;
        while (grown < needed) grown *= 2;
        void* block = std::realloc(buffer_, grown);
        if (!block) return false;
        buffer_ = static_cast<char*>(block);
        capacity_ = grown;
        return true;
    }

    char*& buffer_;
    size_t& capacity_;
    const uint64_t most_;
    size_t size_ = 0;
};

}  // namespace px
