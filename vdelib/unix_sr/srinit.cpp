// Finding and loading a string resource file.

#include "srfile.h"

#include "velt/vde/paths.h"
#include "velt/vde/resources.h"
#include "velt/vde/strings.h"

#include <stddef.h>
#include <stdlib.h>
#include <string.h>

using velt::SrBlock;
using velt::SrIndex;

namespace
{

constexpr UIntT header_words = 6;
constexpr VdeDrfEntryT drf_header[] = {
    {VdeDrfNumbers32, 0, 1, 0, nullptr},  {VdeDrfNumbers32, 4, 1, 0, nullptr},
    {VdeDrfNumbers32, 8, 1, 0, nullptr},  {VdeDrfNumbers32, 12, 1, 0, nullptr},
    {VdeDrfNumbers32, 16, 1, 0, nullptr}, {VdeDrfNumbers32, 20, 1, 0, nullptr},
    {VdeDrfEnd, 0, 0, 0, nullptr},
};
constexpr VdeDrfEntryT drf_srindex[] = {
    {VdeDrfNumbers16, offsetof(VdeSrIndexT, id), 1, 0, nullptr},
    {VdeDrfNumbers32, offsetof(VdeSrIndexT, offset), 1, 0, nullptr},
    {VdeDrfEnd, 0, 0, 0, nullptr},
};

// The strings one after another, each with its terminator, from the second byte on: the first is an
// empty string.
class Pool
{
public:
    static constexpr UIntT step = 8192;
    static_assert(velt::sr_text_size <= step, "one step holds any string");

    bool add(const char *text, UIntT &offset)
    {
        const UIntT length = static_cast<UIntT>(V_StrLen(text));
        if (used_ + length >= capacity_ && !resize(capacity_ + step))
            return false;
        memcpy(bytes_.get() + used_, text, length + 1);
        offset = used_;
        used_ += length + 1;
        return true;
    }
    bool start() { return resize(step); } // all of it zero
    bool shrink() { return resize(used_); }
    UCharT *release() { return bytes_.release(); }

private:
    bool resize(UIntT size)
    {
        void *bytes = V_Realloc(bytes_.get(), size, 0);
        if (bytes == nullptr)
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

IntT load(FILE *stream)
{
    SrIndex index;
    Pool pool;
    if (velt::sr_read_index(stream, index) != nullptr || !pool.start())
        return -1;
    for (VdeSrIndexT &entry : index) {
        char text[velt::sr_text_size];
        velt::sr_read_text(stream, entry.offset, text);
        if (!pool.add(text, entry.offset))
            return -1;
    }
    if (!pool.shrink())
        return -1;
    // The table before, if any, is left to whoever may still hold its strings.
    VdeInstance->srIndex = index.entries.release();
    VdeInstance->srCount = index.count;
    VdeInstance->srPool = pool.release();
    return 0;
}

__attribute__((format(printf, 1, 2))) FILE *open_path(const char *format, ...)
{
    char path[1024];
    va_list parts;
    va_start(parts, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): clang-tidy 14 does not see va_start
    const int length = vsnprintf(path, sizeof path, format, parts);
    va_end(parts);
    return length >= 0 && length < int{sizeof path} ? fopen(path, "rbe") : nullptr;
}

FILE *open_file(const char *name, const char *language)
{
    if (FILE *stream = open_path("%s.sre", name))
        return stream;

    const char *slash = V_StrRChr(name, '/');
    const char *base = slash != nullptr ? slash + 1 : nullptr;
    for (const char *variable : {"HOME", "VQHOME"}) {
        const char *directory = getenv(variable);
        for (const char *file : {name, base}) {
            if (directory == nullptr || file == nullptr)
                continue;
            if (FILE *stream = open_path("%s/vqinit/%s/APIArea/resources/%s.sre", directory,
                                         language != nullptr ? language : "", file))
                return stream;
        }
    }
    return nullptr;
}

} // namespace

const char *velt::sr_read_index(FILE *stream, SrIndex &index)
{
    UIntT header[header_words];
    if (Vde_drf_read(stream, drf_header, header) != 0)
        return "the file ends inside its header";
    const UIntT count = header[header_words - 1];
    if (count > INT16_MAX)
        return "the header tells of more than 32767 strings";

    index.entries.reset(static_cast<VdeSrIndexT *>(V_Calloc(count, sizeof(VdeSrIndexT), 0)));
    index.count = static_cast<IntT>(count);
    if (index.entries == nullptr)
        return "not enough memory for its index";

    const VdeDrfEntryT drf_offsetarray[] = {
        {VdeDrfNested, 0, static_cast<int16_t>(count), sizeof(VdeSrIndexT), drf_srindex},
        {VdeDrfEnd, 0, 0, 0, nullptr},
    };
    if (Vde_drf_read(stream, drf_offsetarray, index.entries.get()) != 0)
        return "the file ends inside its index";
    return nullptr;
}

IntT velt::sr_read_text(FILE *stream, UIntT offset, char (&text)[sr_text_size])
{
    text[0] = '\0';
    if (fseeko(stream, static_cast<off_t>(offset), SEEK_SET) != 0)
        return -1;
    return VdeUiScanLabel(stream, 0, '\n', sr_text_size, text);
}

IntT V_SrInit(const char *name, const char *language)
{
    const SrBlock<char> platform_name(VdeInternalToPlatformFilename(name));
    if (platform_name == nullptr)
        return -1;
    if (VdeInstance == nullptr)
        VdeInstanceInit();
    FILE *stream = open_file(platform_name.get(), language);
    if (stream == nullptr)
        return -1;
    const IntT result = load(stream);
    fclose(stream);

    const StringT copy = V_StrCopyString(language); // it may be the very copy that is replaced
    V_Free(VdeInstance->language);
    VdeInstance->language = copy;
    return result;
}
