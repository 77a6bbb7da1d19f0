// newclient: a command in the context menu of a book tells how many components the book has.

#include <array>
#include <string>

#include <velt/api.h>
#include <velt/vde.h>

namespace
{

enum Command : IntT { count = 1 };
enum Resource : IntT { label, counted };
constexpr IntT alert_type = 2;

// Returns a text of the client in the language of the session; a number in it stands for %0.
std::string text_of(Resource resource, int number = 0)
{
    std::array<char, 256> text{};
    return V_SrGetF(resource, text.data(), text.size(), "d", number) == 0
               ? text.data()
               : "newclient: " + std::to_string(number);
}

IntT components_of(V_ObjHandleT book)
{
    IntT all = 0;
    V_ObjHandleT component = book ? V_ApiGetId(0, book, V_prop_first_component) : 0;
    for (; component; component = V_ApiGetId(book, component, V_prop_next_component))
        all++;
    return all;
}

} // namespace

// The host calls this once, when it has started the client. An exception must not leave it.
void V_ApiInitialize(IntT)
{
    V_FdeInit();
    if (V_SrInit("newclient", V_LanguageString(V_ApiGetInt(0, 0, V_prop_language))) != 0) {
        V_ApiErr(VdeSrError());
        V_ApiBailOut();
        return;
    }
    V_ApiDefineAndAddCommand(count, V_ApiGetNamedObject(0, V_type_menu, "!BookContextMenu"),
                             "newclientCount", text_of(label).c_str(), "");
    if (VA_errno != V_error_none) {
        V_ApiErr(V_ApiErrorText(VA_errno));
        V_ApiBailOut();
    }
}

// The host calls this whenever the user chooses a command of this client.
void V_ApiCommand(IntT command)
{
    if (command != count)
        return;
    VA_errno = V_error_none;
    const IntT components = components_of(V_ApiGetId(0, 0, V_prop_active_book));
    V_ApiAlert(VA_errno == V_error_none ? text_of(counted, components).c_str()
                                        : V_ApiErrorText(VA_errno),
               alert_type);
}
