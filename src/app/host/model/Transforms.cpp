#include "host/model/Transforms.h"

#include <cmath>

namespace host
{

TqLAffine3f MakeAffine(double const rows[3][3], double const translation[3])
{
    auto const row = [](double const* v) { return TqLVec3f(v[0], v[1], v[2]); };
    return TqLAffine3f(row(rows[0]), row(rows[1]), row(rows[2]), row(translation));
}

TqLAffine3f MakeTranslation(double x, double y, double z)
{
    return MakeScaled(1.0, 1.0, 1.0, x, y, z);
}

TqLAffine3f MakeScaled(double sx, double sy, double sz, double x, double y, double z)
{
    return TqLAffine3f(TqLVec3f(sx, 0.0, 0.0), TqLVec3f(0.0, sy, 0.0), TqLVec3f(0.0, 0.0, sz),
                       TqLVec3f(x, y, z));
}

TqLAffine3f MakeQuarterTurned(int quarters, double x, double y, double z)
{
    constexpr double s_cosine[4] = {1.0, 0.0, -1.0, 0.0};
    constexpr double s_sine[4] = {0.0, 1.0, 0.0, -1.0};
    double const c = s_cosine[quarters & 3];
    double const s = s_sine[quarters & 3];
    return TqLAffine3f(TqLVec3f(c, 0.0, -s), TqLVec3f(0.0, 1.0, 0.0), TqLVec3f(s, 0.0, c),
                       TqLVec3f(x, y, z));
}

bool IsFiniteBox(TqLBox3f const& box)
{
    bool finite = !box.IsEmpty();
    for (int axis = 0; axis < 3; ++axis) {
        finite = finite && std::isfinite(box.GetMin()[axis]) && std::isfinite(box.GetMax()[axis]);
    }
    return finite;
}

} // namespace host
