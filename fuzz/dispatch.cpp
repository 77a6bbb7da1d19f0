// Fuzzes a client's service, from the connection to the handlers: any bytes arrive, in any pieces.

#include <sys/socket.h>
#include <unistd.h>

#include "apilib/unix/transport/connection.h"
#include "fuzz/input.h"
#include "velt/api.h"
#include "velt/wire.h"

namespace
{

constexpr std::uint32_t program = 0x20000001;

velt::Service &service()
{
    static velt::Service &made = [&]() -> velt::Service & {
        SVCXPRT *handle =
            velt::transport_listen({[](void *, svc_req *request, SVCXPRT *connection) {
                                        vq_api_prog_1(request, connection);
                                    },
                                    nullptr, nullptr, nullptr});
        require(handle != nullptr, "a service can listen");
        auto &service = *static_cast<velt::Service *>(handle->xp_p1);
        service.program = program; // set directly, without a port mapper
        service.version = 1;
        return service;
    }();
    return made;
}

std::string words(std::initializer_list<std::uint32_t> values)
{
    std::string text;
    for (const std::uint32_t value : values)
        for (int shift = 24; shift >= 0; shift -= 8)
            text += static_cast<char>(value >> shift);
    return text;
}

// Makes a stream of calls whose arguments are any bytes, with other bytes between them.
std::string stream_of(Input input)
{
    std::string stream;
    while (!input.empty()) {
        const std::uint8_t kind = input.byte();
        const std::string_view bytes = input.take(input.byte());
        if ((kind & 0x80) == 0) {
            const std::string head = words({1, CALL, 2, program, 1, kind & 15U, 0, 0, 0, 0});
            stream += words({0x80000000 | static_cast<std::uint32_t>(head.size() + bytes.size())});
            stream += head;
        }
        stream += bytes;
    }
    return stream;
}

void serve()
{
    while (velt::transport_wait(nullptr, 0) > 0)
        velt::transport_dispatch();
}

} // namespace

// The callbacks that every client defines; the library has defaults for the others.
void V_ApiInitialize(IntT) {}
void V_ApiCommand(IntT) {}

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const velt::Service &listening = service();
    Input input(data, size);
    Cuts cuts(input);
    const std::string bytes = stream_of(input);

    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(listening.handle.xp_port);
    const int peer = socket(AF_INET, SOCK_STREAM, 0);
    require(connect(peer, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0,
            "the service can be reached");
    serve();
    std::string_view stream = bytes;
    while (!stream.empty()) {
        const std::string_view piece = cuts.next(stream);
        if (send(peer, piece.data(), piece.size(), MSG_DONTWAIT | MSG_NOSIGNAL) < 0)
            break; // the service has ended the connection
        serve();
    }
    // A linger time of 0 resets the connection, so that its port is free at once.
    const linger at_once{1, 0};
    setsockopt(peer, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    close(peer);
    serve();
    require(velt::event_sources == &listening && !listening.all.next, "the connection is released");
    return 0;
}
