// Channels: opening and closing, reading and writing.

#include "velt/vde/channel.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <utility>

#include "vdelib/utils/names.h"
#include "velt/vde/failure.h"
#include "velt/vde/files.h"
#include "velt/vde/memory.h"
#include "velt/vde/strings.h"

namespace
{

struct StreamClose {
    void operator()(FILE *stream) const { fclose(stream); }
};
using Stream = std::unique_ptr<FILE, StreamClose>;

// Makes a channel that owns the stream and the name; null, with both released, when memory runs
// out.
V_ChannelT *new_channel(Stream stream, velt::OwnedName name)
{
    if (!stream || !name)
        return nullptr;
    auto *ch = static_cast<V_ChannelT *>(V_Calloc(1, sizeof(V_ChannelT), 0));
    if (ch) {
        ch->name = name.release();
        ch->fp = stream.release();
    }
    return ch;
}

// Creates a file and fails if it exists, so that no other process has it open or has put a link in
// its place.
Stream create_private(const char *platform)
{
    const int fd = open(platform, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (fd < 0)
        return nullptr;
    Stream stream(fdopen(fd, "w+"));
    if (!stream) {
        close(fd);
        unlink(platform);
    }
    return stream;
}

IntT count_of(size_t items)
{
    return static_cast<IntT>(items); // never more than requested
}

FILE *output_of(const V_ChannelT *ch)
{
    return ch ? ch->fp : stdout;
}

} // namespace

V_ChannelT *V_ChannelOpen(const V_FilePathT *path, const char *mode)
{
    const char *name = velt::name_of(path);
    if (!name || !mode)
        return nullptr;
    const velt::OwnedName platform(VdeInternalToPlatformFilename(name));
    if (!platform)
        return nullptr;
    Stream stream(fopen(platform.get(), mode));
    return stream ? new_channel(std::move(stream), velt::OwnedName(V_StrCopyString(name)))
                  : nullptr;
}

V_ChannelT *V_ChannelMakeTmp()
{
    constexpr int tries = 16; // each failed try means that somebody guessed the name
    for (int i = 0; i < tries; ++i) {
        velt::OwnedName name(VdeMakeTmpFileName());
        if (!name)
            return nullptr;
        const velt::OwnedName platform(VdeInternalToPlatformFilename(name.get()));
        if (!platform)
            return nullptr;
        if (Stream stream = create_private(platform.get())) {
            V_ChannelT *ch = new_channel(std::move(stream), std::move(name));
            if (!ch)
                unlink(platform.get());
            return ch;
        }
        if (errno != EEXIST)
            return nullptr;
    }
    return nullptr;
}

IntT VdeChannelClose(V_ChannelT **chp)
{
    if (!chp)
        VdeFail();
    if (!*chp)
        return -1;
    const IntT result = fclose((*chp)->fp);
    V_Free((*chp)->name);
    V_Free(*chp);
    *chp = nullptr;
    return result;
}

IntT VdeChannelCloseTmp(V_ChannelT **chp)
{
    if (!chp)
        VdeFail();
    // A channel without a name is not deleted: V_ChannelPath gives the working directory for it.
    if (*chp && (*chp)->name) {
        V_FilePathT *path = V_GetFilePath(*chp);
        V_DeleteFile(path);
        VdeFilePathFree(&path);
    }
    return VdeChannelClose(chp);
}

IntT V_ChannelClose(V_ChannelT *ch)
{
    return VdeChannelClose(&ch);
}

IntT V_ChannelCloseTmp(V_ChannelT *ch)
{
    return VdeChannelCloseTmp(&ch);
}

IntT V_ChannelRead(void *ptr, IntT size, IntT count, V_ChannelT *ch)
{
    if (!ch || size < 1 || count < 1)
        return 0;
    return count_of(fread(ptr, static_cast<size_t>(size), static_cast<size_t>(count), ch->fp));
}

IntT V_ChannelWrite(const void *ptr, IntT size, IntT count, V_ChannelT *ch)
{
    if (size < 1 || count < 1)
        return 0;
    return count_of(
        fwrite(ptr, static_cast<size_t>(size), static_cast<size_t>(count), output_of(ch)));
}

IntT V_ChannelSeek(V_ChannelT *ch, int64_t offset, IntT whence)
{
    return ch ? fseeko(ch->fp, offset, whence) : -1;
}

int64_t V_ChannelTell(V_ChannelT *ch)
{
    return ch ? ftello(ch->fp) : -1;
}

int64_t V_ChannelSize(V_ChannelT *ch)
{
    const int64_t here = V_ChannelTell(ch);
    if (here < 0 || V_ChannelSeek(ch, 0, SEEK_END) != 0)
        return -1;
    const int64_t size = V_ChannelTell(ch);
    return V_ChannelSeek(ch, here, SEEK_SET) == 0 ? size : -1;
}

IntT V_ChannelAppend(V_ChannelT *src, V_ChannelT *dst)
{
    if (!src || !dst)
        VdeFail();
    if (src == dst) // copying a file to its own end would never finish
        return -1;
    UCharT buffer[8192];
    while (const IntT size = V_ReadBytes(buffer, sizeof buffer, src))
        if (V_WriteBytes(buffer, size, dst) != size)
            return -1;
    return V_ChannelEof(src) != 0 ? 0 : -1;
}

IntT V_ChannelFlush(V_ChannelT *ch)
{
    return fflush(output_of(ch));
}

IntT V_ChannelEof(V_ChannelT *ch)
{
    return ch && feof(ch->fp) != 0;
}
