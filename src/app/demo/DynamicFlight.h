// The flight over a changing scene: before each frame shapes enter and leave the tree and others
// move; then the tree is updated, walked and drawn.
#pragma once

#include "demo/DemoOptions.h"
#include "demo/DemoWorld.h"
#include "demo/DynamicScene.h"
#include "demo/DynamicTable.h"
#include "demo/Site.h"
#include "host/gl/CameraPath.h"
#include "host/report/ContactSheet.h"
#include "host/report/Image.h"

#include <vector>

namespace demo
{

/// What a flight leaves.
struct DynamicFlightResult
{
    std::vector<DynamicRecord> m_log;
    std::vector<host::SheetCell> m_cells; ///< small pictures of the frames, evenly chosen
    int m_cellWidth = 0;
    int m_cellHeight = 0;
    std::size_t m_pictureFrame = 0; ///< the frame of m_picture, counted from 0
    host::Image m_picture;          ///< in full size, when the model has just become complete
    std::size_t m_badTris = 0;      ///< frames in which the root's triangles were not the shapes'
    TreeCheck m_check;              ///< after the last frame
    double m_seconds = 0.0;         ///< of all frames with their changes
};

/// Flies and prints a live line and the table. The world draws the scene's tree afterwards.
DynamicFlightResult FlyDynamic(DemoWorld* world, DynamicScene* scene, Site const& site,
                               host::CameraPath const& path, DemoOptions const& options);

} // namespace demo
