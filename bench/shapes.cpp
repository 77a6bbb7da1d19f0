#include "bench/shapes.h"

#include <cstdlib>
#include <stdexcept>
#include <type_traits>

#include "apilib/wire/routines.h"
#include "bench/compare.h"
#include "bench/service.h"
#include "velt/api.h"

namespace velt::bench
{
namespace
{

constexpr timeval limit = {10, 0};
constexpr std::size_t calls_in_block = 200;

void require(bool done, const char *what)
{
    if (!done)
        throw std::runtime_error(what);
}

// The client side of a session.
class Session
{
public:
    explicit Session(const std::string &description)
    {
        setenv("VQAPIX", description.c_str(), 1);
        if (const char *failure = V_ApiStartUp(nullptr))
            throw std::runtime_error(failure);
    }
    ~Session() { V_ApiShutDown(); }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
};

// A stub without an argument wants an address all the same.
template <class T>
using Storage = std::conditional_t<std::is_void_v<T>, char, T>;

// Registers one line of the table: the bare call of the stub, with the release of its result, and
// the public call.
template <class Argument, class Result, class Call>
void add(const std::string &session, const char *line, rpcproc_t number,
         Result *(*)(const Argument *, CLIENT *), std::type_identity_t<Storage<Argument>> argument,
         Call call)
{
    const auto run = [=](benchmark::State &state) {
        try {
            const Session open(session);
            Storage<Argument> passed = argument;
            const auto bare = [&](std::size_t) {
                Storage<Result> result{};
                require(clnt_call(velt_client, number, routine<Argument>(), &passed,
                                  routine<Result>(), &result, limit) == RPC_SUCCESS,
                        "a bare call failed");
                xdr_free(routine<Result>(), &result);
            };
            const auto ours = [&](std::size_t) { require(call(), "a public call failed"); };
            compare(
                state, [&] { return timed(calls_in_block, bare); },
                [&] { return timed(calls_in_block, ours); });
            state.counters[counter::goal] = 1.05;
        } catch (const std::exception &error) {
            state.SkipWithError(error.what());
        }
    };
    benchmark::RegisterBenchmark(line, run)->Iterations(201);
}

bool open_document(const V_PropValsT &options)
{
    static V_PropValsT *returned;
    return V_ApiOpen("file", &options, &returned) != 0 && returned->len != 0;
}

bool get_strings()
{
    V_StringsT list = V_ApiGetStrings(1, 2, 3);
    const bool came = list.len == 10;
    V_ApiDeallocateStrings(&list);
    return came;
}

bool get_properties()
{
    V_PropValsT list = V_ApiGetProps(1, 2);
    const bool came = list.len == 1000;
    V_ApiDeallocatePropVals(&list);
    return came;
}

bool prompt()
{
    StringT answer = nullptr;
    const bool came = V_ApiPromptString(&answer, "question", "suggestion") == 0;
    V_ApiDeallocateString(&answer);
    return came;
}

bool get_name()
{
    StringT name = V_ApiClientName();
    const bool came = name != nullptr;
    V_ApiDeallocateString(&name);
    return came;
}

} // namespace

void register_shapes(const std::string &session)
{
    static char file[] = "file", menu[] = "menu", question[] = "question",
                suggestion[] = "suggestion";
    static const V_PropValsT options = V_ApiGetOpenDefaultParams();
#define SHAPE(call, stub, argument, came)                                                          \
    add(session, #call " / bare call", number_of(#stub), stub, argument, [] { return came; })
#define ARGUMENT(...) {__VA_ARGS__}
    SHAPE(V_ApiGetInt, api_vq_get_int_1, ARGUMENT(1, 2, {3, nullptr}), V_ApiGetInt(1, 2, 3) == 42);
    SHAPE(V_ApiSetInt, api_vq_set_int_1, ARGUMENT(1, 2, {3, nullptr}, 42),
          (V_ApiSetInt(1, 2, 3, 42), true));
    SHAPE(V_ApiDelete, api_vq_delete_1, ARGUMENT(1, 2), V_ApiDelete(1, 2) == 0);
    SHAPE(V_ApiMenuExists, api_vq_menu_exists_1, ARGUMENT(menu), V_ApiMenuExists(menu) == 1);
    SHAPE(V_ApiClientName, api_client_name_1, 0, get_name());
    SHAPE(V_ApiPromptString, api_vq_prompt_string_1, ARGUMENT(question, suggestion), prompt());
    SHAPE(V_ApiGetStrings of 10, api_vq_get_strings_1, ARGUMENT(1, 2, {3, nullptr}), get_strings());
    SHAPE(V_ApiGetProps of 1000, api_vq_get_props_1, ARGUMENT(1, 2), get_properties());
    SHAPE(V_ApiOpen, api_vq_open_1, ARGUMENT(file, options), open_document(options));
    SHAPE(V_ApiPushClipboard, api_vq_push_clipboard_1, 0, (V_ApiPushClipboard(), true));
}

} // namespace velt::bench
