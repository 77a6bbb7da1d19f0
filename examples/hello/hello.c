/* A client that adds one command to a book window's context menu and greets whoever chooses it. */

#include <stdio.h>

#include <velt/api.h>

enum { ALERT_TYPE = 2, GREET = 1 };

/* The host calls this once, with the code that it was told to start the client with. */
void V_ApiInitialize(IntT initCode)
{
    V_ObjHandleT menu = V_ApiGetNamedObject(0, V_type_menu, "!BookContextMenu");

    (void)initCode;
    if (!V_ApiDefineAndAddCommand(GREET, menu, "HelloGreet", "Say Hello", ""))
        V_ApiErr("the host took no command");
}

/* The host calls this whenever the user chooses a command of ours. */
void V_ApiCommand(IntT command)
{
    char text[100];
    StringT name = V_ApiClientName();

    if (command == GREET) {
        snprintf(text, sizeof text, "Hello from %s, client %d.", name ? name : "nobody",
                 (int)V_ApiClientNumber());
        V_ApiAlert(text, ALERT_TYPE);
    }
    V_ApiDeallocateString(&name);
}
