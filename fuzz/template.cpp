// Fuzzes the expansion of strings with references to arguments, into buffers of any size.

#include "fuzz/input.h"
#include "velt/vde/instance.h"
#include "velt/vde/resources.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    VdeInstanceInit();
    Input input(data, size);
    const std::size_t count = input.byte() % 11;
    const IntT room = input.number() & 0x3FF;
    const int integer = input.number();
    const auto argument = exact_string(input.take(input.byte()));
    const auto other = exact_string(input.take(input.byte()));
    const auto text = exact_string(input.rest());

    // Two strings in sequence, in a block that ends with the second.
    const std::string_view first(text.get(), std::strlen(text.get()) + 1);
    const auto pool = exact(std::string(first) + std::string(other.get()) + '\0');
    VdeSrIndexT index[] = {{1, 0}, {2, static_cast<std::uint32_t>(first.size())}};
    VdeInstance->srIndex = index;
    VdeInstance->srCount = 2;
    VdeInstance->srPool = reinterpret_cast<UCharT *>(pool.get());
    VdeInstance->language = argument.get();

    const std::string types = std::string("sdrxfXpsrf").substr(0, count);
    const std::unique_ptr<char[]> out(new char[static_cast<std::size_t>(room)]);
    const IntT result =
        V_SrGetF(1, out.get(), room, types.c_str(), argument.get(), integer, 2, integer,
                 integer * 1e300, integer, nullptr, argument.get(), 1, 0.5);
    require(result == (room == 0 ? -1 : 0), "a string that is there is found");
    require(room == 0 || std::memchr(out.get(), 0, static_cast<std::size_t>(room)),
            "it is terminated");
    VdeInstance->srIndex = nullptr;
    VdeInstance->srCount = 0;
    VdeInstance->srPool = nullptr;
    VdeInstance->language = nullptr;
    return 0;
}
