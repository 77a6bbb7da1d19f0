#include "common/interrupts.h"

namespace velt
{

Interrupts interrupts;

void watch_interrupts()
{
    struct sigaction action {
    };
    action.sa_handler = [](int number) {
        interrupts.signal = number;
        interrupts.count = interrupts.count + 1;
    };
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        sigaction(number, &action, nullptr);
}

} // namespace velt
