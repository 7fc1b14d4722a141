#pragma once

// HTTPPeers — other ways to send a body to a server on this machine and get it back: bare calls to
// the system, Boost.Beast, libmicrohttpd. Each as good as it gets.
//
// A server takes as many connections as it is told, at a port of the system's choice, and ends once
// their clients are gone. A client sends a body and compares what comes back with it.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Base/Platform/Platform.h"

#ifdef PX_HAVE_BEAST
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#endif
#ifdef PX_HAVE_MICROHTTPD
#include <microhttpd.h>
#endif

namespace px::bench {

// One end of a connection without a library: a message leaves in one call, with a head that is made
// once for each length, and what arrives is looked at where it was read to.
class BareEnd {
public:
    BareEnd(os::File socket, std::string start) : socket_(socket), start_(std::move(start))
    {
        os::Os().setNoDelay(socket_);
    }
    BareEnd(const BareEnd&) = delete;
    BareEnd& operator=(const BareEnd&) = delete;
    ~BareEnd() { os::Os().closeSocket(socket_); }

    bool Send(std::string_view body)
    {
        if (headFor_ != body.size() || head_.empty()) {
            head_ = start_ + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
            headFor_ = body.size();
        }
        os::SendPart parts[] = {{head_.data(), head_.size()}, {body.data(), body.size()}};
        size_t sent = 0;
        for (size_t first = 0; first < 2;) {
            if (os::Os().sendParts(socket_, parts + first, 2 - first, true, &sent)) return false;
            for (; first < 2 && sent >= parts[first].size; ++first) sent -= parts[first].size;
            if (first == 2) break;
            parts[first].bytes = static_cast<const char*>(parts[first].bytes) + sent;
            parts[first].size -= sent;
        }
        return true;
    }
    // Lends the body until the next call. One message at a time is on its way.
    bool Receive(std::string_view* body)
    {
        size_t end = 0;
        size_t bodyAt = 0;
        size_t length = 0;
        while (bodyAt == 0 || end < bodyAt + length) {
            size_t got = 0;
            if (os::Os().receiveSome(socket_, buffer_.data() + end, buffer_.size() - end, &got) ||
                got == 0)
                return false;
            end += got;
            const std::string_view text(buffer_.data(), end);
            if (bodyAt == 0) {
                const size_t headEnd = text.find("\r\n\r\n");
                if (headEnd == std::string_view::npos) continue;
                bodyAt = headEnd + 4;
                const size_t place = text.find("Content-Length: ");
                if (place > headEnd) return false;
                length = std::strtoul(buffer_.data() + place + 16, nullptr, 10);
                if (bodyAt + length > buffer_.size()) return false;
            }
        }
        *body = {buffer_.data() + bodyAt, length};
        return true;
    }

private:
    os::File socket_;
    const std::string start_;
    std::string head_;
    size_t headFor_ = 0;
    std::string buffer_ = std::string((1 << 20) + 4096, '\0');
};

inline os::File ConnectTo(uint16_t port)
{
    os::File socket = os::kNoFile;
    if (os::Os().makeSocket(&socket) || os::Os().connectSocket(socket, os::kLoopbackAddress, port))
        std::abort();
    return socket;
}

class BareClient : public BareEnd {
public:
    explicit BareClient(uint16_t port)
        : BareEnd(ConnectTo(port),
                  "POST /echo HTTP/1.1\r\nHost: localhost\r\n"
                  "Content-Type: application/octet-stream\r\n")
    {
    }
    bool Echo(std::string_view body)
    {
        std::string_view reply;
        return Send(body) && Receive(&reply) && reply.size() == body.size();
    }
};

inline os::File ListenAnywhere(uint16_t* port)
{
    os::File socket = os::kNoFile;
    uint32_t address = 0;
    if (os::Os().makeSocket(&socket) || os::Os().bindSocket(socket, os::kLoopbackAddress, 0) ||
        os::Os().listenSocket(socket, 30) || os::Os().socketName(socket, &address, port))
        std::abort();
    return socket;
}

// A thread for each connection.
class BareServer {
public:
    explicit BareServer(int connections) : socket_(ListenAnywhere(&port_))
    {
        acceptor_ = std::thread([this, connections] {
            for (int i = 0; i < connections; ++i) {
                os::File accepted = os::kNoFile;
                if (os::Os().acceptSocket(socket_, &accepted)) return;
                threads_.emplace_back(Serve, accepted);
            }
        });
    }
    ~BareServer()
    {
        acceptor_.join();
        for (auto& thread : threads_) thread.join();
        os::Os().closeSocket(socket_);
    }
    uint16_t Port() const { return port_; }

private:
    static void Serve(os::File accepted)
    {
        BareEnd end(accepted, "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n");
        std::string_view body;
        while (end.Receive(&body) && end.Send(body)) continue;
    }

    uint16_t port_ = 0;
    os::File socket_;
    std::vector<std::thread> threads_;
    std::thread acceptor_;
};

#ifdef PX_HAVE_BEAST

namespace beast = boost::beast;
namespace http = boost::beast::http;
using Tcp = boost::asio::ip::tcp;

// Makes the body of a reply from that of its request; `std::string` both.
using BodyChange = void (*)(std::string& body);

class BeastClient {
public:
    explicit BeastClient(uint16_t port)
    {
        socket_.connect({boost::asio::ip::address_v4::loopback(), port});
        socket_.set_option(Tcp::no_delay(true));
    }
    // The body of the reply; empty when the connection broke.
    std::string Ask(std::string body)
    {
        http::request<http::string_body> request(http::verb::post, "/echo", 11);
        request.set(http::field::host, "localhost");
        request.set(http::field::content_type, "application/octet-stream");
        request.body() = std::move(body);
        request.prepare_payload();
        beast::error_code error;
        http::write(socket_, request, error);
        http::response<http::string_body> response;
        if (!error) http::read(socket_, buffer_, response, error);
        return error ? std::string() : std::move(response.body());
    }
    bool Echo(std::string_view body) { return Ask(std::string(body)).size() == body.size(); }

private:
    boost::asio::io_context context_;
    Tcp::socket socket_{context_};
    beast::flat_buffer buffer_;
};

// A thread for each connection.
class BeastServer {
public:
    explicit BeastServer(int connections, BodyChange change = nullptr)
        : acceptor_(context_, {boost::asio::ip::address_v4::loopback(), 0})
    {
        accepting_ = std::thread([this, connections, change] {
            for (int i = 0; i < connections; ++i) {
                threads_.emplace_back(
                    [change](Tcp::socket socket) { Serve(std::move(socket), change); },
                    acceptor_.accept());
            }
        });
    }
    ~BeastServer()
    {
        accepting_.join();
        for (auto& thread : threads_) thread.join();
    }
    uint16_t Port() const { return acceptor_.local_endpoint().port(); }

private:
    static void Serve(Tcp::socket socket, BodyChange change)
    {
        socket.set_option(Tcp::no_delay(true));
        beast::flat_buffer buffer;
        beast::error_code error;
        for (;;) {
            http::request_parser<http::string_body> parser;
            parser.body_limit(2 << 20);
            http::read(socket, buffer, parser, error);
            if (error) return;
            auto& request = parser.get();
            http::response<http::string_body> response(http::status::ok, request.version());
            response.set(http::field::content_type, "application/octet-stream");
            response.keep_alive(request.keep_alive());
            response.body() = std::move(request.body());
            if (change) change(response.body());
            response.prepare_payload();
            http::write(socket, response, error);
            if (error) return;
        }
    }

    boost::asio::io_context context_;
    Tcp::acceptor acceptor_;
    std::vector<std::thread> threads_;
    std::thread accepting_;
};

#endif  // PX_HAVE_BEAST

#ifdef PX_HAVE_MICROHTTPD

// One thread with epoll for all connections, or a thread for each.
template <unsigned kMode>
class MicrohttpdServer {
public:
    explicit MicrohttpdServer(int /*connections*/)
    {
        // The daemon closes the socket.
        const os::File socket = ListenAnywhere(&port_);
        daemon_ = MHD_start_daemon(
            kMode | MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_SUPPRESS_DATE_NO_CLOCK, 0, nullptr,
            nullptr, Answer, nullptr, MHD_OPTION_LISTEN_SOCKET, static_cast<int>(socket),
            MHD_OPTION_CONNECTION_MEMORY_LIMIT, size_t{256} << 10, MHD_OPTION_NOTIFY_COMPLETED, End,
            nullptr, MHD_OPTION_END);
        if (!daemon_) std::abort();
    }
    ~MicrohttpdServer() { MHD_stop_daemon(daemon_); }
    uint16_t Port() const { return port_; }

private:
    static MHD_Result Answer(void* /*context*/, MHD_Connection* connection, const char* /*url*/,
                             const char* /*method*/, const char* /*version*/, const char* part,
                             size_t* partSize, void** request)
    {
        auto* body = static_cast<std::string*>(*request);
        if (!body) {
            const char* length =
                MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Content-Length");
            body = new std::string;
            body->reserve(length ? std::strtoul(length, nullptr, 10) : 0);
            *request = body;
            return MHD_YES;
        }
        if (*partSize > 0) {
            body->append(part, *partSize);
            *partSize = 0;
            return MHD_YES;
        }
        MHD_Response* response =
            MHD_create_response_from_buffer(body->size(), body->data(), MHD_RESPMEM_PERSISTENT);
        const MHD_Result result = MHD_queue_response(connection, MHD_HTTP_OK, response);
        MHD_destroy_response(response);
        return result;
    }
    static void End(void* /*context*/, MHD_Connection* /*connection*/, void** request,
                    MHD_RequestTerminationCode /*code*/)
    {
        delete static_cast<std::string*>(*request);
        *request = nullptr;
    }

    uint16_t port_ = 0;
    MHD_Daemon* daemon_ = nullptr;
};

#endif  // PX_HAVE_MICROHTTPD

}  // namespace px::bench
