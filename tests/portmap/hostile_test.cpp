// Peers that send half records, too long ones, garbage, or do not read their answers: others are
// served all the same, and nothing is kept for them without bound.
#include "portmap/in_place.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <rpc/rpcb_prot.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <optional>
#include <random>
#include <vector>

namespace velt::host::test
{
namespace
{

using namespace std::chrono_literals;
using velt::test::fragment;
using velt::test::Peer;
using velt::test::words;

constexpr unsigned port = 40000;

std::string call_bytes(unsigned mapper_version, unsigned procedure, unsigned xid = 1)
{
    std::string bytes(512, '\0');
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

Peer peer(Over over)
{
    return Peer(connect_to_mapper(over));
}

// The next answer is that to an empty call.
void expect_answer(Peer &peer, unsigned xid)
{
    EXPECT_EQ(peer.receive(28, 5s), fragment(words({xid, REPLY, MSG_ACCEPTED, 0, 0, SUCCESS})));
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
        const std::string whole = fragment(call_bytes(PMAPVERS, PMAPPROC_NULL));
        std::vector<Peer> peers;
        for (std::size_t i = 0; i < 3 * port_mapper_connections; ++i) {
            peers.push_back(peer(i % 2 ? Over::tcp : Over::local));
            ASSERT_TRUE(peers.back().send(whole.substr(0, i % whole.size())));
        }
        expect_service();
        EXPECT_TRUE(peers.front().closed(1s)) << "it was silent longest";
        EXPECT_FALSE(peers.back().closed(100ms));
    });
}

TEST(Hostile, half_a_record_is_given_up_in_time_however_slowly_it_grows)
{
    PlaceOptions options;
    options.patience = 400ms;
    in_place(options, [] {
        const std::string whole = fragment(call_bytes(PMAPVERS, PMAPPROC_NULL));
        Peer slow = peer(Over::tcp);
        Peer quick = peer(Over::tcp);
        ASSERT_TRUE(slow.send(whole));
        expect_answer(slow, 1);
        const auto start = std::chrono::steady_clock::now();
        for (std::size_t i = 0; i + 1 < whole.size() && !slow.closed(50ms); ++i) {
            slow.send(whole.substr(i, 1));
            quick.send(whole);
            expect_answer(quick, 1);
        }
        const auto taken = std::chrono::steady_clock::now() - start;
        EXPECT_GT(taken, 200ms);
        EXPECT_LT(taken, 5s);
    });
}

TEST(Hostile, records_come_in_any_pieces_but_not_of_any_length)
{
    in_place({}, [] {
        Peer first = peer(Over::tcp);
        std::string pieces;
        for (const char byte : call_bytes(PMAPVERS, PMAPPROC_NULL, 77))
            pieces += fragment("", false) + fragment({byte}, false);
        pieces += fragment("");
        for (unsigned xid : {78U, 79U})
            pieces += fragment(call_bytes(PMAPVERS, PMAPPROC_NULL, xid));
        ASSERT_TRUE(first.send(pieces));
        for (unsigned xid : {77U, 78U, 79U})
            expect_answer(first, xid);

        ASSERT_TRUE(first.send(words({0xFFFFFFFF}))); // the mark of a very long one
        EXPECT_TRUE(first.closed(1s));

        // Not too long in any fragment, but in all.
        Peer second = peer(Over::tcp);
        const std::string part = fragment(std::string(30000, '\0'), false);
        second.send(part + part + part);
        EXPECT_TRUE(second.closed(1s));
        expect_service();
    });
}

TEST(Hostile, answers_that_are_not_read_stop_only_their_own_connection)
{
    in_place({}, [] {
        const std::string call = fragment(call_bytes(RPCBVERS4, RPCBPROC_DUMP));
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
        Peer udp = peer(Over::udp);
        std::optional<Peer> stream(peer(Over::tcp));
        for (int round = 0; round < 3000; ++round) {
            std::string bytes = call_bytes(2 + below(3), below(13));
            for (unsigned damage = below(4); damage > 0; --damage) {
                // Mostly in the words that hold lengths and small numbers.
                const std::size_t at = below(static_cast<unsigned>(bytes.size()));
                bytes[at] = static_cast<char>(below(3) ? below(256) : 0xFF);
            }
            if (below(4) == 0)
                bytes.resize(below(static_cast<unsigned>(bytes.size())));
            udp.send(bytes);
            if (!stream->send(fragment(bytes)) || stream->closed(0ms))
                stream.emplace(peer(below(2) ? Over::tcp : Over::local));
            std::array<char, 4096> sink;
            for (const Peer *each : {&udp, &*stream})
                while (recv(each->descriptor(), sink.data(), sink.size(), MSG_DONTWAIT) > 0)
                    ;
        }
        EXPECT_TRUE(mapper.running());
        EXPECT_TRUE(rpcbind_answers());
        EXPECT_TRUE(pmap_set(program + 2, version, IPPROTO_TCP, port));
        EXPECT_EQ(port_of(program + 2, IPPROTO_TCP), port);
    });
}

} // namespace
} // namespace velt::host::test
