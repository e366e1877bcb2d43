#include "host/model/PlyCheck.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <vector>

namespace host
{
namespace
{

constexpr size_t eLONGEST_LINE = 4096;

/// A value of each vertex or face: one number, or a counted list of numbers.
struct Property
{
    size_t countBytes = 0; ///< 0: not a list
    bool countSigned = false;
    size_t valueBytes = 0;
};

struct Element
{
    std::string name;
    uint64_t count = 0;
    std::vector<Property> properties;
};

enum class Coding
{
    eASCII,
    eLITTLE_ENDIAN,
    eBIG_ENDIAN
};

struct Header
{
    Coding coding = Coding::eASCII;
    std::vector<Element> elements;
};

/// Bytes of a PLY number type; 0 for a name that is none.
size_t GetTypeBytes(std::string const& type)
{
    struct Type
    {
        char const* name;
        size_t bytes;
    };

    constexpr Type s_types[] = {{"char", 1},  {"uchar", 1},   {"int8", 1},   {"uint8", 1},
                                {"short", 2}, {"ushort", 2},  {"int16", 2},  {"uint16", 2},
                                {"int", 4},   {"uint", 4},    {"int32", 4},  {"uint32", 4},
                                {"float", 4}, {"float32", 4}, {"double", 8}, {"float64", 8}};
    for (Type const& known : s_types) {
        if (type == known.name) {
            return known.bytes;
        }
    }
    return 0;
}

bool ReadLine(std::istream& file, std::string& line)
{
    line.clear();
    int c = file.get();
    while (c != std::istream::traits_type::eof() && c != '\n' && line.size() < eLONGEST_LINE) {
        line += static_cast<char>(c);
        c = file.get();
    }
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return c == '\n';
}

bool ReadProperty(std::istringstream& words, Property& property)
{
    std::string type;
    words >> type;
    if (type == "list") {
        std::string count;
        words >> count >> type;
        property.countBytes = GetTypeBytes(count);
        property.countSigned = count[0] != 'u';
        if (property.countBytes == 0) {
            return false;
        }
    }
    property.valueBytes = GetTypeBytes(type);
    return property.valueBytes > 0;
}

/// Reads the lines up to "end_header". False when one of them makes no sense or the end is missing.
bool ReadHeader(std::istream& file, Header& header)
{
    std::string line;
    while (ReadLine(file, line)) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        if (word == "end_header") {
            return true;
        }
        if (word == "format") {
            words >> word;
            header.coding = word == "binary_little_endian" ? Coding::eLITTLE_ENDIAN
                            : word == "binary_big_endian"  ? Coding::eBIG_ENDIAN
                                                           : Coding::eASCII;
        } else if (word == "element") {
            Element element;
            if (!(words >> element.name >> element.count)) {
                return false;
            }
            header.elements.push_back(std::move(element));
        } else if (word == "property") {
            Property property;
            if (header.elements.empty() || !ReadProperty(words, property)) {
                return false;
            }
            header.elements.back().properties.push_back(property);
        }
    }
    return false;
}

std::string DescribeShortage(Element const& element, uint64_t found)
{
    return "is cut short: it announces " + std::to_string(element.count) + " of \"" +
           element.name.substr(0, 20) + "\" and ends after " + std::to_string(found);
}

/// Passes over bytes without keeping them. False when the file ends before.
bool Skip(std::istream& file, uint64_t numBytes)
{
    while (numBytes > 0) {
        auto const step =
            static_cast<std::streamsize>(std::min<uint64_t>(numBytes, uint64_t(1) << 30));
        file.ignore(step);
        if (file.gcount() != step) {
            return false;
        }
        numBytes -= static_cast<uint64_t>(step);
    }
    return true;
}

/// A list's length. Negative lengths and fractions count as 0.
bool ReadListLength(std::istream& file, Coding coding, Property const& property, uint64_t& length)
{
    unsigned char bytes[8] = {};
    auto const size = static_cast<std::streamsize>(property.countBytes);
    file.read(reinterpret_cast<char*>(bytes), size);
    if (file.gcount() != size) {
        return false;
    }
    length = 0;
    for (size_t i = 0; i < property.countBytes; ++i) {
        size_t const at = coding == Coding::eBIG_ENDIAN ? i : property.countBytes - 1 - i;
        length = length << 8 | bytes[at];
    }
    uint64_t const sign = uint64_t(1) << (property.countBytes * 8 - 1);
    if (property.countSigned && (length & sign) != 0) {
        length = 0;
    }
    return true;
}

bool SkipBinaryRecord(std::istream& file, Coding coding, Element const& element)
{
    for (Property const& property : element.properties) {
        uint64_t length = 1;
        if (property.countBytes > 0 && !ReadListLength(file, coding, property, length)) {
            return false;
        }
        // A list may not be longer than the largest count times the largest value: no overflow.
        if (length > (uint64_t(1) << 40) || !Skip(file, length * property.valueBytes)) {
            return false;
        }
    }
    return true;
}

/// One record a line; empty lines do not count.
bool SkipTextRecord(std::istream& file)
{
    int c = file.get();
    bool filled = false;
    while (c != std::istream::traits_type::eof() && (c != '\n' || !filled)) {
        filled = filled || (c != ' ' && c != '\t' && c != '\r' && c != '\n');
        c = file.get();
    }
    return filled;
}

} // namespace

std::string FindPlyFault(std::istream& file)
{
    std::string line;
    ReadLine(file, line);
    if (line != "ply") {
        return {};
    }
    Header header;
    if (!ReadHeader(file, header)) {
        return "is cut short or damaged: its PLY header does not come to an end";
    }
    for (Element const& element : header.elements) {
        if (element.properties.empty()) {
            continue;
        }
        for (uint64_t i = 0; i < element.count; ++i) {
            bool const whole = header.coding == Coding::eASCII
                                   ? SkipTextRecord(file)
                                   : SkipBinaryRecord(file, header.coding, element);
            if (!whole) {
                return DescribeShortage(element, i);
            }
        }
    }
    return {};
}

} // namespace host
