// Who owns the other end of a connection: the kernel's socket diagnostics tell, and its list of
// connections where those are not to be had.

#include "Base/Platform/Platform_linux_calls.h"
#include "Base/Platform/Platform_linux_sockets.h"

#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace px::os {

namespace {

// Both ends as the peer's socket has them: its own first. In network order.
struct Ends {
    sockaddr_in own = {};
    sockaddr_in other = {};
};

int EndsOf(File socket, Ends* ends)
{
    socklen_t size = sizeof(ends->own);
    if (getpeername(Fd(socket), reinterpret_cast<sockaddr*>(&ends->own), &size) < 0) return errno;
    size = sizeof(ends->other);
    return ErrorIf(getsockname(Fd(socket), reinterpret_cast<sockaddr*>(&ends->other), &size) < 0);
}

struct Question {
    nlmsghdr header = {};
    inet_diag_req_v2 request = {};
};

Question QuestionFor(const Ends& ends)
{
    Question question;
    question.header.nlmsg_len = sizeof(question);
    question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    question.header.nlmsg_flags = NLM_F_REQUEST;
    question.request.sdiag_family = AF_INET;
    question.request.sdiag_protocol = IPPROTO_TCP;
    question.request.idiag_states = ~0U;
    question.request.id.idiag_sport = ends.own.sin_port;
    question.request.id.idiag_dport = ends.other.sin_port;
    question.request.id.idiag_src[0] = ends.own.sin_addr.s_addr;
    question.request.id.idiag_dst[0] = ends.other.sin_addr.s_addr;
    question.request.id.idiag_cookie[0] = INET_DIAG_NOCOOKIE;
    question.request.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
    return question;
}

// Reads the kernel's answer to one question.
int OwnerInAnswer(const char* answer, size_t size, uint32_t* owner)
{
    nlmsghdr header = {};
    if (size < sizeof(header)) return ENOSYS;
    std::memcpy(&header, answer, sizeof(header));
    if (header.nlmsg_type == NLMSG_ERROR) {
        nlmsgerr failure = {};
        if (size < NLMSG_HDRLEN + sizeof(failure)) return ENOSYS;
        std::memcpy(&failure, answer + NLMSG_HDRLEN, sizeof(failure));
        return failure.error == -ENOENT ? ENOENT : ENOSYS;
    }
    inet_diag_msg found = {};
    if (header.nlmsg_type != SOCK_DIAG_BY_FAMILY || size < NLMSG_HDRLEN + sizeof(found)) {
        return ENOSYS;
    }
    std::memcpy(&found, answer + NLMSG_HDRLEN, sizeof(found));
    *owner = found.idiag_uid;
    return 0;
}

int OwnerByDiagnostics(const Ends& ends, uint32_t* owner)
{
    const int channel = ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
    if (channel < 0) return ENOSYS;
    const Question question = QuestionFor(ends);
    alignas(nlmsghdr) char answer[8192];
    ssize_t size = -1;
    if (send(channel, &question, sizeof(question), 0) == sizeof(question)) {
        size = Retry([&] { return recv(channel, answer, sizeof(answer), 0); });
    }
    close(channel);
    return size < 0 ? ENOSYS : OwnerInAnswer(answer, static_cast<size_t>(size), owner);
}

// The list has lines like "  1: 0100007F:1F90 0100007F:C350 01 …", addresses as the words lie in
// memory, ports in plain hexadecimal; the user stands in the eighth column.
int OwnerByList(const Ends& ends, uint32_t* owner)
{
    File file = kNoFile;
    if (Os().openFile("/proc/net/tcp", OpenMode::kRead, &file)) return ENOSYS;
    std::string text;
    char part[16384];
    int error = 0;
    for (size_t got = 1; got > 0 && !error;) {
        got = 0;
        error = Os().readFile(file, part, sizeof(part), &got);
        text.append(part, got);
    }
    Os().closeFile(file);
    if (error) return ENOSYS;
    char wanted[40];
    std::snprintf(wanted, sizeof(wanted), ": %08X:%04X %08X:%04X ", ends.own.sin_addr.s_addr,
                  ntohs(ends.own.sin_port), ends.other.sin_addr.s_addr, ntohs(ends.other.sin_port));
    const size_t place = text.find(wanted);
    if (place == std::string::npos) return ENOENT;
    const char* rest = text.c_str() + place + std::strlen(wanted);
    return std::sscanf(rest, "%*s %*s %*s %*s %u", owner) == 1 ? 0 : ENOSYS;
}

}  // namespace

int IsPeerOurs(File socket, bool* isOurs)
{
    Ends ends;
    if (const int error = EndsOf(socket, &ends)) return error;
    uint32_t owner = 0;
    int error = OwnerByDiagnostics(ends, &owner);
    if (error) error = OwnerByList(ends, &owner);
    if (error) return error;
    *isOurs = owner == geteuid();
    return 0;
}

}  // namespace px::os
