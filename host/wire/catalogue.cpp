#include "host/wire/catalogue.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <new>
#include <tuple>

#include "apilib/wire/memory.h"
#include "apilib/wire/routines.h"
#include "host/json/values.h"

namespace velt::host
{
namespace
{

static_assert(alignof(V_ValUnionT) <= alignof(std::uint64_t));

template <class T>
IntT *status_of(void *result)
{
    if constexpr (std::is_same_v<T, IntT>)
        return static_cast<IntT *>(result);
    else if constexpr (requires(T message) { message.status; })
        return &static_cast<T *>(result)->status;
    else
        return nullptr;
}

template <class T>
bool_t code(XDR *xdrs, void *message)
{
    return typed_routine<T>(xdrs, static_cast<T *>(message));
}

template <class T>
constexpr MessageType type_of{sizeof(T), code<T>, &shape_of<T>, status_of<T>};
template <>
constexpr MessageType type_of<void>{0, code<void>, nullptr,
                                    [](void *) -> IntT * { return nullptr; }};

bool_t code_bytes(XDR *xdrs, void *message)
{
    auto &bytes = *static_cast<V_UBytesT *>(message);
    if (xdrs->x_op == XDR_FREE) {
        V_ApiFree(bytes.val);
        bytes = {};
        return TRUE;
    }
    if (xdrs->x_op == XDR_DECODE) {
        const u_int rest = xdrs->x_handy; // all that a stream in memory still has
        bytes = allocate<V_UBytesT>(rest);
        if (bytes.len != rest)
            return FALSE;
    }
    auto *const to = reinterpret_cast<char *>(bytes.val);
    return bytes.len == 0 || (xdrs->x_op == XDR_DECODE ? XDR_GETBYTES(xdrs, to, bytes.len)
                                                       : XDR_PUTBYTES(xdrs, to, bytes.len));
}

constexpr Procedure of_host[] = {
#define V_PROCEDURE(number, stub, argument, result)                                                \
    {number, #stub, type_of<argument>, type_of<result>},
#include "velt/tables/procedures.def"
};

constexpr Procedure of_client[] = {
#define V_CALLBACK(number, handler, argument) {number, #handler, type_of<argument>, type_of<void>},
#include "velt/tables/callbacks.def"
};

} // namespace

std::span<const Procedure> host_procedures()
{
    return of_host;
}

std::span<const Procedure> client_procedures()
{
    return of_client;
}

constinit const MessageType bytes_of_message{sizeof(V_UBytesT), code_bytes, &shape_of<V_UBytesT>,
                                             [](void *) -> IntT * { return nullptr; }};

const Procedure &as_bytes(std::span<const Procedure> among, rpcproc_t number, bool argument,
                          bool result)
{
    using Key = std::tuple<const Procedure *, rpcproc_t, bool, bool>;
    static std::map<Key, std::pair<std::string, Procedure>> made;
    const Procedure *known = find_procedure(among, number);
    const auto [at, is_new] = made.try_emplace({among.data(), number, argument, result});
    auto &[name, procedure] = at->second;
    if (is_new) {
        name = known ? std::string(known->name) : "procedure_" + std::to_string(number);
        procedure = {number, name, argument || !known ? bytes_of_message : known->argument,
                     result || !known ? bytes_of_message : known->result};
    }
    return procedure;
}

std::string encoded(const MessageType &type, void *message)
{
    std::string bytes(xdr_sizeof(type.routine(), message), '\0');
    XDR xdrs;
    xdrmem_create(&xdrs, bytes.data(), static_cast<u_int>(bytes.size()), XDR_ENCODE);
    if (!type.code(&xdrs, message))
        throw std::bad_alloc();
    return bytes;
}

// That memory has run out, the decoders do not tell, but those who allocate.
bool Message::decode(XDR &xdrs)
{
    errno = 0;
    if (type_.code(&xdrs, address()))
        return true;
    if (errno == ENOMEM)
        throw std::bad_alloc();
    return false;
}

void Message::copy(void *other)
{
    std::string bytes = encoded(type_, other);
    XDR xdrs;
    xdrmem_create(&xdrs, bytes.data(), static_cast<u_int>(bytes.size()), XDR_DECODE);
    if (!type_.code(&xdrs, address()))
        throw std::bad_alloc();
}

void Message::from_json(const JsonNode &node, std::vector<JsonError> &problems)
{
    if (!type_.shape)
        throw JsonError(node, "this procedure has no such message");
    read_value(*type_.shape, address(), node, &JsonNode::text, problems);
}

const Procedure *find_procedure(std::span<const Procedure> among, rpcproc_t number)
{
    const auto found = std::ranges::lower_bound(among, number, {}, &Procedure::number);
    return found == among.end() || found->number != number ? nullptr : &*found;
}

bool is_of_start(std::string_view name)
{
    using procedure::api_vq_init_ack_4_1, procedure::api_vq_init_ack_5_1;
    return name == api_vq_init_ack_5_1::name || name == api_vq_init_ack_4_1::name;
}

std::optional<std::string> hint_of_call(std::string_view name)
{
    if (!name.starts_with("V_Api"))
        return {};
    return "; vqcall describe " + std::string(name) + " tells that which it calls";
}

} // namespace velt::host
