#pragma once

// Connections — both ends of a connection in tests, as streams.

#include <gtest/gtest.h>

#include <string_view>

#include "Base/PXSocket.h"
#include "Base/Ref.h"
#include "Base/StreamSocket.h"
#include "PXCore/PXStream.h"

namespace px::test {

// Two ends of one connection.
struct Connection {
    PXRef<CBaseStreamSocket> ours;
    PXRef<CBaseStreamSocket> theirs;

    Connection()
    {
        PXSocket listening = nullptr, near = nullptr, far = nullptr;
        EXPECT_EQ(PXStatus{kPXOK}, PXSocketCreate(&listening));
        EXPECT_EQ(PXStatus{kPXOK}, PXSocketSetAddressLoopback(listening, 0));
        EXPECT_EQ(PXStatus{kPXOK}, PXSocketListen(listening));
        EXPECT_EQ(PXStatus{kPXOK}, PXSocketCreate(&near));
        EXPECT_EQ(PXStatus{kPXOK}, PXSocketSetAddressLoopback(near, PXSocketGetPort(listening)));
        EXPECT_EQ(PXStatus{kPXOK}, PXSocketConnect(near));
        EXPECT_EQ(PXStatus{kPXOK}, PXSocketAccept(listening, &far));
        ours = On(near);
        theirs = On(far);
        PXSocketRelease(listening);
    }
    static PXRef<CBaseStreamSocket> On(PXSocket socket)
    {
        PXStream made = nullptr;
        EXPECT_EQ(PXStatus{kPXOK}, PXStreamCreateForSocket(socket, &made));
        PXSocketRelease(socket);
        EXPECT_EQ(PXStatus{kPXOK}, PXStreamOpen(made));
        return PXRef<CBaseStreamSocket>::Adopt(static_cast<CBaseStreamSocket*>(px::ToStream(made)));
    }
};

inline PXStatus Put(CBaseStream& stream, std::string_view bytes)
{
    size_t size = bytes.size();
    const PXStatus status = stream.WriteChunk(bytes.data(), size);
    EXPECT_EQ(status == kPXOK, size == bytes.size());
    return status;
}

}  // namespace px::test
