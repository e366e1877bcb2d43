#include "host/model/ZipArchive.h"

#include <zip.h>

namespace host
{

std::unique_ptr<ZipArchive> ZipArchive::Open(std::string const& path, std::string& reason)
{
    int code = 0;
    zip_t* archive = zip_open(path.c_str(), ZIP_RDONLY, &code);
    if (archive == nullptr) {
        zip_error_t error;
        zip_error_init_with_code(&error, code);
        reason = zip_error_strerror(&error);
        zip_error_fini(&error);
        return nullptr;
    }
    return std::unique_ptr<ZipArchive>(new ZipArchive(archive));
}

ZipArchive::ZipArchive(zip* archive) : m_archive(archive) {}

ZipArchive::~ZipArchive()
{
    zip_discard(m_archive);
}

std::vector<std::string> ZipArchive::GetNames() const
{
    std::vector<std::string> names;
    zip_int64_t const count = zip_get_num_entries(m_archive, 0);
    for (zip_int64_t i = 0; i < count; ++i) {
        char const* name = zip_get_name(m_archive, static_cast<zip_uint64_t>(i), 0);
        if (name != nullptr) {
            names.emplace_back(name);
        }
    }
    return names;
}

bool ZipArchive::Contains(std::string const& name) const
{
    return zip_name_locate(m_archive, name.c_str(), 0) >= 0;
}

uint64_t ZipArchive::GetSize(std::string const& name) const
{
    zip_stat_t status;
    zip_stat_init(&status);
    bool const known =
        zip_stat(m_archive, name.c_str(), 0, &status) == 0 && (status.valid & ZIP_STAT_SIZE) != 0;
    return known ? status.size : 0;
}

bool ZipArchive::Read(std::string const& name, std::string& content) const
{
    content.clear();
    uint64_t const size = GetSize(name);
    if (size > s_largestEntry) {
        return false;
    }
    // Sized before the entry is opened, so that running out of memory leaks nothing.
    content.resize(size);
    zip_file_t* file = zip_fopen(m_archive, name.c_str(), 0);
    if (file == nullptr) {
        content.clear();
        return false;
    }
    uint64_t got = 0;
    while (got < size) {
        zip_int64_t const step = zip_fread(file, content.data() + got, size - got);
        if (step <= 0) {
            break;
        }
        got += static_cast<uint64_t>(step);
    }
    // libzip checks an entry's checksum when its end is read, not before.
    char behind = 0;
    bool const complete = got == size && zip_fread(file, &behind, 1) == 0;
    zip_fclose(file);
    if (!complete) {
        content.clear();
    }
    return complete;
}

} // namespace host
