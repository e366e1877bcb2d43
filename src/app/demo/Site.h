// The building site of the dynamic demo: a tower crane that swings a pipe module round, and a belt
// that carries small parts past it.
//
// A Site adds meshes, materials and placements of its own to a model, beside what is there, and
// remembers which placements stand, which move and how. It owns no shapes: it answers where each of
// its placements is at a time of the flight, and which are on the belt.
#pragma once

#include "demo/Movers.h"
#include "host/model/SceneModel.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace demo
{

/// One placement and where it is to be.
struct Pose
{
    std::size_t m_placement;
    TqLAffine3f m_toWorld;
};

/// The belt's placements that are on it, as rows; slots of rows are used again.
struct BeltRows
{
    std::size_t m_first = 0;
    std::size_t m_end = 0;
};

/// Crane, load and belt.
class Site
{
public:
    /// Adds everything to the model's end.
    /// @param model  must not be empty; the tower, beside which there is room on the lawn, or
    ///               another model, beside whose box the site is laid out in proportion to it
    Site(host::SceneModel* model, bool isTower);

    /// Placements of the model itself: those before the site's own.
    std::size_t GetNumModelPlacements() const { return m_modelPlacements; }

    /// Placements that are there from the first frame on: all but the belt's parts.
    std::size_t GetFirstOwn() const { return m_modelPlacements; }

    std::size_t GetFirstPart() const { return m_firstPart; }

    /// Appends where the crane's moving pieces and its load are; time runs from 0 to 1.
    void AppendCranePoses(double time, std::vector<Pose>* poses) const;

    /// Rows on the belt at a time.
    BeltRows GetRows(double time) const;

    /// Placements of a row, as numbers of parts.
    static constexpr std::size_t s_partsPerRow = 4;

    /// Placement of a row's part, 0 <= part < s_partsPerRow.
    std::size_t GetPart(std::size_t row, std::size_t part) const;

    /// Where it is.
    TqLAffine3f GetPartPlace(std::size_t row, std::size_t part, double time) const;

    /// A flight round the site, with the model behind it.
    std::vector<host::CameraKey> MakePath() const;

private:
    class Builder;

    double GetRun(double time) const;

    std::size_t m_modelPlacements;
    std::size_t m_firstPart = 0;
    TqLAffine3f m_toWorld; ///< of the site's own metres
    double m_modelHeight;  ///< in the site's own metres
    CraneMotion m_crane;
    BeltMotion m_belt;
    std::size_t m_rope = 0;
    double m_ropeBottom = 0.0;   ///< while the load is at rest
    std::vector<Pose> m_turning; ///< with where they are at rest, in the site's own metres
    std::vector<Pose> m_carried;
};

} // namespace demo
