// Reads a model in a process of its own, so that a file on which an importer breaks down or runs
// wild costs a message and not the program.
//
// Importers are large bodies of other people's code, and damaged files make some of them read
// outside their buffers or count to four billion. ModelReader hands its work to this function; what
// the child made comes back through a temporary file, its progress through a pipe. On systems
// without fork() the work is done in place.
#pragma once

#include "host/model/SceneModel.h"

#include <cstdint>
#include <functional>
#include <string>

namespace host
{

/// Fills a scene, or returns false and one line of reason. May throw.
using ReadFn = std::function<bool(SceneModel& scene, std::string& reason, ProgressFn const&)>;

/// Calls `read` in a child process and takes over its title, note, materials, meshes and
/// placements. Exceptions, crashes, running out of memory and taking longer than a file of
/// `numBytes` can reasonably take all give false with one line in `reason`; `scene` is then empty.
/// The child's messages on stderr are dropped. The child has only the calling thread: `read` must
/// not need a lock that another thread may hold (the C library's own allocator is safe).
/// Costs one more pass over the result.
bool ReadGuarded(ReadFn const& read, uint64_t numBytes, SceneModel& scene, std::string& reason,
                 ProgressFn const& progress);

} // namespace host
