// Measures what this system adds to the RPC library that carries it, and prints one table.

#include <algorithm>
#include <exception>
#include <iostream>
#include <optional>
#include <string_view>

#include "bench/books.h"
#include "bench/calls.h"
#include "bench/encodings.h"
#include "bench/formatted.h"
#include "bench/lists.h"
#include "bench/mock.h"
#include "bench/model.h"
#include "bench/recordings.h"
#include "bench/resources.h"
#include "bench/strings.h"
#include "bench/table.h"
#include "bench/texts.h"
#include "bench/transport.h"

namespace
{

using velt::bench::Earlier;

// Takes --beside=FILE from the options.
std::optional<Earlier> take_earlier(int &argc, char **argv)
{
    constexpr std::string_view beside = "--beside=";
    char **option = std::find_if(argv + 1, argv + argc,
                                 [](std::string_view word) { return word.starts_with(beside); });
    if (option == argv + argc)
        return {};
    Earlier earlier(*option + beside.size());
    // With the null pointer at the end.
    std::copy(option + 1, argv + argc + 1, option);
    argc--;
    return earlier;
}

} // namespace

int main(int argc, char **argv)
try {
    const std::optional<Earlier> earlier = take_earlier(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    const auto host = velt::bench::register_calls();
    velt::bench::register_transport();
    velt::bench::register_lists();
    velt::bench::register_encodings();
    velt::bench::register_strings();
    velt::bench::register_formatted();
    velt::bench::register_resources();
    velt::bench::register_books();
    velt::bench::register_texts();
    velt::bench::register_model();
    velt::bench::register_mock();
    velt::bench::register_recordings();
    velt::bench::Table table(earlier);
    if (benchmark::RunSpecifiedBenchmarks(&table) == 0) {
        std::cerr
            << "velt-bench: nothing is measured: --benchmark_filter takes a regular expression "
               "that a name matches; --benchmark_list_tests lists the names\n";
        return 2;
    }
    return table.failed() ? 1 : 0;
} catch (const std::exception &error) {
    std::cerr << "velt-bench: " << error.what() << '\n';
    return 1;
}
