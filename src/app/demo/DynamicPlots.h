// The plots of a flight over a changing tree, for the report.
#pragma once

#include "demo/DynamicTable.h"

#include <string>
#include <vector>

namespace demo
{

/// The plots one after the other as SVG elements: shapes in the tree; update, edit and walk times;
/// shapes changed; depth and nodes tested.
std::string MakeDynamicPlots(std::vector<DynamicRecord> const& log);

} // namespace demo
