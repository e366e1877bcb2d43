#include "host/model/ModelCache.h"

#include "host/model/SceneRecords.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>

namespace host
{
namespace
{

namespace fs = std::filesystem;

constexpr char s_magic[8] = {'T', 'q', 'F', 'u', 'r', 'n', 'C', 'a'};
/// Raise with every change to what is written, or to what the catalogue reader makes of its files.
constexpr uint32_t eFORMAT_VERSION = 2;
constexpr uint32_t eBYTE_ORDER = 0x01020304;

// Smallest stored sizes, which bound the counts that a reader believes.
constexpr size_t eLEAST_PIECE_BYTES = 4 * 8 + 5 * sizeof(float) + 2 + 2 * 4;
constexpr size_t eLEAST_CREDIT_BYTES = 4 * 8;

struct Header
{
    char magic[8];
    uint32_t version;
    uint32_t byteOrder;
    uint64_t fingerprint;
    uint64_t numBytes; ///< of what follows the header
    uint64_t checksum; ///< of what follows the header
};

static_assert(sizeof(Header) == 40, "stored as it is: no padding");

// ---- Records ------------------------------------------------------------------------------------

template <class Archive, class T>
void ExchangePiece(Archive archive, T& piece)
{
    archive(piece.name);
    archive(piece.category);
    archive(piece.creator);
    archive(piece.licence);
    archive(piece.width);
    archive(piece.depth);
    archive(piece.height);
    archive(piece.elevation);
    archive(piece.topHeight);
    archive(piece.doorOrWindow);
    archive(piece.staircase);
    archive(piece.firstMesh);
    archive(piece.numMeshes);
}

template <class Archive, class T>
void ExchangeCredit(Archive archive, T& credit)
{
    archive(credit.title);
    archive(credit.author);
    archive(credit.licence);
    archive(credit.text);
}

void SaveLibrary(BinaryWriter& stream, FurnitureLibrary const& library)
{
    SaveShapes(stream, library.materials, library.meshes);
    SaveAll(stream, library.pieces, [](auto archive, auto& item) { ExchangePiece(archive, item); });
    SaveAll(stream, library.credits,
            [](auto archive, auto& item) { ExchangeCredit(archive, item); });
    RecordSaver{stream}(library.generated);
    stream.Write(library.note);
}

bool LoadLibrary(BinaryReader& stream, FurnitureLibrary& library)
{
    bool const good = LoadShapes(stream, library.materials, library.meshes);
    LoadAll(stream, eLEAST_PIECE_BYTES, library.pieces,
            [](auto archive, auto& item) { ExchangePiece(archive, item); });
    LoadAll(stream, eLEAST_CREDIT_BYTES, library.credits,
            [](auto archive, auto& item) { ExchangeCredit(archive, item); });
    RecordLoader{stream}(library.generated);
    stream.Read(library.note);
    return good && stream.IsAtEnd();
}

// ---- Files --------------------------------------------------------------------------------------

bool IsUsableHeader(Header const& header, uint64_t fingerprint, uint64_t fileSize)
{
    return std::memcmp(header.magic, s_magic, sizeof(s_magic)) == 0 &&
           header.version == eFORMAT_VERSION && header.byteOrder == eBYTE_ORDER &&
           header.fingerprint == fingerprint && header.numBytes == fileSize - sizeof(Header);
}

bool ReadCacheFile(std::string const& path, uint64_t fingerprint, FurnitureLibrary& library)
{
    std::error_code error;
    uint64_t const fileSize = fs::file_size(path, error);
    if (error || fileSize < sizeof(Header)) {
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    Header header;
    file.read(reinterpret_cast<char*>(&header), sizeof(header));
    if (!file || !IsUsableHeader(header, fingerprint, fileSize)) {
        return false;
    }
    BinaryReader stream(file, header.numBytes);
    // The checksum comes last, so that damage shows even where the records still make sense.
    return LoadLibrary(stream, library) && stream.GetChecksum() == header.checksum &&
           library.IsConsistent();
}

std::string DescribeErrno(char const* what)
{
    return std::string(what) + ": " + std::strerror(errno != 0 ? errno : EIO);
}

/// Writes header and content to `path`. The header is written twice: its length and checksum are
/// known only once the content is out.
bool WriteCacheFile(std::string const& path, uint64_t fingerprint, FurnitureLibrary const& library,
                    std::string& reason)
{
    errno = 0;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    Header header = {};
    file.write(reinterpret_cast<char const*>(&header), sizeof(header));
    BinaryWriter stream(file);
    SaveLibrary(stream, library);
    std::memcpy(header.magic, s_magic, sizeof(s_magic));
    header.version = eFORMAT_VERSION;
    header.byteOrder = eBYTE_ORDER;
    header.fingerprint = fingerprint;
    header.numBytes = stream.GetNumBytes();
    header.checksum = stream.GetChecksum();
    file.seekp(0);
    file.write(reinterpret_cast<char const*>(&header), sizeof(header));
    file.close();
    if (!file) {
        reason = DescribeErrno("cannot write the cache");
        return false;
    }
    return true;
}

/// A name beside `path` that two programs which write at once do not share.
std::string MakeTemporaryName(std::string const& path)
{
    auto const ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    auto const here = reinterpret_cast<uintptr_t>(&path);
    return path + "." + std::to_string(static_cast<uint64_t>(ticks) ^ here) + ".part";
}

uint64_t MixText(uint64_t hash, std::string const& text)
{
    for (char const c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3ull;
    }
    return hash;
}

} // namespace

uint64_t FingerprintFiles(std::vector<std::string> const& files)
{
    uint64_t hash = 0xCBF29CE484222325ull;
    for (std::string const& file : files) {
        std::error_code error;
        hash = MixText(hash, file);
        uint64_t const size = fs::file_size(file, error);
        if (!error) {
            hash = MixText(hash, '/' + std::to_string(size));
        }
        fs::file_time_type const time = fs::last_write_time(file, error);
        if (!error) {
            hash = MixText(hash, '@' + std::to_string(time.time_since_epoch().count()));
        }
        hash = MixText(hash, "\n");
    }
    return hash != 0 ? hash : 1;
}

std::string GetCacheDirectory()
{
    auto const getSet = [](char const* variable) {
        char const* value = std::getenv(variable);
        return std::string(value != nullptr ? value : "");
    };
    std::string const cacheHome = getSet("XDG_CACHE_HOME");
    if (!cacheHome.empty()) {
        return cacheHome + "/scenecull";
    }
    std::string const home = getSet("HOME");
    if (!home.empty()) {
        return home + "/.cache/scenecull";
    }
    std::error_code error;
    fs::path const temporary = fs::temp_directory_path(error);
    return (error ? fs::path(".") : temporary).string() + "/scenecull";
}

bool ReadFurnitureCache(std::string const& path, uint64_t fingerprint, FurnitureLibrary& library)
{
    bool read = false;
    try {
        library = FurnitureLibrary();
        read = ReadCacheFile(path, fingerprint, library);
    } catch (std::exception const&) {
        read = false; // out of memory, or a path that the system cannot express
    }
    if (!read) {
        library = FurnitureLibrary();
    }
    return read;
}

bool WriteFurnitureCache(std::string const& path, uint64_t fingerprint,
                         FurnitureLibrary const& library, std::string& reason)
{
    try {
        std::error_code error;
        fs::path const folder = fs::path(path).parent_path();
        if (!folder.empty()) {
            fs::create_directories(folder, error);
        }
        std::string const temporary = MakeTemporaryName(path);
        bool written = WriteCacheFile(temporary, fingerprint, library, reason);
        if (written) {
            fs::rename(temporary, path, error);
            if (error) {
                reason = "cannot put the cache in place: " + error.message();
                written = false;
            }
        }
        if (!written) {
            fs::remove(temporary, error);
        }
        return written;
    } catch (std::exception const& failure) {
        reason = std::string("cannot write the cache: ") + failure.what();
        return false;
    }
}

} // namespace host
