#include "host/model/FurnitureStore.h"

#include "host/model/FurnitureCatalogue.h"
#include "host/model/GeneratedFurniture.h"
#include "host/model/ModelCache.h"

namespace host
{
namespace
{

constexpr char s_cacheName[] = "/furniture.cache";

/// Joins what two steps had to say.
void AddNote(FurnitureLibrary& library, std::string const& note)
{
    if (!note.empty()) {
        library.note += (library.note.empty() ? "" : "; ") + note;
    }
}

FurnitureLibrary Generate(std::string const& why, ProgressFn const& progress)
{
    FurnitureLibrary library = MakeGeneratedFurniture(progress);
    AddNote(library, why);
    return library;
}

} // namespace

FurnitureLibrary LoadFurniture(FurnitureOptions const& options, ProgressFn const& progress)
{
    if (options.generated) {
        return Generate("generated furniture, as asked for", progress);
    }
    std::vector<std::string> const files = FindFurnitureCatalogues(options.directory);
    if (files.empty()) {
        return Generate("generated furniture: the package sweethome3d-furniture is not installed",
                        progress);
    }
    std::string const cachePath =
        options.cachePath.empty() ? GetCacheDirectory() + s_cacheName : options.cachePath;
    uint64_t const fingerprint = FingerprintFiles(files);
    FurnitureLibrary library;
    if (options.useCache && ReadFurnitureCache(cachePath, fingerprint, library)) {
        if (progress) {
            progress(1.0, "furniture from the cache");
        }
        return library;
    }
    library = ReadFurnitureCatalogues(files, progress);
    if (library.pieces.empty()) {
        return Generate("generated furniture: the catalogues found have no readable model",
                        progress);
    }
    std::string reason;
    if (options.useCache && !WriteFurnitureCache(cachePath, fingerprint, library, reason)) {
        AddNote(library, reason);
    }
    return library;
}

} // namespace host
