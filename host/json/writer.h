// Writes JSON as the parts come, indented by two blanks for each level. It builds no tree of
// values, whose release would need memory.
#pragma once

#include <string>
#include <string_view>
#include <type_traits>

#include <nlohmann/json.hpp>

namespace velt::host
{

class JsonWriter
{
public:
    void begin(char bracket)
    {
        separate();
        out_ += bracket;
        depth_++;
        empty_ = true;
    }
    void end(char bracket)
    {
        depth_--;
        if (!empty_)
            new_line();
        empty_ = false;
        out_ += bracket;
    }
    void key(std::string_view name)
    {
        separate();
        quote(name);
        out_ += ": ";
        after_key_ = true;
    }
    void null()
    {
        separate();
        out_ += "null";
    }
    void text(std::string_view text)
    {
        separate();
        quote(text);
    }
    template <class T>
    void number(T number)
    {
        static_assert(std::is_integral_v<T>);
        separate();
        out_ += std::to_string(number);
    }
    void text(std::string_view name, std::string_view value)
    {
        key(name);
        text(value);
    }

    std::string take() { return std::move(out_) + "\n"; }

private:
    void separate()
    {
        if (!after_key_ && depth_ > 0) {
            if (!empty_)
                out_ += ',';
            new_line();
        }
        after_key_ = empty_ = false;
    }
    void new_line() { out_.append(1, '\n').append(2 * depth_, ' '); }
    void quote(std::string_view text) { out_ += nlohmann::json(text).dump(); }

    std::string out_;
    std::size_t depth_ = 0;
    bool empty_ = true, after_key_ = false;
};

} // namespace velt::host
