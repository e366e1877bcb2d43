// A report as one self-contained web page: text, tables, pictures and plots, in the order of
// adding. Everything is embedded; the page refers to nothing outside itself.
#pragma once

#include "host/report/Image.h"

#include <string>
#include <utility>
#include <vector>

namespace host
{

/// Collects the page in memory. All texts are escaped on the way in.
class HtmlReport
{
public:
    explicit HtmlReport(std::string title) : m_title(std::move(title)) {}

    void AddHeading(std::string const& text);
    void AddParagraph(std::string const& text);

    /// A two-column table of facts.
    void AddFacts(std::vector<std::pair<std::string, std::string>> const& facts);

    /// A table with a heading row. Cells that start with a digit, sign or point are set flush
    /// right.
    void AddTable(std::vector<std::string> const& heading,
                  std::vector<std::vector<std::string>> const& rows);

    /// A picture with a caption under it, embedded as PNG.
    void AddPicture(Image const& image, std::string const& caption);

    /// Markup that is already safe, such as that of SvgPlot.
    void AddMarkup(std::string const& markup) { m_body += markup; }

    /// A longer text behind a line that opens it.
    void AddDetails(std::string const& line, std::string const& text);

    /// The page as text.
    std::string ToHtml() const;

private:
    std::string m_title;
    std::string m_body;
};

} // namespace host
