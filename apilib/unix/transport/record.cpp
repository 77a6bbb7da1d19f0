#include "apilib/unix/transport/record.h"

#include <arpa/inet.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>

#include "apilib/unix/transport/limits.h"
#include "apilib/wire/streams.h"
#include "velt/api.h"

namespace velt
{
namespace
{

constexpr std::size_t mark_size = 4;
constexpr std::uint32_t last_fragment = 0x80000000;

constexpr std::size_t first_size = 8192;
// The largest block that a connection keeps for the next record. Larger ones are kept by the
// process, so that a host does not keep the longest record of each of its clients.
constexpr std::size_t kept_size = 2 << 20;
constexpr std::size_t spare_size = 16 << 20;
// Long records are sent in chunks, so that the first bytes travel while the rest is encoded. A
// chunk with its mark fits into one segment of the loopback device; its size is no whole number of
// pages, for the reason given at Block.
constexpr std::size_t chunk_size = 63 << 10;

void put_mark(char *to, std::size_t size, bool last)
{
    const std::uint32_t mark = htonl(static_cast<std::uint32_t>(size) | (last ? last_fragment : 0));
    std::memcpy(to, &mark, mark_size);
}

bool would_block()
{
    return errno == EAGAIN || errno == EWOULDBLOCK;
}

// One is read into while the other is sent from.
std::array<Block::Memory, 2> spares;

// Grows a block, of which `used` bytes are in use. Memory that is fresh from the system costs more
// than the bytes that are copied into it.
bool grow(Block &block, std::size_t used, std::size_t size)
{
    const auto spare = std::ranges::find_if(
        spares, [&](const Block::Memory &each) { return size > kept_size && each.size >= size; });
    if (spare == spares.end())
        return block.grow(size);
    Block grown;
    grown.swap(*spare);
    if (used != 0)
        std::memcpy(grown.data(), block.data(), used);
    block = std::move(grown);
    return true;
}

// Keeps a block that is in nobody's use, if it is larger than what is kept.
void keep(Block block)
{
    Block::Memory &spare = *std::ranges::min_element(spares, {}, &Block::Memory::size);
    if (block.size() > spare.size && block.size() <= spare_size)
        block.swap(spare);
}

} // namespace

Time now()
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return Time{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

Time after(timeval span, Time from)
{
    constexpr Time most = never / 2'000'000'000;
    return from + std::clamp<Time>(span.tv_sec, 0, most) * 1'000'000'000 +
           std::max<Time>(span.tv_usec, 0) * 1000;
}

bool wait_until(int descriptor, short events, Time deadline)
{
    for (;;) {
        const Time left = deadline - now();
        // The time is rounded up, so that poll() does not return early.
        const Time time = left > 0 ? std::min<Time>((left + 999'999) / 1'000'000, INT_MAX) : 0;
        pollfd wait = {descriptor, events, 0};
        const int ready = poll(&wait, 1, static_cast<int>(time));
        if (ready > 0)
            return true;
        if (ready < 0 && errno != EINTR)
            return false;
        if (left <= 0) {
            errno = ETIMEDOUT;
            return false;
        }
    }
}

std::uint32_t Message::id() const
{
    std::uint32_t word = 0;
    if (size >= sizeof word)
        std::memcpy(&word, bytes(), sizeof word);
    return ntohl(word);
}

void Message::open(XDR &xdrs) const
{
    open_whole_record(xdrs, bytes(), size);
}

// The block grows with the bytes received, never by the length that a mark announces.
bool RecordReader::make_room()
{
    if (end_ < block_.size())
        return true;
    if (begin_ == 0)
        return grow(block_, end_, std::max(first_size, 2 * end_));
    std::memmove(block_.data(), block_.data() + begin_, end_ - begin_);
    scanned_ -= begin_;
    end_ -= begin_;
    begin_ = 0;
    return true;
}

RecordReader::Status RecordReader::read(int descriptor, int flags)
{
    for (int reads = 0;; reads++) {
        if (error_ || !make_room())
            return fail(error_ ? error_ : ENOMEM);
        const std::size_t most = block_.size() - end_;
        const ssize_t got = recv(descriptor, block_.data() + end_, most, flags);
        if (got == 0)
            return closed;
        if (got < 0)
            return would_block() || errno == EINTR ? more : broken;
        end_ += static_cast<std::size_t>(got);
        const Status status = assemble();
        // Even if more bytes may be there, two reads end the turn, so that other connections get
        // theirs.
        if (status != more || static_cast<std::size_t>(got) < most || reads == 1)
            return status;
        flags = MSG_DONTWAIT;
    }
}

RecordReader::Status RecordReader::fail(int error)
{
    error_ = errno = error;
    return broken;
}

RecordReader::Status RecordReader::assemble()
{
    char *data = block_.data();
    while (!has_record()) {
        if (left_ == 0) {
            if (end_ - scanned_ < mark_size) {
                close_gap();
                return more;
            }
            std::uint32_t mark;
            std::memcpy(&mark, data + scanned_, mark_size);
            mark = ntohl(mark);
            const std::size_t length = mark & ~last_fragment;
            if (length > limits.record_in || size_ > limits.record_in - length) {
                if (!skips_)
                    return fail(EMSGSIZE);
                cut_ = true;
            }
            scanned_ += mark_size;
            left_ = length;
            last_ = (mark & last_fragment) != 0;
            continue;
        }
        const std::size_t take = std::min(left_, end_ - scanned_);
        if (take == 0) {
            close_gap();
            return more;
        }
        const std::size_t to = begin_ + mark_size + size_;
        // Only the first word of a record above the limit is kept: it is the transaction id.
        const std::size_t kept =
            cut_ ? std::min(take, sizeof(std::uint32_t) - std::min(size_, sizeof(std::uint32_t)))
                 : take;
        if (scanned_ != to)
            std::memmove(data + to, data + scanned_, kept);
        scanned_ += take;
        size_ += kept;
        left_ -= take;
    }
    return whole;
}

// Removes the gap that the marks of earlier fragments, even empty ones, leave before the bytes not
// yet parsed.
void RecordReader::close_gap()
{
    // Before the first mark of a record has been parsed, there is nothing to keep.
    const std::size_t to = begin_ + (size_ == 0 && left_ == 0 ? 0 : mark_size + size_);
    std::memmove(block_.data() + to, block_.data() + scanned_, end_ - scanned_);
    end_ -= scanned_ - to;
    scanned_ = to;
}

// Copies the smaller of the record and the bytes after it, so that removing many short records from
// one block takes linear time.
Message RecordReader::take()
{
    Message record;
    record.cut = std::exchange(cut_, false);
    const std::size_t rest = end_ - scanned_;
    if (size_ < rest) {
        if (!record.block.grow(std::max<std::size_t>(size_, 1)))
            fail(ENOMEM);
        else
            std::memcpy(record.bytes(), block_.data() + begin_ + mark_size, size_);
        record.size = error_ ? 0 : size_;
        begin_ = scanned_;
    } else {
        record.block = std::move(block_);
        record.begin = begin_ + mark_size;
        record.size = size_;
        if (rest != 0 && !block_.grow(std::max(first_size, rest)))
            fail(ENOMEM);
        end_ = error_ ? 0 : rest;
        if (end_ != 0)
            std::memcpy(block_.data(), record.block.data() + scanned_, rest);
        begin_ = 0;
    }
    scanned_ = begin_;
    size_ = 0;
    last_ = false;
    if (end_ != begin_ && !error_)
        assemble();
    return record;
}

void RecordReader::give_back(Message record)
{
    if (record.block.size() > kept_size)
        keep(std::move(record.block));
    else if (!block_.data())
        block_ = std::move(record.block);
}

ssize_t SendBuffer::add(const char *bytes, std::size_t size)
{
    // The bytes already sent are removed when they are at least as many as have to be moved.
    if (begin_ != 0 && begin_ >= end_ - begin_) {
        std::memmove(block_.data(), block_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    const std::size_t end = end_ + size;
    if (end > limits.record_out ||
        (end > block_.size() && !grow(block_, end_, std::max(2 * block_.size(), end)))) {
        errno = end > limits.record_out ? ENOBUFS : ENOMEM;
        return -1;
    }
    std::memcpy(block_.data() + end_, bytes, size);
    end_ = end;
    return static_cast<ssize_t>(size);
}

bool SendBuffer::send(int descriptor)
{
    while (!empty()) {
        const ssize_t sent =
            ::send(descriptor, block_.data() + begin_, end_ - begin_, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno != EINTR)
            return would_block();
        begin_ += static_cast<std::size_t>(std::max<ssize_t>(sent, 0));
    }
    begin_ = end_ = 0;
    if (block_.size() > kept_size)
        keep(std::move(block_));
    return true;
}

// The operations of the stream, as the RPC library's routines call them.
struct WriterOperations {
    static RecordWriter &writer(XDR *xdrs) { return *static_cast<RecordWriter *>(xdrs->x_private); }

    static bool_t getlong(XDR *, long *) { return FALSE; }
    static bool_t putlong(XDR *xdrs, const long *value)
    {
        char *to = writer(xdrs).room(4);
        if (!to)
            return FALSE;
        put_word(to, static_cast<std::uint32_t>(*value));
        return TRUE;
    }
    static bool_t getbytes(XDR *, char *, u_int) { return FALSE; }
    static bool_t putbytes(XDR *xdrs, const char *bytes, u_int size)
    {
        return writer(xdrs).put(bytes, size);
    }
    static u_int getpostn(XDR *xdrs)
    {
        return static_cast<u_int>(writer(xdrs).sent_ + writer(xdrs).used());
    }
    static bool_t setpostn(XDR *, u_int) { return FALSE; }
    static int32_t *in_line(XDR *xdrs, u_int size)
    {
        // Words must be aligned, so after an odd number of bytes the caller encodes them one by
        // one.
        RecordWriter &to = writer(xdrs);
        return size <= chunk_size && to.used() % 4 == 0 ? reinterpret_cast<int32_t *>(to.room(size))
                                                        : nullptr;
    }
    static void destroy(XDR *) {}
    static bool_t control(XDR *, int, void *) { return FALSE; }
};

constexpr XDR::xdr_ops record_writer_operations = {
    WriterOperations::getlong,  WriterOperations::putlong,  WriterOperations::getbytes,
    WriterOperations::putbytes, WriterOperations::getpostn, WriterOperations::setpostn,
    WriterOperations::in_line,  WriterOperations::destroy,  WriterOperations::control};

RecordWriter::RecordWriter(int descriptor, Block &chunk, SendBuffer *queue, Time deadline)
    : descriptor_(descriptor), chunk_(chunk), queue_(queue), deadline_(deadline)
{
    xdrs_.x_op = XDR_ENCODE;
    xdrs_.x_ops = &record_writer_operations;
    xdrs_.x_private = this;
    if (chunk_.grow(mark_size + chunk_size))
        begin_chunk();
    else
        error_ = ENOMEM;
}

std::size_t RecordWriter::used() const
{
    return xdrs_.x_base ? static_cast<std::size_t>(xdrs_.x_base - chunk_.data()) - mark_size : 0;
}

void RecordWriter::begin_chunk()
{
    xdrs_.x_base = chunk_.data() + mark_size;
    xdrs_.x_handy = static_cast<u_int>(std::min<std::size_t>(
        chunk_size, limits.record_out - std::min<std::size_t>(limits.record_out, sent_)));
}

// Checks the limit before any of these bytes is sent.
bool RecordWriter::may_add(std::size_t size)
{
    const std::size_t limit = limits.record_out;
    if (!error_ && (size > limit || sent_ + used() > limit - size))
        error_ = EMSGSIZE;
    return error_ == 0;
}

char *RecordWriter::room(std::size_t size)
{
    if (char *at = place(&xdrs_, size))
        return at;
    return may_add(size) && flush(false) ? place(&xdrs_, size) : nullptr;
}

bool RecordWriter::put(const char *bytes, std::size_t size)
{
    if (!may_add(size))
        return false;
    while (size > 0) {
        if (xdrs_.x_handy == 0 && !flush(false))
            return false;
        const std::size_t part = std::min<std::size_t>(size, xdrs_.x_handy);
        std::memcpy(place(&xdrs_, part), bytes, part);
        bytes += part;
        size -= part;
    }
    return true;
}

// Sends the content of the chunk as one fragment.
bool RecordWriter::flush(bool last)
{
    put_mark(chunk_.data(), used(), last);
    const char *from = chunk_.data();
    std::size_t left = mark_size + used();
    sent_ += used();
    begin_chunk();
    while (left > 0) {
        ssize_t sent = -1;
        if (!queue_ || queue_->empty())
            sent = send(descriptor_, from, left, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (queue_ && (!queue_->empty() || (sent < 0 && would_block())))
            sent = queue_->add(from, left);
        if (sent >= 0) {
            begun_ = true;
            from += sent;
            left -= static_cast<std::size_t>(sent);
        } else if (would_block() ? !wait_until(descriptor_, POLLOUT, deadline_) : errno != EINTR) {
            error_ = errno;
            return false;
        }
    }
    return true;
}

bool RecordWriter::finish()
{
    if (error_ || !flush(true)) {
        errno = error_;
        return false;
    }
    return true;
}

} // namespace velt
