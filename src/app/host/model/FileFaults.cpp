#include "host/model/FileFaults.h"

#include "host/model/PlyCheck.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace host
{
namespace
{

namespace fs = std::filesystem;

constexpr std::streamoff eTAIL = 4096; ///< bytes looked at from the end of a text file

std::string GetLowerExtension(std::string const& path)
{
    std::string extension = fs::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return extension;
}

/// The file's last bytes.
std::string ReadTail(std::ifstream& file)
{
    file.seekg(0, std::ios::end);
    std::streamoff const size = file.tellg();
    std::streamoff const length = std::min(size, eTAIL);
    file.seekg(size - length);
    std::string tail(static_cast<size_t>(std::max<std::streamoff>(length, 0)), '\0');
    file.read(tail.data(), length);
    tail.resize(static_cast<size_t>(std::max<std::streamsize>(file.gcount(), 0)));
    return tail;
}

/// An OBJ file has no end mark, but a last line without a line break that lacks some of its numbers
/// gives a cut away.
std::string FindObjFault(std::ifstream& file)
{
    std::string const tail = ReadTail(file);
    if (tail.empty() || tail.back() == '\n' || tail.back() == '\r') {
        return {};
    }
    size_t const start = tail.find_last_of("\r\n");
    if (start == std::string::npos) {
        return {};
    }
    std::istringstream words(tail.substr(start + 1));
    std::string keyword;
    std::string word;
    words >> keyword;
    int numValues = 0;
    while (words >> word) {
        ++numValues;
    }
    bool const needsThree = keyword == "v" || keyword == "vn" || keyword == "f";
    bool const brokenOff = !word.empty() && (word.back() == '/' || word.back() == '-');
    if ((needsThree && (numValues < 3 || brokenOff)) || (keyword == "vt" && numValues < 2)) {
        return "is cut short: its last line breaks off";
    }
    return {};
}

/// An ASCII STL file ends with "endsolid"; a binary one has its length in it, which importers test.
std::string FindStlFault(std::ifstream& file)
{
    std::string head(80, '\0');
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(std::max<std::streamsize>(file.gcount(), 0)));
    file.clear();
    bool const text = head.compare(0, 5, "solid") == 0 && head.find('\0') == std::string::npos;
    std::string const tail = ReadTail(file);
    bool const textEnd = tail.find('\0') == std::string::npos;
    if (text && textEnd && tail.find("endsolid") == std::string::npos) {
        return "is cut short: \"endsolid\" is missing";
    }
    return {};
}

std::string FindFormatFault(std::string const& path, std::ifstream& file)
{
    std::string const extension = GetLowerExtension(path);
    if (extension == ".ply") {
        return FindPlyFault(file);
    }
    if (extension == ".obj") {
        return FindObjFault(file);
    }
    if (extension == ".stl") {
        return FindStlFault(file);
    }
    return {};
}

} // namespace

std::string FindFileFault(std::string const& path)
{
    std::error_code error;
    fs::file_status const status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) {
        return "no such file";
    }
    if (status.type() == fs::file_type::none) {
        return "cannot be read: " + error.message();
    }
    if (status.type() == fs::file_type::directory) {
        return "is a directory, not a model file";
    }
    if (status.type() != fs::file_type::regular) {
        return "is not a regular file";
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::string("cannot be read: ") + std::strerror(errno != 0 ? errno : EIO);
    }
    if (file.peek() == std::ifstream::traits_type::eof()) {
        return file.bad() ? "cannot be read" : "is empty";
    }
    return FindFormatFault(path, file);
}

} // namespace host
