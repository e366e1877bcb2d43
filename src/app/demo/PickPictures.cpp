#include "demo/PickPictures.h"

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

constexpr Rgb s_dark{0, 0, 0};
constexpr Rgb s_paper{250, 250, 247};
constexpr Rgb s_ink{60, 60, 60};
constexpr Rgb s_wall{196, 196, 190};
constexpr Rgb s_agrees{40, 200, 80};
constexpr Rgb s_background{70, 130, 255};
constexpr Rgb s_explained{255, 210, 0};
constexpr Rgb s_wrong{255, 0, 0};
constexpr Rgb s_touching{240, 140, 20};
constexpr Rgb s_contained{40, 90, 240};
constexpr Rgb s_rim{255, 255, 255};
constexpr Rgb s_walkColours[] = {{30, 90, 220}, {30, 140, 60}, {150, 40, 170}, {20, 150, 160}};

constexpr double eDIMMING = 0.55;
constexpr int eMARKS_ACROSS = 320; // a mark is a 320th of the picture's width
constexpr double eTINT = 0.6;
constexpr double eROOM = 2.0; // world units around the ways
constexpr int eROOM_FOR_TEXT = 8;
constexpr int eTEXT_SCALE = 2;

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

/// Tints what a rubber band lists, wherever it is seen.
void TintListed(PickView const& view, RubberBand const& band, Image* image)
{
    for (int y = 0; y < view.m_ids.m_height; ++y) {
        for (int x = 0; x < view.m_ids.m_width; ++x) {
            std::uint32_t const id = view.m_ids.m_ids[view.m_ids.GetIndex(x, y)];
            if (id != host::IdPicture::s_nothing && Holds(band.m_touching.m_placements, id - 1)) {
                Rgb const colour =
                    Holds(band.m_contained.m_placements, id - 1) ? s_contained : s_touching;
                host::TintPixel(image, x, FromTop(view.m_ids.m_height, y), colour, eTINT);
            }
        }
    }
}

/// From the ground to the picture: x to the right, z downwards.
class Projection
{
public:
    Projection(TqLBox3f const& box, int width) : m_min(box.GetMin())
    {
        TqLVec3f const size = box.GetSize();
        m_scale = (width - 2 * eMARGIN) / std::max(size[0], 1e-9);
        m_height = std::min(static_cast<int>(std::ceil(size[2] * m_scale)) + 2 * eMARGIN,
                            eMAX_HEIGHTS * width);
    }

    int GetHeight() const { return m_height; }

    int GetX(TqLPos3f const& point) const
    {
        return eMARGIN + static_cast<int>((point[0] - m_min[0]) * m_scale);
    }

    int GetY(TqLPos3f const& point) const
    {
        return eMARGIN + static_cast<int>((point[2] - m_min[2]) * m_scale);
    }

private:
    static constexpr int eMARGIN = 28;
    static constexpr int eMAX_HEIGHTS = 4; // of the width; what lies below is not shown

    TqLPos3f m_min;
    double m_scale;
    int m_height;
};

/// Whether something that hides is higher than it is thick, as slabs and roofs are not.
bool IsWall(TqLBox3f const& box)
{
    TqLVec3f const size = box.GetSize();
    return size[1] > std::min(size[0], size[2]);
}

bool AreClose(TqLBox3f const& a, TqLBox3f const& b)
{
    for (int axis = 0; axis < 3; ++axis) {
        if (a.GetMin()[axis] > b.GetMax()[axis] || b.GetMin()[axis] > a.GetMax()[axis]) {
            return false;
        }
    }
    return true;
}

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
            image->Fill(projection.GetX(step.m_position) - 1, projection.GetY(step.m_position) - 1,
                        3, 3, s_wrong);
        }
    }
}

/// The box around the ways and stops, with some room.
TqLBox3f GetWayBox(std::vector<BodyWalk> const& walks)
{
    TqLBox3f box;
    box.MakeEmpty();
    for (BodyWalk const& walk : walks) {
        for (host::CameraKey const& stop : walk.m_stops) {
            box.ExtendBy(stop.position);
        }
        for (WalkStep const& step : walk.m_result.m_steps) {
            box.ExtendBy(step.m_position);
        }
    }
    return box;
}

/// The box around the steps that met something.
TqLBox3f GetContactBox(std::vector<BodyWalk> const& walks)
{
    TqLBox3f box;
    box.MakeEmpty();
    for (BodyWalk const& walk : walks) {
        for (WalkStep const& step : walk.m_result.m_steps) {
            if (step.m_contacts > 0) {
                box.ExtendBy(step.m_position);
            }
        }
    }
    return box;
}

void DrawPlan(host::SceneModel const& model, std::vector<BodyWalk> const& walks,
              Projection const& projection, TqLBox3f const& shown, Image* image)
{
    for (host::Placement const& placement : model.placements) {
        if (placement.occluder && IsWall(placement.box) && AreClose(placement.box, shown)) {
            DrawBox(placement.box, projection, image);
        }
    }
    std::size_t number = 0;
    for (BodyWalk const& walk : walks) {
        Rgb const colour = s_walkColours[number++ % std::size(s_walkColours)];
        DrawWay(walk.m_result, colour, projection, image);
    }
}

/// What lies in a box and a little around it; no picture for an empty box.
Image MakePlan(host::SceneModel const& model, std::vector<BodyWalk> const& walks,
               TqLBox3f const& box, int width)
{
    if (box.IsEmpty()) {
        return Image();
    }
    TqLVec3f const room(eROOM, eROOM, eROOM);
    TqLBox3f const shown(box.GetMin() - room, box.GetMax() + room);
    Projection const projection(shown, width);
    Image image(width, projection.GetHeight());
    image.Fill(0, 0, width, image.GetHeight(), s_paper);
    DrawPlan(model, walks, projection, shown, &image);
    host::PaintFrame(&image, 0, 0, width, image.GetHeight(), 1, s_ink);
    return image;
}

} // namespace

Image MakeIdImage(host::IdPicture const& ids)
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

Image MakePixelImage(PickView const& view)
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

Image MakeBandImage(PickView const& view, std::size_t band)
{
    Image image = view.m_picture;
    TintListed(view, view.m_bands[band], &image);
    int const rim = std::max(image.GetWidth() / eMARKS_ACROSS, 1);
    for (std::size_t i = 0; i < view.m_bands.size(); ++i) {
        RubberBand const& drawn = view.m_bands[i];
        host::PaintFrame(&image, drawn.m_x0, image.GetHeight() - drawn.m_y1,
                         drawn.m_x1 - drawn.m_x0, drawn.m_y1 - drawn.m_y0, i == band ? 2 * rim : 1,
                         s_rim);
    }
    return image;
}

Image MakeWalkImage(host::SceneModel const& model, std::vector<BodyWalk> const& walks, int width)
{
    Image const whole = MakePlan(model, walks, GetWayBox(walks), width);
    Image const contacts = MakePlan(model, walks, GetContactBox(walks), width);
    int const keyHeight =
        eROOM_FOR_TEXT + static_cast<int>(walks.size()) * 2 * host::GetTextHeight(eTEXT_SCALE);
    Image image(width, keyHeight + whole.GetHeight() + contacts.GetHeight());
    image.Fill(0, 0, width, image.GetHeight(), s_paper);
    int y = eROOM_FOR_TEXT;
    for (std::size_t i = 0; i < walks.size(); ++i) {
        host::PaintText(&image, eROOM_FOR_TEXT, y, walks[i].m_name, eTEXT_SCALE,
                        s_walkColours[i % std::size(s_walkColours)]);
        y += 2 * host::GetTextHeight(eTEXT_SCALE);
    }
    image.Paste(whole, 0, keyHeight);
    image.Paste(contacts, 0, keyHeight + whole.GetHeight());
    return image;
}

} // namespace demo
