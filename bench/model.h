// The cost of an answer that has a model behind it.
#pragma once

namespace velt::bench
{

void register_model();

} // namespace velt::bench
