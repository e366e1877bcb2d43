#include "host/model/Utf8.h"

namespace host
{
namespace
{

/// Length of the sequence that `lead` opens, or 0 where it opens none.
size_t GetSequenceLength(unsigned char lead)
{
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xC2 && lead < 0xE0) {
        return 2;
    }
    if (lead >= 0xE0 && lead < 0xF0) {
        return 3;
    }
    return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
}

/// The second byte rules out overlong forms, surrogates and values above U+10FFFF.
bool IsSecondByteAllowed(unsigned char lead, unsigned char second)
{
    switch (lead) {
    case 0xE0:
        return second >= 0xA0;
    case 0xED:
        return second < 0xA0;
    case 0xF0:
        return second >= 0x90;
    case 0xF4:
        return second < 0x90;
    default:
        return true;
    }
}

} // namespace

void AppendUtf8(std::string& out, uint32_t codePoint)
{
    if (codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint < 0xE000)) {
        codePoint = 0xFFFD;
    }
    auto const tail = [&out](uint32_t bits) { out += static_cast<char>(0x80 | (bits & 0x3F)); };
    if (codePoint < 0x80) {
        out += static_cast<char>(codePoint);
    } else if (codePoint < 0x800) {
        out += static_cast<char>(0xC0 | (codePoint >> 6));
        tail(codePoint);
    } else if (codePoint < 0x10000) {
        out += static_cast<char>(0xE0 | (codePoint >> 12));
        tail(codePoint >> 6);
        tail(codePoint);
    } else {
        out += static_cast<char>(0xF0 | (codePoint >> 18));
        tail(codePoint >> 12);
        tail(codePoint >> 6);
        tail(codePoint);
    }
}

bool IsUtf8(std::string_view text)
{
    size_t at = 0;
    while (at < text.size()) {
        auto const lead = static_cast<unsigned char>(text[at]);
        size_t const length = GetSequenceLength(lead);
        if (length == 0 || text.size() - at < length) {
            return false;
        }
        for (size_t i = 1; i < length; ++i) {
            auto const byte = static_cast<unsigned char>(text[at + i]);
            if ((byte & 0xC0) != 0x80 || (i == 1 && !IsSecondByteAllowed(lead, byte))) {
                return false;
            }
        }
        at += length;
    }
    return true;
}

std::string ToUtf8(std::string_view text)
{
    if (IsUtf8(text)) {
        if (text.substr(0, 3) == "\xEF\xBB\xBF") {
            text.remove_prefix(3);
        }
        return std::string(text);
    }
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    for (char const c : text) {
        AppendUtf8(out, static_cast<unsigned char>(c));
    }
    return out;
}

} // namespace host
