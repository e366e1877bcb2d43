#include "host/report/HtmlText.h"

#include <cstddef>

namespace host
{

namespace
{

constexpr char const* s_replacement = "\xEF\xBF\xBD";

/// Length of the well-formed UTF-8 sequence at a place, or 0.
std::size_t Utf8Length(std::string const& text, std::size_t at)
{
    unsigned char const lead = static_cast<unsigned char>(text[at]);
    std::size_t const length = lead < 0x80                   ? 1
                               : lead >= 0xC2 && lead < 0xE0 ? 2
                               : lead >= 0xE0 && lead < 0xF0 ? 3
                               : lead >= 0xF0 && lead < 0xF5 ? 4
                                                             : 0;
    if (length == 0 || at + length > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((static_cast<unsigned char>(text[at + i]) & 0xC0) != 0x80) {
            return 0;
        }
    }
    return length;
}

char const* Entity(char character)
{
    switch (character) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&#39;";
    default:
        return nullptr;
    }
}

} // namespace

std::string EscapeHtml(std::string const& text)
{
    std::string escaped;
    escaped.reserve(text.size() + text.size() / 8);
    for (std::size_t at = 0; at < text.size();) {
        char const character = text[at];
        std::size_t const length = Utf8Length(text, at);
        bool const control = static_cast<unsigned char>(character) < 0x20 && character != '\t' &&
                             character != '\n' && character != '\r';
        if (length == 0 || control || character == 0x7F) {
            escaped += s_replacement;
        } else if (char const* entity = Entity(character)) {
            escaped += entity;
        } else {
            escaped.append(text, at, length);
        }
        at += length == 0 ? 1 : length;
    }
    return escaped;
}

std::string EncodeBase64(std::vector<std::uint8_t> const& bytes)
{
    constexpr char const* s_digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        std::size_t const left = bytes.size() - at;
        unsigned word = static_cast<unsigned>(bytes[at]) << 16;
        word |= left > 1 ? static_cast<unsigned>(bytes[at + 1]) << 8 : 0U;
        word |= left > 2 ? static_cast<unsigned>(bytes[at + 2]) : 0U;
        text += s_digits[word >> 18 & 63];
        text += s_digits[word >> 12 & 63];
        text += left > 1 ? s_digits[word >> 6 & 63] : '=';
        text += left > 2 ? s_digits[word & 63] : '=';
    }
    return text;
}

} // namespace host
