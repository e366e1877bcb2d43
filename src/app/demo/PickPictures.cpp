#include "demo/PickPictures.h"

#include "demo/ReportParts.h"
#include "host/report/LinePainter.h"
#include "host/report/TextPainter.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace demo
{

namespace
{

using host::Image;
using host::Rgb;

constexpr Rgb s_dark{18, 20, 26};
constexpr Rgb s_paper{250, 250, 247};
constexpr Rgb s_ink{60, 60, 60};
constexpr Rgb s_wall{196, 196, 190};
constexpr Rgb s_agrees{40, 200, 80};
constexpr Rgb s_background{70, 130, 255};
constexpr Rgb s_explained{255, 160, 0};
constexpr Rgb s_wrong{255, 0, 0};
constexpr Rgb s_bandColours[] = {
    {230, 60, 60}, {40, 170, 90}, {60, 110, 240}, {235, 160, 20}, {170, 70, 210}};
constexpr Rgb s_walkColours[] = {{30, 90, 220}, {200, 60, 30}, {30, 140, 60}, {150, 40, 170}};

constexpr double eDIMMING = 0.55;
constexpr int eMARKS_ACROSS = 320; // a mark is a 320th of the picture's width
constexpr double eTOUCHING_TINT = 0.35;
constexpr double eCONTAINED_TINT = 0.75;

/// Row of an Image for a row counted from below.
int FromTop(int height, int y)
{
    return height - 1 - y;
}

Rgb GetMark(PixelVerdict verdict)
{
    switch (verdict) {
    case PixelVerdict::eBACKGROUND:
        return s_background;
    case PixelVerdict::eSAME:
        return s_agrees;
    case PixelVerdict::eUNEXPLAINED:
        return s_wrong;
    default:
        return s_explained;
    }
}

bool Holds(std::vector<std::uint32_t> const& sorted, std::uint32_t value)
{
    return std::binary_search(sorted.begin(), sorted.end(), value);
}

void TintBand(PickView const& view, RubberBand const& band, Rgb colour, Image* image)
{
    for (int y = 0; y < view.m_ids.m_height; ++y) {
        for (int x = 0; x < view.m_ids.m_width; ++x) {
            std::uint32_t const id = view.m_ids.m_ids[view.m_ids.GetIndex(x, y)];
            if (id == host::IdPicture::s_nothing || !Holds(band.m_touching, id - 1)) {
                continue;
            }
            double const share =
                Holds(band.m_contained, id - 1) ? eCONTAINED_TINT : eTOUCHING_TINT;
            host::TintPixel(image, x, FromTop(view.m_ids.m_height, y), colour, share);
        }
    }
}

/// One of the two drawings of the walks: a world axis to the right and one upwards.
class Projection
{
public:
    Projection(TqLBox3f const& box, int right, int up, bool isUpwards, int width)
        : m_box(box)
        , m_right(right)
        , m_up(up)
        , m_isUpwards(isUpwards)
    {
        TqLVec3f const size = box.GetSize();
        m_scale = (width - 2 * eMARGIN) / std::max(size[right], 1e-9);
        m_height = static_cast<int>(std::ceil(size[up] * m_scale)) + 2 * eMARGIN;
    }

    int GetHeight() const { return m_height; }

    int GetX(TqLPos3f const& point) const
    {
        return eMARGIN + static_cast<int>((point[m_right] - m_box.GetMin()[m_right]) * m_scale);
    }

    int GetY(TqLPos3f const& point) const
    {
        double const away = m_isUpwards ? m_box.GetMax()[m_up] - point[m_up]
                                        : point[m_up] - m_box.GetMin()[m_up];
        return eMARGIN + static_cast<int>(away * m_scale);
    }

private:
    static constexpr int eMARGIN = 28;

    TqLBox3f m_box;
    int m_right;
    int m_up;
    bool m_isUpwards;
    double m_scale;
    int m_height;
};

void DrawBox(TqLBox3f const& box, Projection const& projection, Image* image)
{
    int const x0 = std::min(projection.GetX(box.GetMin()), projection.GetX(box.GetMax()));
    int const x1 = std::max(projection.GetX(box.GetMin()), projection.GetX(box.GetMax()));
    int const y0 = std::min(projection.GetY(box.GetMin()), projection.GetY(box.GetMax()));
    int const y1 = std::max(projection.GetY(box.GetMin()), projection.GetY(box.GetMax()));
    host::PaintFrame(image, x0, y0, std::max(x1 - x0, 1), std::max(y1 - y0, 1), 1, s_wall);
}

void DrawWay(WalkResult const& walk, Rgb colour, Projection const& projection, Image* image)
{
    if (walk.m_starts.empty()) {
        return;
    }
    TqLPos3f from = walk.m_starts.front();
    for (WalkStep const& step : walk.m_steps) {
        host::PaintLine(image, projection.GetX(from), projection.GetY(from),
                        projection.GetX(step.m_position), projection.GetY(step.m_position), 2,
                        colour);
        from = step.m_position;
    }
    for (WalkStep const& step : walk.m_steps) {
        if (step.m_contacts > 0) {
            image->Fill(projection.GetX(step.m_position) - 2, projection.GetY(step.m_position) - 2,
                        5, 5, step.m_isInside ? s_wrong : s_explained);
        }
    }
}

/// The box around all ways and stops, with some room.
TqLBox3f GetWayBox(host::SceneModel const& model, PickTour const& tour)
{
    TqLBox3f box;
    box.MakeEmpty();
    for (host::CameraKey const& stop : model.path) {
        box.ExtendBy(stop.position);
    }
    for (BodyWalk const& walk : tour.m_walks) {
        for (WalkStep const& step : walk.m_nearestFirst.m_steps) {
            box.ExtendBy(step.m_position);
        }
    }
    return box;
}

void DrawView(host::SceneModel const& model, PickTour const& tour, Projection const& projection,
              TqLBox3f const& shown, Image* image)
{
    for (host::Placement const& placement : model.placements) {
        if (placement.occluder && shown.Intersects(placement.box)) {
            DrawBox(placement.box, projection, image);
        }
    }
    std::size_t number = 0;
    for (BodyWalk const& walk : tour.m_walks) {
        Rgb const colour = s_walkColours[number++ % std::size(s_walkColours)];
        DrawWay(walk.m_nearestFirst, colour, projection, image);
    }
    for (host::CameraKey const& stop : model.path) {
        host::PaintFrame(image, projection.GetX(stop.position) - 4,
                         projection.GetY(stop.position) - 4, 9, 9, 1, s_ink);
    }
}

} // namespace

Image DrawFalseColours(host::IdPicture const& ids)
{
    Image image(ids.m_width, ids.m_height);
    for (int y = 0; y < ids.m_height; ++y) {
        for (int x = 0; x < ids.m_width; ++x) {
            std::uint32_t const id = ids.m_ids[ids.GetIndex(x, y)];
            image.Fill(x, FromTop(ids.m_height, y), 1, 1,
                       id == host::IdPicture::s_nothing ? s_dark : host::MakeFalseColour(id));
        }
    }
    return image;
}

Image DrawPickedPixels(PickView const& view)
{
    Image image = view.m_picture;
    for (int y = 0; y < image.GetHeight(); ++y) {
        for (int x = 0; x < image.GetWidth(); ++x) {
            host::TintPixel(&image, x, y, s_dark, eDIMMING);
        }
    }
    int const mark = std::max(image.GetWidth() / eMARKS_ACROSS, 1);
    for (bool const isAgreeing : {true, false}) { // what differs lies on top, and is larger
        for (PixelPick const& pixel : view.m_pixels) {
            Rgb const colour = GetMark(pixel.m_verdict);
            bool const agrees = pixel.m_verdict == PixelVerdict::eSAME ||
                                pixel.m_verdict == PixelVerdict::eBACKGROUND;
            if (agrees == isAgreeing) {
                int const size = agrees ? mark : 3 * mark;
                image.Fill(pixel.m_x - size, FromTop(image.GetHeight(), pixel.m_y) - size,
                           2 * size + 1, 2 * size + 1, colour);
            }
        }
    }
    return image;
}

Image DrawBands(PickView const& view)
{
    Image image = view.m_picture;
    std::vector<std::size_t> order(view.m_bands.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    // The longest list first, so that it does not hide the others.
    std::stable_sort(order.begin(), order.end(), [&view](std::size_t a, std::size_t b) {
        return view.m_bands[a].m_touching.size() > view.m_bands[b].m_touching.size();
    });
    for (std::size_t const i : order) {
        TintBand(view, view.m_bands[i], s_bandColours[i % std::size(s_bandColours)], &image);
    }
    int const rim = std::max(image.GetWidth() / eMARKS_ACROSS, 1);
    for (std::size_t const i : order) {
        RubberBand const& band = view.m_bands[i];
        host::PaintFrame(&image, band.m_x0, image.GetHeight() - band.m_y1, band.m_x1 - band.m_x0,
                         band.m_y1 - band.m_y0, rim, s_bandColours[i % std::size(s_bandColours)]);
    }
    return image;
}

Image DrawWalks(host::SceneModel const& model, PickTour const& tour, int width)
{
    constexpr double eROOM = 2.0; // metres around the ways
    constexpr int eTEXT = 2;
    TqLBox3f const ways = GetWayBox(model, tour);
    if (ways.IsEmpty()) {
        return Image();
    }
    TqLVec3f const room(eROOM, eROOM, eROOM);
    TqLBox3f const box(ways.GetMin() - room, ways.GetMax() + room);
    Projection const plan(box, 0, 2, false, width);
    Projection const side(box, 0, 1, true, width);
    Image image(width, plan.GetHeight() + side.GetHeight());
    image.Fill(0, 0, width, image.GetHeight(), s_paper);
    Image lower(width, side.GetHeight());
    lower.Fill(0, 0, width, lower.GetHeight(), s_paper);
    DrawView(model, tour, side, box, &lower);
    host::PaintText(&lower, 8, 6, "from the side", eTEXT, s_ink);
    Image upper(width, plan.GetHeight());
    upper.Fill(0, 0, width, upper.GetHeight(), s_paper);
    DrawView(model, tour, plan, box, &upper);
    host::PaintText(&upper, 8, 6, "from above", eTEXT, s_ink);
    image.Paste(upper, 0, 0);
    image.Paste(lower, 0, plan.GetHeight());
    int x = width / 4;
    for (std::size_t i = 0; i < tour.m_walks.size(); ++i) {
        host::PaintText(&image, x, 6, tour.m_walks[i].m_name, eTEXT,
                        s_walkColours[i % std::size(s_walkColours)]);
        x += host::MeasureText(tour.m_walks[i].m_name, eTEXT) + 24;
    }
    host::PaintText(&image, x, 6, "contact", eTEXT, s_explained);
    return image;
}

} // namespace demo
