// Who owns the other end of a connection: the kernel's socket diagnostics tell, and its lists of
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

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

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

// The word at the front of a line, which goes on behind it; empty at its end.
std::string_view NextWord(std::string_view* line)
{
    line->remove_prefix(std::min(line->find_first_not_of(' '), line->size()));
    const std::string_view word = line->substr(0, line->find(' '));
    line->remove_prefix(word.size());
    return word;
}

// An end as the lists have it: the address as its words lie in memory, the port in plain
// hexadecimal.
std::string Listed(const char* prefix, const sockaddr_in& end)
{
    char text[48];
    std::snprintf(text, sizeof(text), "%s%08X:%04X", prefix, end.sin_addr.s_addr,
                  ntohs(end.sin_port));
    return text;
}

// A list has lines like "  1: 0100007F:1F90 0100007F:C350 01 …"; the user stands in the eighth
// column. ENOENT without the connection, ENOSYS when its line is cut off or holds no number there.
int OwnerInList(std::string_view list, const std::string& own, const std::string& other,
                uint32_t* owner)
{
    while (!list.empty()) {
        std::string_view line = list.substr(0, list.find('\n'));
        list.remove_prefix(std::min(line.size() + 1, list.size()));
        NextWord(&line);
        if (NextWord(&line) != own || NextWord(&line) != other) continue;
        for (int i = 0; i < 4; ++i) NextWord(&line);
        const std::string_view user = NextWord(&line);
        const char* const end = user.data() + user.size();
        const auto read = std::from_chars(user.data(), end, *owner);
        return read.ec == std::errc() && read.ptr == end && !line.empty() ? 0 : ENOSYS;
    }
    return ENOENT;
}

int OwnerByList(const Ends& ends, const char* path, const char* prefix, uint32_t* owner)
{
    File file = kNoFile;
    if (Os().openFile(path, OpenMode::kRead, &file)) return ENOSYS;
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
    return OwnerInList(text, Listed(prefix, ends.own), Listed(prefix, ends.other), owner);
}

// A peer may have reached us through a socket of the sixth version, which has a list of its own.
int OwnerByLists(const Ends& ends, uint32_t* owner)
{
    const int error = OwnerByList(ends, "/proc/net/tcp", "", owner);
    if (error != ENOENT) return error;
    return OwnerByList(ends, "/proc/net/tcp6", "0000000000000000FFFF0000", owner);
}

}  // namespace

int PeerOwner(File socket, uint32_t* owner)
{
    Ends ends;
    if (const int error = EndsOf(socket, &ends)) return error;
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

int IsPeerOurs(File socket, bool* isOurs)
{
    uint32_t owner = 0;
    if (Os().peerOwner(socket, &owner)) {
        Ends ends;
        if (const int error = EndsOf(socket, &ends)) return error;
        if (const int error = OwnerByLists(ends, &owner)) return error;
    }
    *isOurs = owner == geteuid();
    return 0;
}

}  // namespace px::os
