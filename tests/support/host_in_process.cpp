#include "support/host_in_process.h"

// Whoever links the library defines these.
void V_ApiInitialize(IntT) {}
void V_ApiCommand(IntT) {}

namespace velt::host
{
namespace
{

std::string encoded(xdrproc_t routine, void *message)
{
    std::string bytes(xdr_sizeof(routine, message), '\0');
    XDR xdrs;
    xdrmem_create(&xdrs, bytes.data(), static_cast<u_int>(bytes.size()), XDR_ENCODE);
    EXPECT_TRUE(routine(&xdrs, message));
    return bytes;
}

bool decoded(std::string bytes, xdrproc_t routine, void *message)
{
    XDR xdrs;
    xdrmem_create(&xdrs, bytes.data(), static_cast<u_int>(bytes.size()), XDR_DECODE);
    return routine(&xdrs, message) && xdr_getpos(&xdrs) == bytes.size();
}

} // namespace

LibraryCalls::LibraryCalls(Host &host, Responder &responder)
    : host_(host), responder_(responder), before_(std::exchange(velt_client, &handle_))
{
    static CLIENT::clnt_ops operations{};
    operations.cl_call = call;
    handle_.cl_ops = &operations;
    handle_.cl_private = this;
    client.number = 1;
    client.name = "tester";
}

clnt_stat LibraryCalls::call(CLIENT *handle, rpcproc_t number, xdrproc_t encode, void *argument,
                             xdrproc_t decode, void *result, timeval)
{
    auto &self = *static_cast<LibraryCalls *>(handle->cl_private);
    const Procedure &procedure = *find_procedure(host_procedures(), number);
    Message given(procedure.argument), answer(procedure.result);
    if (!decoded(encoded(encode, argument), given.routine(), given.address()))
        return RPC_CANTDECODEARGS;
    Call call{self.host_, self.client, procedure, given.address(), answer.address()};
    switch (self.responder_.respond(call)) {
    case Responder::Reaction::answer:
        break;
    case Responder::Reaction::drop:
        return RPC_TIMEDOUT;
    case Responder::Reaction::rpc_error:
        return RPC_SYSTEMERROR;
    case Responder::Reaction::half:
    case Responder::Reaction::close:
    case Responder::Reaction::undecoded:
    case Responder::Reaction::unknown:
        return RPC_CANTRECV;
    }
    if (const IntT *status = procedure.result.status(call.result); !status || *status >= 0)
        answered.insert(number);
    const bool read = decoded(encoded(answer.routine(), answer.address()), decode, result);
    if (call.after)
        call.after();
    return read ? RPC_SUCCESS : RPC_CANTDECODERES;
}

Reply AnsweringPerson::ask(const Question &question)
{
    questions.push_back(question);
    if (replies.empty())
        return {};
    Reply reply = replies.front();
    replies.pop_front();
    return reply;
}

} // namespace velt::host
