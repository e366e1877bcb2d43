// Plain solids, made of triangles and added to a MeshBuilder. The generated furniture and the
// tower's shell are put together from them. All are closed, face outwards and are given in metres.
#pragma once

#include "host/model/MeshBuilder.h"

namespace host
{

/// Three coordinates or three extents.
using Triple = std::array<double, 3>;

/// An axis-aligned box: 12 triangles.
void AddBox(MeshBuilder& builder, Triple const& min, Triple const& max);

/// An upright cylinder or cone frustum on `base`: 4 triangles a segment, 2 where a radius is 0.
void AddCylinder(MeshBuilder& builder, Triple const& base, double bottomRadius, double topRadius,
                 double height, int segments);

/// An ellipsoid: about 2 x rings x segments triangles.
void AddEllipsoid(MeshBuilder& builder, Triple const& center, Triple const& radii, int rings,
                  int segments);

/// A box with soft edges that fills [min, max] (a superellipsoid): a cushion. As many triangles as
/// an ellipsoid.
void AddCushion(MeshBuilder& builder, Triple const& min, Triple const& max, int rings,
                int segments);

/// A lying ring about the upright axis through `center`: 2 x around x across triangles.
void AddTorus(MeshBuilder& builder, Triple const& center, double ringRadius, double tubeRadius,
              int around, int across);

} // namespace host
