#include "support/OracleCull.h"

#include "scenecull/TqOcRenderTraversal.h"

#include <algorithm>
#include <cmath>

namespace
{

// Rounding in the walk is about 1e-15 of the largest term of a sum; this is a wide berth around it.
constexpr long double eTOLERANCE = 1e-10L;

constexpr unsigned eTEXT_OR_POINTS = 4 | 8;
constexpr unsigned eLINES = 2;

constexpr unsigned eSECONDARY_DISTANCE = 1;
constexpr unsigned eSECONDARY_AREA = 2;
constexpr unsigned eSECONDARY_SCALE = 4;
constexpr unsigned eSECONDARY_HYSTERESIS = 8;

constexpr long double eFORCED_PRIORITY = -2.0L;
constexpr long double eSTRADDLING_FACTOR = 1e-10L;

/// Whether \p value < 0; notes in \p certain when that is too close to call.
bool IsNegative(long double value, long double tolerance, bool& certain)
{
    if (std::fabs(value) <= tolerance) {
        certain = false;
    }
    return value < 0.0L;
}

/// Records a cull. An uncertain one leaves the node undecided and lets the later rules look.
bool Cull(OracleResult& result, OracleReason reason, bool certain)
{
    if (!certain) {
        result.verdict = OracleVerdict::eUNDECIDED;
        result.reasonCertain = false;
        return false;
    }
    result.verdict = OracleVerdict::eCULLED;
    result.reason = reason;
    return true;
}

/// Records that a rule which did not cull was too close to call.
void Keep(OracleResult& result, bool certain)
{
    if (!certain) {
        result.verdict = OracleVerdict::eUNDECIDED;
        result.reasonCertain = false;
    }
}

/// The scale of the first threshold above \p value, or 1.
long double LookUp(OracleTable const& table, long double value, bool& certain)
{
    for (std::size_t i = 0; i < table.thresholds.size(); ++i) {
        long double const threshold = table.thresholds[i];
        long double const tolerance = eTOLERANCE * (std::fabs(threshold) + std::fabs(value) + 1.0L);
        if (IsNegative(value - threshold, tolerance, certain)) {
            return table.scales[i];
        }
    }
    return 1.0L;
}

} // namespace

TqLFrustum3f MakeOracleFrustum(OracleCamera const& camera)
{
    if (camera.perspective) {
        return TqLFrustum3f::Perspective(camera.eye, camera.direction, camera.up,
                                         camera.verticalAngle, camera.aspect, camera.nearDistance,
                                         camera.farDistance);
    }
    return TqLFrustum3f::Parallel(camera.eye, camera.direction, camera.up, camera.width,
                                  camera.height, camera.nearDistance, camera.farDistance);
}

void ApplyOracleSettings(OracleCamera const& camera, OracleSettings const& settings,
                         TqOcRenderTraversal& traversal)
{
    traversal.SetViewFrustum(MakeOracleFrustum(camera));
    traversal.SetCullArea(settings.cullArea);
    traversal.SetCullExtent(settings.cullExtent);
    traversal.SetCullDistance(settings.cullDistance);
    traversal.SetPrimary(static_cast<TqOcRenderTraversal::Prioritization>(settings.primary));
    traversal.SetSecondary(settings.secondary);
    traversal.SetDistanceScales(settings.distances.thresholds.data(),
                                settings.distances.scales.data(),
                                static_cast<int>(settings.distances.scales.size()));
    traversal.SetAreaScales(settings.areas.thresholds.data(), settings.areas.scales.data(),
                            static_cast<int>(settings.areas.scales.size()));
    traversal.SetHysteresisScales(settings.hysteresis.data(),
                                  static_cast<int>(settings.hysteresis.size()));
    traversal.SetClipPlanes(settings.clipPlanes.data(),
                            static_cast<int>(settings.clipPlanes.size()));
    traversal.SetPrimitiveBits(static_cast<TqLPrimitiveTypes::Enum>(settings.primitiveBits));
    traversal.SetFrameId(settings.frameId);
}

// ---- Vectors ------------------------------------------------------------------------------------

OracleCull::Vec OracleCull::Cross(Vec const& a, Vec const& b)
{
    return Vec{{a.v[1] * b.v[2] - a.v[2] * b.v[1], a.v[2] * b.v[0] - a.v[0] * b.v[2],
                a.v[0] * b.v[1] - a.v[1] * b.v[0]}};
}

long double OracleCull::Dot(Vec const& a, Vec const& b)
{
    return a.v[0] * b.v[0] + a.v[1] * b.v[1] + a.v[2] * b.v[2];
}

OracleCull::Vec OracleCull::Normalised(Vec const& a)
{
    long double const length = std::sqrt(Dot(a, a));
    return Vec{{a.v[0] / length, a.v[1] / length, a.v[2] / length}};
}

OracleCull::Vec OracleCull::GetCorner(TqLBox3f const& box, int index, OraclePlace const& place)
{
    Vec corner{{place.origin[0], place.origin[1], place.origin[2]}};
    for (int axis = 0; axis < 3; ++axis) {
        long double const local =
            ((index >> axis) & 1) != 0 ? box.GetMax()[axis] : box.GetMin()[axis];
        for (int k = 0; k < 3; ++k) {
            corner.v[k] += local * place.axes[axis][k];
        }
    }
    return corner;
}

// ---- Place --------------------------------------------------------------------------------------

OraclePlace OraclePlace::Transformed(TqLAffine3f const& affine) const
{
    OraclePlace result = *this;
    for (int k = 0; k < 3; ++k) {
        for (int row = 0; row < 3; ++row) {
            result.axes[row][k] = 0.0L;
            for (int i = 0; i < 3; ++i) {
                result.axes[row][k] += static_cast<long double>(affine[row][i]) * axes[i][k];
            }
        }
        for (int i = 0; i < 3; ++i) {
            result.origin[k] += static_cast<long double>(affine[3][i]) * axes[i][k];
        }
    }
    return result;
}

OraclePlace OraclePlace::Narrowed(double const window[4]) const
{
    OraclePlace result = *this;
    for (int axis = 0; axis < 2; ++axis) {
        long double const size = upper[axis] - lower[axis];
        result.lower[axis] = lower[axis] + size * window[2 * axis];
        result.upper[axis] = lower[axis] + size * window[2 * axis + 1];
    }
    return result;
}

// ---- Camera -------------------------------------------------------------------------------------

OracleCull::OracleCull(OracleCamera const& camera, OracleSettings const& settings)
    : m_settings(settings)
    , m_eye{{camera.eye[0], camera.eye[1], camera.eye[2]}}
    , m_direction(Normalised(Vec{{camera.direction[0], camera.direction[1], camera.direction[2]}}))
    , m_right(Normalised(Cross(m_direction, Vec{{camera.up[0], camera.up[1], camera.up[2]}})))
    , m_up(Cross(m_right, m_direction))
    , m_perspective(camera.perspective)
    , m_halfWidth(0.5L * camera.width)
    , m_halfHeight(0.5L * camera.height)
    , m_near(camera.nearDistance)
    , m_toPixel{0.5L * settings.windowWidth, 0.5L * settings.windowHeight}
{
    if (m_perspective) {
        m_halfHeight = std::tan(0.5L * camera.verticalAngle);
        m_halfWidth = m_halfHeight * camera.aspect;
    }
}

OracleCull::Corner OracleCull::Project(Vec const& point, OraclePlace const& place) const
{
    Vec const offset{{point.v[0] - m_eye.v[0], point.v[1] - m_eye.v[1], point.v[2] - m_eye.v[2]}};
    Corner corner;
    corner.depth = Dot(offset, m_direction);
    corner.w = m_perspective ? corner.depth : 1.0L;
    corner.c[0] = Dot(offset, m_right) / m_halfWidth;
    corner.c[1] = Dot(offset, m_up) / m_halfHeight;
    for (int axis = 0; axis < 2; ++axis) {
        // From the whole window, -1 to 1, to the part of it that counts.
        long double const middle = place.lower[axis] + place.upper[axis] - 1.0L;
        long double const half = place.upper[axis] - place.lower[axis];
        corner.c[axis] = (corner.c[axis] - middle * corner.w) / half;
    }
    return corner;
}

// The magnitude of the terms that the walk's sums are made of, for its rounding.
long double OracleCull::GetReach(Placed const& placed) const
{
    long double reach = 1.0L;
    for (int axis = 0; axis < 3; ++axis) {
        reach += std::fabs(static_cast<long double>(placed.node.box.GetMin()[axis]));
        reach += std::fabs(static_cast<long double>(placed.node.box.GetMax()[axis]));
        reach += std::fabs(placed.place.origin[axis]) + std::fabs(m_eye.v[axis]);
    }
    long double const share = std::min(placed.place.upper[0] - placed.place.lower[0],
                                       placed.place.upper[1] - placed.place.lower[1]);
    return reach * (1.0L + 1.0L / m_halfWidth + 1.0L / m_halfHeight) / share;
}

// Pixels that one unit of cull space takes.
long double OracleCull::GetPixels(Placed const& placed, int axis) const
{
    return m_toPixel[axis] * (placed.place.upper[axis] - placed.place.lower[axis]);
}

// ---- Rules --------------------------------------------------------------------------------------

OracleResult OracleCull::Judge(OracleNode const& node, OraclePlace const& place) const
{
    Placed placed{node, place, {}, {}, 0.0L};
    for (int i = 0; i < 8; ++i) {
        placed.world[i] = GetCorner(node.box, i, place);
        placed.corners[i] = Project(placed.world[i], place);
    }
    placed.tolerance = eTOLERANCE * GetReach(placed);

    OracleResult result;
    if (IsClipped(placed, result) || IsBehindEye(placed, result) || IsOutside(placed, result)) {
        return result;
    }
    FindCullBits(placed, result);
    FindRectangle(placed, 0, result);
    FindRectangle(placed, 1, result);
    if (IsTooSmall(placed, result) || IsTooFarOrNear(placed, result)) {
        return result;
    }
    FindPriority(placed, result);
    return result;
}

// Clip planes: the whole box on the negative side of one of them.
bool OracleCull::IsClipped(Placed const& placed, OracleResult& result) const
{
    if (placed.node.ignoreClip) {
        return false;
    }
    for (TqLPlane3f const& plane : m_settings.clipPlanes) {
        TqLVec3f const& normal = plane.GetNormal();
        Vec const direction{{normal[0], normal[1], normal[2]}};
        long double largest = 0.0L;
        for (int i = 0; i < 8; ++i) {
            long double const distance = Dot(direction, placed.world[i]) - plane.GetDistance();
            largest = i == 0 ? distance : std::max(largest, distance);
        }
        bool certain = true;
        long double const tolerance =
            placed.tolerance + eTOLERANCE * std::fabs(plane.GetDistance());
        if (IsNegative(largest, tolerance, certain)) {
            if (Cull(result, OracleReason::eCLIP_PLANE, certain)) {
                return true;
            }
        } else {
            Keep(result, certain);
        }
    }
    return false;
}

// Behind the eye: all corners have a negative weight.
bool OracleCull::IsBehindEye(Placed const& placed, OracleResult& result) const
{
    long double largest = placed.corners[0].w;
    for (int i = 1; i < 8; ++i) {
        largest = std::max(largest, placed.corners[i].w);
    }
    bool certain = true;
    if (IsNegative(largest, m_perspective ? placed.tolerance : 0.0L, certain)) {
        return Cull(result, OracleReason::eBEHIND_EYE, certain);
    }
    Keep(result, certain);
    return false;
}

// Frustum: all corners beyond the same one of the four side planes.
bool OracleCull::IsOutside(Placed const& placed, OracleResult& result) const
{
    for (int axis = 0; axis < 2; ++axis) {
        for (int side = -1; side <= 1; side += 2) {
            // How far the best corner is inside the plane; negative when none is.
            long double best = placed.corners[0].w + side * placed.corners[0].c[axis];
            for (int i = 1; i < 8; ++i) {
                best = std::max(best, placed.corners[i].w + side * placed.corners[i].c[axis]);
            }
            bool certain = true;
            if (IsNegative(best, placed.tolerance, certain)) {
                if (Cull(result, OracleReason::eFRUSTUM, certain)) {
                    return true;
                }
            } else {
                Keep(result, certain);
            }
        }
    }
    return false;
}

// What the node's children need not be tested against: sides that none of its corners is beyond.
void OracleCull::FindCullBits(Placed const& placed, OracleResult& result) const
{
    for (int i = 0; i < 8; ++i) {
        Corner const& corner = placed.corners[i];
        for (int axis = 0; axis < 2; ++axis) {
            bool const beyond =
                IsNegative(corner.w + corner.c[axis], placed.tolerance, result.cullBitsCertain) ||
                IsNegative(corner.w - corner.c[axis], placed.tolerance, result.cullBitsCertain);
            result.cullBits |= beyond ? 1 << axis : 0;
        }
        bool const before = IsNegative(-corner.w, placed.tolerance, result.cullBitsCertain);
        result.cullBits |= before ? 0 : 4;
    }
}

// The projected range on one axis. Corners beyond a plane pin that end to the plane; a corner that
// is behind the eye and beyond both planes stretches the range on the side to which it wraps.
void OracleCull::FindRectangle(Placed const& placed, int axis, OracleResult& result) const
{
    long double low = 1.0L;
    long double high = -1.0L;
    for (int i = 0; i < 8; ++i) {
        Corner const& corner = placed.corners[i];
        bool const beyondLow = -corner.w > corner.c[axis];
        bool const beyondHigh = corner.c[axis] > corner.w;
        if (!beyondLow && !beyondHigh) {
            low = std::min(low, corner.c[axis] / corner.w);
            high = std::max(high, corner.c[axis] / corner.w);
        } else if (beyondLow && !beyondHigh) {
            low = -1.0L;
        } else if (!beyondLow) {
            high = 1.0L;
        }
        if (m_perspective && std::fabs(corner.w) <= placed.tolerance) {
            Keep(result, false); // projects to anywhere
        }
    }
    bool stretchesLow = false;
    bool stretchesHigh = false;
    for (int i = 0; i < 8; ++i) {
        Corner const& corner = placed.corners[i];
        if (-corner.w > corner.c[axis] && corner.c[axis] > corner.w) {
            bool certain = true;
            stretchesLow |= IsNegative(corner.c[axis] - corner.w * low, placed.tolerance, certain);
            stretchesHigh |=
                IsNegative(corner.w * high - corner.c[axis], placed.tolerance, certain);
            Keep(result, certain);
        }
    }
    result.low[axis] = stretchesLow ? -1.0L : low;
    result.high[axis] = stretchesHigh ? 1.0L : high;
}

// Area for triangles, extent for lines, nothing for points and text.
bool OracleCull::IsTooSmall(Placed const& placed, OracleResult& result) const
{
    long double const width = (result.high[0] - result.low[0]) * GetPixels(placed, 0);
    long double const height = (result.high[1] - result.low[1]) * GetPixels(placed, 1);
    auto const primitives = static_cast<unsigned>(placed.node.primitives);
    bool certain = true;
    bool small = false;
    if ((primitives & eTEXT_OR_POINTS) != 0) {
        return false;
    }
    if ((primitives & eLINES) != 0) {
        long double const extent = m_settings.cullExtent;
        long double const tolerance = eTOLERANCE * (1000.0L + std::fabs(extent));
        bool widthCertain = true;
        bool heightCertain = true;
        bool const narrow = IsNegative(width - extent, tolerance, widthCertain);
        bool const low = IsNegative(height - extent, tolerance, heightCertain);
        small = narrow && low;
        certain =
            (widthCertain && heightCertain) || (widthCertain && !narrow) || (heightCertain && !low);
    } else {
        long double const area = m_settings.cullArea;
        long double const pixels = width * height;
        small = IsNegative(pixels - area, eTOLERANCE * (1e6L + std::fabs(area)), certain);
    }
    if (small) {
        return Cull(result, OracleReason::eAREA, certain);
    }
    Keep(result, certain);
    return false;
}

// Distance is measured from the near plane. A box wholly nearer than it is dropped.
bool OracleCull::IsTooFarOrNear(Placed const& placed, OracleResult& result) const
{
    long double smallest = placed.corners[0].depth - m_near;
    long double largest = smallest;
    for (int i = 1; i < 8; ++i) {
        smallest = std::min(smallest, placed.corners[i].depth - m_near);
        largest = std::max(largest, placed.corners[i].depth - m_near);
    }
    result.distance = smallest;
    bool certain = true;
    long double const limit = m_settings.cullDistance;
    if (limit < 1e300L) {
        bool const far = IsNegative(limit - smallest, placed.tolerance, certain);
        if (far && Cull(result, OracleReason::eDISTANCE, certain)) {
            return true;
        }
        Keep(result, certain);
    }
    bool startCertain = true;
    result.straddlesNear = IsNegative(smallest, placed.tolerance, startCertain);
    result.priorityCertain &= startCertain;
    certain = true;
    if (IsNegative(largest, placed.tolerance, certain)) {
        return Cull(result, OracleReason::eNEAR, certain);
    }
    Keep(result, certain);
    return false;
}

void OracleCull::FindPriority(Placed const& placed, OracleResult& result) const
{
    if (placed.node.forceRender) {
        result.priority = eFORCED_PRIORITY;
        return;
    }
    long double const area = (result.high[0] - result.low[0]) * (result.high[1] - result.low[1]);
    long double const areaToPixel = GetPixels(placed, 0) * GetPixels(placed, 1);
    long double const pixels = area * areaToPixel;
    bool certain = true;
    long double priority;
    if (m_settings.primary == 1) {
        priority = result.distance * (result.straddlesNear ? eSTRADDLING_FACTOR : 1.0L);
    } else {
        // The reciprocal of an area that is all rounding error is not comparable.
        certain = !(area > 0.0L && area < 1e-6L);
        priority = area > 0.0L ? 1.0L / area : areaToPixel;
    }
    unsigned const secondary = m_settings.secondary;
    if ((secondary & eSECONDARY_DISTANCE) != 0) {
        priority *= LookUp(m_settings.distances, result.distance, certain);
    }
    if ((secondary & eSECONDARY_AREA) != 0) {
        priority *= LookUp(m_settings.areas, pixels, certain);
    }
    if ((secondary & eSECONDARY_SCALE) != 0) {
        priority *= placed.node.scale;
    }
    if ((secondary & eSECONDARY_HYSTERESIS) != 0) {
        // The difference wraps as frame numbers do, and a node stamped later counts as just drawn.
        auto const age = static_cast<int>(m_settings.frameId - placed.node.hysteresisId - 1u);
        if (age < static_cast<int>(m_settings.hysteresis.size())) {
            priority *=
                m_settings.hysteresis.empty()
                    ? 1.0L
                    : static_cast<long double>(
                          m_settings.hysteresis[static_cast<std::size_t>(std::max(age, 0))]);
        }
    }
    result.priority = priority;
    result.priorityCertain &= certain;
}
