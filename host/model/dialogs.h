// The dialogs of clients and the items in them.
#pragma once

#include "host/model/objects.h"

namespace velt::host::dialogs
{

// These return what there is of the client's name or the number, or create it.
UIntT dialog(Objects &objects, int client, const std::string &name);
UIntT item(Objects &objects, UIntT dialog, IntT number);

} // namespace velt::host::dialogs
