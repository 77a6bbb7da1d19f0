// Finding and loading a string resource file.

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "vdelib/unix_sr/srfile.h"
#include "velt/vde/paths.h"
#include "velt/vde/resources.h"
#include "velt/vde/strings.h"

using velt::SrBlock;
using velt::SrIndex;

namespace
{

// The pool of strings, each with its terminator. The first byte is an empty string, the others
// follow.
class Pool
{
public:
    bool start() { return resize(8192); } // zero-filled

    // Returns a place for any string, behind which a reader may write; null when memory runs out.
    char *place()
    {
        constexpr UIntT most = velt::sr_text_size + velt::SrReader::spare;
        if (capacity_ - used_ < most && !resize(2 * capacity_))
            return nullptr;
        return reinterpret_cast<char *>(bytes_.get()) + used_;
    }
    // Keeps the string at the place and returns its offset.
    UIntT keep(IntT length)
    {
        const UIntT offset = used_;
        used_ += static_cast<UIntT>(length) + 1;
        return offset;
    }
    bool shrink() { return resize(used_); }
    UCharT *release() { return bytes_.release(); }

private:
    bool resize(UIntT size)
    {
        void *bytes = V_Realloc(bytes_.get(), size, 0);
        if (!bytes)
            return false;
        static_cast<void>(bytes_.release());
        bytes_.reset(static_cast<UCharT *>(bytes));
        capacity_ = size;
        return true;
    }

    SrBlock<UCharT[]> bytes_;
    UIntT used_ = 1;
    UIntT capacity_ = 0;
};

// Why the last V_SrInit failed; empty when it succeeded.
char reason[1200];

__attribute__((format(printf, 1, 2))) IntT refuse(const char *format, ...)
{
    va_list parts;
    va_start(parts, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): clang-tidy 14 does not see va_start
    vsnprintf(reason, sizeof reason, format, parts);
    va_end(parts);
    return -1;
}

using Path = char[1024];

int by_offset(const void *a, const void *b)
{
    const UIntT one = (*static_cast<VdeSrIndexT *const *>(a))->offset;
    const UIntT other = (*static_cast<VdeSrIndexT *const *>(b))->offset;
    return (one > other) - (one < other);
}

// The entries of an index in the order of the file.
class InFileOrder
{
public:
    // False when memory runs out.
    bool sort(const SrIndex &index)
    {
        entries = index.begin();
        if (std::ranges::is_sorted(index, {}, &VdeSrIndexT::offset))
            return true;
        const auto count = static_cast<size_t>(index.count);
        sorted.reset(static_cast<VdeSrIndexT **>(
            V_Alloc(static_cast<UIntT>(count * sizeof(VdeSrIndexT *)), 0)));
        if (!sorted)
            return false;
        for (size_t i = 0; i < count; ++i)
            sorted[i] = entries + i;
        qsort(sorted.get(), count, sizeof(VdeSrIndexT *), by_offset);
        return true;
    }
    VdeSrIndexT &operator[](size_t i) const { return sorted ? *sorted[i] : entries[i]; }

private:
    VdeSrIndexT *entries = nullptr;
    SrBlock<VdeSrIndexT *[]> sorted;
};

// Tables that others have replaced. They are not released, because the client may still hold their
// strings; they can be reached from here, so that nobody takes them for lost memory.
struct Replaced {
    Replaced *before;
    VdeSrIndexT *index;
    UCharT *pool;
};
[[gnu::used]] Replaced *replaced;

IntT load(FILE *stream, const Path &path)
{
    constexpr const char *no_memory = "%s: not enough memory";
    struct stat status {
    };
    if (fstat(fileno(stream), &status) != 0 || !S_ISREG(status.st_mode))
        return refuse("%s: it is not a plain file", path);
    setvbuf(stream, nullptr, _IONBF, 0); // the reader has a buffer of its own
    velt::SrReader reader(stream);
    SrIndex index;
    if (const char *fault = reader.read_index(index))
        return refuse("%s: %s", path, fault);
    // The strings are read in the order of the file, and one with several ids is read once.
    InFileOrder sorted;
    Pool pool;
    if (!sorted.sort(index) || !pool.start())
        return refuse(no_memory, path);

    uint64_t most = velt::sr_most(static_cast<uint64_t>(status.st_size));
    UIntT before = 0, pooled = 0;
    for (size_t i = 0; i < static_cast<size_t>(index.count); ++i) {
        VdeSrIndexT &entry = sorted[i];
        if (i == 0 || entry.offset != before) {
            before = entry.offset;
            char *const text = pool.place();
            if (!text)
                return refuse(no_memory, path);
            IntT length = 0;
            reader.read_text(before, text, length, most);
            if (most == 0)
                return refuse("%s: string %d and others overlap", path, int{entry.id});
            pooled = pool.keep(length);
        }
        entry.offset = pooled;
    }
    if (!pool.shrink())
        return refuse(no_memory, path);
    if (VdeInstance->srPool) {
        auto *const earlier = static_cast<Replaced *>(V_Alloc(sizeof(Replaced), 0));
        if (!earlier)
            return refuse(no_memory, path);
        *earlier = {replaced, VdeInstance->srIndex, VdeInstance->srPool};
        replaced = earlier;
    }
    VdeInstance->srIndex = index.entries.release();
    VdeInstance->srCount = index.count;
    VdeInstance->srPool = pool.release();
    return 0;
}

__attribute__((format(printf, 2, 3))) FILE *open_path(Path &path, const char *format, ...)
{
    va_list parts;
    va_start(parts, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): clang-tidy 14 does not see va_start
    const int length = vsnprintf(path, sizeof path, format, parts);
    va_end(parts);
    if (length < 0 || length >= int{sizeof path})
        return nullptr;
    // O_NONBLOCK: opening a pipe that no process writes to must not block.
    const int file = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    FILE *stream = file < 0 ? nullptr : fdopen(file, "rb");
    if (!stream && errno != ENOENT && errno != ENOTDIR)
        refuse("%s: %s", path, strerror(errno));
    if (!stream && file >= 0)
        close(file);
    return stream;
}

FILE *open_file(Path &path, const char *name, const char *language)
{
    if (FILE *stream = open_path(path, "%s.sre", name))
        return stream;

    const char *slash = V_StrRChr(name, '/');
    const char *base = slash ? slash + 1 : nullptr;
    for (const char *variable : {"HOME", "VQHOME"}) {
        const char *directory = getenv(variable);
        for (const char *file : {name, base}) {
            if (!directory || !file)
                continue;
            if (FILE *stream = open_path(path, "%s/vqinit/%s/APIArea/resources/%s.sre", directory,
                                         language ? language : "", file))
                return stream;
        }
    }
    return nullptr;
}

const char *value_of(const char *variable)
{
    const char *value = getenv(variable);
    return value ? value : "not set";
}

} // namespace

IntT V_SrInit(const char *name, const char *language)
{
    reason[0] = '\0';
    const SrBlock<char> platform_name(VdeInternalToPlatformFilename(name));
    if (!platform_name)
        return refuse("the name of the string resource file cannot be converted");
    if (!VdeInstance)
        VdeInstanceInit();
    Path path;
    FILE *stream = open_file(path, platform_name.get(), language);
    if (!stream && reason[0] != '\0')
        return -1;
    if (!stream && !(language && *language))
        return refuse(
            "there is no %s.sre, and no language is known whose resources could be looked for",
            platform_name.get());
    if (!stream)
        return refuse("there is no %s.sre, nor vqinit/%s/APIArea/resources/%s.sre below HOME (%s) "
                      "or VQHOME (%s)",
                      platform_name.get(), language, platform_name.get(), value_of("HOME"),
                      value_of("VQHOME"));
    reason[0] = '\0'; // an earlier candidate may have been unreadable
    const IntT result = load(stream, path);
    fclose(stream);

    const StringT copy =
        V_StrCopyString(language); // `language` may point to the copy that is replaced
    V_Free(VdeInstance->language);
    VdeInstance->language = copy;
    return result;
}

const char *VdeSrError()
{
    return reason;
}
