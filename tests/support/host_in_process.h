// A host in the process of the test. It answers the calls of the client library as a client's, with
// arguments and results as their bytes on the wire, but without sockets between them.
#pragma once

#include <deque>
#include <set>

#include "host/answers/responder.h"
#include "mock/memory_link.h"
#include "support/errors.h"
#include "support/folder.h"
#include "support/samples.h"
#include "velt/api.h"

namespace velt::host
{

// While one lives, the library's calls are those of its client.
class LibraryCalls
{
public:
    LibraryCalls(Host &host, Responder &responder);
    LibraryCalls(const LibraryCalls &) = delete;
    ~LibraryCalls() { velt_client = before_; }

    Client client;
    // The procedures that any client in this process has called with success.
    static inline std::set<rpcproc_t> answered;

private:
    void serve(svc_req &request);

    Host &host_;
    Responder &responder_;
    mock::MemoryLink link_;
    CLIENT *before_;
};

// The person at the host, who answers in order, and then cancels what is asked.
struct AnsweringPerson : Console {
    std::deque<Reply> replies;
    std::vector<Question> questions;
    std::vector<std::string> reports;
    IntT percent = -1;

    Reply ask(const Question &question) override;
    void report(const std::string &line) override { reports.push_back(line); }
    void progress(int, IntT value) override { percent = value; }
};

// Tests that call such a host, in an empty folder.
class HostInProcess : public test::InFolder
{
protected:
    HostInProcess()
    {
        documents.ask = [this](const Question &each) { return person.ask(each); };
    }

    Model model;
    AnsweringPerson person;
    Documents documents{model};
    Spelling spelling{person};
    ModelResponder responder{{model, documents, &spelling}};
    Host host{{}, responder, person};
    LibraryCalls calls{host, responder};
};

// Values, and properties by number.
inline V_TypedValT integer(IntT value, IntT of_kind = V_kind_integer)
{
    V_TypedValT made{of_kind, {}};
    made.u.intVal = value;
    return made;
}
inline V_TypedValT string(const char *value)
{
    return {V_kind_string, {str(value)}};
}
inline V_PropValT property_of(IntT number, const V_TypedValT &value)
{
    return {{number, nullptr}, value};
}
inline V_PropValsT list_of(std::vector<V_PropValT> &all)
{
    return {static_cast<UIntT>(all.size()), all.data()};
}

// What a call should return: its text, or the value itself.
inline std::string expected(const std::string &text)
{
    return text;
}
template <class T>
std::string expected(const T &value) requires(!std::is_convertible_v<T, std::string>)
{
    return tell(value);
}

// Expects what the call returns, and the status that it leaves in VA_errno.
#define EXPECT_CALL(status, result, ...)                                                           \
    do {                                                                                           \
        VA_errno = 0;                                                                              \
        EXPECT_EQ(outcome([&] { return __VA_ARGS__; }), expected(result)) << #__VA_ARGS__;         \
        EXPECT_EQ(VA_errno, status) << #__VA_ARGS__;                                               \
    } while (false)

// The status that the call leaves there, whatever it returns.
IntT status_after(auto call)
{
    VA_errno = 0;
    outcome(call);
    return VA_errno;
}
#define EXPECT_STATUS(status, ...)                                                                 \
    EXPECT_EQ(status_after([&] { return __VA_ARGS__; }), status) << #__VA_ARGS__

} // namespace velt::host
