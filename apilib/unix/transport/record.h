// Records of the RPC record-marking standard on a socket, without blocking.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <rpc/rpc.h>
#include <sys/socket.h>
#include <utility>

namespace velt
{

// Nanoseconds of a clock that only goes forward.
using Time = std::int64_t;
constexpr Time never = INT64_MAX;
Time now();
Time after(timeval span, Time from = now());
inline Time after_seconds(std::uint32_t seconds)
{
    return now() + Time{seconds} * 1'000'000'000;
}
// Waits for one descriptor up to a time; false, with errno ETIMEDOUT, when that is over.
bool wait_until(int descriptor, short events, Time deadline);

// A block of memory that grows. Its data begin a little into it: the processors' string moves, by
// which the system copies into it, take ten times as long to a place that is just behind the place
// of the source in its page, and sources begin with a page, as large blocks of the heap do.
class Block
{
public:
    Block() = default;
    Block(Block &&other) noexcept
        : memory_(std::exchange(other.memory_, nullptr)), size_(std::exchange(other.size_, 0))
    {
    }
    Block &operator=(Block &&other) noexcept
    {
        std::swap(memory_, other.memory_);
        std::swap(size_, other.size_);
        return *this;
    }
    ~Block() { std::free(memory_); }

    char *data() const { return memory_ ? memory_ + lead : nullptr; }
    std::size_t size() const { return size_; }
    bool grow(std::size_t size)
    {
        if (size <= size_)
            return true;
        void *grown = std::realloc(memory_, lead + size);
        if (!grown)
            return false;
        memory_ = static_cast<char *>(grown);
        size_ = size;
        return true;
    }

private:
    static constexpr std::size_t lead = 112;

    char *memory_ = nullptr;
    std::size_t size_ = 0;
};

// A record that was read, with the memory that it lies in.
struct Message {
    Block block;
    std::size_t begin = 0;
    std::size_t size = 0;
    bool cut = false; // it was above the limit: no more than its first word is here

    char *bytes() const { return block.data() + begin; }
    // Its first word, which tells a call and its answer from others; 0 in one that is too short.
    std::uint32_t id() const;
    // A stream of the whole record, of which decoders may know that nothing follows.
    void open(XDR &xdrs) const;
};

// Takes bytes as they come and puts the fragments of a record together.
class RecordReader
{
public:
    enum Status { more, whole, closed, broken };

    // A record above the limit is no error: its bytes are skipped as they come.
    void skip_long_records() { skips_ = true; }

    // Reads what there is, once and once more if that filled the room; with flags of 0 waits for it
    // first, as the socket says. `closed`: the peer has ended the connection; `broken`: an error of
    // the system, or a record above the limit.
    Status read(int descriptor, int flags = MSG_DONTWAIT);
    bool has_record() const { return last_ && left_ == 0; }
    // Between two records, with nothing of the next one read.
    bool at_rest() const { return end_ == begin_; }
    // The record; what follows it stays for the next.
    Message take();
    // The memory of a record that is done with, for the next one.
    void give_back(Message record);

private:
    bool make_room();
    Status assemble();
    void close_gap();

    Block block_;           // a mark, the record's bytes so far, then what is not yet looked at
    std::size_t begin_ = 0; // of the mark
    std::size_t end_ = 0;   // of all that was read
    std::size_t scanned_ = 0;
    std::size_t size_ = 0; // of the record so far
    std::size_t left_ = 0; // of the present fragment
    bool failed_ = false;  // what followed a record that was taken is broken
    bool last_ = false;    // it is the last one
    bool skips_ = false;
    bool cut_ = false; // the record is above the limit
};

// Bytes that a peer has not taken yet.
class Outgoing
{
public:
    bool empty() const { return begin_ == end_; }
    // The number of bytes, or -1 with errno when they are too many.
    ssize_t add(const char *bytes, std::size_t size);
    // Sends what goes; false when the connection is broken.
    bool send(int descriptor);

private:
    Block block_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

// An XDR stream that encodes one record onto a socket. A long one goes out in fragments while it is
// being encoded.
class RecordWriter
{
public:
    // What the peer does not take at once goes to `queue`, or, without one, is waited for up to the
    // deadline. The memory is the caller's, to be used anew.
    RecordWriter(int descriptor, Block &chunk, Outgoing *queue, Time deadline);
    RecordWriter(const RecordWriter &) = delete;
    RecordWriter &operator=(const RecordWriter &) = delete;

    XDR *xdrs() { return &xdrs_; }
    // Sends the rest; false with errno.
    bool finish();
    // Whether some of the record is out: then it must be finished, or the connection is of no use.
    bool begun() const { return begun_; }
    // Not 0 when bytes could not be sent.
    int error() const { return error_; }

private:
    friend struct WriterOperations;
    bool may_add(std::size_t size);
    char *room(std::size_t size);
    bool put(const char *bytes, std::size_t size);
    bool flush(bool last);

    XDR xdrs_{};
    int descriptor_;
    Block &chunk_;
    Outgoing *queue_;
    Time deadline_;
    std::size_t used_;
    std::size_t sent_ = 0; // in the fragments before
    bool begun_ = false;
    int error_ = 0;
};

} // namespace velt
