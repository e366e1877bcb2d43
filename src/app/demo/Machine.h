// What the program runs on, in words, for reports.
#pragma once

#include <string>

namespace demo
{

/// Processor, number of cores and system, such as "Xeon ..., 2 cores, Linux 6.1". Parts that cannot
/// be found out are left out.
std::string DescribeMachine();

} // namespace demo
