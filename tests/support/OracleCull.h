#pragma once

// OracleCull: what a render walk should decide about one node, worked out the long way.
//
// Every rule of culling and priority is evaluated on its own, over all eight corners, in long
// double, straight from the camera (eye, direction, up): no matrix, no cull bits, no interval test,
// nothing carried over from a parent. A comparison that is closer than rounding in the walk's
// double arithmetic may tip makes the verdict "undecided"; tests count those and leave them out.

#include "geometry/TqLBox.h"
#include "geometry/TqLFrustum3f.h"
#include "geometry/TqLMatrix.h"
#include "geometry/TqLPlane3f.h"
#include "geometry/TqLPrimitiveTypes.h"
#include "geometry/TqLVec.h"

#include <vector>

class TqOcRenderTraversal;

/// The camera, as a person would describe it.
struct OracleCamera
{
    bool perspective;
    TqLPos3f eye;
    TqLVec3f direction;   ///< Any length but 0.
    TqLVec3f up;          ///< Not parallel to direction.
    double verticalAngle; ///< Perspective: radians, whole opening.
    double aspect;        ///< Perspective: width over height.
    double width;         ///< Parallel: world units.
    double height;        ///< Parallel: world units.
    double nearDistance;
    double farDistance;
};

/// The library's frustum of \p camera.
TqLFrustum3f MakeOracleFrustum(OracleCamera const& camera);

/// A threshold table of the traversal: the scale of the first threshold above a value applies.
struct OracleTable
{
    std::vector<double> thresholds;
    std::vector<double> scales;
};

/// What the traversal was set to, apart from the camera.
struct OracleSettings
{
    int windowWidth = 1000;
    int windowHeight = 1000;
    double cullArea = 1.0;
    double cullExtent = 1.0;
    double cullDistance = 1.7976931348623157e308;
    int primary = 1; ///< 1 distance, anything else area
    unsigned secondary = 4;
    OracleTable distances;
    OracleTable areas;
    std::vector<double> hysteresis;
    std::vector<TqLPlane3f> clipPlanes;
    unsigned primitiveBits = 255;
    unsigned frameId = 1;
};

/// Puts \p settings and the frustum of \p camera into \p traversal.
void ApplyOracleSettings(OracleCamera const& camera, OracleSettings const& settings,
                         TqOcRenderTraversal& traversal);

/// How the coordinates of a branch lie in the world, and which part of the window it is seen in.
struct OraclePlace
{
    long double axes[3][3] = {{1.0L, 0.0L, 0.0L}, {0.0L, 1.0L, 0.0L}, {0.0L, 0.0L, 1.0L}};
    long double origin[3] = {0.0L, 0.0L, 0.0L};
    long double lower[2] = {0.0L, 0.0L}; ///< Of the window, x and y, in shares from 0 to 1.
    long double upper[2] = {1.0L, 1.0L};

    /// This place for children under \p affine.
    OraclePlace Transformed(TqLAffine3f const& affine) const;

    /// This place for children seen in a part of its window: x0, x1, y0, y1.
    OraclePlace Narrowed(double const window[4]) const;
};

/// What the rules read of a node.
struct OracleNode
{
    TqLBox3f box;
    TqLPrimitiveTypes::Enum primitives;
    bool ignoreClip;
    bool forceRender;
    double scale;
    unsigned hysteresisId;
};

enum class OracleVerdict
{
    eVISIBLE,
    eCULLED,
    eUNDECIDED
};

/// Why a node is culled, in the order in which the rules are tried.
enum class OracleReason
{
    eNONE,
    eCLIP_PLANE,
    eBEHIND_EYE,
    eFRUSTUM,
    eAREA,
    eDISTANCE,
    eNEAR
};

struct OracleResult
{
    OracleVerdict verdict = OracleVerdict::eVISIBLE;
    OracleReason reason = OracleReason::eNONE;
    bool reasonCertain = true;   ///< No earlier rule was too close to call.
    bool priorityCertain = true; ///< No table threshold or zero crossing was too close to call.
    long double priority = 0.0L; ///< Meaningful unless culled.
    long double distance = 0.0L; ///< From the near plane.
    int cullBits = 0;            ///< 1, 2: cut by an x or y side; 4: not wholly before the eye.
    bool cullBitsCertain = true;
    bool straddlesNear = false;        ///< Nearer than the near plane in part.
    long double low[2] = {0.0L, 0.0L}; ///< Projected rectangle, -1 to 1.
    long double high[2] = {0.0L, 0.0L};
};

/// Judges nodes against one camera and one set of settings.
class OracleCull
{
public:
    OracleCull(OracleCamera const& camera, OracleSettings const& settings);

    /// @param place  rigid: a scale would change what distances are measured in.
    OracleResult Judge(OracleNode const& node, OraclePlace const& place = OraclePlace()) const;

private:
    struct Vec
    {
        long double v[3];
    };

    // One corner in cull space: inside the x and y pairs when -w <= c <= w.
    struct Corner
    {
        long double c[2];
        long double w;
        long double depth; // from the eye along the direction
    };

    // A node with its corners in the world.
    struct Placed
    {
        OracleNode const& node;
        OraclePlace const& place;
        Vec world[8];
        Corner corners[8];
        long double tolerance;
    };

    static Vec Cross(Vec const& a, Vec const& b);
    static Vec Normalised(Vec const& a);
    static long double Dot(Vec const& a, Vec const& b);
    static Vec GetCorner(TqLBox3f const& box, int index, OraclePlace const& place);
    Corner Project(Vec const& point, OraclePlace const& place) const;
    long double GetReach(Placed const& placed) const;

    bool IsClipped(Placed const& placed, OracleResult& result) const;
    bool IsBehindEye(Placed const& placed, OracleResult& result) const;
    bool IsOutside(Placed const& placed, OracleResult& result) const;
    bool IsTooSmall(Placed const& placed, OracleResult& result) const;
    bool IsTooFarOrNear(Placed const& placed, OracleResult& result) const;
    void FindCullBits(Placed const& placed, OracleResult& result) const;
    void FindRectangle(Placed const& placed, int axis, OracleResult& result) const;
    void FindPriority(Placed const& placed, OracleResult& result) const;
    long double GetPixels(Placed const& placed, int axis) const;

    OracleSettings m_settings;
    Vec m_eye;
    Vec m_direction;
    Vec m_right;
    Vec m_up;
    bool m_perspective;
    long double m_halfWidth; // at depth 1, or everywhere when parallel
    long double m_halfHeight;
    long double m_near;
    long double m_toPixel[2]; // per unit of the whole window's cull space
};
