// Measures what this system adds to the RPC library that carries it, and prints one table.

#include <exception>
#include <iostream>

#include "bench/books.h"
#include "bench/calls.h"
#include "bench/encodings.h"
#include "bench/lists.h"
#include "bench/model.h"
#include "bench/strings.h"
#include "bench/table.h"
#include "bench/texts.h"
#include "bench/transport.h"

int main(int argc, char **argv)
try {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    const auto host = velt::bench::register_calls();
    velt::bench::register_transport();
    velt::bench::register_lists();
    velt::bench::register_encodings();
    velt::bench::register_strings();
    velt::bench::register_books();
    velt::bench::register_texts();
    velt::bench::register_model();
    velt::bench::Table table;
    benchmark::RunSpecifiedBenchmarks(&table);
    return table.failed() ? 1 : 0;
} catch (const std::exception &error) {
    std::cerr << "velt-bench: " << error.what() << '\n';
    return 1;
}
