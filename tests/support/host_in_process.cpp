#include "support/host_in_process.h"

// Whoever links the library defines these.
void V_ApiInitialize(IntT) {}
void V_ApiCommand(IntT) {}

namespace velt::host
{

LibraryCalls::LibraryCalls(Host &host, Responder &responder)
    : host_(host), responder_(responder),
      link_(-2, {.serve = [this](svc_req &each) { serve(each); }}),
      before_(std::exchange(velt_client, link_.handle()))
{
    client.number = 1;
    client.name = "tester";
}

void LibraryCalls::serve(svc_req &request)
{
    SVCXPRT *const transport = request.rq_xprt;
    const Procedure &procedure = *find_procedure(host_procedures(), request.rq_proc);
    Message given(procedure.argument), answer(procedure.result);
    if (!svc_getargs(transport, given.routine(), given.address()))
        return svcerr_decode(transport);
    Call call{host_, client, procedure, given.address(), answer.address()};
    switch (responder_.respond(call)) {
    case Responder::Reaction::answer:
        break;
    case Responder::Reaction::drop:
        return;
    case Responder::Reaction::rpc_error:
        return svcerr_systemerr(transport);
    case Responder::Reaction::half:
    case Responder::Reaction::close:
    case Responder::Reaction::undecoded:
    case Responder::Reaction::unknown:
        return svc_destroy(transport);
    }
    if (const IntT *status = procedure.result.status(call.result); !status || *status >= 0)
        answered.insert(procedure.number);
    svc_sendreply(transport, answer.routine(), answer.address());
    if (call.after)
        call.after();
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
