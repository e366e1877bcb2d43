#include "host/model/FurnitureCatalogue.h"

#include "host/model/CatalogueEntries.h"
#include "host/model/Utf8.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <thread>
#include <tuple>

namespace host
{
namespace
{

namespace fs = std::filesystem;

constexpr char s_listName[] = "PluginFurnitureCatalog.properties";
constexpr char s_shareDirectory[] = "/usr/share";
constexpr char s_packageStart[] = "sweethome3d";
constexpr unsigned eMOST_THREADS = 8;
constexpr std::chrono::milliseconds s_reportEvery(100);

// ---- Finding ------------------------------------------------------------------------------------

bool IsCatalogueName(fs::path const& path)
{
    return path.extension() == ".sh3f" || path.extension() == ".SH3F";
}

/// Adds the catalogues anywhere under `directory`. What cannot be read is passed over.
void AddCataloguesUnder(fs::path const& directory, std::vector<std::string>& files)
{
    std::error_code error;
    fs::recursive_directory_iterator at(directory, fs::directory_options::skip_permission_denied,
                                        error);
    while (!error && at != fs::recursive_directory_iterator()) {
        std::error_code noFile;
        if (IsCatalogueName(at->path()) && at->is_regular_file(noFile)) {
            files.push_back(at->path().string());
        }
        at.increment(error);
    }
}

// ---- Reading one model each, on several threads -------------------------------------------------

/// One piece to read, and what became of it.
struct Task
{
    size_t archive = 0; ///< position in the list of files
    CatalogueEntry entry;
    std::string licence;
    uint64_t numBytes = 0;
    ObjModel model;
    bool read = false;
};

/// Reads tasks until none is left. Each thread opens the archives that it needs for itself.
class ModelWorker
{
public:
    ModelWorker(std::vector<std::string> const& files, std::vector<Task>& tasks)
        : m_files(files)
        , m_tasks(tasks)
    {}

    /// Runs on any number of threads at once.
    void Work()
    {
        std::map<size_t, std::unique_ptr<ZipArchive>> archives;
        for (size_t i = m_next++; i < m_tasks.size(); i = m_next++) {
            Task& task = m_tasks[i];
            try {
                ReadTask(archives, task);
            } catch (...) {
                task.read = false; // one model too many for the memory must not end the others
                task.model = ObjModel();
            }
            m_bytesDone += task.numBytes;
        }
        std::lock_guard<std::mutex> const lock(m_mutex);
        ++m_numFinished;
        m_finished.notify_all();
    }

    /// Waits for `numThreads` threads and reports what they have done.
    void WaitFor(unsigned numThreads, uint64_t numBytes, ProgressFn const& progress)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (m_numFinished < numThreads) {
            m_finished.wait_for(lock, s_reportEvery);
            if (progress && numBytes > 0) {
                double const share = double(m_bytesDone.load()) / double(numBytes);
                size_t const current = std::min(m_next.load(), m_tasks.size() - 1);
                std::string const what = "reading furniture: " + m_tasks[current].entry.name;
                lock.unlock();
                progress(std::min(share, 1.0), what.c_str());
                lock.lock();
            }
        }
    }

private:
    void ReadTask(std::map<size_t, std::unique_ptr<ZipArchive>>& archives, Task& task)
    {
        std::string reason;
        std::unique_ptr<ZipArchive>& archive = archives[task.archive];
        if (archive == nullptr) {
            archive = ZipArchive::Open(m_files[task.archive], reason);
        }
        task.read = archive != nullptr &&
                    ReadObjModel(*archive, task.entry.model, task.entry.fit, task.model, reason);
    }

    std::vector<std::string> const& m_files;
    std::vector<Task>& m_tasks;
    std::atomic<size_t> m_next{0};
    std::atomic<uint64_t> m_bytesDone{0};
    std::mutex m_mutex;
    std::condition_variable m_finished;
    unsigned m_numFinished = 0;
};

/// Reads all tasks. Threads that the system does not grant are done without.
void ReadTasks(std::vector<std::string> const& files, std::vector<Task>& tasks,
               ProgressFn const& progress)
{
    uint64_t numBytes = 0;
    for (Task const& task : tasks) {
        numBytes += task.numBytes;
    }
    ModelWorker worker(files, tasks);
    unsigned const wanted = std::clamp(std::thread::hardware_concurrency(), 1u, eMOST_THREADS);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < wanted; ++i) {
        try {
            threads.emplace_back([&worker]() { worker.Work(); });
        } catch (std::exception const&) {
            break;
        }
    }
    if (threads.empty()) {
        worker.Work();
    }
    worker.WaitFor(static_cast<unsigned>(threads.size()), numBytes, progress);
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// ---- Listing and credits ------------------------------------------------------------------------

/// What is counted on the way, for the note.
struct Losses
{
    int files = 0;
    int entries = 0;
    int models = 0;
};

/// Debian's copyright file of the installed package; the licences' full texts stand in it.
void AddPackageCredit(std::vector<std::string> const& files, std::vector<Credit>& credits)
{
    for (std::string const& file : files) {
        // .../share/sweethome3d/furniture/X.sh3f: the documentation is .../share/doc/<package>.
        fs::path const share = fs::path(file).parent_path().parent_path().parent_path();
        std::ifstream stream(share / "doc" / "sweethome3d-furniture" / "copyright",
                             std::ios::binary);
        if (stream) {
            std::ostringstream text;
            text << stream.rdbuf();
            Credit credit;
            credit.title = "sweethome3d-furniture (Debian package)";
            credit.author = "the authors named below";
            credit.licence = "CC-BY-3.0 and CC0";
            credit.text = ToUtf8(text.str());
            credits.push_back(std::move(credit));
            return;
        }
    }
}

/// "Absfrm, Blend Swap, ...": everyone named by the pieces, each once, sorted.
std::string ListCreators(std::vector<CatalogueEntry> const& entries)
{
    std::set<std::string> names;
    for (CatalogueEntry const& entry : entries) {
        if (!entry.creator.empty()) {
            names.insert(entry.creator);
        }
    }
    std::string list;
    for (std::string const& name : names) {
        list += (list.empty() ? "" : ", ") + name;
    }
    return list;
}

/// Adds the tasks and the credit of one archive.
void ListArchive(std::vector<std::string> const& files, size_t number, std::vector<Task>& tasks,
                 std::vector<Credit>& credits, Losses& losses)
{
    std::string reason;
    std::string list;
    std::unique_ptr<ZipArchive> const archive = ZipArchive::Open(files[number], reason);
    if (archive == nullptr || !archive->Read(s_listName, list)) {
        ++losses.files;
        return;
    }
    Properties const properties = ParseProperties(list);
    int numRefused = 0;
    std::vector<CatalogueEntry> const entries = ListCatalogueEntries(properties, numRefused);
    losses.entries += numRefused;

    Credit credit = MakeCatalogueCredit(properties, fs::path(files[number]).stem().string());
    std::string const creators = ListCreators(entries);
    if (!creators.empty()) {
        credit.author = creators;
    }
    std::string text;
    if (archive->Read("LICENSE.TXT", text)) {
        credit.text = ToUtf8(text);
    }

    std::set<std::tuple<std::string, double, double, double>> known;
    for (CatalogueEntry const& entry : entries) {
        double const* size = entry.fit.size;
        if (!known.emplace(entry.model, size[0], size[1], size[2]).second) {
            continue;
        }
        Task task;
        task.archive = number;
        task.entry = entry;
        task.licence = credit.licence;
        task.numBytes =
            std::max<uint64_t>(archive->GetSize(entry.model.substr(std::min(
                                   entry.model.find_first_not_of('/'), entry.model.size()))),
                               1);
        tasks.push_back(std::move(task));
    }
    credits.push_back(std::move(credit));
}

// ---- Putting together ---------------------------------------------------------------------------

/// Gives every distinct material one number in the library.
class MaterialTable
{
public:
    explicit MaterialTable(std::vector<Material>& materials) : m_materials(materials) {}

    uint32_t GetNumber(Material const& material)
    {
        Key const key(material.name, material.color[0], material.color[1], material.color[2],
                      material.opacity);
        auto const [at, added] = m_numbers.emplace(key, static_cast<uint32_t>(m_materials.size()));
        if (added) {
            m_materials.push_back(material);
        }
        return at->second;
    }

private:
    using Key = std::tuple<std::string, float, float, float, float>;

    std::vector<Material>& m_materials;
    std::map<Key, uint32_t> m_numbers;
};

FurniturePiece MakePiece(Task const& task)
{
    FurniturePiece piece;
    piece.name = task.entry.name;
    piece.category = task.entry.category;
    piece.creator = task.entry.creator;
    piece.licence = task.licence;
    piece.width = static_cast<float>(task.entry.fit.size[0]);
    piece.height = static_cast<float>(task.entry.fit.size[1]);
    piece.depth = static_cast<float>(task.entry.fit.size[2]);
    piece.elevation = static_cast<float>(task.entry.elevation);
    piece.topHeight = static_cast<float>(task.entry.topHeight);
    piece.doorOrWindow = task.entry.doorOrWindow;
    piece.staircase = task.entry.staircase;
    return piece;
}

void AddPieces(std::vector<Task>& tasks, FurnitureLibrary& library, Losses& losses)
{
    MaterialTable materials(library.materials);
    for (Task& task : tasks) {
        if (!task.read) {
            ++losses.models;
            continue;
        }
        FurniturePiece piece = MakePiece(task);
        piece.firstMesh = static_cast<uint32_t>(library.meshes.size());
        piece.numMeshes = static_cast<uint32_t>(task.model.meshes.size());
        for (Mesh& mesh : task.model.meshes) {
            Material const& material = task.model.materials[mesh.material];
            mesh.name = piece.name + " / " + material.name;
            mesh.material = materials.GetNumber(material);
            library.meshes.push_back(std::move(mesh));
        }
        library.pieces.push_back(std::move(piece));
        task.model = ObjModel();
    }
}

std::string MakeNote(Losses const& losses)
{
    std::string note;
    auto const add = [&note](int count, char const* what) {
        if (count > 0) {
            note += (note.empty() ? "left out: " : ", ") + std::to_string(count) + what;
        }
    };
    add(losses.files, " unreadable catalogues");
    add(losses.entries, " unusable catalogue entries");
    add(losses.models, " unreadable models");
    return note;
}

} // namespace

std::vector<std::string> FindFurnitureCatalogues(std::string const& directory)
{
    std::vector<std::string> files;
    try {
        char const* variable = std::getenv("SCENECULL_FURNITURE");
        if (!directory.empty()) {
            AddCataloguesUnder(directory, files);
        } else if (variable != nullptr && *variable != '\0') {
            AddCataloguesUnder(variable, files);
        } else {
            std::error_code error;
            for (fs::directory_iterator at(s_shareDirectory, error), end; !error && at != end;
                 at.increment(error)) {
                if (at->path().filename().string().rfind(s_packageStart, 0) == 0) {
                    AddCataloguesUnder(at->path(), files);
                }
            }
        }
    } catch (std::exception const&) {
        files.clear();
    }
    std::sort(files.begin(), files.end());
    return files;
}

FurnitureLibrary ReadFurnitureCatalogues(std::vector<std::string> const& files,
                                         ProgressFn const& progress)
{
    FurnitureLibrary library;
    try {
        Losses losses;
        std::vector<Task> tasks;
        for (size_t i = 0; i < files.size(); ++i) {
            ListArchive(files, i, tasks, library.credits, losses);
        }
        AddPackageCredit(files, library.credits);
        ReadTasks(files, tasks, progress);
        AddPieces(tasks, library, losses);
        library.note = MakeNote(losses);
    } catch (std::exception const& failure) {
        library = FurnitureLibrary();
        library.note = std::string("the furniture catalogues could not be read: ") + failure.what();
    }
    return library;
}

} // namespace host
