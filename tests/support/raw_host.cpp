#include "support/raw_host.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "apilib/unix/transport/transport.h"
#include "support/mapper_process.h"

std::string identity(pid_t host, const std::string &rest)
{
    return std::to_string(client_program) + "." + std::to_string(client_version) + " " +
           std::to_string(host_program) + "." + std::to_string(host_version) + " " +
           std::to_string(host) + "." + rest;
}

RawServer::RawServer(const std::vector<int> &sockets, Answerer answerer)
    : answerer_(std::move(answerer))
{
    for (const int socket : sockets)
        servers_.emplace_back([this](velt::test::Peer &peer) { serve(peer); },
                              std::pair(socket, in_port_t{}));
}

void RawServer::answer(Answerer answerer)
{
    std::lock_guard lock(mutex_);
    answerer_ = std::move(answerer);
}

std::optional<HostCall> RawServer::next(std::chrono::seconds limit)
{
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_for(lock, limit, [this] { return !calls_.empty(); }))
        return std::nullopt;
    HostCall call = std::move(calls_.front());
    calls_.pop_front();
    return call;
}

bool RawServer::idle()
{
    std::lock_guard lock(mutex_);
    return calls_.empty();
}

HostReply RawServer::answered(const Bytes &record)
{
    // Transaction, call (0), RPC version, program, version, procedure; then credentials and
    // verifier, each a flavour and counted bytes.
    std::size_t at = 6 * 4;
    for (int i = 0; i < 2; i++)
        at += 8 + (word_at(record, at + 4) + 3) / 4 * 4;
    const HostCall call{word_at(record, 20), record.substr(at), word_at(record, 12),
                        word_at(record, 16)};
    Answerer answerer;
    {
        std::lock_guard lock(mutex_);
        calls_.push_back(call);
        answerer = answerer_;
    }
    arrived_.notify_all();
    HostReply reply = answerer(call);
    // Transaction, reply (1), accepted (0), an empty verifier, status.
    reply.body = words({word_at(record, 0), 1, 0, 0, 0, reply.accept_status}) + reply.body;
    return reply;
}

void RawServer::serve(velt::test::Peer &peer)
{
    int kind = 0;
    socklen_t size = sizeof kind;
    getsockopt(peer.descriptor(), SOL_SOCKET, SO_TYPE, &kind, &size);
    for (;;) {
        sockaddr_storage from{};
        auto *address = reinterpret_cast<sockaddr *>(&from);
        size = sizeof from;
        Bytes record(8192, '\0');
        if (kind == SOCK_DGRAM)
            record.resize(static_cast<std::size_t>(std::max<ssize_t>(
                recvfrom(peer.descriptor(), record.data(), record.size(), 0, address, &size), 0)));
        else
            record = peer.receive_record();
        if (record.empty())
            return;
        const auto [answer, body, status] = answered(record);
        if (answer == HostReply::hang_up)
            shutdown(peer.descriptor(), SHUT_RDWR);
        else if (kind == SOCK_DGRAM)
            sendto(peer.descriptor(), body.data(), body.size(), 0, address, size);
        else
            peer.send(velt::test::fragment(body));
    }
}

RawHost::RawHost(std::pair<int, in_port_t> listener)
    : RawServer({listener.first}, [](const HostCall &) { return HostReply{}; }),
      port(listener.second)
{
    EXPECT_TRUE(velt::mapper_set(host_program, host_version, IPPROTO_TCP, port));
}

RawHost::~RawHost()
{
    velt::mapper_unset(host_program, host_version);
}

RawMapper::RawMapper(const RawHost &host)
{
    const auto [listener, port] = velt::test::socket_on_loopback();
    name_ = std::to_string(port);
    const auto answer = [this, known = host.port](const HostCall &call) {
        constexpr UIntT set = 1, get_port = 3;
        // In the newer version the port is the end of an address in words.
        unsigned high = 0, low = 0;
        if (call.procedure == set && call.version == 3)
            std::sscanf(&call.arguments.at(20), "0.0.0.0.%u.%u", &high, &low);
        else if (call.procedure == set)
            low = word_at(call.arguments, 12);
        if (call.procedure == set)
            registered_ = static_cast<in_port_t>(high * 256 + low);
        return HostReply{HostReply::answer, words({call.procedure == get_port ? known : 1U})};
    };
    // The local socket has that name, too, in no folder.
    sockaddr_un address{AF_UNIX, ""};
    name_.copy(address.sun_path + 1, name_.size());
    const int local = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(local, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(listen(local, 64), 0);
    server_.emplace(std::vector{listener, local}, answer);
}

std::string RawMapper::told()
{
    std::string lines;
    while (!server_->idle()) {
        const HostCall call = *server_->next();
        lines += std::to_string(call.version) + " " + std::to_string(call.procedure) + " " +
                 text(call.arguments) + "\n";
    }
    return lines;
}

namespace
{

// The session's port mapper is there before any thread.
struct WithMapper : testing::Environment {
    void SetUp() override { mapper.emplace(); }
    void TearDown() override { mapper.reset(); }
    std::optional<velt::test::MapperProcess> mapper;
};

[[maybe_unused]] const auto *const with_mapper = testing::AddGlobalTestEnvironment(new WithMapper);

} // namespace
