#include "host/report/HtmlReport.h"

#include "host/report/HtmlText.h"
#include "host/report/PngFile.h"

#include <cstring>

namespace host
{

namespace
{

constexpr char const* s_style =
    "body{font:15px/1.5 system-ui,sans-serif;color:#1d2530;background:#f4f6f8;margin:0}"
    "main{max-width:1160px;margin:0 auto;padding:24px}"
    "h1{font-size:26px;margin:8px 0}h2{font-size:19px;margin:34px 0 8px}"
    "figure{margin:14px 0}img{max-width:100%;display:block;border-radius:4px}"
    "figcaption{color:#55606e;font-size:13px;margin-top:5px}"
    "svg{background:#fff;border:1px solid #dfe4ea;border-radius:4px;margin:7px 0}"
    "table{border-collapse:collapse;background:#fff;font-size:13px}"
    ".wide{overflow-x:auto}td,th{border:1px solid #dfe4ea;padding:3px 9px;text-align:left}"
    "th{background:#e9edf2;font-weight:600}td.n{text-align:right;"
    "font-variant-numeric:tabular-nums;white-space:nowrap}"
    "pre{white-space:pre-wrap;background:#fff;border:1px solid #dfe4ea;padding:10px;"
    "font-size:12px}summary{cursor:pointer;padding:3px 0}";

bool IsNumber(std::string const& text)
{
    return !text.empty() && std::strchr("0123456789+-.", text[0]) != nullptr;
}

std::string Cell(std::string const& text)
{
    return (IsNumber(text) ? "<td class=\"n\">" : "<td>") + EscapeHtml(text) + "</td>";
}

} // namespace

void HtmlReport::AddHeading(std::string const& text)
{
    m_body += "<h2>" + EscapeHtml(text) + "</h2>\n";
}

void HtmlReport::AddParagraph(std::string const& text)
{
    m_body += "<p>" + EscapeHtml(text) + "</p>\n";
}

void HtmlReport::AddFacts(std::vector<std::pair<std::string, std::string>> const& facts)
{
    m_body += "<table>\n";
    for (auto const& [name, value] : facts) {
        m_body += "<tr><th>" + EscapeHtml(name) + "</th><td>" + EscapeHtml(value) + "</td></tr>\n";
    }
    m_body += "</table>\n";
}

void HtmlReport::AddTable(std::vector<std::string> const& heading,
                          std::vector<std::vector<std::string>> const& rows)
{
    m_body += "<div class=\"wide\"><table>\n<tr>";
    for (std::string const& text : heading) {
        m_body += "<th>" + EscapeHtml(text) + "</th>";
    }
    m_body += "</tr>\n";
    for (std::vector<std::string> const& row : rows) {
        m_body += "<tr>";
        for (std::string const& text : row) {
            m_body += Cell(text);
        }
        m_body += "</tr>\n";
    }
    m_body += "</table></div>\n";
}

void HtmlReport::AddPicture(Image const& image, std::string const& caption)
{
    m_body += "<figure><img alt=\"" + EscapeHtml(caption) + "\" width=\"" +
              std::to_string(image.GetWidth()) + "\" src=\"data:image/png;base64," +
              EncodeBase64(EncodePng(image)) + "\"><figcaption>" + EscapeHtml(caption) +
              "</figcaption></figure>\n";
}

void HtmlReport::AddDetails(std::string const& line, std::string const& text)
{
    m_body += "<details><summary>" + EscapeHtml(line) + "</summary><pre>" + EscapeHtml(text) +
              "</pre></details>\n";
}

std::string HtmlReport::ToHtml() const
{
    std::string const title = EscapeHtml(m_title);
    return "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
           title + "</title>\n<style>" + s_style + "</style></head>\n<body><main>\n<h1>" + title +
           "</h1>\n" + m_body + "</main></body></html>\n";
}

} // namespace host
