// Lets assimp read models and the material files they name straight out of a zip archive.
//
// FurnitureCatalogue hands one to each importer. Entries are unpacked to memory whole. The archive
// must outlive it. Names are resolved as assimp makes them up: with "./", "..", backslashes and a
// leading slash; a name that does not fit exactly is looked for without regard to case, since
// catalogues are made on systems that do not tell the two apart.
#pragma once

#include "host/model/ZipArchive.h"

#include <assimp/IOSystem.hpp>

#include <map>
#include <string>

namespace host
{

/// An assimp file system over the entries of one zip archive. Read only.
class ZipIOSystem : public Assimp::IOSystem
{
public:
    explicit ZipIOSystem(ZipArchive const& archive);

    /// The entry that `name` stands for, or an empty string.
    std::string Resolve(std::string const& name) const;

    bool Exists(char const* name) const override;

    char getOsSeparator() const override { return '/'; }

    Assimp::IOStream* Open(char const* name, char const* mode) override;
    void Close(Assimp::IOStream* stream) override;

private:
    ZipArchive const& m_archive;
    std::map<std::string, std::string> m_byLowerName;
};

} // namespace host
