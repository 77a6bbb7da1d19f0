// vqhost: the reference host as a program.

#include <unistd.h>

#include <iostream>

#include "apilib/unix/descriptors.h"
#include "common/descriptor_buffer.h"
#include "common/error.h"
#include "common/printable.h"
#include "common/replace_file.h"
#include "host/program/verbs.h"

using namespace velt;

int main(int argc, char **argv)
{
    fill_standard_descriptors();
    survive_file_size_limit();
    const DescriptorBuffer out(std::cout, STDOUT_FILENO), errors(std::cerr, STDERR_FILENO);
    try {
        return host::carry_out(argc - 1, argv + 1);
    } catch (const Error &error) {
        std::cerr << "vqhost: " << printable_lines(error.what()) << std::endl;
        return error.code;
    } catch (const std::exception &error) {
        std::cerr << "vqhost: " << printable_lines(reason_of(error)) << std::endl;
        return failed;
    }
}
