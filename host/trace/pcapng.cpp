// Packets in a pcapng file, as protocol analysers read them: the RPC messages of the calls, encoded
// again, in TCP segments with addresses, ports and sequence numbers of their own.

#include <cstdint>
#include <deque>
#include <map>

#include "host/trace/forms.h"
#include "host/wire/catalogue.h"
#include "host/wire/procedures.h"

namespace velt::host
{
namespace
{

using std::chrono::system_clock;

template <class T>
void put_little(std::string &out, T value)
{
    for (std::size_t i = 0; i < sizeof value; i++)
        out += static_cast<char>(value >> (8 * i));
}

template <class T>
void put_big(std::string &out, T value)
{
    for (std::size_t i = sizeof value; i-- > 0;)
        out += static_cast<char>(value >> (8 * i));
}

void words(std::string &out, std::initializer_list<std::uint32_t> all)
{
    for (const std::uint32_t each : all)
        put_big(out, each);
}

void pad(std::string &out)
{
    out.resize((out.size() + 3) / 4 * 4);
}

void option(std::string &out, std::uint16_t code, std::string_view value)
{
    put_little(out, code);
    put_little(out, static_cast<std::uint16_t>(value.size()));
    out += value;
    pad(out);
}

// Returns a block, with its length before and behind it. The body is a multiple of 4 bytes.
std::string block(std::uint32_t type, const std::string &body)
{
    std::string out;
    const auto length = static_cast<std::uint32_t>(body.size() + 12);
    put_little(out, type);
    put_little(out, length);
    out += body;
    put_little(out, length);
    return out;
}

// Returns the Internet checksum of the bytes.
std::uint16_t checksum(std::string_view bytes)
{
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < bytes.size(); i++)
        sum += std::uint32_t{static_cast<unsigned char>(bytes[i])} << (i % 2 == 0 ? 8 : 0);
    while (sum > 0xFFFF)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<std::uint16_t>(~sum);
}

void set_big(std::string &bytes, std::size_t at, std::uint16_t value)
{
    bytes[at] = static_cast<char>(value >> 8);
    bytes[at + 1] = static_cast<char>(value);
}

enum Flags : std::uint16_t { fin = 1, syn = 2, push = 8, ack = 16 };

struct End {
    std::uint32_t address = 0;
    std::uint16_t port = 0;
    std::uint32_t sent = 0; // the next sequence number
};

// Returns an IPv4 packet with a TCP segment.
std::string packet(const End &from, const End &to, unsigned flags, std::string_view data)
{
    constexpr std::size_t header_size = 20;
    constexpr std::uint16_t window = 0xFFFF;
    std::string tcp;
    put_big(tcp, from.port);
    put_big(tcp, to.port);
    words(tcp, {from.sent, flags & ack ? to.sent : 0});
    put_big(tcp, static_cast<std::uint16_t>(0x5000 | flags)); // five words of header
    put_big(tcp, window);
    words(tcp, {0}); // the checksum, and no urgent data
    tcp += data;
    std::string summed;
    words(summed, {from.address, to.address, static_cast<std::uint32_t>(0x60000 | tcp.size())});
    set_big(tcp, 16, checksum(summed + tcp));

    std::string ip;
    // Version 4 with a header of five words; not to be fragmented; 64 hops, TCP.
    words(ip, {static_cast<std::uint32_t>(0x45000000 | (header_size + tcp.size())), 0x4000,
               0x40060000, from.address, to.address});
    set_big(ip, 10, checksum(ip));
    return ip + tcp;
}

// Of each connection; analysers take these ports for those of no other protocol.
constexpr std::uint32_t loopback = 0x7F000001;
constexpr std::uint16_t service_port = 45000, first_port = 50000, ports = 5000;
// It fits into a packet, and twice into the window.
constexpr std::size_t segment_size = 0x7F00;

class Pcapng final : public TraceForm
{
public:
    std::string begin() override;
    std::string event(const TraceEvent &event, const SessionText &text) override;

private:
    struct Connection {
        End caller, callee;
        bool open = false;
    };
    // A call of the host that the client has not answered yet, as far as its events show.
    struct Unanswered {
        std::uint32_t id;
        system_clock::time_point time;
        std::string_view procedure;
    };
    struct Client {
        Connection calls, callbacks; // that the client makes, and the host
        std::deque<Unanswered> unanswered;
    };

    void comment(std::string_view procedure, const TraceEvent &event);
    void connect(Connection &connection, std::uint32_t caller, std::uint32_t callee);
    void disconnect(Connection &connection);
    std::uint32_t call(Connection &connection, const TraceEvent &event);
    void reply(Connection &connection, std::uint32_t id, accept_stat status,
               const std::string &result = {}, bool half = false);
    void reply_to(const TraceEvent &event, Connection &connection, std::uint32_t id);
    void replies_before(const TraceEvent &event, Client &client);
    void record(End &from, End &to, const std::string &message, std::size_t size);
    void segment(End &from, const End &to, unsigned flags, std::string_view data = {},
                 bool commented = false);

    std::map<int, Client> clients_;
    std::uint32_t calls_ = 0;
    std::uint16_t connections_ = 0;
    // Of the packets that are being written.
    system_clock::time_point time_;
    std::string comment_, out_;
};

std::string Pcapng::begin()
{
    std::string section, interface;
    put_little(section, std::uint32_t{0x1A2B3C4D}); // tells the order of bytes
    put_little(section, std::uint32_t{1});          // version 1.0
    put_little(section, ~std::uint64_t{0});         // of any length
    put_little(interface, std::uint32_t{101});      // packets begin with the header of IP
    put_little(interface, std::uint32_t{0});        // of any length
    option(interface, 9, "\x09");                   // times are in nanoseconds
    option(interface, 0, "");
    return block(0x0A0D0D0A, section) + block(1, interface);
}

void Pcapng::segment(End &from, const End &to, unsigned flags, std::string_view data,
                     bool commented)
{
    const std::string bytes = packet(from, to, flags, data);
    const auto size = static_cast<std::uint32_t>(bytes.size());
    const auto time = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(time_.time_since_epoch()).count());
    std::string body;
    put_little(body, std::uint32_t{0}); // the interface
    put_little(body, static_cast<std::uint32_t>(time >> 32));
    put_little(body, static_cast<std::uint32_t>(time));
    put_little(body, size); // captured
    put_little(body, size);
    body += bytes;
    pad(body);
    if (commented) {
        option(body, 1, comment_);
        option(body, 0, "");
    }
    out_ += block(6, body);
    from.sent += static_cast<std::uint32_t>(data.size()) + (flags & (syn | fin) ? 1 : 0);
}

// Sends the first part of a record, or all of it.
void Pcapng::record(End &from, End &to, const std::string &message, std::size_t size)
{
    std::string bytes;
    words(bytes, {static_cast<std::uint32_t>(0x80000000 | message.size())}); // the last fragment
    bytes += message.substr(0, size);
    std::string_view rest = bytes;
    for (; rest.size() > segment_size; rest.remove_prefix(segment_size)) {
        segment(from, to, push | ack, rest.substr(0, segment_size));
        segment(to, from, ack);
    }
    segment(from, to, push | ack, rest, true);
}

void Pcapng::connect(Connection &connection, std::uint32_t caller, std::uint32_t callee)
{
    const auto port = static_cast<std::uint16_t>(first_port + connections_++ % ports);
    connection = {{caller, port}, {callee, service_port}, true};
    segment(connection.caller, connection.callee, syn);
    segment(connection.callee, connection.caller, syn | ack);
    segment(connection.caller, connection.callee, ack);
}

// The callee ends the connection.
void Pcapng::disconnect(Connection &connection)
{
    segment(connection.callee, connection.caller, fin | ack);
    segment(connection.caller, connection.callee, fin | ack);
    segment(connection.callee, connection.caller, ack);
    connection.open = false;
}

// Returns a message of the event as it is sent.
std::string encoded(const TracedMessage &message, const MessageType *type)
{
    if (!message.shape || (!type && !is_bytes(message.shape)))
        return {};
    return encoded(is_bytes(message.shape) ? bytes_of_message : *type, message.value);
}

const Procedure *procedure_of(const TraceEvent &event)
{
    return find_procedure(event.direction == Direction::to_host ? host_procedures()
                                                                : client_procedures(),
                          event.number);
}

// Returns the id of the call.
std::uint32_t Pcapng::call(Connection &connection, const TraceEvent &event)
{
    const std::uint32_t id = ++calls_;
    std::string message;
    // A call by version 2 of the protocol; no credentials and no verifier.
    words(message, {id, 0, 2, event.program, event.version, event.number, 0, 0, 0, 0});
    const Procedure *procedure = procedure_of(event);
    message += encoded(event.arguments, procedure ? &procedure->argument : nullptr);
    record(connection.caller, connection.callee, message, message.size());
    return id;
}

void Pcapng::reply(Connection &connection, std::uint32_t id, accept_stat status,
                   const std::string &result, bool half)
{
    std::string message;
    // An accepted call; no verifier.
    words(message, {id, 1, 0, 0, 0, static_cast<std::uint32_t>(status)});
    message += result;
    record(connection.callee, connection.caller, message, message.size() / (half ? 2 : 1));
}

void Pcapng::reply_to(const TraceEvent &event, Connection &connection, std::uint32_t id)
{
    const std::string_view outcome = event.outcome;
    const bool half = outcome == outcomes::half_reply;
    if (outcome == outcomes::answered || half) {
        const Procedure *procedure = procedure_of(event);
        reply(connection, id, SUCCESS,
              encoded(event.result, procedure ? &procedure->result : nullptr), half);
    } else if (outcome == outcomes::undecoded) {
        reply(connection, id, GARBAGE_ARGS);
    } else if (outcome == outcomes::unknown) {
        reply(connection, id, PROC_UNAVAIL);
    } else if (outcome != outcomes::no_reply && outcome != outcomes::unsent &&
               outcome != outcomes::closed) {
        reply(connection, id, SYSTEM_ERR);
    }
    if (half || outcome == outcomes::closed)
        disconnect(connection);
}

// A client replies to the calls of the host before it does anything else, but not while it waits
// for an answer itself.
void Pcapng::replies_before(const TraceEvent &event, Client &client)
{
    for (; !client.unanswered.empty() && client.unanswered.front().time < event.time;
         client.unanswered.pop_front()) {
        comment(client.unanswered.front().procedure, event);
        reply(client.callbacks, client.unanswered.front().id, SUCCESS);
    }
}

void Pcapng::comment(std::string_view procedure, const TraceEvent &event)
{
    comment_ = std::string(procedure) + " of client " + std::to_string(event.client) + " (" +
               printable(shortened(event.client_name)) + ")";
}

std::string Pcapng::event(const TraceEvent &event, const SessionText &)
{
    out_.clear();
    time_ = event.time;
    const bool is_call = event.direction == Direction::to_host;
    // The number of a client that has ended is used again.
    if (is_call && (event.number == procedure::api_vq_init_ack_5_1::number ||
                    event.number == procedure::api_vq_init_ack_4_1::number))
        clients_.erase(event.client);
    Client &client = clients_[event.client];
    const std::uint32_t address = loopback + static_cast<std::uint32_t>(event.client);
    if (is_call || !trace_failed(event))
        replies_before(event, client);
    comment(event.procedure, event);
    if (is_call) {
        if (!client.calls.open)
            connect(client.calls, address, loopback);
        const std::uint32_t id = call(client.calls, event);
        time_ += std::chrono::duration_cast<system_clock::duration>(
            event.duration.value_or(std::chrono::nanoseconds(0)));
        reply_to(event, client.calls, id);
    } else if (event.direction == Direction::to_client) {
        if (!client.callbacks.open)
            connect(client.callbacks, loopback, address);
        client.unanswered.push_back({call(client.callbacks, event), event.time, event.procedure});
    }
    return std::move(out_);
}

} // namespace

std::unique_ptr<TraceForm> make_pcapng(bool)
{
    return std::make_unique<Pcapng>();
}

} // namespace velt::host
