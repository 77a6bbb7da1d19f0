// Shelfwise: three commands in the context menu of a book window. They delete the component on
// which the menu was opened, move it up, or move it down.
//
// When the host starts it with code 1, it defines the commands and ends. With any other code it
// waits for the commands. It keeps no state between commands: each reads what it needs from the
// host.

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "velt/api.h"
#include "velt/vde.h"

namespace
{

enum : IntT { delete_file = 1, move_file_up = 2, move_file_down = 3 };

struct Command {
    IntT number;
    const char *name;
    IntT label; // string resource
};

constexpr Command commands[] = {
    {delete_file, "BookDeleteFile", 0},
    {move_file_up, "BookMoveFileUp", 1},
    {move_file_down, "BookMoveFileDown", 2},
};

// The objects that a command acts on; component 0 when there is none.
struct Selection {
    V_ObjHandleT book;
    V_ObjHandleT component;
};

Selection selection()
{
    V_ObjHandleT book = V_ApiGetId(0, 0, V_prop_active_book);
    return {book, book ? V_ApiGetId(0, book, V_prop_selected_component) : 0};
}

int clientInit()
{
    V_FdeInit();
    StringT encoding = V_ApiGetString(0, 0, V_prop_dialog_encoding);
    V_FdeInitFontEncs(encoding);
    V_Free(encoding);
    const char *language = V_LanguageString(V_ApiGetInt(0, 0, V_prop_language));
    if (V_SrInit("shelfwise", language) == 0)
        return 0;
    V_ApiErr(VdeSrError());
    V_ApiAlert("Cannot find string resource file. Please check that Shelfwise is correctly "
               "installed, and try again.",
               2);
    return 1;
}

IntT deleteBookComponent()
{
    auto [book, component] = selection();
    return component ? V_ApiDelete(book, component) : 0;
}

IntT moveBookComponent(bool up)
{
    auto [book, component] = selection();
    if (!component)
        return 0;
    // Placing the component after its successor moves it down, before its predecessor up.
    IntT neighbour = up ? V_prop_previous_component : V_prop_next_component;
    IntT place = up ? V_prop_next_component : V_prop_previous_component;
    if (V_ObjHandleT other = V_ApiGetId(book, component, neighbour))
        V_ApiSetId(book, component, place, other);
    V_ApiSetInt(book, component, V_prop_moved, 1);
    return 0;
}

} // namespace

void V_ApiInitialize(IntT initCode)
{
    if (initCode != 1)
        return;
    if (clientInit() != 0) {
        V_ApiBailOut();
        return;
    }
    V_ObjHandleT menu = V_ApiGetNamedObject(0, V_type_menu, "!BookContextMenu");
    for (const Command &command : commands) {
        char label[256] = "";
        V_SrGetN(command.label, label, sizeof label);
        V_ApiDefineAndAddCommand(command.number, menu, command.name, label, "");
    }
    V_ApiBailOut();
}

void V_ApiCommand(IntT command)
{
    switch (command) {
    case delete_file:
        deleteBookComponent();
        break;
    case move_file_up:
        moveBookComponent(true);
        break;
    case move_file_down:
        moveBookComponent(false);
        break;
    }
}

// Arguments come from a person only; the host starts clients without any.
int main(int argc, char **argv)
{
    const char *asked = argc == 2 && !getenv("VQAPIX") ? argv[1] : "";
    if (!strcmp(asked, "--version"))
        return puts("shelfwise " VELT_VERSION) < 0 || fflush(stdout) != 0;
    if (!strcmp(asked, "--help"))
        return puts("usage: shelfwise [--help | --version]\n\n"
                    "Moves and deletes the components of a book, as a client of VeltQuire, which\n"
                    "starts it. To see it at work without one:\n\n"
                    "  vqhost run BOOK.json --client shelfwise\n\n"
                    "See shelfwise(1) and vqhost(1).") < 0 ||
               fflush(stdout) != 0;
    return V_ApiRun(argc, argv);
}
