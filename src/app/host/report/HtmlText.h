// Text for web pages: escaping and the base64 form in which pictures are embedded.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace host
{

/// The text with & < > " ' replaced by entities, safe in elements and in quoted attributes.
/// Control characters other than tab and line ends become U+FFFD; bytes that are not UTF-8 too.
std::string EscapeHtml(std::string const& text);

/// Base64 with padding and without line breaks.
std::string EncodeBase64(std::vector<std::uint8_t> const& bytes);

} // namespace host
