#include "host/program/prompt.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>

#include "common/interrupts.h"

namespace velt::host
{
namespace
{

constexpr int remembered_lines = 1000;
constexpr int signal_interval = 100; // milliseconds
constexpr IntT no_answer = 0;

std::wstring wide(const std::string &utf8)
{
    const std::u32string characters = from_utf8(utf8);
    return {characters.begin(), characters.end()};
}

std::string narrow(std::wstring_view characters)
{
    std::string utf8;
    for (const wchar_t c : characters)
        utf8 += to_utf8(static_cast<char32_t>(c));
    return utf8;
}

// Returns the path of the history file; empty when the history is not kept.
std::filesystem::path history_file()
{
    const auto folder = [](const char *variable) -> std::filesystem::path {
        const char *value = std::getenv(variable);
        return value && *value == '/' ? value : "";
    };
    std::filesystem::path state = folder("XDG_STATE_HOME");
    if (state.empty() && !folder("HOME").empty())
        state = folder("HOME") / ".local" / "state";
    return state.empty() ? state : state / "velt" / "vqhost-history";
}

// The history: the lines of this run and of earlier ones.
class History
{
public:
    History() : lines_(history_winit(), history_wend), file_(history_file())
    {
        if (!lines_)
            throw std::bad_alloc();
        history_w(lines_.get(), &event_, H_SETSIZE, remembered_lines);
        history_w(lines_.get(), &event_, H_SETUNIQUE, 1);
        // A path that is not a plain file is left alone.
        std::error_code none;
        if (std::filesystem::exists(file_, none) && !std::filesystem::is_regular_file(file_, none))
            file_.clear();
        if (!file_.empty())
            history_w(lines_.get(), &event_, H_LOAD, file_.c_str());
    }
    History(const History &) = delete;
    History &operator=(const History &) = delete;
    // Saves the history; it is lost when it has no file or cannot be saved there.
    ~History()
    {
        std::error_code error;
        if (file_.empty())
            return;
        if (std::filesystem::create_directories(file_.parent_path(), error))
            std::filesystem::permissions(file_.parent_path(), std::filesystem::perms::owner_all,
                                         error);
        history_w(lines_.get(), &event_, H_SAVE, file_.c_str());
    }

    HistoryW *get() { return lines_.get(); }
    void add(const std::wstring &line) { history_w(lines_.get(), &event_, H_ENTER, line.c_str()); }

private:
    std::unique_ptr<HistoryW, void (*)(HistoryW *)> lines_;
    std::filesystem::path file_;
    HistEventW event_{};
};

// Returns one line as the terminal gives it, or nothing at the end of the input or when a signal
// comes.
std::optional<std::string> plain_line()
{
    std::string line;
    // The wait is short, because a signal that comes just before it does not interrupt it.
    while (interrupts.signal == 0) {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        if (poll(&input, 1, signal_interval) <= 0)
            continue;
        char c = 0;
        const ssize_t got = read(STDIN_FILENO, &c, 1);
        if (got == 1 && c == '\n')
            return line;
        if (got == 1)
            line += c;
        else if (got == 0 || errno != EINTR)
            return {};
    }
    return {};
}

std::wstring common_beginning(const std::vector<std::wstring> &lines)
{
    std::wstring common = lines.front();
    for (const std::wstring &line : lines)
        common.resize(
            static_cast<std::size_t>(std::ranges::mismatch(common, line).in1 - common.begin()));
    return common;
}

} // namespace

wchar_t *Prompt::text(EditLine *)
{
    static wchar_t prompt[] = L"vqhost> ";
    return prompt;
}

// No exception may pass through the line editor, which calls these functions.

int Prompt::next_character(EditLine *editor, wchar_t *character)
{
    Prompt *prompt = nullptr;
    el_wget(editor, EL_CLIENTDATA, &prompt);
    try {
        return prompt->read_character(*character);
    } catch (const std::exception &) {
        return -1;
    }
}

unsigned char Prompt::complete(EditLine *editor, int)
{
    Prompt *prompt = nullptr;
    el_wget(editor, EL_CLIENTDATA, &prompt);
    try {
        return prompt->complete();
    } catch (const std::exception &) {
        return CC_ERROR;
    }
}

// Returns false when a signal has come before any input.
bool Prompt::wait_for_input()
{
    const auto readable = [](int limit) {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        return poll(&input, 1, limit) > 0;
    };
    while (interrupts.signal == 0) {
        try {
            if (host_ ? host_->serve_until([&] { return readable(0); }, no_limit)
                      : readable(signal_interval))
                return true;
        } catch (const std::exception &error) {
            if (interrupts.signal == 0)
                std::cerr << printable_lines(error.what()) << std::endl;
        }
    }
    return false;
}

int Prompt::read_character(wchar_t &character)
{
    std::mbstate_t state{};
    while (wait_for_input()) {
        char byte = 0;
        const ssize_t got = read(STDIN_FILENO, &byte, 1);
        if (got == 0 || (got < 0 && errno != EINTR && errno != EAGAIN))
            return got == 0 ? 0 : -1;
        if (got < 0)
            continue;
        constexpr auto invalid = static_cast<std::size_t>(-1);
        std::size_t used = std::mbrtowc(&character, &byte, 1, &state);
        if (used == invalid) {
            // An invalid sequence is left out; this byte may begin the next character.
            state = {};
            used = std::mbrtowc(&character, &byte, 1, &state);
        }
        if (used <= 1)
            return 1;
        if (used == invalid)
            state = {};
    }
    return -1;
}

unsigned char Prompt::complete()
{
    const LineInfoW *line = el_wline(editor_);
    const std::wstring before(line->buffer, line->cursor);
    std::vector<std::wstring> found;
    for (const std::string &each : commands_->completions(narrow(before)))
        found.push_back(wide(each));
    if (found.empty())
        return CC_REFRESH_BEEP;
    std::wstring rest = common_beginning(found).substr(before.size());
    if (found.size() == 1)
        rest += L' ';
    if (!rest.empty())
        return el_winsertstr(editor_, rest.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
    std::cout << "\n";
    for (const std::wstring &each : found)
        std::cout << narrow(each) << "\n";
    std::cout << std::flush;
    return CC_REDISPLAY;
}

// Returns nothing at the end of the input or when a signal comes.
std::optional<std::string> Prompt::read_line()
{
    editing_ = true;
    int length = 0;
    const wchar_t *line = el_wgets(editor_, &length);
    editing_ = false;
    if (!line || length <= 0 || interrupts.signal != 0)
        return {};
    std::wstring text(line, static_cast<std::size_t>(length));
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r'))
        text.pop_back();
    return narrow(text);
}

bool Prompt::may_end()
{
    std::vector<std::string> changed;
    if (commands_->unsaved())
        changed.emplace_back("book");
    for (const std::string &name : commands_->unsaved_documents())
        changed.push_back("document " + name);
    if (warned_ || changed.empty())
        return true;
    for (const std::string &what : changed)
        std::cerr << "The " << what << " has changed: save it, or quit again to lose the changes."
                  << std::endl;
    warned_ = true;
    return false;
}

void Prompt::run(Commands &commands, Host *host)
{
    commands_ = &commands;
    host_ = host;
    // The locale gives the encoding of the terminal, which is taken for UTF-8 without a locale.
    std::setlocale(LC_CTYPE, "");
    if (MB_CUR_MAX == 1)
        std::setlocale(LC_CTYPE, "C.UTF-8");
    const std::unique_ptr<EditLine, void (*)(EditLine *)> editor(
        el_init("vqhost", stdin, stdout, stderr), el_end);
    if (!editor)
        throw std::runtime_error("the terminal cannot be used: " +
                                 std::generic_category().message(errno));
    History history;
    editor_ = editor.get();
    el_wset(editor_, EL_CLIENTDATA, this);
    el_wset(editor_, EL_PROMPT, text);
    el_wset(editor_, EL_EDITOR, L"emacs");
    el_wset(editor_, EL_HIST, history_w, history.get());
    el_wset(editor_, EL_GETCFN, next_character);
    el_wset(editor_, EL_ADDFN, L"velt-complete", L"complete names",
            static_cast<unsigned char (*)(EditLine *, int)>(complete));
    el_wset(editor_, EL_BIND, L"^I", L"velt-complete", nullptr);

    std::cout << "help lists the commands; quit ends." << std::endl;
    bool interrupted = false; // whether the person's latest action was Ctrl-C
    const auto goes_on = [&] {
        if (interrupts.signal != SIGINT || interrupted)
            return false;
        interrupts.signal = 0;
        interrupts.count = 0;
        interrupted = true;
        std::cout << (commands.unsaved() ? "^C (the book has changed: again to end and lose it)"
                      : !commands.unsaved_documents().empty()
                          ? "^C (a document has changed: again to end and lose the changes)"
                          : "^C (again to end)")
                  << std::endl;
        return true;
    };
    for (;;) {
        const std::optional<std::string> line = read_line();
        if (interrupts.signal != 0) {
            if (!goes_on())
                break;
            continue;
        }
        interrupted = false;
        if (!line) {
            std::cout << std::endl;
            if (may_end())
                break;
            continue;
        }
        if (!line->empty())
            history.add(wide(*line));
        try {
            if (commands.run(*line))
                warned_ = false;
            else if (may_end())
                break;
        } catch (const std::exception &error) {
            warned_ = false; // the command may have changed the book before it failed
            std::cerr << printable_lines(error.what()) << std::endl;
        }
        if (interrupts.signal != 0 && !goes_on())
            break;
    }
    if (interrupts.signal != 0)
        std::cout << std::endl;
    editor_ = nullptr;
}

Reply Prompt::ask(const Question &)
{
    // A person who is ending the program is not asked any more.
    if (interrupts.signal != 0)
        return {};
    // The line editor has set the terminal to a mode in which it does not assemble lines.
    if (editing_)
        el_wset(editor_, EL_PREP_TERM, 0);
    Reply answer;
    for (bool done = false; !done;) {
        std::cout << "  answer with a whole number (Enter: " << no_answer
                  << ", Ctrl-D: cancel): " << std::flush;
        const std::optional<std::string> line = plain_line();
        done = true;
        if (!line) {
            std::cout << std::endl;
            break;
        }
        try {
            answer = trimmed(*line).empty() ? no_answer : number<IntT>(trimmed(*line));
        } catch (const Error &error) {
            std::cout << "  " << printable(error.what()) << std::endl;
            done = false;
        }
    }
    if (editing_) {
        el_wset(editor_, EL_PREP_TERM, 1);
        el_wset(editor_, EL_REFRESH);
    }
    return answer;
}

} // namespace velt::host
