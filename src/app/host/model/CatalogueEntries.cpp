#include "host/model/CatalogueEntries.h"

#include <charconv>

namespace host
{
namespace
{

constexpr double eMETRES_PER_UNIT = 0.01;
constexpr double eLARGEST_SIZE = 1000.0; ///< metres

std::string MakeKey(char const* name, int number)
{
    return std::string(name) + '#' + std::to_string(number);
}

/// Nine numbers in a row, row by row. Anything else leaves the rotation alone.
void ReadRotation(std::string const& text, double rotation[3][3])
{
    double values[9];
    size_t at = 0;
    for (double& value : values) {
        at = text.find_first_not_of(" \t", at);
        size_t const end = at == std::string::npos ? at : text.find_first_of(" \t", at);
        if (at == std::string::npos || !ParseNumber(text.substr(at, end - at), value)) {
            return;
        }
        at = end;
    }
    for (int i = 0; i < 9; ++i) {
        rotation[i / 3][i % 3] = values[i];
    }
}

bool ReadSize(Properties const& properties, char const* name, int number, double& size)
{
    size = GetNumber(properties, MakeKey(name, number), 0.0) * eMETRES_PER_UNIT;
    return size > 0.0 && size <= eLARGEST_SIZE;
}

bool ReadEntry(Properties const& properties, int number, CatalogueEntry& entry)
{
    auto const getText = [&properties, number](char const* name) {
        return GetProperty(properties, MakeKey(name, number));
    };
    entry.name = getText("name");
    entry.category = getText("category");
    entry.creator = getText("creator");
    entry.model = getText("model");
    entry.doorOrWindow = getText("doorOrWindow") == "true";
    entry.staircase = !getText("staircaseCutOutShape").empty();
    entry.elevation = GetNumber(properties, MakeKey("elevation", number), 0.0) * eMETRES_PER_UNIT;
    ReadRotation(getText("modelRotation"), entry.fit.rotation);
    bool const sized = ReadSize(properties, "width", number, entry.fit.size[0]) &&
                       ReadSize(properties, "height", number, entry.fit.size[1]) &&
                       ReadSize(properties, "depth", number, entry.fit.size[2]);
    // Only what the catalogue names as a resting place: a lamp or a plant has a top, too.
    double const top = GetNumber(properties, MakeKey("dropOnTopElevation", number), -1.0);
    entry.topHeight = top >= 0.0 ? top * eMETRES_PER_UNIT : -1.0;
    return sized && !entry.model.empty();
}

} // namespace

std::vector<CatalogueEntry> ListCatalogueEntries(Properties const& properties, int& numRefused)
{
    std::vector<CatalogueEntry> entries;
    numRefused = 0;
    for (int number = 1; properties.count(MakeKey("name", number)) > 0 ||
                         properties.count(MakeKey("model", number)) > 0;
         ++number) {
        CatalogueEntry entry;
        if (ReadEntry(properties, number, entry)) {
            entries.push_back(std::move(entry));
        } else {
            ++numRefused;
        }
    }
    return entries;
}

Credit MakeCatalogueCredit(Properties const& properties, std::string const& fallbackTitle)
{
    Credit credit;
    credit.title = GetProperty(properties, "name", fallbackTitle);
    credit.author = GetProperty(properties, "description");
    credit.licence = GetProperty(properties, "license");
    return credit;
}

} // namespace host
