#include "demo/PickTable.h"

#include "demo/TextTable.h"
#include "host/report/FrameLog.h"

namespace demo
{

namespace
{

constexpr int eMICROSECONDS = 6; // decimals of a second
constexpr int eMILLIMETRES = 4;  // decimals of a distance, and one more

constexpr TableColumn s_columns[] = {
    {"", "view", "view", 4},
    {"shapes", "drawn", "shapes drawn", 7},
    {"pixels", "picked", "pixels picked", 6},
    {"same", "point", "same shape and point", 6},
    {"back-", "ground", "background in both", 6},
    {"one", "depth", "two surfaces at one depth", 5},
    {"at an", "edge", "edge through the centre", 5},
    {"unex-", "plained", "unexplained", 7},
    {"agree", "%", "agreement %", 7},
    {"pick", "us", "pick us, median of hits", 6},
    {"95th", "us", "pick us, 95th percentile of hits", 6},
    {"walk", "us", "walk alone us, median of hits", 6},
};

constexpr char const* s_csvHeading =
    "view,x,y,picked_shape,picked_triangle,picked_distance,seen_shape,seen_triangle,seen_distance,"
    "verdict,pick_s,walk_s\n";

std::string Microseconds(double seconds)
{
    return FormatDecimals(seconds * 1e6, 1);
}

std::string CsvHit(PixelHit const& hit)
{
    return hit.m_isHit ? std::to_string(hit.m_placement) + "," + std::to_string(hit.m_triangle) +
                             "," + FormatDecimals(hit.m_distance, eMILLIMETRES)
                       : ",,";
}

} // namespace

std::string PickTableHeading()
{
    return TableHeading(s_columns);
}

std::vector<std::string> PickTableColumns()
{
    return TableWords(s_columns);
}

std::vector<std::string> PickTableCells(PickView const& view, std::size_t number)
{
    std::vector<double> const picks =
        GetHitValues(view, [](PixelPick const& pixel) { return pixel.m_seconds; });
    std::vector<double> const walks =
        GetHitValues(view, [](PixelPick const& pixel) { return pixel.m_walkSeconds; });
    auto count = [&view](PixelVerdict verdict) { return std::to_string(view.Count(verdict)); };
    double const agreeing = static_cast<double>(view.Count(PixelVerdict::eSAME) +
                                                view.Count(PixelVerdict::eBACKGROUND));
    double const all = static_cast<double>(view.m_pixels.size());
    return {std::to_string(number),
            host::FormatShort(static_cast<double>(view.m_numDrawn)),
            std::to_string(view.m_pixels.size()),
            count(PixelVerdict::eSAME),
            count(PixelVerdict::eBACKGROUND),
            count(PixelVerdict::eONE_DEPTH),
            count(PixelVerdict::eEDGE),
            count(PixelVerdict::eUNEXPLAINED),
            FormatDecimals(all > 0.0 ? 100.0 * agreeing / all : 0.0, 2),
            Microseconds(host::Percentile(picks, 0.5)),
            Microseconds(host::Percentile(picks, 0.95)),
            Microseconds(host::Percentile(walks, 0.5))};
}

std::string PickTableRow(PickView const& view, std::size_t number)
{
    return TableLine(s_columns, PickTableCells(view, number));
}

std::string PicksToCsv(std::vector<PickView> const& views)
{
    std::string text = s_csvHeading;
    std::size_t number = 0;
    for (PickView const& view : views) {
        ++number;
        for (PixelPick const& pixel : view.m_pixels) {
            text += std::to_string(number) + "," + std::to_string(pixel.m_x) + "," +
                    std::to_string(pixel.m_y) + "," + CsvHit(pixel.m_picked) + "," +
                    CsvHit(pixel.m_seen) + "," + GetVerdictName(pixel.m_verdict) + "," +
                    FormatDecimals(pixel.m_seconds, eMICROSECONDS) + "," +
                    FormatDecimals(pixel.m_walkSeconds, eMICROSECONDS) + "\n";
        }
    }
    return text;
}

} // namespace demo
