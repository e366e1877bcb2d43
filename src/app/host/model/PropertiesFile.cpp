#include "host/model/PropertiesFile.h"

#include "host/model/Utf8.h"

#include <charconv>
#include <cmath>

namespace host
{
namespace
{

constexpr uint32_t eREPLACEMENT = 0xFFFD;

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\f';
}

bool IsLineEnd(char c)
{
    return c == '\n' || c == '\r';
}

/// Four hexadecimal digits at `at`, which then stands behind them; false leaves it alone.
bool ReadHex4(std::string_view text, size_t& at, uint32_t& unit)
{
    if (text.size() - at < 4) {
        return false;
    }
    char const* begin = text.data() + at;
    auto const [end, error] = std::from_chars(begin, begin + 4, unit, 16);
    if (error != std::errc() || end != begin + 4) {
        return false;
    }
    at += 4;
    return true;
}

/// The code point of a \u escape whose backslash and u are already read.
uint32_t ReadUnicodeEscape(std::string_view text, size_t& at)
{
    uint32_t unit = 0;
    if (!ReadHex4(text, at, unit)) {
        return eREPLACEMENT;
    }
    bool const high = unit >= 0xD800 && unit < 0xDC00;
    if (high && text.substr(at, 2) == "\\u") {
        size_t behind = at + 2;
        uint32_t low = 0;
        if (ReadHex4(text, behind, low) && low >= 0xDC00 && low < 0xE000) {
            at = behind;
            return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
        }
    }
    return unit >= 0xD800 && unit < 0xE000 ? eREPLACEMENT : unit;
}

/// Appends what an escape stands for; `at` is behind the backslash and inside the text.
void ReadEscape(std::string_view text, size_t& at, std::string& out)
{
    char const c = text[at++];
    switch (c) {
    case 't':
        out += '\t';
        break;
    case 'n':
        out += '\n';
        break;
    case 'r':
        out += '\r';
        break;
    case 'f':
        out += '\f';
        break;
    case 'u':
        AppendUtf8(out, ReadUnicodeEscape(text, at));
        break;
    default:
        out += c;
        break;
    }
}

void SkipBlanks(std::string_view line, size_t& at)
{
    while (at < line.size() && IsBlank(line[at])) {
        ++at;
    }
}

/// Takes the next logical line from `text`: comments and empty lines are passed over, continued
/// lines are joined with the blanks at the start of each next one removed. False at the end.
bool NextLogicalLine(std::string_view text, size_t& at, std::string& line)
{
    line.clear();
    bool continued = false;
    while (at < text.size()) {
        size_t end = at;
        while (end < text.size() && !IsLineEnd(text[end])) {
            ++end;
        }
        std::string_view part = text.substr(at, end - at);
        at = end + (end < text.size() ? 1 : 0);
        if (end + 1 < text.size() && text[end] == '\r' && text[end + 1] == '\n') {
            ++at;
        }

        size_t first = 0;
        SkipBlanks(part, first);
        part.remove_prefix(first);
        if (!continued && (part.empty() || part[0] == '#' || part[0] == '!')) {
            continue;
        }
        size_t slashes = 0;
        while (slashes < part.size() && part[part.size() - 1 - slashes] == '\\') {
            ++slashes;
        }
        continued = slashes % 2 == 1;
        line += part.substr(0, part.size() - (continued ? 1 : 0));
        if (!continued) {
            return true;
        }
    }
    return !line.empty();
}

void ParseLine(std::string_view line, Properties& properties)
{
    std::string key;
    size_t at = 0;
    while (at < line.size() && !IsBlank(line[at]) && line[at] != '=' && line[at] != ':') {
        if (line[at] == '\\' && at + 1 < line.size()) {
            ++at;
            ReadEscape(line, at, key);
        } else {
            key += line[at++];
        }
    }
    SkipBlanks(line, at);
    if (at < line.size() && (line[at] == '=' || line[at] == ':')) {
        ++at;
        SkipBlanks(line, at);
    }
    std::string value;
    while (at < line.size()) {
        if (line[at] == '\\' && at + 1 < line.size()) {
            ++at;
            ReadEscape(line, at, value);
        } else {
            value += line[at++];
        }
    }
    properties[std::move(key)] = std::move(value);
}

} // namespace

Properties ParseProperties(std::string_view text)
{
    std::string const utf8 = ToUtf8(text);
    Properties properties;
    std::string line;
    size_t at = 0;
    while (NextLogicalLine(utf8, at, line)) {
        ParseLine(line, properties);
    }
    return properties;
}

std::string GetProperty(Properties const& properties, std::string_view key,
                        std::string_view fallback)
{
    auto const found = properties.find(key);
    return found == properties.end() ? std::string(fallback) : found->second;
}

double GetNumber(Properties const& properties, std::string_view key, double fallback)
{
    auto const found = properties.find(key);
    double value = fallback;
    if (found != properties.end()) {
        ParseNumber(found->second, value);
    }
    return value;
}

bool ParseNumber(std::string_view text, double& value)
{
    while (!text.empty() && (IsBlank(text.front()) || text.front() == '+')) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsBlank(text.back())) {
        text.remove_suffix(1);
    }
    double parsed = 0.0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() ||
        !std::isfinite(parsed)) {
        return false;
    }
    value = parsed;
    return true;
}

} // namespace host
