// Fuzzes the record reader on a socket: it finds the records that the marks delimit, in whatever
// pieces they arrive, and none above the limit.

#include "apilib/unix/transport/record.h"

#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "fuzz/input.h"
#include "velt/api.h"

namespace
{

constexpr std::size_t limit = 64;

std::vector<std::string> records_of(std::string_view stream)
{
    std::vector<std::string> records;
    for (std::string record; stream.size() >= 4;) {
        std::size_t size = 0;
        for (const char byte : stream.substr(0, 4))
            size = size << 8 | static_cast<unsigned char>(byte);
        const bool last = (size & 0x80000000) != 0;
        size &= 0x7FFFFFFF;
        stream.remove_prefix(4);
        if (size > limit - record.size() || size > stream.size())
            break;
        record += stream.substr(0, size);
        stream.remove_prefix(size);
        if (last)
            records.push_back(std::exchange(record, {}));
    }
    return records;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using velt::RecordReader;
    V_ApiSetLimit(V_limit_record_in, limit);
    Input input(data, size);
    Cuts cuts(input);
    std::string_view stream = input.rest();
    const std::vector<std::string> expected = records_of(stream);

    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) == 0, "a pair of sockets");
    RecordReader reader;
    std::size_t count = 0;
    auto status = RecordReader::more;
    while (status == RecordReader::more || status == RecordReader::whole) {
        const std::string_view piece = cuts.next(stream);
        if (piece.empty())
            shutdown(ends[0], SHUT_WR);
        else if (send(ends[0], piece.data(), piece.size(), 0) < 0)
            break; // the input exceeds the socket's buffer
        status = reader.read(ends[1]);
        for (; reader.has_record(); count++) {
            velt::Message record = reader.take();
            require(count < expected.size() &&
                        expected[count] == std::string_view(record.bytes(), record.size),
                    "a record is what its marks delimit");
            reader.give_back(std::move(record));
        }
    }
    require(status != RecordReader::closed || count == expected.size(), "no record is lost");
    close(ends[0]);
    close(ends[1]);
    return 0;
}
