// vqconv: converts text from one of the library's encodings to another.

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <system_error>
#include <vector>

#include "common/file.h"
#include "common/program.h"
#include "common/replace_file.h"
#include "tools/vqconv/encodings.h"
#include "tools/vqconv/stream.h"

using namespace velt;

namespace
{

namespace fs = std::filesystem;

constexpr Program program = {"vqconv", R"(usage: vqconv [OPTIONS] FROM TO [FILE...]
       vqconv [OPTIONS] -f FROM -t TO [FILE...]
       vqconv -l

Converts text from one encoding to another: the files one after the other, or the
standard input, which - stands for too. Encodings go by their names or numbers.

  -f, --from-code FROM  the encoding of the text
  -t, --to-code TO      the encoding to convert to
  -l, --list            show the encodings, their names, and what they convert to
  -o, --output FILE     write to FILE, which is replaced when all is converted
  -c                    leave out what cannot be converted
  -p, --plain           keep tabs and line ends as they are; else they are those of
                        the encodings, of which some have the host's
  --vqhome DIRECTORY    where unicode/ has the tables of the East Asian encodings
                        (VQHOME, else beside the program)
  --markdown            show what -l shows, and more, as tables of the manual
  --help                show this text
  --version             show the version

Exit status: 0 all went well, 1 something cannot be converted, read or written, 2 wrong
usage.
)"};

struct Options {
    std::string from, to, output, vqhome;
    bool plain = false, skip = false, list = false, markdown = false;
    std::vector<std::string> files;
};

Options parse(int argc, char **argv)
{
    Options options;
    options.files = parse_options(
        program, argc, argv,
        {Option::into('f', "from-code", options.from), Option::into('t', "to-code", options.to),
         Option::into('o', "output", options.output), Option::into(0, "vqhome", options.vqhome),
         Option::flag('l', "list", options.list), Option::flag('c', nullptr, options.skip),
         Option::flag('p', "plain", options.plain), Option::flag(0, "markdown", options.markdown)});
    for (std::string *encoding : {&options.from, &options.to}) {
        if (encoding->empty() && !options.files.empty()) {
            *encoding = options.files.front();
            options.files.erase(options.files.begin());
        }
    }
    return options;
}

[[noreturn]] void fail(const std::string &path)
{
    throw std::system_error(errno, std::generic_category(), path);
}

// The output. commit() replaces the file; until then the old one stays.
class Output
{
public:
    explicit Output(const std::string &path)
    {
        if (!path.empty())
            file_.emplace(path, velt::NewFile::Others::written);
    }

    void write(std::string_view bytes)
    {
        if (file_)
            file_->write(bytes);
        else if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size())
            fail("standard output");
    }

    void flush()
    {
        if (!file_ && std::fflush(stdout) != 0)
            fail("standard output");
    }

    void commit()
    {
        flush();
        if (file_)
            file_->commit();
    }

private:
    std::optional<velt::NewFile> file_;
};

// Shows the progress of a long conversion on a terminal.
class Progress
{
public:
    Progress() = default;
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    ~Progress()
    {
        if (shown_)
            std::cerr << "\r\033[K";
    }

    void begin(const std::string &path)
    {
        std::error_code unknown;
        name_ = path;
        done_ = 0;
        size_ = fs::is_regular_file(path, unknown) ? fs::file_size(path, unknown) : 0;
    }

    void add(std::size_t bytes)
    {
        done_ += bytes;
        const auto now = std::chrono::steady_clock::now();
        if (!terminal_ || done_ < much || now < next_)
            return;
        next_ = now + std::chrono::milliseconds(200);
        std::cerr << '\r' << name_ << ": " << done_ / megabyte << " MB";
        if (size_ >= done_)
            std::cerr << " of " << size_ / megabyte << ", " << 100 * done_ / size_ << '%';
        std::cerr << "\033[K" << std::flush;
        shown_ = true;
    }

private:
    static constexpr std::uintmax_t megabyte = 1000000;
    static constexpr std::uintmax_t much = 16 * megabyte;

    bool terminal_ = isatty(STDERR_FILENO) != 0;
    bool shown_ = false;
    std::string name_;
    std::uintmax_t done_ = 0, size_ = 0;
    std::chrono::steady_clock::time_point next_{};
};

void convert_file(const std::string &path, Stream &stream, Progress &progress)
{
    const bool standard = path == "-";
    const std::string name = standard ? "standard input" : path;
    const File opened = standard ? nullptr : open_file(path, "rb");
    std::FILE *const file = standard ? stdin : opened.get();
    std::vector<char> block(1 << 16);
    progress.begin(name);
    try {
        // Reads as much as is available, so that text from a pipe is converted without waiting for
        // a whole block.
        ssize_t count;
        while ((count = read(fileno(file), block.data(), block.size())) != 0) {
            if (count < 0 && errno == EINTR)
                continue;
            if (count < 0)
                fail(name);
            stream.feed({block.data(), static_cast<std::size_t>(count)});
            progress.add(static_cast<std::size_t>(count));
        }
        stream.finish();
    } catch (const Unconvertible &error) {
        throw std::runtime_error(name + ": " + error.what() +
                                 "; -c leaves out what cannot be converted");
    }
}

UIntT encoding(const std::string &word)
{
    const auto id = encoding_of(word);
    if (!id)
        misuse(word.empty() ? "give the encodings to convert from and to"
                            : "there is no encoding '" + word + "'; -l lists them");
    return *id;
}

void run(Options options)
{
    if (options.list)
        return show(encoding_list());
    if (options.markdown)
        return show(encoding_markdown(options.vqhome));
    const StreamOptions what{.from = encoding(options.from),
                             .to = encoding(options.to),
                             .plain = options.plain,
                             .skip = options.skip};
    if (!converts(what.from, what.to))
        misuse(encoding_title(what.from) + " does not convert to " + encoding_title(what.to) +
               "; -l lists what does");
    if (takes_table(what.from, what.to))
        load_tables(options.vqhome, what.from);
    if (options.files.empty())
        options.files.emplace_back("-");

    Output output(options.output);
    Stream stream(what, [&output](std::string_view bytes) { output.write(bytes); });
    try {
        Progress progress;
        for (const std::string &path : options.files)
            convert_file(path, stream, progress);
    } catch (...) {
        output.flush();
        throw;
    }
    output.commit();
    if (stream.skipped_bytes() > 0)
        std::cerr << "vqconv: " << stream.skipped_bytes() << " bytes left out, first "
                  << stream.first_skipped() << '\n';
}

} // namespace

int main(int argc, char **argv)
{
    return run_program(program, [=] {
        run(parse(argc, argv));
        return done;
    });
}
