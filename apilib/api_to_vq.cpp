// The stubs of the host's program, one a row of the procedure table.

#include <cstddef>
#include <cstring>
#include <iterator>

#include "apilib/wire/routines.h"
#include "velt/api.h"

namespace
{

// Time limit of a call on a handle that has none of its own.
constexpr timeval TIMEOUT = {25, 0};

constexpr rpcproc_t numbers[] = {
#define V_PROCEDURE(number, stub, argument, result) number,
#include "velt/tables/procedures.def"
};

constexpr bool ascending()
{
    for (std::size_t i = 1; i < std::size(numbers); i++)
        if (numbers[i] <= numbers[i - 1])
            return false;
    return true;
}

static_assert(ascending(), "a procedure number is used twice or out of order");

// What holds a decoded answer; a void answer still needs an address.
template <class T>
struct Holder {
    T value;
    T *address() { return &value; }
};
template <>
struct Holder<void> {
    char value;
    void *address() { return &value; }
};

// Calls in a row that got no answer, and with how many it is told.
int unanswered;
constexpr int told = 2;

bool call(CLIENT *client, rpcproc_t number, xdrproc_t encode, const void *argument,
          xdrproc_t decode, void *result)
{
    // Without a session nobody answers.
    if (!client)
        return false;
    const clnt_stat status =
        clnt_call(client, number, encode, const_cast<void *>(argument), decode, result, TIMEOUT);
    const bool silent = status == RPC_CANTSEND || status == RPC_CANTRECV || status == RPC_TIMEDOUT;
    // One call may be too much for the host. Who goes on calling is told once why nothing happens.
    if (!silent)
        unanswered = 0;
    else if (unanswered < told && ++unanswered == told)
        V_ApiErr("the host does not answer calls any more");
    if (status == RPC_SUCCESS)
        return true;
    // The answer may have been decoded in part.
    xdr_free(decode, result);
    return false;
}

} // namespace

#define V_PROCEDURE(number, stub, argument, result)                                                \
    result *stub(const argument *arg, CLIENT *client)                                              \
    {                                                                                              \
        static Holder<result> res;                                                                 \
        std::memset(&res, 0, sizeof res);                                                          \
        return call(client, number, velt::routine<argument>(), arg, velt::routine<result>(), &res) \
                   ? res.address()                                                                 \
                   : nullptr;                                                                      \
    }
#include "velt/tables/procedures.def"
