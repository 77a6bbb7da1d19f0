// What an answer to a client's call works on.
#pragma once

#include "host/desk.h"
#include "host/model.h"
#include "host/status.h"

namespace velt::host
{

// The client that calls.
struct Caller {
    int number;            // as in VQAPIX
    std::string name;      // as in VQAPIX
    std::string directory; // what V_ApiClientDir answers
};

struct Context {
    Model &model;
    Desk &desk;
    Caller &caller;
};

} // namespace velt::host
