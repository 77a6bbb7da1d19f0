#include "api/raw_host.h"

#include "apilib/unix/transport/transport.h"
#include "portmap/mapper_process.h"
#include "transport/service_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

UIntT word_at(const Bytes &bytes, std::size_t offset)
{
    UIntT value = 0;
    for (std::size_t i = 0; i < 4; i++)
        value = value << 8 | static_cast<UCharT>(bytes.at(offset + i));
    return value;
}

namespace
{

constexpr UIntT last_fragment = 0x80000000;

// The connections block, so that each call does all or fails.
bool read_all(int fd, char *to, std::size_t size)
{
    return size == 0 || recv(fd, to, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

std::optional<Bytes> read_record(int connection)
{
    Bytes record;
    for (;;) {
        Bytes mark(4, '\0');
        if (!read_all(connection, mark.data(), 4))
            return std::nullopt;
        UIntT size = word_at(mark, 0) & ~last_fragment;
        std::size_t before = record.size();
        record.resize(before + size);
        if (!read_all(connection, record.data() + before, size))
            return std::nullopt;
        if (word_at(mark, 0) & last_fragment)
            return record;
    }
}

} // namespace

RawServer::RawServer(std::vector<int> listeners, Answerer answerer)
    : listeners_(std::move(listeners))
{
    EXPECT_EQ(pipe2(stop_, O_CLOEXEC), 0);
    answer(std::move(answerer));
    thread_ = std::thread([this] { serve(); });
}

RawServer::~RawServer()
{
    close(stop_[1]);
    thread_.join();
    close(stop_[0]);
    for (int listener : listeners_)
        close(listener);
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

void RawServer::serve()
{
    std::vector<pollfd> waits{{stop_[0], POLLIN, 0}};
    for (int listener : listeners_)
        waits.push_back({listener, POLLIN, 0});
    const std::size_t first = waits.size();
    while (poll(waits.data(), waits.size(), -1) >= 0 && !waits[0].revents) {
        for (std::size_t i = waits.size(); i-- > first;)
            if (waits[i].revents && !serve_one(waits[i].fd)) {
                close(waits[i].fd);
                waits.erase(waits.begin() + static_cast<long>(i));
            }
        for (std::size_t i = 1; i < first; i++) {
            int kind = SOCK_STREAM;
            socklen_t size = sizeof kind;
            getsockopt(waits[i].fd, SOL_SOCKET, SO_TYPE, &kind, &size);
            if (waits[i].revents && kind == SOCK_DGRAM)
                serve_datagram(waits[i].fd);
            else if (waits[i].revents)
                waits.push_back({accept4(waits[i].fd, nullptr, nullptr, SOCK_CLOEXEC), POLLIN, 0});
        }
    }
    for (std::size_t i = first; i < waits.size(); i++)
        close(waits[i].fd);
}

HostReply::Kind RawServer::answered(const Bytes &record, Bytes &message)
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
    const HostReply reply = answerer(call);
    // Transaction, reply (1), accepted (0), an empty verifier, status.
    message = words({word_at(record, 0), 1, 0, 0, 0, reply.accept_status}) + reply.body;
    return reply.kind;
}

bool RawServer::serve_one(int connection)
{
    Bytes message;
    const std::optional<Bytes> record = read_record(connection);
    if (!record)
        return false;
    const HostReply::Kind kind = answered(*record, message);
    if (kind != HostReply::answer)
        return kind == HostReply::silence;
    message = velt::test::fragment(message);
    return send(connection, message.data(), message.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(message.size());
}

void RawServer::serve_datagram(int socket)
{
    Bytes message, record(2000, '\0');
    sockaddr_in from{};
    auto *generic = reinterpret_cast<sockaddr *>(&from);
    socklen_t size = sizeof from;
    record.resize(static_cast<std::size_t>(
        recvfrom(socket, record.data(), record.size(), 0, generic, &size)));
    if (answered(record, message) == HostReply::answer)
        sendto(socket, message.data(), message.size(), 0, generic, size);
}

RawHost::RawHost() : RawHost(velt::test::socket_on_loopback()) {}

RawHost::RawHost(std::pair<int, in_port_t> listener)
    : RawServer({listener.first}, [](const HostCall &) { return HostReply{}; }),
      port_(listener.second)
{
    EXPECT_TRUE(velt::mapper_set(host_program, host_version, IPPROTO_TCP, port_));
}

RawHost::~RawHost()
{
    velt::mapper_unset(host_program, host_version);
}

RawMapper::RawMapper(const RawHost &host)
{
    char folder[] = "/tmp/velt-mapper-XXXXXX";
    EXPECT_NE(mkdtemp(folder), nullptr);
    path_ = std::string(folder) + "/socket";
    const auto [listener, port] = velt::test::socket_on_loopback();
    port_ = port;
    const auto answer = [this, known = host.port()](const HostCall &call) {
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
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    const int local = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(local, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(listen(local, 64), 0);
    server_.emplace(std::vector{listener, local}, answer);
}

RawMapper::~RawMapper()
{
    server_.reset();
    unlink(path_.c_str());
    rmdir(path_.substr(0, path_.rfind('/')).c_str());
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
