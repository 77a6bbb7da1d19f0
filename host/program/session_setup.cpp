#include "host/program/session_setup.h"

#include <cstdlib>
#include <filesystem>

#include "common/interrupts.h"

namespace velt::host
{
namespace
{

std::shared_ptr<PortMapper> port_mapper(const Arguments &arguments)
{
    if (arguments.port_mapper == Arguments::own)
        return nullptr;
    const std::string hindrance = MachinePortMapper::hindrance();
    if (hindrance.empty())
        return std::make_shared<MachinePortMapper>();
    if (arguments.port_mapper == Arguments::machine)
        throw Error(no_mapper, hindrance + ", or leave out --port-mapper");
    return nullptr;
}

} // namespace

std::string installed_home()
{
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return program.parent_path().parent_path() / "share" / "velt";
}

void default_home()
{
    std::error_code error;
    if (const char *named = std::getenv("VQHOME"); named && *named)
        return;
    const std::string home = installed_home();
    if (std::filesystem::is_directory(home + "/vqinit", error))
        setenv("VQHOME", home.c_str(), 1);
}

Options options_of(const Arguments &arguments)
{
    Options options;
    options.port_mapper = port_mapper(arguments);
    options.start_limit = options.turn_limit = arguments.time_limit;
    options.stop_at_start = arguments.debug;
    options.allow_programs = arguments.allow_programs;
    if (arguments.debug)
        options.start_limit = options.turn_limit = options.exit_limit = no_limit;
    return options;
}

} // namespace velt::host
