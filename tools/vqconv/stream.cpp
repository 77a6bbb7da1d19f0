#include "tools/vqconv/stream.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "tools/vqconv/encodings.h"
#include "velt/vde/encodings.h"

namespace
{

bool is_ascii(char byte)
{
    return static_cast<unsigned char>(byte) < 0x80;
}

} // namespace

Stream::Stream(const StreamOptions &options, Sink sink)
    : options_(options), sink_(std::move(sink)), characters_(options.from, options.to),
      escapes_(options.from != options.to && options.from != VdeEncQuire ? escapes_of(options.to)
                                                                         : Escapes{})
{
}

void Stream::feed(std::string_view block)
{
    pending_ += block;
    convert_pending(false);
}

void Stream::finish()
{
    convert_pending(true);
    write_verbatim("");
    characters_.reset();
    offset_ = 0;
}

void Stream::convert_pending(bool final)
{
    const std::string_view text = pending_;
    std::size_t start = 0; // where the run to be converted begins
    std::size_t at = 0;
    std::size_t last = 0; // where the character before `at` begins
    std::string_view state = characters_.state();
    const auto convert = [&](std::size_t next) {
        if (at > start)
            convert_run(state, text.substr(start, at - start), is_ascii(text[last]));
        state = characters_.state();
        start = next;
    };
    // Characters that may need the next block do not count as known.
    constexpr std::size_t longest = 4;
    const std::string_view certain = text.substr(0, text.size() - std::min(text.size(), longest));
    while (at < text.size()) {
        if (at < certain.size()) {
            const auto known =
                characters_.known(certain.substr(at), [this](char byte) { return verbatim(byte); });
            if (known.size > 0) {
                last = at + known.last;
                at += known.size;
                continue;
            }
        }
        const Character character = characters_.next(text.substr(at));
        const std::string_view bytes = text.substr(at, character.size);
        const std::size_t next = at + character.size;
        if (!final && (character.kind == Character::cut ||
                       (may_combine(bytes) && next + bytes.size() > text.size())))
            break;
        const bool whole = character.kind == Character::good || character.kind == Character::lost;
        if (whole && character.size == 1 && verbatim(bytes[0])) {
            convert(next);
            write_verbatim(bytes);
        } else if (character.kind != Character::good && character.kind != Character::shift) {
            convert(next);
            refuse(bytes, offset_ + at, character.kind);
        }
        last = at;
        at = next;
    }
    convert(at);
    offset_ += at;
    pending_.erase(0, at);
}

// A two-byte part that ends the output of one run and begins that of the next is joined.
void Stream::convert_run(std::string_view state, std::string_view run, bool last_is_ascii)
{
    const std::string converted = characters_.convert(state, run);
    std::string_view out = converted;
    if (!escapes_.open.empty()) {
        if (to_close_ && !is_ascii(run[0]))
            out.remove_prefix(escapes_.open.size());
        else
            write_verbatim("");
        to_close_ = !last_is_ascii;
        if (to_close_)
            out.remove_suffix(escapes_.close.size());
    }
    sink_(out);
}

void Stream::write_verbatim(std::string_view bytes)
{
    if (to_close_)
        sink_(escapes_.close);
    to_close_ = false;
    sink_(bytes);
}

bool Stream::verbatim(char byte) const
{
    const bool line_or_tab = byte == '\t' || byte == '\n' || byte == '\r';
    return byte == '\0' || (options_.plain && line_or_tab);
}

// Half-width katakana combine with a mark that follows.
bool Stream::may_combine(std::string_view character) const
{
    const char last = character.back();
    if (options_.to != VdeEncJis || is_ascii(last) || last == '\xDE' || last == '\xDF')
        return false;
    return (options_.from == VdeEncShiftJis && character.size() == 1) ||
           (options_.from == VdeEncJapaneseEuc && character[0] == '\x8E');
}

void Stream::refuse(std::string_view bytes, std::uint64_t offset, Character::Kind kind)
{
    std::string text = "byte " + std::to_string(offset) + ":";
    for (const char byte : bytes) {
        char hex[8];
        std::snprintf(hex, sizeof hex, " %02X", static_cast<unsigned char>(byte));
        text += hex;
    }
    if (kind == Character::cut)
        text += ": the text ends inside a character";
    else if (kind == Character::malformed)
        text += ": no character of " + encoding_title(options_.from);
    else
        text += ": no equivalent in " + encoding_title(options_.to);
    if (!options_.skip) {
        write_verbatim("");
        throw Unconvertible(text);
    }
    if (skipped_ == 0)
        first_skipped_ = text;
    skipped_ += bytes.size();
}
