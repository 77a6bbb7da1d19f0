#include "host/program/doctor.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <vector>

#include "apilib/unix/process.h"
#include "apilib/unix/transport/transport.h"
#include "common/descriptor.h"
#include "common/error.h"
#include "common/file.h"
#include "common/printable.h"
#include "common/words.h"
#include "host/portmap/portmap.h"
#include "host/program/session_setup.h"
#include "host/session/process.h"
#include "vdelib/unix_sr/srfile.h"
#include "velt/api/facts.h"
#include "velt/vde/encodings.h"
#include "velt/vde/memory.h"
#include "velt/vde/unicode.h"

namespace velt::host
{
namespace
{

namespace fs = std::filesystem;

struct Finding {
    bool well;
    std::string text;
};

std::string value_of(const char *variable)
{
    const char *value = std::getenv(variable);
    return value ? value : "";
}

bool is_folder(const fs::path &path)
{
    std::error_code none;
    return fs::is_directory(path, none);
}

std::string system_reason()
{
    return std::strerror(errno);
}

// A description of another session makes a client that is started by hand call that.
Finding check_identity()
{
    const std::string identity = value_of("VQAPIX");
    if (identity.empty())
        return {true, "is not set, as it should be outside of clients"};
    int programs[4], host = 0, number = 0;
    char name[256];
    if (std::sscanf(identity.c_str(), "%d.%d %d.%d %d.%d.%255s", &programs[0], &programs[1],
                    &programs[2], &programs[3], &host, &number, name) != 7)
        return {false, "describes no session: " + identity};
    const std::string process = "process " + std::to_string(host);
    return lives(host, 0)
               ? Finding{true, "describes the session of " + process}
               : Finding{false, "describes the session of " + process + ", which has ended"};
}

Finding check_session_mapper()
{
    const std::string port = value_of("VQPMAP");
    if (port.empty())
        return {true, "is not set, as it should be outside of sessions"};
    // No program has this number; a port mapper that answers says so.
    constexpr rpcprog_t nobodys = 1;
    rpc_createerr = {};
    if (mapper_find(on_loopback(), nobodys, 1, IPPROTO_TCP, {1, 0}) != 0 ||
        rpc_createerr.cf_stat == RPC_PROGNOTREGISTERED)
        return {true, "names the port mapper of a session, on port " + port};
    return {false, "names port " + port + ", where no port mapper of this user answers"};
}

// Returns whether a directory in which resources are looked for is one.
Finding check_root(const std::string &root)
{
    return {is_folder(root), "is " + root + (is_folder(root) ? "" : ", which is no directory")};
}

Finding check_home()
{
    const char *const home = std::getenv("HOME");
    return !home   ? Finding{true, "is not set; no resources are looked for there"}
           : *home ? check_root(home)
                   : Finding{false, "is empty, by which the root directory is meant"};
}

// Visits the files of string resources that clients find below a directory.
template <class Visit>
void each_resource(const fs::path &root, Visit visit)
{
    std::error_code none;
    for (const auto &language : fs::directory_iterator(root / "vqinit", none))
        for (const auto &file :
             fs::directory_iterator(language.path() / "APIArea" / "resources", none))
            if (file.path().extension() == ".sre")
                visit(file.path());
}

// A client that is installed has no labels where VQHOME names a directory that lacks them; that is
// as it should be while clients that are not installed are run.
Finding check_vqhome()
{
    const std::string home = value_of("VQHOME"), installed = installed_home();
    if (home.empty())
        return {true, "is not set, or empty; an installed vqhost sets it for clients"};
    Finding found = check_root(home);
    std::string hidden;
    if (found.well)
        each_resource(installed, [&](const fs::path &file) {
            const fs::path place = file.lexically_relative(installed);
            if (!fs::exists(fs::path(home) / place) &&
                !fs::exists(fs::path(value_of("HOME")) / place))
                hidden = place;
        });
    if (!hidden.empty())
        found.text += ", and hides what is installed in " + installed + ": " + hidden +
                      "; unset it to run that client";
    return found;
}

Finding check_loopback()
{
    const Descriptor server(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const Descriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = on_loopback();
    auto *const where = reinterpret_cast<sockaddr *>(&address);
    socklen_t size = sizeof address;
    if (!server || !client || bind(server.get(), where, size) != 0 ||
        listen(server.get(), 1) != 0 || getsockname(server.get(), where, &size) != 0 ||
        connect(client.get(), where, size) != 0)
        return {false, "127.0.0.1 cannot be connected to: " + system_reason()};
    return {true, "127.0.0.1 can be connected to"};
}

// One of both port mappers is enough.
Finding check_port_mapper()
{
    const std::string hindrance = MachinePortMapper::hindrance();
    const std::string machines =
        hindrance.empty() ? "the machine's answers" : "for --port-mapper machine: " + hindrance;
    try {
        const SessionPortMapper own;
        return {true, "vqhost can be one itself; " + machines};
    } catch (const std::system_error &error) {
        return {hindrance.empty(), std::string(error.what()) + "; " + machines};
    }
}

Finding check_host_name()
{
    std::array<char, HOST_NAME_MAX + 1> name{};
    gethostname(name.data(), name.size() - 1);
    const std::string told = name.data();
    const hostent *found = gethostbyname(name.data());
    if (!found || found->h_addrtype != AF_INET)
        return {false, told + " has no address"};
    std::array<char, INET_ADDRSTRLEN> address{};
    inet_ntop(AF_INET, found->h_addr_list[0], address.data(), address.size());
    return {true, told + " has the address " + address.data()};
}

// Only the same user's processes and root's may call; whose a connection is the system has to tell.
Finding check_owners()
{
    const Descriptor own(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = on_loopback();
    auto *const where = reinterpret_cast<sockaddr *>(&address);
    socklen_t size = sizeof address;
    if (!own || bind(own.get(), where, size) != 0 || getsockname(own.get(), where, &size) != 0)
        return {false, "no socket can be made: " + system_reason()};
    return transport_trusts(address) ? Finding{true, "the system tells whose they are"}
                                     : Finding{false, "the system does not tell whose they are"};
}

Finding check_processes()
{
    return start_of(getpid()) != 0 ? Finding{true, "/proc tells of processes"}
                                   : Finding{false, "/proc does not tell of processes"};
}

Finding check_programs()
{
    constexpr const char *shell = "/bin/sh";
    Startup what(shell);
    what.arguments = {"-c", "exit 0"};
    try {
        ClientProcess process(what, "", "");
        while (!process.ended())
            usleep(1000);
        return {process.status() == 0, std::string(shell) + " " + describe_exit(process.status())};
    } catch (const std::system_error &error) {
        return {false, std::string(shell) + " cannot be started: " + error.what()};
    }
}

Finding check_descriptors()
{
    constexpr rlim_t enough = 64; // those of a host with a few clients and open files
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const std::string text = limit.rlim_cur == RLIM_INFINITY
                                 ? "any number"
                                 : std::to_string(limit.rlim_cur) + " may be open";
    return {limit.rlim_cur >= enough, text};
}

Finding check_temporary_folder()
{
    const std::string named = value_of("TMPDIR"), folder = named.empty() ? "/tmp" : named;
    std::string path = folder + "/velt-XXXXXX";
    const Descriptor file(mkostemp(path.data(), O_CLOEXEC));
    if (!file)
        return {false, "no file can be made in " + folder + ": " + system_reason()};
    unlink(path.c_str());
    const std::string sample(4096, 'x'); // a name may need no room where a text does
    if (const ssize_t put = write(file.get(), sample.data(), sample.size());
        put != static_cast<ssize_t>(sample.size()))
        return {false, "files in " + folder + " cannot be written: " +
                           (put < 0 ? system_reason() : "there is no room")};
    return {true, "files can be made in " + folder};
}

// Reads all files that may be found for clients.
Finding check_resources()
{
    std::size_t count = 0;
    std::vector<std::string> searched;
    for (const char *variable : {"HOME", "VQHOME"}) {
        const std::string root = value_of(variable);
        if (root.empty())
            continue;
        searched.push_back(root + "/vqinit");
        each_resource(root, [&](const fs::path &file) {
            SrIndex index;
            const auto stream = open_file(file, "re");
            if (const char *fault = SrReader(stream.get()).read_index(index))
                fail(file.string() + ": " + fault);
            count++;
        });
    }
    return {count > 0,
            (count > 0 ? std::to_string(count) + " files" : std::string("there are none")) +
                " below " + joined(searched)};
}

Finding check_unicode()
{
    constexpr std::pair<UIntT, const char *> encodings[] = {{VdeEncShiftJis, "Shift-JIS"},
                                                            {VdeEncKscEuc, "Korean EUC"},
                                                            {VdeEncBig5, "Big5"},
                                                            {VdeEncGbEuc, "GB EUC"}};
    const std::string named = value_of("VQHOME"), home = named.empty() ? installed_home() : named;
    const std::string folder = home + "/unicode";
    // The host itself needs none, and a client's own directory for labels has none.
    if (!is_folder(folder))
        return {true,
                "there is no " + folder + ", which clients that convert East Asian text need"};
    V_FdeInitUnicode(home.c_str());
    for (const auto &[encoding, name] : encodings) {
        UIntT *const text = VdeTextEncStringToLString("a", encoding);
        V_Free(text);
        if (!text)
            return {false, std::string(name) + "'s is missing or damaged in " + folder};
    }
    return {true, "all are in " + folder};
}

// Looks where the linker of programs does, and beside this program.
Finding check_libraries()
{
    std::string found;
    for (const std::string &path : {installed_home() + "/../../" VELT_LIBDIR "/" VELT_API_SONAME,
                                    std::string(VELT_API_SONAME)}) {
        // Lazily: the functions that each client defines are not here.
        void *const library = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
        if (!library) {
            const std::string reason = dlerror();
            // A link that leads nowhere is no missing library.
            const bool is_link = path != VELT_API_SONAME && fs::is_symlink(path);
            if (is_link || reason.find(VELT_API_SONAME ": cannot open") == reason.npos)
                return {false, reason};
            continue;
        }
        const auto version =
            reinterpret_cast<decltype(&V_ApiVersion)>(dlsym(library, "V_ApiVersion"));
        const std::string told = version ? version() : "unknown";
        dlclose(library);
        if (told != VELT_VERSION)
            return {false, path + " is of version " + told + ", vqhost of " VELT_VERSION};
        found = path;
    }
    return {true, found.empty() ? "none is installed; clients bring the library with them"
                                : VELT_API_SONAME " is of version " VELT_VERSION ", as vqhost is"};
}

struct Check {
    const char *name;
    Finding (*find)();
    const char *advice;
};

constexpr Check all_checks[] = {
    {"VQAPIX", check_identity, "unset VQAPIX; vqhost sets it for its clients"},
    {"VQPMAP", check_session_mapper, "unset VQPMAP, or take what the command session prints"},
    {"VQHOME", check_vqhome,
     "unset VQHOME; --client-env VQHOME=DIRECTORY gives one client labels of its own"},
    {"HOME", check_home, "set HOME to a directory of your own, or unset it"},
    {"loopback", check_loopback, "ip link set lo up"},
    {"port mapper", check_port_mapper, "ip link set lo up, or start rpcbind"},
    {"host name", check_host_name,
     "give it one in /etc/hosts, or run with --port-mapper own, which does not need it"},
    {"connections", check_owners, "mount /proc, or run outside of the sandbox"},
    {"processes", check_processes, "mount -t proc proc /proc"},
    {"programs", check_programs, "raise ulimit -u; let the sandbox start programs"},
    {"descriptors", check_descriptors, "ulimit -n 1024"},
    {"temporary folder", check_temporary_folder,
     "set TMPDIR to a directory that you may write and that has room"},
    {"string resources", check_resources,
     "install the clients, or set VQHOME to the directory that has their vqinit/"},
    {"Unicode tables", check_unicode, "\"vqucod make\" makes all anew in that directory"},
    {"libraries", check_libraries, "install one version, and unset LD_LIBRARY_PATH"},
};

// What cannot be looked at, such as a file that may not be read, is wrong.
Finding attempted(Finding (*find)())
{
    try {
        return find();
    } catch (const std::exception &error) {
        return {false, reason_of(error)};
    }
}

} // namespace

bool examine()
{
    bool well = true;
    for (const Check &each : all_checks) {
        const Finding finding = attempted(each.find);
        well &= finding.well;
        std::cout << (finding.well ? "OK     " : "WRONG  ") << each.name << ": "
                  << printable_line(finding.text) << (finding.well ? "" : "; ")
                  << (finding.well ? "" : each.advice) << std::endl;
        // The other checks are of a host of its own, which a run is too.
        if (each.find == check_session_mapper)
            unsetenv("VQPMAP");
        if (each.find == check_vqhome)
            default_home();
    }
    if (!std::cout)
        fail("what it printed could not be written");
    return well;
}

std::string names_of_checks()
{
    std::vector<std::string> names;
    for (const Check &each : all_checks)
        names.emplace_back(each.name);
    return joined(names);
}

} // namespace velt::host
