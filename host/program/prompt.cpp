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
#include <utility>

#include "common/interrupts.h"
#include "host/script/completion.h"

namespace velt::host
{
namespace
{

constexpr int remembered_lines = 1000;

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

std::wstring common_beginning(const std::vector<std::wstring> &lines)
{
    std::wstring common = lines.front();
    for (const std::wstring &line : lines)
        common.resize(
            static_cast<std::size_t>(std::ranges::mismatch(common, line).in1 - common.begin()));
    return common;
}

} // namespace

wchar_t *Prompt::text(EditLine *editor)
{
    static wchar_t command[] = L"vqhost> ", answer[] = L"answer> ";
    Prompt *prompt = nullptr;
    el_wget(editor, EL_CLIENTDATA, &prompt);
    return prompt->question_ ? answer : command;
}

// No exception may pass through the line editor, which calls these functions.

int Prompt::next_character(EditLine *editor, wchar_t *character)
{
    Prompt *prompt = nullptr;
    el_wget(editor, EL_CLIENTDATA, &prompt);
    try {
        const int got = prompt->read_character(*character);
        // A line that a signal breaks off is as yet in the editor.
        const LineInfoW *line = el_wline(editor);
        prompt->line_is_empty_ = line->lastchar == line->buffer;
        return got;
    } catch (const std::exception &) {
        return -1;
    }
}

unsigned char Prompt::complete(EditLine *editor, int)
{
    Prompt *prompt = nullptr;
    el_wget(editor, EL_CLIENTDATA, &prompt);
    try {
        return prompt->complete_line(editor);
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
            // While a question is answered, nobody is served who might ask another.
            if (host_ && !question_ ? host_->serve_until([&] { return readable(0); }, no_limit)
                                    : readable(interrupt_interval))
                return true;
        } catch (const std::exception &error) {
            if (interrupts.signal == 0)
                std::cerr << printable_lines(reason_of(error)) << std::endl;
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
        interrupted_ = false;
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

// Returns the answers to the question that begin so.
std::vector<std::string> Prompt::answers(const std::string &beginning) const
{
    std::vector<std::string> all = question_->items;
    if (question_->kind == Question::file)
        all = file_names(folder_, beginning);
    std::erase_if(all, [&](const std::string &each) {
        return !each.starts_with(beginning) || printable(each) != each;
    });
    std::ranges::sort(all);
    return all;
}

unsigned char Prompt::complete_line(EditLine *editor)
{
    const LineInfoW *line = el_wline(editor);
    const std::wstring before(line->buffer, line->cursor);
    std::vector<std::wstring> found;
    for (const std::string &each :
         question_ ? answers(narrow(before)) : commands_->completions(narrow(before)))
        found.push_back(wide(each));
    if (found.empty())
        return CC_REFRESH_BEEP;
    std::wstring rest = common_beginning(found).substr(before.size());
    if (found.size() == 1 && !question_ && !found[0].ends_with(L'/'))
        rest += L' ';
    if (!rest.empty())
        return el_winsertstr(editor, rest.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
    std::cout << "\n";
    for (const std::wstring &each : found)
        std::cout << narrow(each) << "\n";
    std::cout << std::flush;
    return CC_REDISPLAY;
}

// Returns nothing at the end of the input or when a signal comes.
std::optional<std::string> Prompt::read_line(EditLine *editor)
{
    int length = 0;
    const wchar_t *line = el_wgets(editor, &length);
    if (!line || length <= 0 || interrupts.signal != 0)
        return {};
    std::wstring text(line, static_cast<std::size_t>(length));
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r'))
        text.pop_back();
    return narrow(text);
}

Prompt::Editor Prompt::make_editor()
{
    // The locale gives the encoding of the terminal, which is taken for UTF-8 without a locale.
    std::setlocale(LC_CTYPE, "");
    if (MB_CUR_MAX == 1)
        std::setlocale(LC_CTYPE, "C.UTF-8");
    Editor editor(el_init("vqhost", stdin, stdout, stderr), el_end);
    if (!editor)
        throw std::runtime_error("the terminal cannot be used: " +
                                 std::generic_category().message(errno));
    el_wset(editor.get(), EL_CLIENTDATA, this);
    el_wset(editor.get(), EL_PROMPT, text);
    el_wset(editor.get(), EL_EDITOR, L"emacs");
    el_wset(editor.get(), EL_GETCFN, next_character);
    el_wset(editor.get(), EL_ADDFN, L"velt-complete", L"complete names",
            static_cast<unsigned char (*)(EditLine *, int)>(complete));
    el_wset(editor.get(), EL_BIND, L"^I", L"velt-complete", nullptr);
    return editor;
}

bool Prompt::may_end()
{
    const auto unsaved = commands_->unsaved();
    if (warned_ || unsaved.empty())
        return true;
    for (const auto &[is_book, name, saving, copy] : unsaved)
        std::cerr << "The " << (is_book ? "" : "document ") << name << " has changed: " << saving
                  << " it, quit again "
                  << (copy.empty() ? "loses the changes"
                                   : "leaves the changes in " + printable_line(copy) + " only")
                  << "." << std::endl;
    warned_ = true;
    return false;
}

// Ctrl-C ends the prompt when it comes twice, with nothing typed in between. While something has
// changed, only one on an empty line counts, so that no line that is taken back loses that.
bool Prompt::goes_on(bool on_empty_line)
{
    if (interrupts.signal != SIGINT || interrupted_)
        return false;
    interrupts.signal = 0;
    interrupts.count = 0;
    std::string changed;
    for (const auto &each : commands_->unsaved())
        if (each.copy.empty())
            changed += (changed.empty() ? "" : ", ") + each.name;
    interrupted_ = on_empty_line || changed.empty();
    std::cout << "^C"
              << (!interrupted_     ? ""
                  : changed.empty() ? " (again to end)"
                                    : " (again to end and lose the changes of " + changed + ")")
              << std::endl;
    return true;
}

void Prompt::run(Commands &commands, Host *host)
{
    commands_ = &commands;
    host_ = host;
    editor_ = make_editor();
    History history;
    el_wset(editor_.get(), EL_HIST, history_w, history.get());

    std::cout << "help lists the commands; quit ends." << std::endl;
    for (;;) {
        editing_ = true;
        const std::optional<std::string> line = read_line(editor_.get());
        editing_ = false;
        if (interrupts.signal != 0) {
            if (!goes_on(line_is_empty_))
                break;
            continue;
        }
        if (!line) {
            std::cout << std::endl;
            if (may_end())
                break;
            continue;
        }
        if (!line->empty())
            history.add(wide(*line));
        try {
            if (carry_out(*line))
                warned_ = false;
            else if (may_end())
                break;
        } catch (const std::exception &error) {
            warned_ = false; // the command may have changed the book before it failed
            std::cerr << printable_lines(reason_of(error)) << std::endl;
        }
        if (interrupts.signal != 0 && !goes_on(false))
            break;
    }
    if (interrupts.signal != 0)
        std::cout << std::endl;
    editor_.reset(); // before the history that it uses
}

// Carries out a command as Commands::run does.
bool Prompt::carry_out(const std::string &line)
{
    struct InCommand {
        Prompt &prompt;
        explicit InCommand(Prompt &p) : prompt(p) { prompt.in_command_ = true; }
        InCommand(const InCommand &) = delete;
        ~InCommand()
        {
            prompt.in_command_ = false;
            prompt.cancelled_ = false;
        }
    };
    const InCommand in_command(*this);
    // The person has been told of a client that failed between two commands.
    if (host_)
        host_->take_failure();
    return commands_->run(line);
}

int Prompt::interruptions()
{
    if (interrupts.signal == SIGINT && in_command_ && !cancelled_ && host_->cancel_work()) {
        cancelled_ = true;
        interrupts.count = interrupts.count - 1;
        if (interrupts.count == 0) {
            interrupts.signal = 0;
            std::cout << "^C (cancels what the client does; again to end the command)" << std::endl;
        }
    }
    return interrupts.count;
}

std::optional<std::string> Prompt::ask(const Question &question, const std::string &hint)
{
    // A person who is ending the program is not asked any more.
    if (interrupts.signal != 0)
        return {};
    // An editor takes the mode in which it finds the terminal for that to which it returns it.
    if (editing_)
        el_wset(editor_.get(), EL_PREP_TERM, 0);
    if (!answer_editor_)
        answer_editor_ = make_editor();
    // What the person types from here on is read by the editor: outside its mode of the terminal, a
    // Ctrl-D would be lost.
    el_wset(answer_editor_.get(), EL_PREP_TERM, 1);
    std::cout << "  answer with " << hint << std::endl;
    question_ = &question;
    const std::optional<std::string> line = read_line(answer_editor_.get());
    question_ = nullptr;
    if (!line)
        std::cout << std::endl;
    if (editing_)
        el_wset(editor_.get(), EL_PREP_TERM, 1);
    return line;
}

void Prompt::hide_line()
{
    if (editing_)
        std::cout << "\r\033[K" << std::flush;
}

void Prompt::show_line()
{
    if (editing_)
        el_wset(editor_.get(), EL_REFRESH);
}

} // namespace velt::host
