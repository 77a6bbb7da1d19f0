// A stream on a descriptor that may wait for a reader: an interrupt ends the wait.
#pragma once

#include <array>
#include <ostream>
#include <streambuf>

namespace velt
{

class DescriptorBuffer : public std::streambuf
{
public:
    // Takes the stream over for as long as it lives. The descriptor stays open.
    DescriptorBuffer(std::ostream &stream, int descriptor);
    DescriptorBuffer(const DescriptorBuffer &) = delete;
    DescriptorBuffer &operator=(const DescriptorBuffer &) = delete;
    ~DescriptorBuffer() override;

protected:
    int_type overflow(int_type character) override;
    int sync() override;

private:
    std::ostream &stream_;
    std::streambuf *before_;
    int descriptor_;
    std::array<char, 4096> buffer_;
};

} // namespace velt
