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
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {
        };
        // nohup(1) has the end of the terminal ignored.
        if (number != SIGHUP ||
            (sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN))
            sigaction(number, &action, nullptr);
    }
}

} // namespace velt
