#include "bench/foreign.h"

#include <stdexcept>

#ifdef VELT_SIMDUTF
#include <simdutf.h>
#endif

namespace velt::bench
{

std::string Foreign::checked(std::string_view text)
{
    const std::string_view *converted = convert(text);
    if (!converted)
        throw std::runtime_error("the text cannot be converted");
    return std::string(*converted);
}

Iconv::Iconv(const std::string &from, const std::string &to, std::size_t most)
    : Foreign("iconv", most), descriptor_(iconv_open(to.c_str(), from.c_str()), iconv_close)
{
    if (descriptor_.get() == reinterpret_cast<iconv_t>(-1)) {
        static_cast<void>(descriptor_.release());
        throw std::runtime_error("iconv does not convert " + from + " to " + to);
    }
}

const std::string_view *Iconv::convert(std::string_view text)
{
    iconv(descriptor_.get(), nullptr, nullptr, nullptr, nullptr);
    char *in = const_cast<char *>(text.data());
    std::size_t left = text.size();
    char *out = buffer_.data();
    std::size_t room = buffer_.size();
    const bool done = iconv(descriptor_.get(), &in, &left, &out, &room) == 0 &&
                      iconv(descriptor_.get(), nullptr, nullptr, &out, &room) == 0;
    return done ? result(out) : nullptr;
}

Icu::Icu(const std::string &from, const std::string &to, std::size_t most)
    : Foreign("ICU", most), from_(open(from)), to_(open(to)), pivot_(4096)
{
}

Icu::Converter Icu::open(const std::string &name)
{
    UErrorCode error = U_ZERO_ERROR;
    Converter converter(ucnv_open(name.c_str(), &error), ucnv_close);
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                        &error);
    ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                          &error);
    if (U_FAILURE(error))
        throw std::runtime_error("ICU has no converter " + name);
    return converter;
}

const std::string_view *Icu::convert(std::string_view text)
{
    UErrorCode error = U_ZERO_ERROR;
    const char *in = text.data();
    char *out = buffer_.data();
    UChar *pivot_begin = pivot_.data();
    UChar *pivot_end = pivot_.data();
    ucnv_convertEx(to_.get(), from_.get(), &out, out + buffer_.size(), &in, in + text.size(),
                   pivot_.data(), &pivot_begin, &pivot_end, pivot_.data() + pivot_.size(), true,
                   true, &error);
    return U_SUCCESS(error) ? result(out) : nullptr;
}

#ifdef VELT_SIMDUTF

namespace
{

class Simdutf : public Foreign
{
public:
    explicit Simdutf(std::size_t most) : Foreign("simdutf", most) {}

    const std::string_view *convert(std::string_view text) override
    {
        // Each byte becomes one or two.
        if (text.size() > buffer_.size() / 2)
            return nullptr;
        char *out = buffer_.data();
        return result(out + simdutf::convert_latin1_to_utf8(text.data(), text.size(), out));
    }
};

} // namespace

std::unique_ptr<Foreign> simdutf(std::size_t most)
{
    return std::make_unique<Simdutf>(most);
}

#else

std::unique_ptr<Foreign> simdutf(std::size_t)
{
    return nullptr;
}

#endif

} // namespace velt::bench
