// The list of pieces that a furniture catalogue holds, taken from its properties.
#pragma once

#include "host/model/ObjGroups.h"
#include "host/model/PropertiesFile.h"

#include <string>
#include <vector>

namespace host
{

/// One piece as a catalogue lists it. Lengths are metres, though catalogues count centimetres.
struct CatalogueEntry
{
    std::string name;
    std::string category;
    std::string creator;
    std::string model; ///< entry of the archive
    ObjFit fit;
    double elevation = 0.0;
    double topHeight = -1.0;
    bool doorOrWindow = false;
    bool staircase = false;
};

/// The entries id#1, id#2, ... in order, up to the first number that is not used by "name#N" or
/// "model#N". Entries without a model, or with a size that is not a positive number, are left out
/// and counted in `numRefused`.
std::vector<CatalogueEntry> ListCatalogueEntries(Properties const& properties, int& numRefused);

/// What the catalogue says of itself: title, author, licence; the text stays empty.
Credit MakeCatalogueCredit(Properties const& properties, std::string const& fallbackTitle);

} // namespace host
