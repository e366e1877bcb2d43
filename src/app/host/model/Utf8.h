// UTF-8 helpers for text that comes out of other people's files: names and licence texts end up in
// a report, which must be valid UTF-8 whatever was read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace host
{

/// Appends one code point. Values above U+10FFFF and surrogates are appended as U+FFFD.
void AppendUtf8(std::string& out, uint32_t codePoint);

/// True when `text` is well-formed UTF-8 (no overlong forms, no surrogates). Linear.
bool IsUtf8(std::string_view text);

/// `text` unchanged (less a byte order mark) when it is UTF-8, else read as ISO 8859-1. Linear.
std::string ToUtf8(std::string_view text);

} // namespace host
