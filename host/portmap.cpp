#include "host/portmap.h"

#include "host/descriptor.h"
#include "host/portmap_calls.h"

#include <arpa/inet.h>
#include <netconfig.h>
#include <netinet/in.h>
#include <poll.h>
#include <rpc/pmap_prot.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace velt::host
{
namespace
{

using Clock = std::chrono::steady_clock;

// A record on a stream is a run of fragments, each behind a word that holds its length and, in
// the top bit, whether it is the last.
constexpr std::size_t fragment_header = sizeof(std::uint32_t);
constexpr std::uint32_t last_fragment = 0x80000000U;

struct Listener {
    Descriptor fd;
    const Transport *transport;
};

class Connection
{
public:
    Connection(Descriptor fd, const Registrant &caller, Clock::time_point deadline)
        : fd_(std::move(fd)), caller_(caller), deadline_(deadline)
    {
    }

    int fd() const { return fd_.get(); }
    Clock::time_point deadline() const { return deadline_; }
    // One answer at a time: no call is read while a peer leaves the answer to its last unread.
    short events() const { return out_.empty() ? POLLIN : POLLOUT; }

    // Does what can be done without waiting; false when the connection is to be closed.
    bool advance(Registrations &registrations, Clock::time_point next_deadline);

private:
    enum class Record { complete, incomplete, too_long };

    bool receive();
    bool send();
    Record next_record();

    Descriptor fd_;
    Registrant caller_;
    Clock::time_point deadline_;
    std::vector<char> in_;     // as received
    std::vector<char> record_; // the fragments so far
    std::vector<char> out_;
};

bool would_wait()
{
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

bool Connection::receive()
{
    std::array<char, 8192> chunk;
    const ssize_t n = recv(fd(), chunk.data(), chunk.size(), MSG_DONTWAIT);
    if (n > 0)
        in_.insert(in_.end(), chunk.begin(), chunk.begin() + n);
    return n > 0 || (n < 0 && would_wait());
}

bool Connection::send()
{
    const ssize_t n = ::send(fd(), out_.data(), out_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (n > 0)
        out_.erase(out_.begin(), out_.begin() + n);
    return n > 0 || would_wait();
}

Connection::Record Connection::next_record()
{
    std::size_t used = 0;
    Record state = Record::incomplete;
    while (state == Record::incomplete && in_.size() - used >= fragment_header) {
        std::uint32_t header = 0;
        std::memcpy(&header, &in_[used], fragment_header);
        header = ntohl(header);
        const std::size_t length = header & ~last_fragment;
        if (record_.size() + length > max_portmap_record) {
            state = Record::too_long;
            break;
        }
        if (in_.size() - used - fragment_header < length)
            break;
        const auto start = in_.begin() + static_cast<std::ptrdiff_t>(used + fragment_header);
        record_.insert(record_.end(), start, start + static_cast<std::ptrdiff_t>(length));
        used += fragment_header + length;
        if (header & last_fragment)
            state = Record::complete;
    }
    in_.erase(in_.begin(), in_.begin() + static_cast<std::ptrdiff_t>(used));
    return state;
}

bool Connection::advance(Registrations &registrations, Clock::time_point next_deadline)
{
    if (out_.empty() && !receive())
        return false;
    for (;;) {
        if (!out_.empty() && !send())
            return false;
        if (!out_.empty())
            return true;
        const Record state = next_record();
        if (state != Record::complete)
            return state == Record::incomplete;

        out_.resize(fragment_header + max_portmap_record);
        const std::size_t length =
            registrations.answer(record_, caller_, std::span(out_).subspan(fragment_header));
        record_.clear();
        out_.resize(fragment_header + length);
        if (length == 0)
            return false;
        const std::uint32_t header = htonl(last_fragment | static_cast<std::uint32_t>(length));
        std::memcpy(out_.data(), &header, fragment_header);
        deadline_ = next_deadline;
    }
}

class Server
{
public:
    explicit Server(const PortMapperOptions &options);

    std::vector<int> descriptors() const;
    [[noreturn]] void serve();

private:
    void listen(const char *netid, int type, const sockaddr *address, socklen_t size,
                const std::string &name);
    void accept(const Listener &listener);
    void answer_datagram(const Listener &listener);
    void close_oldest();
    int wait(std::vector<pollfd> &polled) const;

    Clock::time_point next_deadline() const { return Clock::now() + patience_; }

    std::chrono::milliseconds patience_;
    Registrations registrations_;
    std::vector<Listener> listeners_;
    std::vector<Connection> connections_;
};

template <typename Address>
const sockaddr *generic(const Address &address)
{
    return reinterpret_cast<const sockaddr *>(&address);
}

Server::Server(const PortMapperOptions &options)
    : patience_(options.patience), registrations_(options.socket_path)
{
    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    if (options.socket_path.size() >= sizeof local.sun_path)
        throw std::system_error(ENAMETOOLONG, std::generic_category(), options.socket_path);
    options.socket_path.copy(local.sun_path, options.socket_path.size());
    unlink(local.sun_path);
    listen("local", SOCK_STREAM, generic(local), sizeof local, options.socket_path);
    chmod(local.sun_path, 0666);

    sockaddr_in loopback{};
    loopback.sin_family = AF_INET;
    loopback.sin_port = htons(PMAPPORT);
    loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const std::string port = " port " + std::to_string(PMAPPORT) + " of the loopback interface";
    listen("tcp", SOCK_STREAM, generic(loopback), sizeof loopback, "TCP" + port);
    listen("udp", SOCK_DGRAM, generic(loopback), sizeof loopback, "UDP" + port);
}

void Server::listen(const char *netid, int type, const sockaddr *address, socklen_t size,
                    const std::string &name)
{
    Descriptor fd(socket(address->sa_family, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    const bool stream = type == SOCK_STREAM;
    // For datagrams the option would let a second mapper share the port.
    if (!fd || (stream && setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) ||
        bind(fd.get(), address, size) != 0 || (stream && ::listen(fd.get(), SOMAXCONN) != 0))
        throw std::system_error(errno, std::generic_category(), "listen on " + name);
    listeners_.push_back({std::move(fd), find_transport(netid)});
}

std::vector<int> Server::descriptors() const
{
    std::vector<int> all;
    for (const Listener &listener : listeners_)
        all.push_back(listener.fd.get());
    return all;
}

void Server::close_oldest()
{
    const auto oldest = std::ranges::min_element(connections_, {}, &Connection::deadline);
    if (oldest != connections_.end())
        connections_.erase(oldest);
}

void Server::accept(const Listener &listener)
{
    Descriptor fd(accept4(listener.fd.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!fd) {
        // Out of descriptors or memory: a silent peer must not keep others from being served.
        if (!would_wait() && errno != ECONNABORTED)
            close_oldest();
        return;
    }
    Registrant caller{listener.transport, std::nullopt};
    ucred peer{};
    socklen_t size = sizeof peer;
    if (listener.transport->family == AF_UNIX &&
        getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0)
        caller.uid = peer.uid;
    if (connections_.size() == port_mapper_connections)
        close_oldest();
    connections_.emplace_back(std::move(fd), caller, next_deadline());
}

void Server::answer_datagram(const Listener &listener)
{
    std::array<char, max_portmap_record> call;
    std::array<char, max_portmap_record> reply;
    sockaddr_storage from{};
    socklen_t size = sizeof from;
    auto *peer = reinterpret_cast<sockaddr *>(&from);
    const ssize_t n =
        recvfrom(listener.fd.get(), call.data(), call.size(), MSG_DONTWAIT, peer, &size);
    if (n <= 0)
        return;
    const Registrant caller{listener.transport, std::nullopt};
    const std::size_t length =
        registrations_.answer(std::span(call).first(static_cast<std::size_t>(n)), caller, reply);
    // An answer that cannot be sent now is lost, as a datagram may be; the peer asks again.
    if (length > 0)
        sendto(listener.fd.get(), reply.data(), length, MSG_DONTWAIT | MSG_NOSIGNAL, peer, size);
}

int Server::wait(std::vector<pollfd> &polled) const
{
    polled.clear();
    for (const Listener &listener : listeners_)
        polled.push_back({listener.fd.get(), POLLIN, 0});
    auto earliest = Clock::time_point::max();
    for (const Connection &connection : connections_) {
        polled.push_back({connection.fd(), connection.events(), 0});
        earliest = std::min(earliest, connection.deadline());
    }
    int limit = -1;
    if (!connections_.empty()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(earliest - Clock::now());
        limit = static_cast<int>(std::max<std::int64_t>(left.count(), 0));
    }
    return poll(polled.data(), polled.size(), limit);
}

void Server::serve()
{
    std::vector<pollfd> polled;
    for (;;) {
        if (wait(polled) < 0)
            continue;
        // Connections first: those accepted in this round were not polled.
        for (std::size_t i = connections_.size(); i-- > 0;) {
            Connection &connection = connections_[i];
            const bool ready = polled[listeners_.size() + i].revents != 0;
            const bool keep = ready ? connection.advance(registrations_, next_deadline())
                                    : connection.deadline() > Clock::now();
            if (!keep)
                connections_.erase(connections_.begin() + static_cast<std::ptrdiff_t>(i));
        }
        for (std::size_t i = 0; i < listeners_.size(); ++i) {
            if (polled[i].revents == 0)
                continue;
            if (listeners_[i].transport->semantics == NC_TPI_CLTS)
                answer_datagram(listeners_[i]);
            else
                accept(listeners_[i]);
        }
    }
}

} // namespace

HelperProcess start_port_mapper(const PortMapperOptions &options)
{
    Server server(options);
    return HelperProcess(server.descriptors(), [&] { server.serve(); });
}

} // namespace velt::host
