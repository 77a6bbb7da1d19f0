// Reads commands from a descriptor.
#pragma once

#include <array>
#include <streambuf>
#include <string>

#include "host/session/host.h"

namespace velt::host
{

// The buffer of an input stream; while there is nothing to be read, the host serves its clients.
class ServedInput : public std::streambuf
{
public:
    // `host` may be null. The descriptor stays open.
    ServedInput(int descriptor, std::string name, Host *host)
        : descriptor_(descriptor), name_(std::move(name)), host_(host)
    {
    }

protected:
    // Throws Error when the descriptor cannot be read.
    int_type underflow() override;

private:
    int descriptor_;
    std::string name_;
    Host *host_;
    std::array<char, 4096> buffer_;
    std::size_t line_ = 0; // bytes since the last line end
};

} // namespace velt::host
