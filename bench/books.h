// What reading and writing a large book costs.
#pragma once

namespace velt::bench
{

void register_books();

} // namespace velt::bench
