// What happens when documents are opened, saved and closed: files, the model, the person's
// decisions, and the notifications of clients.
#pragma once

#include "host/documents/announcer.h"

namespace velt::host
{

class Documents
{
public:
    explicit Documents(Model &model) : announcer(model), model_(model) {}

    Announcer announcer;

private:
    [[maybe_unused]] Model &model_;
};

} // namespace velt::host
