// SceneViews: see the header.

#include "scenes/SceneViews.h"

#include "geometry/TqLBox.h"
#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLVec.h"

#include <cmath>
#include <vector>

namespace
{

constexpr double eVERTICAL_ANGLE = 1.0471975511965976; // 60 degrees
constexpr double eASPECT = 4.0 / 3.0;
constexpr double eNEAR = 0.1;
constexpr double eNEAR_WALK_FAR = 40.0;

struct CirclePoint
{
    double x;
    double y;
};

// Point i of count on the unit circle. The quarter circle is walked by t in ((1-t*t)/(1+t*t),
// 2t/(1+t*t)), which is near enough to even steps, and turned by exact quarter turns.
CirclePoint GetCirclePoint(int i, int count)
{
    int const quarter = count / 4;
    double const share = static_cast<double>(i % quarter) / quarter;
    // tan(pi/8 * 2 * share) runs from 0 to 1 over the quarter; this cubic stays within 0.002 of it.
    double const t = share * (0.785 + share * (0.03 + share * 0.185));
    double const x = (1.0 - t * t) / (1.0 + t * t);
    double const y = 2.0 * t / (1.0 + t * t);
    switch ((i / quarter) % 4) {
    case 0:
        return {x, y};
    case 1:
        return {-y, x};
    case 2:
        return {-x, -y};
    default:
        return {y, -x};
    }
}

TqLVec3f Normalised(double x, double y, double z)
{
    double const length = std::sqrt(x * x + y * y + z * z);
    return TqLVec3f(x / length, y / length, z / length);
}

SceneView MakeView(double const eye[3], double const target[3], double farDistance)
{
    SceneView view;
    view.eye = TqLPos3f(eye[0], eye[1], eye[2]);
    view.direction = Normalised(target[0] - eye[0], target[1] - eye[1], target[2] - eye[2]);
    view.up = TqLVec3f(0.0, 0.0, 1.0);
    view.verticalAngle = eVERTICAL_ANGLE;
    view.aspect = eASPECT;
    view.nearDistance = eNEAR;
    view.farDistance = farDistance;
    return view;
}

// A loop at reach half widths from the middle at the given share of the height; each view looks at
// a point of a smaller loop that lies ahead on the other side.
std::vector<SceneView> MakeLoop(TqLBox3f const& bounds, double reach, double lookReach,
                                double heightShare, double farDistance)
{
    TqLPos3f const middle = bounds.GetCenter();
    TqLVec3f const size = bounds.GetSize();
    std::vector<SceneView> views;
    for (int i = 0; i < eWALK_VIEWS; ++i) {
        CirclePoint const at = GetCirclePoint(i, eWALK_VIEWS);
        CirclePoint const look =
            GetCirclePoint((i + eWALK_VIEWS / 2 + 5) % eWALK_VIEWS, eWALK_VIEWS);
        double const wave = 0.5 + 0.5 * GetCirclePoint((3 * i) % eWALK_VIEWS, eWALK_VIEWS).x;
        double const eye[3] = {middle[0] + reach * 0.5 * size[0] * at.x,
                               middle[1] + reach * 0.5 * size[1] * at.y,
                               bounds.GetMin()[2] + size[2] * heightShare * (0.1 + 0.9 * wave)};
        double const target[3] = {middle[0] + lookReach * 0.5 * size[0] * look.x,
                                  middle[1] + lookReach * 0.5 * size[1] * look.y, middle[2]};
        views.push_back(MakeView(eye, target, farDistance));
    }
    return views;
}

double GetDiagonal(TqLBox3f const& bounds)
{
    TqLVec3f const size = bounds.GetSize();
    return std::sqrt(size[0] * size[0] + size[1] * size[1] + size[2] * size[2]);
}

} // namespace

std::vector<SceneView> MakeWalkViews(TqLBox3f const& bounds)
{
    return MakeLoop(bounds, 0.5, 0.5, 0.9, 2.0 * GetDiagonal(bounds));
}

std::vector<SceneView> MakeNearWalkViews(TqLBox3f const& bounds)
{
    return MakeLoop(bounds, 0.5, 0.5, 0.9, eNEAR_WALK_FAR);
}

std::vector<SceneView> MakeOutsideViews(TqLBox3f const& bounds)
{
    double const diagonal = GetDiagonal(bounds);
    TqLVec3f const size = bounds.GetSize();
    double const heightShare = size[2] > 0.0 ? 0.6 * diagonal / size[2] : 1.0;
    return MakeLoop(bounds, 4.0, 0.0, heightShare, 10.0 * diagonal);
}

TqLFrustum3f MakeViewFrustum(SceneView const& view)
{
    return TqLFrustum3f::Perspective(view.eye, view.direction, view.up, view.verticalAngle,
                                     view.aspect, view.nearDistance, view.farDistance);
}

double GetCullDistance(SceneView const& view)
{
    return view.farDistance - view.nearDistance;
}
