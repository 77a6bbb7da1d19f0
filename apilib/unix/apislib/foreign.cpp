// The services that a client has registered with the RPC library itself. The program may be linked
// with that library or its archive, or load it later; a program whose archive registers none has no
// part of it that serves, and one without shared libraries cannot look for any.

#include <dlfcn.h>
#include <link.h>

#include "apilib/unix/apislib/session.h"

#pragma weak svc_fdset
#pragma weak svc_getreq_poll
#pragma weak dl_iterate_phdr
#pragma weak dladdr
#pragma weak dlclose
#pragma weak dlopen
#pragma weak dlsym

namespace
{

velt::ForeignServices find_in(void *library)
{
    return {static_cast<const fd_set *>(dlsym(library, "svc_fdset")),
            reinterpret_cast<decltype(&svc_getreq_poll)>(dlsym(library, "svc_getreq_poll"))};
}

// The C library may have services of these names, which nobody registers any more, and which the
// loader takes for those that are meant here.
bool are_linked()
{
    static const char here = 0;
    Dl_info services{}, module{};
    return dladdr(&svc_fdset, &services) != 0 && dladdr(&here, &module) != 0 &&
           services.dli_fbase == module.dli_fbase;
}

velt::ForeignServices find()
{
    if (const velt::ForeignServices all = find_in(RTLD_DEFAULT); all.set && all.serve)
        return all;
    if (are_linked())
        return {&svc_fdset, svc_getreq_poll};
    // A module may have loaded one for itself.
    void *const library = dlopen("libtirpc.so.3", RTLD_LAZY | RTLD_NOLOAD);
    if (!library)
        return {};
    const velt::ForeignServices own = find_in(library);
    dlclose(library);
    return own;
}

} // namespace

velt::ForeignServices velt::foreign_services()
{
    if (!dl_iterate_phdr || !dladdr || !dlsym || !dlopen || !dlclose)
        return {&svc_fdset, svc_getreq_poll};
    static unsigned long long known;
    static ForeignServices found;
    unsigned long long changes = 0; // of what is loaded
    dl_iterate_phdr(
        [](dl_phdr_info *info, size_t, void *result) {
            *static_cast<unsigned long long *>(result) = info->dlpi_adds + info->dlpi_subs;
            return 1;
        },
        &changes);
    if (changes != known) {
        found = find();
        known = changes;
    }
    return found;
}
