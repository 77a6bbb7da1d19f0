// Writes JSON as the parts come, on one line, or indented by two blanks for each level. It builds
// no tree of values, whose release would need memory.
#pragma once

#include <string>
#include <string_view>

#include "host/json/values.h"

namespace velt::host
{

class JsonWriter final : public JsonOut
{
public:
    enum Layout { lines, one_line };

    explicit JsonWriter(Layout layout = lines) : layout_(layout) {}

    void begin(char bracket) override
    {
        separate();
        out_ += bracket;
        depth_++;
        empty_ = true;
    }
    void end(char bracket) override
    {
        depth_--;
        if (!empty_)
            new_line();
        empty_ = false;
        out_ += bracket;
    }
    void key(std::string_view name) override
    {
        separate();
        quote(name);
        out_ += layout_ == lines ? ": " : ":";
        after_key_ = true;
    }
    void null() override
    {
        separate();
        out_ += "null";
    }
    void text(std::string_view text) override
    {
        separate();
        quote(text);
    }
    void number(std::int64_t number) override
    {
        separate();
        out_ += std::to_string(number);
    }
    void empty_list()
    {
        separate();
        out_ += "[]";
    }
    void real(double number);
    // Writes a time, of which no more is kept than microseconds.
    void seconds(std::string_view name, double time);
    void text(std::string_view name, std::string_view value)
    {
        key(name);
        text(value);
    }
    void number(std::string_view name, std::int64_t value)
    {
        key(name);
        number(value);
    }

    std::string take()
    {
        if (layout_ == lines)
            out_ += '\n';
        return std::move(out_);
    }

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
    void new_line()
    {
        if (layout_ == lines)
            out_.append(1, '\n').append(2 * depth_, ' ');
    }
    void quote(std::string_view text);

    Layout layout_;
    std::string out_;
    std::size_t depth_ = 0;
    bool empty_ = true, after_key_ = false;
};

} // namespace velt::host
