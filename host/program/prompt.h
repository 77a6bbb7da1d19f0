// The prompt: lines from a person at a terminal, with editing, completion and a history that is
// kept.
#pragma once

#include <histedit.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/script/commands.h"

namespace velt::host
{

class Prompt : public Person
{
public:
    // The names of files that a person answers with are completed in the folder.
    explicit Prompt(std::filesystem::path folder) : folder_(std::move(folder)) {}
    Prompt(const Prompt &) = delete;
    Prompt &operator=(const Prompt &) = delete;

    // Carries out what the person types, until they end it, by Ctrl-C twice in a row or otherwise,
    // or another signal does. Meanwhile `host`, which may be null, serves its clients.
    void run(Commands &commands, Host *host);

    std::optional<std::string> ask(const Question &question, const std::string &hint) override;
    bool is_typing() const override { return editing_; }
    void hide_line() override;
    void show_line() override;

    // Returns how often a signal has told the host to end. The first Ctrl-C in a command does not
    // while a client holds control: it cancels what that does, even if another follows at once.
    int interruptions();

private:
    using Editor = std::unique_ptr<EditLine, void (*)(EditLine *)>;

    // The line editor calls these functions.
    static wchar_t *text(EditLine *editor);
    static int next_character(EditLine *editor, wchar_t *character);
    static unsigned char complete(EditLine *editor, int);

    Editor make_editor();
    std::optional<std::string> read_line(EditLine *editor);
    bool wait_for_input();
    int read_character(wchar_t &character);
    unsigned char complete_line(EditLine *editor);
    std::vector<std::string> answers(const std::string &beginning) const;
    bool may_end();
    bool goes_on(bool on_empty_line);
    bool carry_out(const std::string &line);

    std::filesystem::path folder_;
    Commands *commands_ = nullptr;
    Host *host_ = nullptr;
    Editor editor_{nullptr, el_end}; // of command lines
    // Answers have an editor of their own, because a question may come while a line is edited.
    Editor answer_editor_{nullptr, el_end};
    const Question *question_ = nullptr; // that is being answered
    bool editing_ = false;               // whether a command line is being edited
    bool line_is_empty_ = true;
    bool interrupted_ = false; // whether the person's latest action was a Ctrl-C that counts
    bool in_command_ = false;
    bool cancelled_ = false; // whether the person has cancelled what a client does in this command
    bool warned_ = false;    // whether the person was warned that changes would be lost
};

} // namespace velt::host
