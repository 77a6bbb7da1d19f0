#include "host/script/input.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "common/words.h"

namespace velt::host
{

namespace
{

constexpr std::size_t longest_line = 1 << 20;

} // namespace

ServedInput::int_type ServedInput::underflow()
{
    const auto readable = [this](int limit) {
        pollfd input{descriptor_, POLLIN, 0};
        return poll(&input, 1, limit) > 0;
    };
    for (;;) {
        if (host_)
            host_->serve_until([&] { return readable(0); }, no_limit);
        else
            while (!readable(interrupt_interval))
                if (interrupts.signal)
                    throw Interrupted();
        const ssize_t got = read(descriptor_, buffer_.data(), buffer_.size());
        if (got > 0) {
            setg(buffer_.data(), buffer_.data(), buffer_.data() + got);
            // The limit keeps a line without end from filling the memory.
            const auto end = std::string_view(gptr(), egptr()).rfind('\n');
            line_ = end == std::string_view::npos ? line_ + static_cast<std::size_t>(got)
                                                  : static_cast<std::size_t>(got) - end - 1;
            if (line_ > longest_line)
                throw Error(misused, name_ + ": a line is longer than 1 MiB");
        }
        if (got >= 0)
            return got > 0 ? traits_type::to_int_type(*gptr()) : traits_type::eof();
        if (errno != EINTR && errno != EAGAIN)
            throw Error(misused,
                        name_ + ": cannot be read: " + std::generic_category().message(errno));
    }
}

} // namespace velt::host
