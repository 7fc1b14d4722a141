#pragma once

// StreamSocket — a stream on a connection.
//
// A read takes from the connection whatever has arrived and hands it out from a buffer; it waits
// until it has the whole count. When the peer has ended its side, a read does less: 0 for some
// bytes, kPXErrStreamEnd for none. A connection that broke gives the system's error. There are no
// positions. Close ends the connection, from any thread.

#include <memory>

#include "Base/Stream.h"

class CBaseSocket;

class PX_API CBaseStreamSocket : public CBaseStream {
public:
    // On no socket yet.
    CBaseStreamSocket() noexcept;
    ~CBaseStreamSocket() override;

    // Retained; to be set before the stream is used.
    void SetSocket(PXSocket socket);
    PXSocket GetSocket() const noexcept { return socket_; }

    // Every read from now on gives ETIMEDOUT once so many milliseconds are over; 0: never.
    void SetReadDeadline(uint32_t milliseconds);
    // The same for a single write that the peer does not take.
    void SetWriteTimeout(uint32_t milliseconds);

    PXStatus Open() override;  // kPXErrNotFound without a socket
    // Ends the connection and wakes who waits on it.
    void Close() override;
    // Wait for the whole count, see above.
    PXStatus ReadChunk(void* buffer, int flag, size_t& size) override;
    PXStatus WriteChunk(const void* buffer, size_t& size) override;
    // As CBaseStream says.
    PXStatus ReadChar(char& character) override;
    PXStatus ReadLine(char*& buffer, size_t& capacity) override;
    PXStatus Skip(uint64_t count) override;
    // Whether a read has met the end and all before it has been handed out.
    bool IsEOF() override;
    // The parts leave in one call to the system.
    PXStatus WriteParts(const CBaseStreamPart* parts, size_t count) override;

private:
    CBaseSocket* Socket() const noexcept;
    PXStatus Fill();

    PXSocket socket_ = nullptr;
    bool isAtEnd_ = false;
    std::unique_ptr<char[]> buffer_;
    size_t first_ = 0;  // what has arrived and was not handed out is [first_, end_) of the buffer
    size_t end_ = 0;
};
