// The client stubs of the host's program, one for each row of the procedure table.

#include <cstddef>
#include <cstring>
#include <iterator>

#include "apilib/wire/routines.h"
#include "velt/api.h"

namespace
{

// The time limit of a call on a handle without one of its own.
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

// The storage of a decoded answer; even a void answer needs an address.
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

// The number of successive calls without an answer, and the number that is reported.
int unanswered;
constexpr int reported_at = 2;

bool call(CLIENT *client, rpcproc_t number, xdrproc_t encode, const void *argument,
          xdrproc_t decode, void *result)
{
    // Outside a session there is no host to answer.
    if (!client)
        return false;
    const clnt_stat status =
        clnt_call(client, number, encode, const_cast<void *>(argument), decode, result, TIMEOUT);
    const bool silent = status == RPC_CANTSEND || status == RPC_CANTRECV || status == RPC_TIMEDOUT;
    // A single call may have been too much for the host. If further calls fail as well, that is
    // reported, once.
    if (!silent)
        unanswered = 0;
    else if (unanswered < reported_at && ++unanswered == reported_at)
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
