// The prompt: lines from a person at a terminal, with editing, completion and a history that is
// kept.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <histedit.h>

#include "host/script/commands.h"

namespace velt::host
{

class Prompt
{
public:
    Prompt() = default;
    Prompt(const Prompt &) = delete;
    Prompt &operator=(const Prompt &) = delete;

    // Carries out what the person types, until they end it, twice by Ctrl-C, or another signal
    // does. Meanwhile `host`, which may be null, serves its clients.
    void run(Commands &commands, Host *host);

    // Asks for the answer to an alert, also while a line is being edited.
    Reply ask(const Question &question);

private:
    // The line editor calls these functions.
    static wchar_t *text(EditLine *);
    static int next_character(EditLine *editor, wchar_t *character);
    static unsigned char complete(EditLine *editor, int);

    std::optional<std::string> read_line();
    bool wait_for_input();
    int read_character(wchar_t &character);
    unsigned char complete();
    bool may_end();

    Commands *commands_ = nullptr;
    Host *host_ = nullptr;
    EditLine *editor_ = nullptr;
    bool editing_ = false;
    bool warned_ = false; // whether the person was warned that changes would be lost
};

} // namespace velt::host
