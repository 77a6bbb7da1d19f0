// Converters of other libraries: the C library's iconv, ICU's, and simdutf's where it is installed.
// Each opens its descriptors and allocates its buffers once.
#pragma once

#include <iconv.h>

#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <unicode/ucnv.h>

namespace velt::bench
{

class Foreign
{
public:
    virtual ~Foreign() = default;
    // Returns the converted text, valid until the next call; null when a character has no
    // equivalent or the result exceeds the buffer.
    virtual const std::string_view *convert(std::string_view text) = 0;

    std::string checked(std::string_view text);
    const char *name() const { return name_; } // of the library

protected:
    Foreign(const char *name, std::size_t most) : buffer_(most), name_(name) {}

    const std::string_view *result(const char *end)
    {
        result_ = {buffer_.data(), static_cast<std::size_t>(end - buffer_.data())};
        return &result_;
    }

    std::vector<char> buffer_;

private:
    const char *name_;
    std::string_view result_;
};

class Iconv : public Foreign
{
public:
    Iconv(const std::string &from, const std::string &to, std::size_t most);
    const std::string_view *convert(std::string_view text) override;

private:
    std::unique_ptr<std::remove_pointer_t<iconv_t>, decltype(&iconv_close)> descriptor_;
};

class Icu : public Foreign
{
public:
    Icu(const std::string &from, const std::string &to, std::size_t most);
    const std::string_view *convert(std::string_view text) override;

private:
    using Converter = std::unique_ptr<UConverter, decltype(&ucnv_close)>;
    static Converter open(const std::string &name);

    Converter from_, to_;
    std::vector<UChar> pivot_;
};

// From Latin-1 to UTF-8; null where simdutf was not installed when this was built.
std::unique_ptr<Foreign> simdutf(std::size_t most);

} // namespace velt::bench
