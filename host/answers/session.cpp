#include "host/answers/answers.h"
#include "host/values/owned.h"

namespace velt::host
{

// The argument holds the notification's code, and nonzero to subscribe to it or 0 to unsubscribe.
void Answer<api_vq_notification_1>::answer(Context &c, const ApiVqNotificationArgT &a, IntT &r)
{
    c.model.subscribe(c.client.number, a.int1, a.int2 != 0);
    r = ok;
}

void Answer<api_vq_disconnect_from_session_1>::answer(Context &c, IntT &r)
{
    c.client.leaving = true;
    r = ok;
}

void Answer<api_client_number_1>::answer(Context &c, IntT &r)
{
    r = c.client.number;
}

void Answer<api_client_name_1>::answer(Context &c, StringT &r)
{
    r = owned_string(c.client.name);
}

void Answer<api_client_directory_1>::answer(Context &c, StringT &r)
{
    r = owned_string(c.client.directory);
}

void Answer<api_set_client_directory_1>::answer(Context &c, const StringT &directory, IntT &r)
{
    c.client.directory = directory;
    r = ok;
}

void Answer<api_vq_return_value_1>::answer(Context &c, const IntT &value, IntT &r)
{
    c.client.return_value = value;
    r = ok;
}

// The named client gets the string as a message and answers with V_ApiReturnValue.
void Answer<api_vq_call_client_1>::answer(Context &c, const ApiVqCallClientArgT &a,
                                          ApiVqGetIntRetT &r)
{
    r.status = no_such_object;
    for (Client &other : c.host.clients()) {
        if (!other.running() || other.name != a.str1)
            continue;
        r.status = not_permitted;
        // The host reports why it does not call a client that holds control.
        if (other.being_answered)
            return c.host.reports().of(other, "is not called by " + c.client.title() +
                                                  ": it waits for an answer itself");
        other.return_value = 0;
        const Outcome outcome = c.host.message(other, a.str2, 0, 0);
        if (outcome.kind == Outcome::modal)
            c.host.reports().of(other, "has not answered " + c.client.title() +
                                           ": it waits for a modal dialog");
        r.status = outcome ? ok : not_permitted;
        r.result = other.return_value;
        return;
    }
}

} // namespace velt::host
