#include "host/model/GuardedReader.h"

#include "host/model/SceneRecords.h"
#include "host/model/Transforms.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <new>
#include <utility>

#if defined(__unix__) || defined(__APPLE__)
#define HOST_HAS_FORK 1
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define HOST_IS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define HOST_IS_SANITIZED 1
#endif
#endif

namespace host
{
namespace
{

namespace fs = std::filesystem;

/// `read` with its exceptions turned into reasons.
bool ReadCatching(ReadFn const& read, SceneModel& scene, std::string& reason,
                  ProgressFn const& progress)
{
    try {
        if (read(scene, reason, progress)) {
            return true;
        }
    } catch (std::bad_alloc const&) {
        reason = "is too large for the memory there is";
    } catch (std::exception const& failure) {
        reason = std::string("cannot be read as a model: ") + failure.what();
    } catch (...) {
        reason = "cannot be read as a model";
    }
    scene = SceneModel();
    return false;
}

#if defined(HOST_HAS_FORK)

constexpr int eREAD = 0;    ///< exit status: the scene is in the file
constexpr int eREFUSED = 3; ///< exit status: the reason is in the file
constexpr int eNO_FILE = 4; ///< exit status: the file could not be written

constexpr uint64_t eBASE_SECONDS = 30;
constexpr uint64_t eBYTES_A_SECOND = 200000; ///< far slower than the slowest text importer
constexpr size_t eLEAST_PLACEMENT_BYTES = sizeof(uint32_t) + 12 * sizeof(double);

// ---- What travels between the two processes -----------------------------------------------------

/// One step of progress, small enough for a pipe to pass on in one piece.
struct ProgressStep
{
    double share;
    char what[48];
};

void SaveScene(BinaryWriter& stream, SceneModel const& scene)
{
    stream.Write(scene.title);
    stream.Write(scene.note);
    SaveShapes(stream, scene.materials, scene.meshes);
    stream.Write(static_cast<uint64_t>(scene.placements.size()));
    for (Placement const& placement : scene.placements) {
        stream.Write(placement.mesh);
        for (int i = 0; i < 12; ++i) {
            stream.Write(placement.toWorld.Data()[i]);
        }
    }
}

TqLAffine3f LoadAffine(BinaryReader& stream)
{
    double rows[4][3];
    for (auto& row : rows) {
        for (double& element : row) {
            stream.Read(element);
        }
    }
    return MakeAffine(rows, rows[3]);
}

/// The child may have gone wrong without noticing: everything is checked.
bool LoadScene(BinaryReader& stream, SceneModel& scene)
{
    stream.Read(scene.title);
    stream.Read(scene.note);
    if (!LoadShapes(stream, scene.materials, scene.meshes)) {
        return false;
    }
    size_t const numPlacements = stream.ReadCount(eLEAST_PLACEMENT_BYTES);
    scene.placements.reserve(numPlacements);
    for (size_t i = 0; i < numPlacements; ++i) {
        uint32_t mesh = 0;
        stream.Read(mesh);
        TqLAffine3f const toWorld = LoadAffine(stream);
        if (mesh >= scene.meshes.size() ||
            !IsFiniteBox(TransformBox(scene.meshes[mesh].box, toWorld))) {
            return false;
        }
        scene.AddPlacement(mesh, toWorld, false);
    }
    return stream.IsAtEnd();
}

// ---- The child ----------------------------------------------------------------------------------

void SetLimit(decltype(RLIMIT_CORE) resource, uint64_t value)
{
    rlimit limit = {};
    limit.rlim_cur = static_cast<rlim_t>(value);
    limit.rlim_max = static_cast<rlim_t>(value);
    setrlimit(resource, &limit);
}

/// Bounds what a runaway importer can take from the machine.
void LimitChild(uint64_t numBytes)
{
    SetLimit(RLIMIT_CORE, 0);
    SetLimit(RLIMIT_CPU, eBASE_SECONDS + numBytes / eBYTES_A_SECOND);
#if !defined(HOST_IS_SANITIZED) // sanitizers reserve address space beyond any limit
    constexpr uint64_t eLEAST_MEMORY = uint64_t(2) << 30;
    long const pages = sysconf(_SC_PHYS_PAGES);
    long const pageSize = sysconf(_SC_PAGESIZE);
    if (pages > 0 && pageSize > 0) {
        uint64_t const memory = static_cast<uint64_t>(pages) * static_cast<uint64_t>(pageSize);
        SetLimit(RLIMIT_AS, std::max(memory / 4 * 3, eLEAST_MEMORY));
    }
#endif
}

/// The child's whole life. Does not return.
[[noreturn]] void RunChild(ReadFn const& read, uint64_t numBytes, std::string const& path,
                           int progressPipe)
{
    LimitChild(numBytes);
    int const nowhere = open("/dev/null", O_WRONLY);
    if (nowhere >= 0) {
        dup2(nowhere, STDERR_FILENO);
    }
    ProgressFn const report = [progressPipe](double share, char const* what) {
        ProgressStep step = {};
        step.share = share;
        std::strncpy(step.what, what, sizeof(step.what) - 1);
        // A step that does not go through is a step not shown.
        [[maybe_unused]] ssize_t const written = write(progressPipe, &step, sizeof(step));
    };
    SceneModel scene;
    std::string reason;
    bool const good = ReadCatching(read, scene, reason, report);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    BinaryWriter stream(file);
    if (good) {
        SaveScene(stream, scene);
    } else {
        stream.Write(reason);
    }
    file.close();
    _exit(!file ? eNO_FILE : good ? eREAD : eREFUSED);
}

// ---- The parent ---------------------------------------------------------------------------------

/// A file that is removed when this goes.
class TemporaryFile
{
public:
    TemporaryFile()
    {
        std::error_code error;
        fs::path const folder = fs::temp_directory_path(error);
        m_path = (error ? fs::path("/tmp") : folder).string() + "/scenecull-model-XXXXXX";
        int const file = mkstemp(m_path.data());
        m_good = file >= 0;
        if (m_good) {
            close(file);
        }
    }

    ~TemporaryFile()
    {
        if (m_good) {
            unlink(m_path.c_str());
        }
    }

    TemporaryFile(TemporaryFile const&) = delete;
    TemporaryFile& operator=(TemporaryFile const&) = delete;

    bool IsGood() const { return m_good; }

    std::string const& GetPath() const { return m_path; }

private:
    std::string m_path;
    bool m_good = false;
};

/// Passes on progress until the child closes its end, which it does at the latest when it ends.
void PassOnProgress(int pipe, ProgressFn const& progress)
{
    ProgressStep step = {};
    ssize_t got = 0;
    do {
        got = ::read(pipe, &step, sizeof(step));
        if (got == static_cast<ssize_t>(sizeof(step)) && progress) {
            step.what[sizeof(step.what) - 1] = '\0';
            progress(step.share, step.what);
        }
    } while (got > 0 || (got < 0 && errno == EINTR));
}

int WaitFor(pid_t child)
{
    int status = 0;
    pid_t ended = 0;
    do {
        ended = waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);
    return ended < 0 ? -1 : status;
}

std::string DescribeBreakdown(int status)
{
    if (status != -1 && WIFSIGNALED(status)) {
        if (WTERMSIG(status) == SIGXCPU || WTERMSIG(status) == SIGKILL) {
            return "takes more time or memory to read than a file of its size should: it is "
                   "probably damaged or cut short";
        }
        return "broke the importer (signal " + std::to_string(WTERMSIG(status)) +
               "): it is probably damaged or cut short";
    }
    return "broke the importer: it is probably damaged or cut short";
}

/// Takes over what the child left in its file.
bool TakeResult(std::string const& path, int status, SceneModel& scene, std::string& reason)
{
    bool const ended = status != -1 && WIFEXITED(status);
    int const code = ended ? WEXITSTATUS(status) : -1;
    if (code == eNO_FILE) {
        reason = "cannot be passed on: no room in " + fs::path(path).parent_path().string();
        return false;
    }
    if (code != eREAD && code != eREFUSED) {
        reason = DescribeBreakdown(status);
        return false;
    }
    std::error_code error;
    uint64_t const size = fs::file_size(path, error);
    std::ifstream file(path, std::ios::binary);
    BinaryReader stream(file, error ? 0 : size);
    if (code == eREFUSED) {
        stream.Read(reason);
        if (!stream.IsAtEnd() || reason.empty()) {
            reason = DescribeBreakdown(-1);
        }
        return false;
    }
    if (!LoadScene(stream, scene)) {
        reason = DescribeBreakdown(-1);
        return false;
    }
    return true;
}

bool ReadInChild(ReadFn const& read, uint64_t numBytes, SceneModel& scene, std::string& reason,
                 ProgressFn const& progress)
{
    TemporaryFile const file;
    int ends[2] = {-1, -1};
    if (!file.IsGood() || pipe(ends) != 0) {
        return ReadCatching(read, scene, reason, progress);
    }
    pid_t const child = fork();
    if (child == 0) {
        close(ends[0]);
        RunChild(read, numBytes, file.GetPath(), ends[1]);
    }
    close(ends[1]);
    bool good = false;
    if (child < 0) {
        good = ReadCatching(read, scene, reason, progress);
    } else {
        PassOnProgress(ends[0], progress);
        good = TakeResult(file.GetPath(), WaitFor(child), scene, reason);
    }
    close(ends[0]);
    return good;
}

#endif

} // namespace

bool ReadGuarded(ReadFn const& read, uint64_t numBytes, SceneModel& scene, std::string& reason,
                 ProgressFn const& progress)
{
    scene = SceneModel();
    bool good = false;
    try {
#if defined(HOST_HAS_FORK)
        good = ReadInChild(read, numBytes, scene, reason, progress);
#else
        good = ReadCatching(read, scene, reason, progress);
        static_cast<void>(numBytes);
#endif
    } catch (std::exception const&) {
        reason = "is too large for the memory there is";
    }
    if (!good) {
        scene = SceneModel();
    }
    return good;
}

} // namespace host
