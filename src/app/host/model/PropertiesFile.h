// Reads Java .properties text, the form in which furniture catalogues list their pieces.
//
// FurnitureCatalogue uses it on text taken out of a zip file. One pass, no dependency.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace host
{

using Properties = std::map<std::string, std::string, std::less<>>;

/// Parses keys and values. Understands comments (# and !), the separators '=', ':' and blank, lines
/// continued by a trailing backslash, and the escapes \t \n \r \f \uXXXX (surrogate pairs too); any
/// other escaped character stands for itself. The text is taken as UTF-8 where it is valid UTF-8,
/// else as ISO 8859-1; keys and values come back as UTF-8. Of a repeated key the last value counts.
/// Any text is accepted: a damaged \u escape yields U+FFFD.
Properties ParseProperties(std::string_view text);

/// The value of `key`, or `fallback` where there is none.
std::string GetProperty(Properties const& properties, std::string_view key,
                        std::string_view fallback = {});

/// The value of `key` as a finite number in the C notation whatever the locale, or `fallback` where
/// it is missing or is not one. Blanks around the number are allowed.
double GetNumber(Properties const& properties, std::string_view key, double fallback);

/// Reads a number as GetNumber() does. False, with `value` untouched, when `text` is not one.
bool ParseNumber(std::string_view text, double& value);

} // namespace host
