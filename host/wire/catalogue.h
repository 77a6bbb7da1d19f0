// The procedures of the host's program and those of its clients at run time: found by number or
// name, with what a message of theirs is made of.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include <rpc/rpc.h>

#include "host/json/json.h"
#include "host/wire/procedures.h"

namespace velt::host
{

// A type of argument or result. That of void has no size.
struct MessageType {
    std::size_t size;
    bool_t (*code)(XDR *, void *message); // encodes, decodes and frees it
    // With the bytes of each text as they are.
    Json (*to_json)(void *message);
    // Where a refused call's result says why; null where it cannot.
    IntT *(*status)(void *result);

    // As the RPC library takes it.
    xdrproc_t routine() const { return reinterpret_cast<xdrproc_t>(code); }
};

struct Procedure {
    rpcproc_t number;
    std::string_view name;
    MessageType argument, result;
};

// By rising number.
std::span<const Procedure> host_procedures();
std::span<const Procedure> client_procedures();
// Null when there is none of the number.
const Procedure *find_procedure(std::span<const Procedure> among, rpcproc_t number);

// A message that is decoded or answered: zeros at first, and freed on every path.
class Message
{
public:
    explicit Message(const MessageType &type)
        : type_(type), words_(type.size / sizeof(std::uint64_t) + 1)
    {
    }
    Message(const Message &) = delete;
    Message &operator=(const Message &) = delete;
    ~Message() { xdr_free(type_.routine(), address()); }

    caddr_t address() { return reinterpret_cast<caddr_t>(words_.data()); }
    xdrproc_t routine() const { return type_.routine(); }
    Json to_json();

private:
    const MessageType &type_;
    std::vector<std::uint64_t> words_; // aligned for every message
};

} // namespace velt::host
