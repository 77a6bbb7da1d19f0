#include "common/descriptor_buffer.h"

#include <string_view>

#include "common/output_file.h"

namespace velt
{

DescriptorBuffer::DescriptorBuffer(std::ostream &stream, int descriptor)
    : stream_(stream), before_(stream.rdbuf(this)), descriptor_(descriptor)
{
    setp(buffer_.data(), buffer_.data() + buffer_.size());
}

DescriptorBuffer::~DescriptorBuffer()
{
    sync();
    stream_.rdbuf(before_);
}

DescriptorBuffer::int_type DescriptorBuffer::overflow(int_type character)
{
    if (sync() != 0)
        return traits_type::eof();
    if (!traits_type::eq_int_type(character, traits_type::eof()))
        sputc(traits_type::to_char_type(character));
    return traits_type::not_eof(character);
}

// What cannot be written is dropped, so that it is not tried once more at the end.
int DescriptorBuffer::sync()
{
    const std::string_view text(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    setp(buffer_.data(), buffer_.data() + buffer_.size());
    return write_whole(descriptor_, text) ? 0 : -1;
}

} // namespace velt
