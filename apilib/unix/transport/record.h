// Records of the RPC record-marking standard on a socket, without blocking.
#pragma once

#include <rpc/rpc.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace velt
{

// Nanoseconds of the monotonic clock.
using Time = std::int64_t;
constexpr Time never = INT64_MAX;
Time now();
Time after(timeval span, Time from = now());
inline Time after_seconds(std::uint32_t seconds)
{
    return now() + Time{seconds} * 1'000'000'000;
}
// Polls one descriptor until the deadline; false, with errno ETIMEDOUT, when that has passed.
bool wait_until(int descriptor, short events, Time deadline);

// A growing block of memory. Its data begin `lead` bytes into it. The kernel copies with string
// moves, which are ten times slower when the destination lies just behind the source modulo the
// page size; large blocks of the heap, which sources mostly are, begin near the start of a page.
class Block
{
public:
    Block() = default;
    Block(Block &&other) noexcept : memory_(std::exchange(other.memory_, {})) {}
    Block &operator=(Block &&other) noexcept
    {
        swap(other.memory_);
        return *this;
    }
    ~Block() { std::free(memory_.begin); }

    // What it holds, for variables that are not to be destroyed when the process ends.
    struct Memory {
        char *begin = nullptr;
        std::size_t size = 0;
    };
    void swap(Memory &other) { std::swap(memory_, other); }

    char *data() const { return memory_.begin ? memory_.begin + lead : nullptr; }
    std::size_t size() const { return memory_.size; }
    bool grow(std::size_t size)
    {
        if (size <= memory_.size)
            return true;
        void *grown = std::realloc(memory_.begin, lead + size);
        if (!grown)
            return false;
        memory_ = {static_cast<char *>(grown), size};
        return true;
    }

private:
    static constexpr std::size_t lead = 112;

    Memory memory_;
};

// The content of a record that has been read, with the memory that holds it.
struct Message {
    Block block;
    std::size_t begin = 0;
    std::size_t size = 0;
    bool cut = false; // the record was above the limit, and only its first word was kept

    char *bytes() const { return block.data() + begin; }
    // Its first word, the RPC transaction id; 0 when the message is too short.
    std::uint32_t id() const;
    // Makes an XDR stream of the message.
    void open(XDR &xdrs) const;
};

// Reads a byte stream and assembles records from their fragments.
class RecordReader
{
public:
    enum Status { more, whole, closed, broken };

    // From now on a record above the limit is no error: its bytes are read and discarded.
    void skip_long_records() { skips_ = true; }

    // Reads what has arrived, at most twice. With flags of 0 the first read waits up to the
    // socket's own time limit. `closed`: the peer has ended the connection; `broken`: an error of
    // the system, or a record above the limit.
    Status read(int descriptor, int flags = MSG_DONTWAIT);
    // Returns why no more records can be read, although the peer may send more: EMSGSIZE after one
    // above the limit, ENOMEM, or 0.
    int error() const { return error_; }
    bool has_record() const { return last_ && left_ == 0; }
    // Returns whether the reader is between two records, with nothing of the next one read.
    bool at_rest() const { return end_ == begin_; }
    // Removes the complete record; bytes read after it stay and are assembled next.
    Message take();
    // Reuses the memory of a record that is no longer needed.
    void give_back(Message record);

private:
    bool make_room();
    Status fail(int error);
    Status assemble();
    void close_gap();

    Block block_;             // a mark, the record's bytes so far, then bytes not yet parsed
    std::size_t begin_ = 0;   // where the mark is
    std::size_t end_ = 0;     // where the bytes read end
    std::size_t scanned_ = 0; // where the bytes not yet parsed begin
    std::size_t size_ = 0;    // bytes of the record so far
    std::size_t left_ = 0;    // bytes of the present fragment still to come
    int error_ = 0;           // which take() may find in the bytes after the record
    bool last_ = false;       // the present fragment is the record's last
    bool skips_ = false;      // skip_long_records() was called
    bool cut_ = false;        // the record is above the limit
};

// Bytes to be sent that the socket had no room for yet.
class SendBuffer
{
public:
    bool empty() const { return begin_ == end_; }
    // Returns the number of bytes, or -1 with errno when the buffer would exceed its limit.
    ssize_t add(const char *bytes, std::size_t size);
    // Sends as much as the socket accepts; false when the connection is broken.
    bool send(int descriptor);

private:
    Block block_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

// An XDR stream that encodes one record onto a socket. Fragments of a long record are sent while
// the rest is being encoded.
class RecordWriter
{
public:
    // Bytes that the socket has no room for are appended to `queue`; without a queue the writer
    // waits for room until the deadline. `chunk` is the caller's, so that its memory can be reused.
    RecordWriter(int descriptor, Block &chunk, SendBuffer *queue, Time deadline);
    RecordWriter(const RecordWriter &) = delete;
    RecordWriter &operator=(const RecordWriter &) = delete;

    XDR *xdrs() { return &xdrs_; }
    // Sends the last fragment; false with errno.
    bool finish();
    // Returns whether some of the record has been sent. It must then be finished, or the connection
    // cannot be used any more.
    bool begun() const { return begun_; }
    // Not 0 when bytes could not be sent.
    int error() const { return error_; }

private:
    friend struct WriterOperations;
    bool may_add(std::size_t size);
    char *room(std::size_t size);
    std::size_t used() const;
    void begin_chunk();
    bool put(const char *bytes, std::size_t size);
    bool flush(bool last);

    XDR xdrs_{};
    int descriptor_;
    Block &chunk_;
    SendBuffer *queue_;
    Time deadline_;
    std::size_t sent_ = 0; // bytes in earlier fragments
    bool begun_ = false;
    int error_ = 0;
};

} // namespace velt
