// Reads zip files (a .sh3f catalogue is one) whole entries at a time, through libzip.
//
// One archive belongs to one thread at a time; threads that read the same file open it each for
// themselves. Nothing here throws but std::bad_alloc.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct zip;

namespace host
{

/// An open zip file.
class ZipArchive
{
public:
    /// Largest entry that Read() accepts, in bytes: guards against archives that claim absurd
    /// sizes.
    static constexpr uint64_t s_largestEntry = uint64_t(1) << 30;

    /// Opens a zip file for reading. Null, with one line in `reason`, when it cannot be.
    static std::unique_ptr<ZipArchive> Open(std::string const& path, std::string& reason);

    ~ZipArchive();
    ZipArchive(ZipArchive const&) = delete;
    ZipArchive& operator=(ZipArchive const&) = delete;

    /// Names of all entries in the archive's order, folders (which end in '/') included.
    std::vector<std::string> GetNames() const;

    bool Contains(std::string const& name) const;

    /// Bytes of an entry once unpacked; 0 for one that does not exist.
    uint64_t GetSize(std::string const& name) const;

    /// Unpacks an entry into `content`. A damaged, encrypted, missing or too large entry gives
    /// false and an empty `content`; the archive stays usable.
    bool Read(std::string const& name, std::string& content) const;

private:
    explicit ZipArchive(zip* archive);

    zip* m_archive;
};

} // namespace host
