// Makes zip files for tests.
#pragma once

#include <zip.h>

#include <map>
#include <string>

/// Writes a zip file with the given entries. False when that failed.
inline bool MakeZip(std::string const& path, std::map<std::string, std::string> const& entries)
{
    int error = 0;
    zip_t* archive = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    if (archive == nullptr) {
        return false;
    }
    for (auto const& [name, content] : entries) {
        zip_source_t* source = zip_source_buffer(archive, content.data(), content.size(), 0);
        zip_file_add(archive, name.c_str(), source, ZIP_FL_OVERWRITE);
    }
    return zip_close(archive) == 0;
}
