// The conversion of a text that arrives in blocks.
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tools/vqconv/characters.h"

// Its text tells the offset, the bytes and what is wrong with them.
struct Unconvertible : std::runtime_error {
    using runtime_error::runtime_error;
};

struct StreamOptions {
    UIntT from, to;
    bool plain = false; // tabs and line ends stay as they are
    bool skip = false;  // text that cannot be converted is left out
};

// Converts the blocks of a text with the same result as the library converts the whole. Between
// blocks only an incomplete character is kept.
class Stream
{
public:
    using Sink = std::function<void(std::string_view)>;
    Stream(const StreamOptions &options, Sink sink);

    // Both throw Unconvertible, after writing everything before it, unless StreamOptions::skip is
    // set. After finish() another text may begin.
    void feed(std::string_view block);
    void finish();

    // The text that was left out.
    std::uint64_t skipped_bytes() const { return skipped_; }
    const std::string &first_skipped() const { return first_skipped_; }

private:
    void convert_pending(bool final);
    void convert_run(std::string_view state, std::string_view run, bool last_is_ascii);
    void write_verbatim(std::string_view bytes);
    bool verbatim(char byte) const;
    bool may_combine(std::string_view character) const;
    void refuse(std::string_view bytes, std::uint64_t offset, Character::Kind kind);

    StreamOptions options_;
    Sink sink_;
    Characters characters_;
    Escapes escapes_;          // of two-byte parts of the output; empty when converting Quire text
    bool to_close_ = false;    // a two-byte part of the output is open
    std::string pending_;      // input not yet converted
    std::uint64_t offset_ = 0; // the offset of `pending_` in the text
    std::uint64_t skipped_ = 0;
    std::string first_skipped_;
};
