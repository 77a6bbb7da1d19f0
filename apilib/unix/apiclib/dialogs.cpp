// The host's user interface.

#include "apilib/unix/apiclib/call.h"

using namespace velt;

// clang-format off

IntT V_ApiAlert(const char *message, IntT type)
{ return plain(api_vq_alert_1, {in(message), type}); }
