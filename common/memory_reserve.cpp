#include "common/memory_reserve.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace velt
{
namespace
{

constexpr std::size_t size = 1 << 18;
void *reserve;

void give_reserve()
{
    if (!reserve)
        throw std::bad_alloc();
    std::free(std::exchange(reserve, nullptr));
}

} // namespace

void keep_memory_back()
{
    restore_memory();
    std::set_new_handler(give_reserve);
}

void restore_memory()
{
    if (!reserve)
        reserve = std::malloc(size);
}

} // namespace velt
