// The cost of editing and searching large texts.
#pragma once

namespace velt::bench
{

void register_texts();

} // namespace velt::bench
