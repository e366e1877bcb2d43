// Reads any model file that assimp understands (glTF, OBJ, PLY, STL, COLLADA, ...) into a
// SceneModel: one mesh per material group, one placement for each time the file's node tree uses
// it, and a suggested flight around and through the whole.
//
// The demo calls this for a model named on its command line. Bad files are answered with a reason,
// never with an exception or a crash: the importer runs in a process of its own (GuardedReader).
// Cost is that of parsing the file, once, and of passing the result on.
#pragma once

#include "host/model/SceneModel.h"

#include <string>

namespace host
{

/// Reads the model file at `path` and replaces `scene` by it.
/// Instancing is kept: a mesh used by several nodes is stored once and placed several times.
/// Triangles, lines and points are kept, each in meshes of their own, triangles with the file's
/// texture coordinates. Those with a vertex that is not finite are dropped; `scene.note` then says
/// how many. Files in another unit are taken as they are, one unit as one metre.
/// @param reason    set on failure to one line that names the fault (not the file): the file is
///                  missing, is a directory, cannot be read, is empty, is damaged or cut short, is
///                  of no known format, or has nothing to draw. Untouched on success.
/// @param progress  told of reading and converting; may be empty.
/// @return false on failure; `scene` is then empty.
bool ReadModelFile(std::string const& path, SceneModel& scene, std::string& reason,
                   ProgressFn const& progress);

/// A walk-through for a model that nothing is known about but its box: once around from outside,
/// then through the middle. At least 16 keys; empty for an empty box.
std::vector<CameraKey> MakeOrbitPath(TqLBox3f const& box);

} // namespace host
