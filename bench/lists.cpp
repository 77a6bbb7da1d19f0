#include "bench/lists.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "apilib/wire/coding.h"
#include "apilib/wire/routines.h"
#include "bench/compare.h"

namespace velt::bench
{
namespace
{

// The baseline: routines for every type as they are usually written, with the RPC library's
// xdr_array, xdr_string and xdr_pointer.
namespace baseline
{

template <class T>
xdrproc_t routine();

inline bool code(XDR *xdrs, IntT &value)
{
    return xdr_int(xdrs, &value);
}

inline bool code(XDR *xdrs, UIntT &value)
{
    return xdr_u_int(xdrs, &value);
}

inline bool code(XDR *xdrs, UCharT &value)
{
    return xdr_u_char(xdrs, &value);
}

inline bool code(XDR *xdrs, StringT &value)
{
    return xdr_string(xdrs, &value, UINT32_MAX);
}

template <List T>
bool code(XDR *xdrs, T &list)
{
    return xdr_array(xdrs, reinterpret_cast<char **>(&list.val), &list.len, UINT32_MAX,
                     sizeof(Element<T>), routine<Element<T>>());
}

template <Struct T>
bool code(XDR *xdrs, T *&value)
{
    return xdr_pointer(xdrs, reinterpret_cast<char **>(&value), sizeof(T), routine<T>());
}

template <Struct T>
bool code(XDR *xdrs, T &value)
{
    return fields(value, [xdrs](const char *, auto &field) { return code(xdrs, field); });
}

// Numbers use the RPC library's own routines, without the cost of a wrapper.
template <class T>
xdrproc_t routine()
{
    if constexpr (std::is_same_v<T, IntT>)
        return reinterpret_cast<xdrproc_t>(xdr_int);
    else if constexpr (std::is_same_v<T, UIntT>)
        return reinterpret_cast<xdrproc_t>(xdr_u_int);
    else if constexpr (std::is_same_v<T, UCharT>)
        return reinterpret_cast<xdrproc_t>(xdr_u_char);
    else
        return reinterpret_cast<xdrproc_t>(
            +[](XDR *xdrs, T *value) -> bool_t { return code(xdrs, *value); });
}

} // namespace baseline

// Fills a value with data of every kind that its type can hold.
class Filler
{
public:
    template <List T>
    void fill(T &list, UIntT count)
    {
        list.len = count;
        list.val = static_cast<Element<T> *>(std::calloc(count, sizeof(Element<T>)));
        for (UIntT i = 0; i < count; i++)
            visit("", list.val[i]);
    }

private:
    static constexpr UIntT value_kinds = 20;
    static constexpr UIntT inner_count = 3;

    void visit(std::string_view name, IntT &value)
    {
        // Tags of other unions, and the number that decides whether a name is sent, are 0 or 1.
        value = static_cast<IntT>(random_() % (name == "valType" ? value_kinds : 2));
    }
    void visit(std::string_view, UIntT &value) { value = static_cast<UIntT>(random_()); }
    void visit(std::string_view, UCharT &value) { value = static_cast<UCharT>(random_()); }
    void visit(std::string_view, StringT &value)
    {
        value = strdup(std::string(random_() % 24, 'x').c_str());
    }
    template <List T>
    void visit(std::string_view, T &list)
    {
        fill(list, inner_count);
    }
    template <Struct T>
    void visit(std::string_view, T *&value)
    {
        value = static_cast<T *>(std::calloc(1, sizeof(T)));
        visit("", *value);
    }
    template <Struct T>
    void visit(std::string_view, T &value)
    {
        fields(value, [this](const char *name, auto &field) {
            this->visit(name, field);
            return true;
        });
    }

    std::minstd_rand random_;
};

// A list with its encoded form.
template <List T>
struct Sample {
    explicit Sample(UIntT count)
    {
        Filler().fill(list, count);
        bytes.resize(xdr_sizeof(velt::routine<T>(), &list));
        encode(velt::routine<T>());
        const std::vector<char> ours = bytes;
        encode(baseline::routine<T>());
        if (bytes != ours)
            throw std::runtime_error("the encodings differ");
    }
    ~Sample() { free_decoded(list); }
    Sample(const Sample &) = delete;
    Sample &operator=(const Sample &) = delete;

    void encode(xdrproc_t routine)
    {
        XDR xdrs;
        xdrmem_create(&xdrs, bytes.data(), static_cast<u_int>(bytes.size()), XDR_ENCODE);
        run(xdrs, routine, list);
    }
    void decode_memory(xdrproc_t routine, T &result)
    {
        XDR xdrs;
        xdrmem_create(&xdrs, bytes.data(), static_cast<u_int>(bytes.size()), XDR_DECODE);
        run(xdrs, routine, result);
    }
    void decode_record(xdrproc_t routine, T &result)
    {
        XDR xdrs;
        open_whole_record(xdrs, bytes.data(), bytes.size());
        run(xdrs, routine, result);
    }

    T list{};
    std::vector<char> bytes;

private:
    void run(XDR &xdrs, xdrproc_t routine, T &value)
    {
        if (!routine(&xdrs, &value))
            throw std::runtime_error("cannot be encoded or decoded");
    }
};

// The number of calls that are timed together, so that short ones can be measured.
std::size_t repetitions(UIntT count)
{
    return std::max(1U, 20'000 / count);
}

// Lists of plain integers are encoded in one block; the cost of short ones is mostly the
// allocation, and so is that of decoding strings.
template <List T>
double goal(xdr_op operation, UIntT count)
{
    constexpr bool plain = std::is_integral_v<Element<T>>;
    return plain && count >= 1000                             ? 0.33
           : operation == XDR_DECODE && !is_plain<Element<T>> ? 0.6
                                                              : 1;
}

template <List T>
void encode(benchmark::State &state, UIntT count)
try {
    Sample<T> sample(count);
    const auto block = [&](xdrproc_t routine) {
        return [&, routine] {
            return timed(repetitions(count), [&](std::size_t) { sample.encode(routine); });
        };
    };
    compare(state, block(baseline::routine<T>()), block(velt::routine<T>()));
    state.counters[counter::goal] = goal<T>(XDR_ENCODE, count);
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

template <List T>
void decode(benchmark::State &state, UIntT count)
try {
    Sample<T> sample(count);
    const auto block = [&](auto decode, xdrproc_t routine) {
        return [&sample, decode, routine, count] {
            std::vector<T> results(repetitions(count));
            const double seconds = timed(
                results.size(), [&](std::size_t i) { (sample.*decode)(routine, results[i]); });
            for (T &result : results)
                free_decoded(result);
            return seconds;
        };
    };
    compare(state, block(&Sample<T>::decode_memory, baseline::routine<T>()),
            block(&Sample<T>::decode_record, velt::routine<T>()));
    state.counters[counter::goal] = goal<T>(XDR_DECODE, count);
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

template <List T>
void register_list(const std::string &name)
{
    for (const UIntT count : {10U, 1000U, 100'000U}) {
        const std::string what = " " + name + " of " + std::to_string(count);
        constexpr int pairs = 41;
        benchmark::RegisterBenchmark(("encode" + what).c_str(), encode<T>, count)
            ->Iterations(pairs);
        benchmark::RegisterBenchmark(("decode" + what).c_str(), decode<T>, count)
            ->Iterations(pairs);
    }
}

} // namespace

void register_lists()
{
#define V_LIST(name, element, plural) register_list<name>(#name);
#include "velt/tables/values.def"
}

} // namespace velt::bench
