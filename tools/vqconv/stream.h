// The conversion of a text that comes in blocks.
#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tools/vqconv/characters.h"

// Tells the offset, the bytes and what is wrong with them.
struct Unconvertible : std::runtime_error {
    using runtime_error::runtime_error;
};

struct StreamOptions {
    UIntT from, to;
    bool plain = false; // tabs and line ends stay as they are
    bool skip = false;  // what cannot be converted is left out
};

// Makes of the blocks of a text what the library makes of the whole. No more is kept than the
// character that a block ends inside of.
class Stream
{
public:
    using Sink = std::function<void(std::string_view)>;
    Stream(const StreamOptions &options, Sink sink);

    // Both throw Unconvertible, after all before was written, unless such is left out. The end of a
    // text is the beginning of another.
    void feed(std::string_view block);
    void finish();

    // What was left out.
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
    Escapes escapes_;          // around the output's two-byte parts; Quire text makes none
    bool to_close_ = false;    // such a part, unless it goes on
    std::string pending_;      // input not yet converted
    std::uint64_t offset_ = 0; // of that
    std::uint64_t skipped_ = 0;
    std::string first_skipped_;
};
