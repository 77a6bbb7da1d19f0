// Test bodies that run in a process of their own, in a private place.
#ifndef VELT_TESTS_PORTMAP_IN_PLACE_H
#define VELT_TESTS_PORTMAP_IN_PLACE_H

#include "host/place.h"
#include "transport/service_process.h"

#include <rpc/rpc.h>

#include <netinet/in.h>
#include <rpc/pmap_clnt.h>
#include <rpc/pmap_prot.h>
#include <sys/types.h>

#include <functional>
#include <string>

namespace velt::host::test
{

constexpr const char *real_rpcbind = "/usr/sbin/rpcbind";
constexpr uid_t nobody = 65534;
constexpr rpcprog_t program = 0x20000042;
constexpr rpcvers_t version = 3;

// Starts `body` in a child process; the child's failures become failures of the running test.
class Child
{
public:
    explicit Child(const std::function<void()> &body);
    ~Child();
    pid_t id() const { return id_; }

private:
    pid_t id_;
};

void in_place(const PlaceOptions &options, const std::function<void()> &body);

// Makes this process one of an ordinary user, if it is root's.
void become_nobody();

enum class Over { local, tcp, udp };

using velt::test::Client;

// A connection to the port mapper; the descriptor is the caller's.
int connect_to_mapper(Over over);
// A client of the port mapper at one of its versions.
Client mapper_client(Over over, rpcvers_t mapper_version, rpcprog_t mapper_program = PMAPPROG);

unsigned port_of(rpcprog_t number, unsigned protocol, rpcvers_t at_version = version);

// In place of an argument or a result.
inline bool_t nothing(XDR *, ...)
{
    return TRUE;
}

inline clnt_stat call(CLIENT *client, rpcproc_t procedure)
{
    return clnt_call(client, procedure, nothing, nullptr, nothing, nullptr, (timeval{5, 0}));
}

template <typename Argument, typename Result>
clnt_stat call(const Client &client, rpcproc_t procedure, bool_t (*encode)(XDR *, Argument *),
               Argument argument, bool_t (*decode)(XDR *, Result *), Result *result)
{
    return clnt_call(client.get(), procedure, reinterpret_cast<xdrproc_t>(encode), &argument,
                     reinterpret_cast<xdrproc_t>(decode), result, (timeval{5, 0}));
}

} // namespace velt::host::test

#endif
