// Peers that send half records, too long ones, garbage, or do not read their answers: others are
// served all the same, and nothing is kept for them without bound.
#include "portmap/in_place.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <rpc/rpcb_prot.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <random>
#include <vector>

namespace velt::host::test
{
namespace
{

using namespace std::chrono_literals;
using Bytes = std::vector<char>;

constexpr unsigned last_fragment = 0x80000000U;
constexpr unsigned port = 40000;

Bytes call_bytes(unsigned mapper_version, unsigned procedure, unsigned xid = 1)
{
    Bytes bytes(512);
    XDR out{};
    xdrmem_create(&out, bytes.data(), static_cast<u_int>(bytes.size()), XDR_ENCODE);
    rpc_msg message{};
    message.rm_xid = xid;
    message.rm_direction = CALL;
    message.rm_call.cb_rpcvers = RPC_MSG_VERSION;
    message.rm_call.cb_prog = PMAPPROG;
    message.rm_call.cb_vers = mapper_version;
    message.rm_call.cb_proc = procedure;
    EXPECT_TRUE(xdr_callmsg(&out, &message));
    pmap map{program, version, IPPROTO_TCP, port};
    char netid[] = "tcp";
    char address[] = "0.0.0.0.1.2";
    rpcb full{program + 1, version, netid, address, netid};
    EXPECT_TRUE(mapper_version == PMAPVERS ? xdr_pmap(&out, &map) : xdr_rpcb(&out, &full));
    bytes.resize(xdr_getpos(&out));
    return bytes;
}

void append_fragment(Bytes &stream, unsigned header, std::span<const char> body)
{
    const unsigned word = htonl(header);
    const auto *chars = reinterpret_cast<const char *>(&word);
    stream.insert(stream.end(), chars, chars + sizeof word);
    stream.insert(stream.end(), body.begin(), body.end());
}

Bytes record(std::span<const char> body)
{
    Bytes stream;
    append_fragment(stream, last_fragment | static_cast<unsigned>(body.size()), body);
    return stream;
}

bool send_all(int fd, std::span<const char> bytes)
{
    return send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

// The words of the next answer on a stream: its header, its xid, ... ; none when it was closed.
std::vector<unsigned> receive_words(int fd, std::size_t count)
{
    std::vector<unsigned> words(count);
    const timeval limit{5, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    const ssize_t n = recv(fd, words.data(), count * sizeof(unsigned), MSG_WAITALL);
    EXPECT_GE(n, -1);
    if (n != static_cast<ssize_t>(count * sizeof(unsigned)))
        return {};
    for (unsigned &word : words)
        word = ntohl(word);
    return words;
}

bool closed_within(int fd, std::chrono::milliseconds limit)
{
    pollfd watched{fd, POLLIN, 0};
    char byte;
    return poll(&watched, 1, static_cast<int>(limit.count())) == 1 &&
           recv(fd, &byte, 1, MSG_DONTWAIT) <= 0 && errno != EAGAIN;
}

void expect_service()
{
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(pmap_set(program, version, IPPROTO_TCP, port));
    EXPECT_EQ(port_of(program, IPPROTO_TCP), port);
    EXPECT_TRUE(pmap_unset(program, version));
    EXPECT_TRUE(registered_programs().empty());
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
}

TEST(Hostile, silent_peers_beyond_the_bound_are_closed_and_keep_nobody_out)
{
    in_place({}, [] {
        const Bytes whole = record(call_bytes(PMAPVERS, PMAPPROC_NULL));
        std::vector<int> peers;
        for (std::size_t i = 0; i < 3 * port_mapper_connections; ++i) {
            peers.push_back(connect_to_mapper(i % 2 ? Over::tcp : Over::local));
            ASSERT_TRUE(send_all(peers.back(), std::span(whole).first(i % whole.size())));
        }
        expect_service();
        EXPECT_TRUE(closed_within(peers.front(), 1s)) << "it was silent longest";
        EXPECT_FALSE(closed_within(peers.back(), 100ms));
        for (const int fd : peers)
            close(fd);
    });
}

TEST(Hostile, half_a_record_is_given_up_in_time_however_slowly_it_grows)
{
    PlaceOptions options;
    options.patience = 400ms;
    in_place(options, [] {
        const Bytes whole = record(call_bytes(PMAPVERS, PMAPPROC_NULL));
        const int slow = connect_to_mapper(Over::tcp);
        const int quick = connect_to_mapper(Over::tcp);
        ASSERT_TRUE(send_all(slow, whole));
        EXPECT_FALSE(receive_words(slow, 7).empty());
        const auto start = std::chrono::steady_clock::now();
        for (std::size_t i = 0; i + 1 < whole.size() && !closed_within(slow, 50ms); ++i) {
            send_all(slow, std::span(whole).subspan(i, 1));
            send_all(quick, whole);
            EXPECT_FALSE(receive_words(quick, 7).empty());
        }
        const auto taken = std::chrono::steady_clock::now() - start;
        EXPECT_GT(taken, 200ms);
        EXPECT_LT(taken, 5s);
        close(slow);
        close(quick);
    });
}

TEST(Hostile, records_come_in_any_pieces_but_not_of_any_length)
{
    in_place({}, [] {
        const Bytes body = call_bytes(PMAPVERS, PMAPPROC_NULL, 77);
        const int fd = connect_to_mapper(Over::tcp);
        Bytes pieces;
        for (std::size_t i = 0; i < body.size(); ++i) {
            append_fragment(pieces, 0, {});
            append_fragment(pieces, 1, std::span(body).subspan(i, 1));
        }
        append_fragment(pieces, last_fragment, {});
        for (unsigned xid = 78; xid < 80; ++xid) {
            const Bytes next = record(call_bytes(PMAPVERS, PMAPPROC_NULL, xid));
            pieces.insert(pieces.end(), next.begin(), next.end());
        }
        ASSERT_TRUE(send_all(fd, pieces));
        for (unsigned xid = 77; xid < 80; ++xid) {
            const auto words = receive_words(fd, 7);
            ASSERT_EQ(words.size(), 7U);
            EXPECT_EQ(words[0], last_fragment | 24U);
            EXPECT_EQ(words[1], xid);
        }

        Bytes announced;
        append_fragment(announced, last_fragment | 0x7FFFFFFFU, {});
        ASSERT_TRUE(send_all(fd, announced));
        EXPECT_TRUE(closed_within(fd, 1s));
        close(fd);

        // Not too long in any fragment, but in all.
        const int second = connect_to_mapper(Over::tcp);
        Bytes fragments;
        const Bytes part(30000);
        for (int i = 0; i < 3; ++i)
            append_fragment(fragments, static_cast<unsigned>(part.size()), part);
        send_all(second, fragments);
        EXPECT_TRUE(closed_within(second, 1s));
        close(second);
        expect_service();
    });
}

TEST(Hostile, answers_that_are_not_read_stop_only_their_own_connection)
{
    in_place({}, [] {
        const Bytes call = record(call_bytes(RPCBVERS4, RPCBPROC_DUMP));
        const int fd = connect_to_mapper(Over::local);
        fcntl(fd, F_SETFL, O_NONBLOCK);
        std::size_t sent = 0;
        pollfd writable{fd, POLLOUT, 0};
        while (poll(&writable, 1, 300) == 1 && sent < 64U << 20U) {
            const ssize_t n = send(fd, call.data(), call.size(), MSG_NOSIGNAL);
            ASSERT_TRUE(n > 0 || errno == EAGAIN);
            sent += n > 0 ? static_cast<std::size_t>(n) : 0;
        }
        EXPECT_LT(sent, 64U << 20U) << "it reads on though it cannot answer";
        expect_service();
        close(fd);
    });
}

TEST(Hostile, what_can_be_registered_is_bounded_and_checked)
{
    in_place({}, [] {
        const Client client = mapper_client(Over::local, RPCBVERS4);
        const auto set = [&](unsigned number, std::string netid, std::string address) {
            bool_t done = FALSE;
            EXPECT_EQ(call(client, RPCBPROC_SET, xdr_rpcb,
                           rpcb{number, 1, netid.data(), address.data(), netid.data()}, xdr_bool,
                           &done),
                      RPC_SUCCESS);
            return done == TRUE;
        };
        for (const char *bad :
             {"", ".", "..", "1.2", "junk", "0.0.0.0", "0.0.0.0.1", "0.0.0.0.1.", "0.0.0.0.256.1",
              "0.0.0.0.1.-1", "0.0.0.0.1.1 ", "::.1.1", "1.2.3.4.5.1.1"})
            EXPECT_FALSE(set(program, "tcp", bad)) << bad;
        EXPECT_FALSE(set(program, "nonesuch", "0.0.0.0.1.1"));
        EXPECT_FALSE(set(program, "", "0.0.0.0.1.1"));
        EXPECT_FALSE(set(program, "local", "/" + std::string(5000, 'x')));
        EXPECT_TRUE(set(program, "tcp6", "::1.1.1"));
        EXPECT_TRUE(registered_programs().empty()) << "none of the IPv4 family";

        unsigned taken = 0;
        while (taken < 100'000 && set(program + taken, "local", "/" + std::string(100, 'x')))
            ++taken;
        EXPECT_GE(taken, 100U);
        EXPECT_LE(taken, 1000U);
        rpcblist_ptr list = nullptr;
        EXPECT_EQ(clnt_call(client.get(), RPCBPROC_DUMP, nothing, nullptr,
                            reinterpret_cast<xdrproc_t>(xdr_rpcblist_ptr), &list, (timeval{5, 0})),
                  RPC_SUCCESS);
        unsigned listed = 0;
        for (auto *each = list; each; each = each->rpcb_next)
            listed += each->rpcb_map.r_prog >= program;
        EXPECT_EQ(listed, taken + 1);
        xdr_free(reinterpret_cast<xdrproc_t>(xdr_rpcblist_ptr), &list);
    });
}

TEST(Hostile, damaged_calls_do_no_harm)
{
    Child([] {
        HelperProcess mapper = enter_private_place();
        std::mt19937 random(20240607);
        const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
        const int udp = connect_to_mapper(Over::udp);
        int stream = connect_to_mapper(Over::tcp);
        for (int round = 0; round < 3000; ++round) {
            Bytes bytes = call_bytes(2 + below(3), below(13));
            for (unsigned damage = below(4); damage > 0; --damage) {
                // Mostly in the words that hold lengths and small numbers.
                const std::size_t at = below(static_cast<unsigned>(bytes.size()));
                bytes[at] = static_cast<char>(below(3) ? below(256) : 0xFF);
            }
            if (below(4) == 0)
                bytes.resize(below(static_cast<unsigned>(bytes.size())));
            send(udp, bytes.data(), bytes.size(), MSG_DONTWAIT);
            if (!send_all(stream, record(bytes)) || closed_within(stream, 0ms)) {
                close(stream);
                stream = connect_to_mapper(below(2) ? Over::tcp : Over::local);
            }
            std::array<char, 4096> sink;
            while (recv(stream, sink.data(), sink.size(), MSG_DONTWAIT) > 0 ||
                   recv(udp, sink.data(), sink.size(), MSG_DONTWAIT) > 0)
                ;
        }
        close(udp);
        close(stream);
        EXPECT_TRUE(mapper.running());
        EXPECT_TRUE(rpcbind_answers());
        EXPECT_TRUE(pmap_set(program + 2, version, IPPROTO_TCP, port));
        EXPECT_EQ(port_of(program + 2, IPPROTO_TCP), port);
    });
}

} // namespace
} // namespace velt::host::test
