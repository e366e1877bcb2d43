// What the demo's reports have in common.
#pragma once

#include "host/model/SceneModel.h"
#include "host/report/HtmlReport.h"

#include <cstdio>
#include <string>

namespace demo
{

/// printf into a string; texts longer than 511 characters are cut.
template <class... Arguments>
std::string Format(char const* format, Arguments... arguments)
{
    char text[512];
    std::snprintf(text, sizeof text, format, arguments...);
    return text;
}

/// Makes sure that the output folder is there and can be written to.
/// @return false with one line in @p problem.
bool PrepareFolder(std::string const& folder, std::string* problem);

/// Adds who made the model's parts, and under which licences.
void AddCredits(host::SceneModel const& model, host::HtmlReport* page);

} // namespace demo
