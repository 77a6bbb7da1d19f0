// Traces as packets and as trace events: each is read whole by a reader of its own, and has all
// that the session had.

#include <nlohmann/json.hpp>

#include "host/trace/forms.h"
#include "host/trace/trace.h"
#include "hosted_clients.h"

namespace velt::host
{
namespace
{

const SessionText session(0);

template <class T>
T big(std::string_view bytes, std::size_t at)
{
    T value = 0;
    for (const char each : bytes.substr(at, sizeof value))
        value = static_cast<T>(value << 8 | static_cast<unsigned char>(each));
    return value;
}

UIntT little(std::string_view bytes, std::size_t at)
{
    return __builtin_bswap32(big<UIntT>(bytes, at));
}

// The sum of 16-bit numbers is 0xFFFF when the checksum among them is right.
UIntT checked(std::string bytes)
{
    UIntT sum = 0;
    bytes.resize((bytes.size() + 1) / 2 * 2);
    for (std::size_t i = 0; i < bytes.size(); i += 2)
        sum += big<std::uint16_t>(bytes, i);
    return (sum & 0xFFFF) + (sum >> 16);
}

struct Rpc {
    UIntT id;
    bool is_reply;
    std::string bytes;   // behind the header
    UIntT program, last; // of the header: the procedure, or the status
};

// What one end of a connection has sent.
struct Stream {
    UIntT next = 0; // sequence number
    std::string data;
    bool ended = false;
};
using Streams = std::map<std::string, Stream>; // by addresses and ports of both ends

// Walks all blocks of the file, and puts the segments together.
Streams streams_of(std::string_view file)
{
    Streams streams;
    std::size_t at = 0;
    for (; at + 12 <= file.size(); at += little(file, at + 4)) {
        const UIntT length = little(file, at + 4);
        EXPECT_EQ(length % 4, 0U);
        if (length < 12 || length > file.size() - at || little(file, at + length - 4) != length) {
            ADD_FAILURE() << "a damaged block at " << at;
            break;
        }
        if (little(file, at) != 6) {
            EXPECT_EQ(little(file, at), at == 0 ? 0x0A0D0D0A : 1U);
            continue;
        }
        const UIntT size = little(file, at + 20);
        const std::string ip(file.substr(at + 28, size)), tcp = ip.substr(20);
        EXPECT_EQ(big<std::uint16_t>(ip, 2), size);
        EXPECT_EQ(checked(ip.substr(0, 20)), 0xFFFFU);
        std::string summed = ip.substr(12, 8) + std::string("\0\6\0\0", 4) + tcp;
        summed[10] = static_cast<char>(tcp.size() >> 8);
        summed[11] = static_cast<char>(tcp.size());
        EXPECT_EQ(checked(summed), 0xFFFFU);
        const std::string from = ip.substr(12, 4) + tcp.substr(0, 2),
                          to = ip.substr(16, 4) + tcp.substr(2, 2);
        Stream &stream = streams[from + to];
        EXPECT_EQ(big<UIntT>(tcp, 4), stream.next);
        const int flags = tcp[13];
        EXPECT_TRUE((flags & 16) == 0 || big<UIntT>(tcp, 8) == streams[to + from].next);
        stream.data += tcp.substr(20);
        stream.next += static_cast<UIntT>(tcp.size() - 20) + (flags & 3 ? 1 : 0);
        stream.ended |= flags & 1;
    }
    EXPECT_EQ(at, file.size());
    return streams;
}

// Takes the records of all streams apart; of the last one of a stream that has ended, a part is
// there.
std::vector<Rpc> messages_of(const Streams &streams)
{
    std::vector<Rpc> messages;
    for (const auto &[ends, stream] : streams)
        for (std::size_t at = 0; at < stream.data.size();) {
            const std::size_t size = big<UIntT>(stream.data, at) & 0x7FFFFFFF;
            const std::string record = stream.data.substr(at + 4, size);
            EXPECT_TRUE(record.size() == size || stream.ended);
            at += 4 + record.size();
            const bool is_reply = big<UIntT>(record, 4) != 0;
            EXPECT_TRUE(is_reply || big<UIntT>(record, 8) == 2U);
            // Half a reply ends in its header.
            const UIntT last = record.size() < 24 ? 99 : big<UIntT>(record, 20);
            messages.push_back({big<UIntT>(record, 0), is_reply,
                                record.substr(std::min(record.size(), is_reply ? 24UL : 40UL)),
                                big<UIntT>(record, 12), last});
        }
    std::ranges::sort(messages, {},
                      [](const Rpc &each) { return std::pair(each.id, each.is_reply); });
    return messages;
}

// Returns the slices of one client as [begin, end), those that are under way without an end, and
// fails unless they are nested.
std::multimap<std::string, std::pair<double, double>> slices_of(const nlohmann::json &events,
                                                                int client)
{
    std::multimap<std::string, std::pair<double, double>> slices;
    std::vector<std::pair<std::string, double>> open;
    for (const auto &each : events) {
        if (each["pid"] != client)
            continue;
        const std::string phase = each["ph"];
        const std::string name = each["name"];
        if (phase == "B") {
            open.emplace_back(name, each["ts"]);
        } else if (phase == "E") {
            EXPECT_EQ(open.back().first, name);
            slices.insert({name, {open.back().second, each["ts"]}});
            open.pop_back();
        } else if (phase == "X") {
            const double begin = each["ts"], duration = each["dur"];
            slices.insert({name, {begin, begin + duration}});
        }
    }
    for (const auto &[name, begin] : open)
        slices.insert({name, {begin, 1e300}});
    for (const auto &[name, one] : slices)
        for (const auto &[other_name, other] : slices)
            EXPECT_FALSE(one.first < other.first && other.first < one.second &&
                         one.second < other.second)
                << name << " and " << other_name;
    return slices;
}

TEST_F(HostedClients, OtherFormsHaveTheWholeSession)
{
    const auto packets = trace_format("pcapng").make(false),
               slices = trace_format("perfetto").make(false);
    std::string file = packets->begin(), line = slices->begin();
    std::vector<std::string> sent; // as JSON
    host.options().trace = [&](const TraceEvent &event) {
        file += packets->event(event, session);
        line += slices->event(event, session);
        if (event.direction != Direction::from_client)
            sent.push_back(trace_json(event, session));
    };
    responder.on<procedure::api_vq_modal_dialog_1>(
        [](Client &, const ApiVqDoDialogArgT &, IntT &answer) { answer = 0; });
    Client &client = start("modal");
    EXPECT_EQ(host.command(client, 1).kind, Outcome::modal);
    EXPECT_TRUE(host.dialog_event(client, 5, 2, 0));
    EXPECT_TRUE(host.end_dialog(client, 2, 7));
    host.notify(client, 1, 2, "\"\n\x8E", 3);
    EXPECT_TRUE(host.quit(client));
    host.options().trace = nullptr;

    const std::vector<Rpc> messages = messages_of(streams_of(file));
    ASSERT_EQ(messages.size(), 2 * sent.size());
    for (std::size_t i = 0; i < messages.size(); i++) {
        const Rpc &call = messages[i / 2 * 2];
        const auto event = nlohmann::json::parse(sent[i / 2]);
        const bool to_host = event["direction"] == "to-host";
        EXPECT_EQ(call.last, event["number"]);
        EXPECT_EQ(call.program == client.program, !to_host);
        const Procedure *procedure =
            find_procedure(to_host ? host_procedures() : client_procedures(), call.last);
        ASSERT_TRUE(procedure);
        EXPECT_EQ(messages[i].is_reply, i % 2 == 1);
        const MessageType &type = i % 2 == 1 ? procedure->result : procedure->argument;
        std::string bytes = messages[i].bytes;
        Message message(type);
        XDR xdrs;
        xdrmem_create(&xdrs, bytes.data(), static_cast<UIntT>(bytes.size()), XDR_DECODE);
        ASSERT_TRUE(type.code(&xdrs, message.address()));
        EXPECT_EQ(xdr_getpos(&xdrs), bytes.size());
        JsonWriter out(JsonWriter::one_line);
        out.begin('{');
        write_message(out, "m", {type.shape, message.address()}, session);
        out.end('}');
        EXPECT_EQ(nlohmann::json::parse(out.take())["m"],
                  event[i % 2 == 1 ? "result" : "arguments"]);
    }

    EXPECT_EQ(nlohmann::json::parse(line + "]"), nlohmann::json::parse(line + slices->end()))
        << "it is readable without its end";
    const auto events = nlohmann::json::parse(line + "]");
    EXPECT_EQ(events[0]["args"]["name"], "tester");
    const auto all = slices_of(events, 3);
    EXPECT_EQ(all.size(), sent.size());
    const auto outer = all.find("vq_api_command_1")->second;
    for (const char *inner : {"api_vq_modal_dialog_1", "vq_api_dialog_event_1"})
        EXPECT_TRUE(all.find(inner)->second.first > outer.first &&
                    all.find(inner)->second.second < outer.second)
            << inner;
    EXPECT_GT(all.find("vq_api_quit_1")->second.first, outer.second);
}

TEST(TraceForms, CallsThatDoNotEndWellAreInThem)
{
    using enum Direction;
    using callback::vq_api_command_1;
    using procedure::api_vq_alert_1;
    const auto packets = trace_format("pcapng").make(false),
               slices = trace_format("perfetto").make(false);
    std::string file = packets->begin(), line = slices->begin();
    const auto now = std::chrono::system_clock::now();
    std::string text(100'000, 'x');
    ApiVqAlertArgT alert = {text.data(), 1};
    IntT answer = 3;
    VqApiCommandArgT command = {4};
    const auto traced = [&](std::chrono::milliseconds begin, Direction direction,
                            std::chrono::milliseconds duration, std::string_view outcome,
                            bool client_waits = false) {
        const bool is_call = direction == to_host;
        TraceEvent event{.time = now + begin,
                         .client = 1,
                         .client_name = "tester",
                         .direction = direction,
                         .program = is_call ? 8U : 9U,
                         .version = 1,
                         .procedure = is_call ? api_vq_alert_1::name : vq_api_command_1::name,
                         .number = is_call ? api_vq_alert_1::number : vq_api_command_1::number,
                         .depth = 0};
        if (is_call) {
            event.arguments = {&shape_of<ApiVqAlertArgT>, &alert};
            event.result = {&shape_of<IntT>, &answer};
        } else if (direction == to_client) {
            event.arguments = {&shape_of<VqApiCommandArgT>, &command};
        }
        event.outcome = outcome;
        event.duration = duration;
        event.client_waits = client_waits;
        file += packets->event(event, session);
        line += slices->event(event, session);
    };
    traced(100ms, to_host, 10ms, outcomes::answered);
    // This one is sent while the client waits for the answer to its next call.
    traced(125ms, to_client, 0ms, "", true);
    traced(120ms, to_host, 10ms, "failed: out of memory");
    traced(140ms, to_host, 1ms, outcomes::no_reply);
    traced(160ms, from_client, 35ms, outcomes::handed_back);
    traced(170ms, to_host, 1ms, outcomes::undecoded);
    traced(180ms, to_client, 0ms, "");
    traced(190ms, to_host, 1ms, outcomes::half_reply);
    traced(195ms, to_host, 1ms, outcomes::closed);

    const Streams streams = streams_of(file);
    EXPECT_EQ(streams.size(), 6U) << "the second connection has ended, the third follows";
    std::string statuses;
    for (const Rpc &each : messages_of(streams))
        statuses += each.is_reply ? " " + std::to_string(each.last) : ",";
    EXPECT_EQ(statuses, ", 0, 0, 5,, 4, 0, 99,");

    const auto all = slices_of(nlohmann::json::parse(line + "]"), 1);
    EXPECT_EQ(all.size(), 8U);
    const auto turn = all.find("vq_api_command_1")->second;
    EXPECT_NEAR(turn.second - turn.first, 30'000, 1) << "the turn began when the answer was there";
}

TEST(TraceForms, AreInTheManual)
{
    std::ifstream file(MANUAL);
    const std::string manual(std::istreambuf_iterator<char>(file), {});
    for (const TraceFormat &each : trace_formats())
        EXPECT_NE(manual.find(".It Cm " + std::string(each.name) + "\n"), manual.npos) << each.name;
}

} // namespace
} // namespace velt::host
