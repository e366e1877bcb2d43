#include "demo/ReportParts.h"

#include "host/report/FrameLog.h"

#include <filesystem>
#include <system_error>

namespace demo
{

bool PrepareFolder(std::string const& folder, std::string* problem)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        *problem = folder + ": " + error.message();
        return false;
    }
    std::string const probe = folder + "/report.html.new";
    if (!host::WriteTextFile(probe, "", problem)) {
        return false;
    }
    std::filesystem::remove(probe, error);
    return true;
}

void AddCredits(host::SceneModel const& model, host::HtmlReport* page)
{
    page->AddHeading("Models: authors and licences");
    if (model.credits.empty()) {
        page->AddParagraph("The model file names none.");
    }
    for (host::Credit const& credit : model.credits) {
        std::string line = credit.title;
        line += credit.author.empty() ? "" : ", by " + credit.author;
        line += credit.licence.empty() ? "" : " (" + credit.licence + ")";
        if (credit.text.empty()) {
            page->AddParagraph(line);
        } else {
            page->AddDetails(line, credit.text);
        }
    }
}

} // namespace demo
