#include "host/report/HtmlReport.h"

#include <gtest/gtest.h>

#include <string>

TEST(HtmlReport, EscapesEveryTextOnItsWayIn)
{
    host::HtmlReport page("<title>");
    page.AddHeading("<heading>");
    page.AddParagraph("<paragraph>");
    page.AddFacts({{"<name>", "<value>"}});
    page.AddTable({"<column>"}, {{"<cell>"}});
    page.AddDetails("<line>", "<text>");
    page.AddPicture(host::Image(2, 2), "<caption>");
    std::string const html = page.ToHtml();
    for (char const* word :
         {"heading", "paragraph", "name", "value", "column", "cell", "line", "text", "caption"}) {
        EXPECT_EQ(html.find("<" + std::string(word) + ">"), std::string::npos) << word;
        EXPECT_NE(html.find("&lt;" + std::string(word) + "&gt;"), std::string::npos) << word;
    }
    EXPECT_NE(html.find("<title>&lt;title&gt;</title>"), std::string::npos);
}

TEST(HtmlReport, EmbedsPicturesAndRefersToNothingOutside)
{
    host::HtmlReport page("page");
    page.AddPicture(host::Image(3, 3), "picture");
    page.AddMarkup("<svg></svg>");
    std::string const html = page.ToHtml();
    EXPECT_NE(html.find("src=\"data:image/png;base64,iVBORw0KGgo"), std::string::npos);
    EXPECT_NE(html.find("<svg></svg>"), std::string::npos);
    EXPECT_EQ(html.find("http"), std::string::npos);
    EXPECT_EQ(html.find("<script"), std::string::npos);
    EXPECT_EQ(html.find("<link"), std::string::npos);
}

TEST(HtmlReport, SetsNumbersFlushRight)
{
    host::HtmlReport page("page");
    page.AddTable({"a", "b"}, {{"12.5", "word"}});
    std::string const html = page.ToHtml();
    EXPECT_NE(html.find("<td class=\"n\">12.5</td>"), std::string::npos);
    EXPECT_NE(html.find("<td>word</td>"), std::string::npos);
}
