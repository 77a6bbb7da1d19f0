// The procedures of the host's program and those of its clients at run time: each is found by
// number or name and describes the types of its messages.
#pragma once

#include <rpc/rpc.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/json/values.h"
#include "host/wire/procedures.h"

namespace velt::host
{

// The type of an argument or result. The size of void is 0.
struct MessageType {
    std::size_t size;
    bool_t (*code)(XDR *, void *message); // encodes, decodes and frees it
    const Shape *shape;                   // null for void
    // Returns the place of the status in the result of a refused call; null when the result has
    // none.
    IntT *(*status)(void *result);

    // Returns the function in the form that the RPC library takes.
    xdrproc_t routine() const { return reinterpret_cast<xdrproc_t>(code); }
};

struct Procedure {
    rpcproc_t number;
    std::string_view name;
    MessageType argument, result;
};

// These return the procedures in ascending order of their numbers.
std::span<const Procedure> host_procedures();
std::span<const Procedure> client_procedures();
// Returns the procedure of the number, or null.
const Procedure *find_procedure(std::span<const Procedure> among, rpcproc_t number);

// Returns whether the procedure belongs to how a client comes up, which is the same in each run.
bool is_of_start(std::string_view procedure);

// Returns what helps with a name that is that of a call of the library instead of a procedure;
// nothing for another name.
std::optional<std::string> hint_of_call(std::string_view name);

// The type of a message as the bytes that were sent, for one that does not decode.
extern const MessageType bytes_of_message;
inline bool is_bytes(const Shape *shape)
{
    return shape == bytes_of_message.shape;
}
// Returns the procedure with its argument, its result, or both as bytes. One that is unknown has
// both so, and is called procedure_NUMBER.
const Procedure &as_bytes(std::span<const Procedure> among, rpcproc_t number, bool argument,
                          bool result);

// Returns the message as it is sent. Throws std::bad_alloc when it cannot be encoded.
std::string encoded(const MessageType &type, void *message);

// An argument that is decoded or a result that is filled in. It is filled with zeros at first, and
// freed on every path.
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
    // Decodes it from the stream. Returns false when there is no such message; throws
    // std::bad_alloc when memory runs out.
    bool decode(XDR &xdrs);
    // Makes this a copy of another message of the type.
    void copy(void *other);
    // Converts from JSON in which each text has its bytes as they are. Throws JsonError for a
    // mistake in the node itself, and adds those further inside to the problems.
    void from_json(const JsonNode &node, std::vector<JsonError> &problems);

private:
    const MessageType &type_;
    std::vector<std::uint64_t> words_; // aligned for every message
};

} // namespace velt::host
