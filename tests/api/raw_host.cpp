#include "api/raw_host.h"

#include "host/place.h"
#include "transport/service_process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <rpc/pmap_clnt.h>
#include <sys/socket.h>
#include <unistd.h>

Bytes words(std::initializer_list<UIntT> values)
{
    Bytes bytes;
    for (UIntT value : values)
        for (int shift = 24; shift >= 0; shift -= 8)
            bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    return bytes;
}

UIntT word_at(const Bytes &bytes, std::size_t offset)
{
    UIntT value = 0;
    for (std::size_t i = 0; i < 4; i++)
        value = value << 8 | bytes.at(offset + i);
    return value;
}

namespace
{

constexpr UIntT last_fragment = 0x80000000;

// The connections block, so that each call does all or fails.
bool read_all(int fd, std::uint8_t *to, std::size_t size)
{
    return size == 0 || recv(fd, to, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

bool write_record(int fd, const Bytes &record)
{
    Bytes marked = words({last_fragment | static_cast<UIntT>(record.size())});
    marked.insert(marked.end(), record.begin(), record.end());
    return send(fd, marked.data(), marked.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(marked.size());
}

std::optional<Bytes> read_record(int connection)
{
    Bytes record;
    for (;;) {
        Bytes mark(4);
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

RawHost::RawHost()
{
    sockaddr_in address = velt::test::at(0);
    socklen_t size = sizeof address;
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr *>(&address), size), 0);
    EXPECT_EQ(listen(listener_, 8), 0);
    getsockname(listener_, reinterpret_cast<sockaddr *>(&address), &size);
    pmap_unset(host_program, host_version);
    EXPECT_TRUE(pmap_set(host_program, host_version, IPPROTO_TCP, ntohs(address.sin_port)));
    EXPECT_EQ(pipe2(stop_, O_CLOEXEC), 0);
    answer({});
    thread_ = std::thread([this] { serve(); });
}

RawHost::~RawHost()
{
    close(stop_[1]);
    thread_.join();
    close(stop_[0]);
    close(listener_);
    pmap_unset(host_program, host_version);
}

void RawHost::answer(Answerer answerer)
{
    std::lock_guard lock(mutex_);
    if (!answerer)
        answerer = [](const HostCall &) { return HostReply{}; };
    answerer_ = std::move(answerer);
}

std::optional<HostCall> RawHost::next(std::chrono::seconds limit)
{
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_for(lock, limit, [this] { return !calls_.empty(); }))
        return std::nullopt;
    HostCall call = std::move(calls_.front());
    calls_.pop_front();
    return call;
}

bool RawHost::idle()
{
    std::lock_guard lock(mutex_);
    return calls_.empty();
}

void RawHost::serve()
{
    std::vector<pollfd> waits{{stop_[0], POLLIN, 0}, {listener_, POLLIN, 0}};
    while (poll(waits.data(), waits.size(), -1) >= 0 && !waits[0].revents) {
        for (std::size_t i = waits.size(); i-- > 2;)
            if (waits[i].revents && !serve_one(waits[i].fd)) {
                close(waits[i].fd);
                waits.erase(waits.begin() + static_cast<long>(i));
            }
        if (waits[1].revents)
            waits.push_back({accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC), POLLIN, 0});
    }
    for (std::size_t i = 2; i < waits.size(); i++)
        close(waits[i].fd);
}

bool RawHost::serve_one(int connection)
{
    std::optional<Bytes> record = read_record(connection);
    if (!record)
        return false;
    // Transaction, call (0), RPC version, program, version, procedure; then credentials and
    // verifier, each a flavour and counted bytes.
    constexpr std::size_t header = 6 * 4;
    std::size_t at = header;
    for (int i = 0; i < 2; i++)
        at += 8 + (word_at(*record, at + 4) + 3) / 4 * 4;
    HostCall call{word_at(*record, 20),
                  Bytes(record->begin() + static_cast<long>(at), record->end()),
                  word_at(*record, 12), word_at(*record, 16)};
    Answerer answerer;
    {
        std::lock_guard lock(mutex_);
        calls_.push_back(call);
        answerer = answerer_;
    }
    arrived_.notify_all();
    HostReply reply = answerer(call);
    if (reply.kind == HostReply::silence)
        return true;
    if (reply.kind == HostReply::hang_up)
        return false;
    // Transaction, reply (1), accepted (0), an empty verifier, status.
    Bytes bytes = words({word_at(*record, 0), 1, 0, 0, 0, reply.accept_status});
    bytes.insert(bytes.end(), reply.body.begin(), reply.body.end());
    return write_record(connection, bytes);
}

// Every test of such a host runs in a private place.
int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    try {
        const velt::host::HelperProcess mapper = velt::host::enter_private_place();
        return RUN_ALL_TESTS();
    } catch (const velt::host::PlaceError &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
