#include "host/model/ModelReader.h"

#include "host/model/AssimpConvert.h"
#include "host/model/FileFaults.h"
#include "host/model/GuardedReader.h"
#include "host/model/Transforms.h"

#include <assimp/Importer.hpp>
#include <assimp/ProgressHandler.hpp>
#include <assimp/scene.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <filesystem>
#include <utility>

namespace host
{
namespace
{

constexpr uint32_t eNO_MESH = UINT32_MAX;
constexpr double eREADING_SHARE = 0.8; ///< of the progress; converting has the rest

/// Forwards the importer's progress. It may report -1 ("working"), which shows nothing.
class ReadingProgress : public Assimp::ProgressHandler
{
public:
    explicit ReadingProgress(ProgressFn const& progress) : m_progress(progress) {}

    bool Update(float percentage) override
    {
        if (m_progress && percentage >= 0.0f && percentage <= 1.0f) {
            m_progress(eREADING_SHARE * double(percentage), "reading the model");
        }
        return true;
    }

private:
    ProgressFn const& m_progress;
};

/// assimp's matrices act on column vectors, ours on row vectors: the transpose.
TqLAffine3f ConvertMatrix(aiMatrix4x4 const& m)
{
    double const rows[3][3] = {{m.a1, m.b1, m.c1}, {m.a2, m.b2, m.c2}, {m.a3, m.b3, m.c3}};
    double const translation[3] = {m.a4, m.b4, m.c4};
    return MakeAffine(rows, translation);
}

/// Counts of what had to be left out, for the note.
struct Losses
{
    uint64_t triangles = 0;
    uint64_t linesAndPoints = 0;
    uint64_t placements = 0;
};

/// Converts all meshes. `numbers` says for each of the importer's meshes which of ours it became;
/// eNO_MESH for those with nothing to draw.
void ConvertMeshes(aiScene const& source, SceneModel& scene, std::vector<uint32_t>& numbers,
                   Losses& losses, ProgressFn const& progress)
{
    numbers.assign(source.mNumMeshes, eNO_MESH);
    for (unsigned int i = 0; i < source.mNumMeshes; ++i) {
        aiMesh const& from = *source.mMeshes[i];
        uint32_t const corners = GetAssimpCorners(from);
        MeshBuilder builder(corners);
        uint64_t const numOutside = AddAssimpMesh(from, corners, true, builder);
        (corners == 3 ? losses.triangles : losses.linesAndPoints) +=
            numOutside + builder.GetNumRefused();
        if (!builder.IsEmpty()) {
            Mesh mesh;
            mesh.name = MakeOneLine(from.mName.C_Str());
            mesh.material = from.mMaterialIndex < source.mNumMaterials ? from.mMaterialIndex : 0;
            builder.Finish(mesh);
            numbers[i] = static_cast<uint32_t>(scene.meshes.size());
            scene.meshes.push_back(std::move(mesh));
        }
        if (progress) {
            progress(eREADING_SHARE + (1.0 - eREADING_SHARE) * (i + 1) / source.mNumMeshes,
                     "converting the model");
        }
    }
}

/// Places meshes as the node tree says. The tree is walked with a stack of its own, for files may
/// nest as deeply as they like.
void PlaceNodes(aiScene const& source, std::vector<uint32_t> const& numbers, SceneModel& scene,
                Losses& losses)
{
    std::vector<std::pair<aiNode const*, TqLAffine3f>> open;
    open.emplace_back(source.mRootNode, ConvertMatrix(source.mRootNode->mTransformation));
    while (!open.empty()) {
        auto const [node, toWorld] = open.back();
        open.pop_back();
        for (unsigned int i = 0; i < node->mNumMeshes; ++i) {
            unsigned int const from = node->mMeshes[i];
            if (from >= numbers.size() || numbers[from] == eNO_MESH) {
                continue;
            }
            if (IsFiniteBox(TransformBox(scene.meshes[numbers[from]].box, toWorld))) {
                scene.AddPlacement(numbers[from], toWorld, false);
            } else {
                ++losses.placements;
            }
        }
        for (unsigned int i = node->mNumChildren; i-- > 0;) {
            aiNode const* child = node->mChildren[i];
            open.emplace_back(child, ConvertMatrix(child->mTransformation) * toWorld);
        }
    }
}

std::string MakeNote(Losses const& losses)
{
    std::string note;
    if (losses.triangles > 0) {
        note = std::to_string(losses.triangles) + " triangles with unusable corners left out";
    }
    if (losses.linesAndPoints > 0) {
        note += (note.empty() ? "" : ", ") + std::to_string(losses.linesAndPoints) +
                " lines or points with unusable corners left out";
    }
    if (losses.placements > 0) {
        note += (note.empty() ? "" : ", ") + std::to_string(losses.placements) +
                " parts with unusable placements left out";
    }
    return note;
}

/// Everything that may throw. False with `reason` set when the file has nothing to show.
bool ImportModel(std::string const& path, SceneModel& scene, std::string& reason,
                 ProgressFn const& progress)
{
    Assimp::Importer importer;
    importer.SetProgressHandler(new ReadingProgress(progress)); // the importer deletes it
    aiScene const* source = importer.ReadFile(path, GetAssimpSteps());
    std::string const message = MakeOneLine(importer.GetErrorString());
    if (source == nullptr) {
        reason = message.empty() ? "cannot be read as a model: damaged or of no known format"
                                 : "cannot be read as a model: " + message;
        return false;
    }
    if (source->mRootNode == nullptr || source->mNumMeshes == 0) {
        reason = "has nothing to draw";
        return false;
    }
    for (unsigned int i = 0; i < source->mNumMaterials; ++i) {
        scene.materials.push_back(ConvertAssimpMaterial(*source->mMaterials[i]));
    }
    if (scene.materials.empty()) {
        scene.materials.emplace_back();
    }
    Losses losses;
    std::vector<uint32_t> numbers;
    ConvertMeshes(*source, scene, numbers, losses, progress);
    PlaceNodes(*source, numbers, scene, losses);
    scene.note = MakeNote(losses);
    if (scene.placements.empty()) {
        reason = "has nothing to draw" + (scene.note.empty() ? "" : " (" + scene.note + ")");
        return false;
    }
    return true;
}

CameraKey LookAt(double x, double y, double z, TqLPos3f const& target)
{
    double const to[3] = {target[0] - x, target[1] - y, target[2] - z};
    double const length = std::sqrt(to[0] * to[0] + to[1] * to[1] + to[2] * to[2]);
    CameraKey key;
    key.position = TqLPos3f(x, y, z);
    key.direction = length > 0.0 ? TqLVec3f(to[0] / length, to[1] / length, to[2] / length)
                                 : TqLVec3f(0.0, 0.0, -1.0);
    return key;
}

} // namespace

bool ReadModelFile(std::string const& path, SceneModel& scene, std::string& reason,
                   ProgressFn const& progress)
{
    scene = SceneModel();
    std::string fault;
    try {
        fault = FindFileFault(path);
        std::error_code error;
        uint64_t const numBytes = std::filesystem::file_size(path, error);
        ReadFn const read = [&path](SceneModel& made, std::string& why, ProgressFn const& report) {
            return ImportModel(path, made, why, report);
        };
        if (fault.empty() && ReadGuarded(read, error ? 0 : numBytes, scene, fault, progress)) {
            scene.title = std::filesystem::path(path).filename().string();
            scene.path = MakeOrbitPath(scene.box);
            return true;
        }
    } catch (std::exception const& failure) {
        fault = std::string("cannot be read: ") + failure.what();
    }
    scene = SceneModel();
    reason = MakeOneLine(fault);
    return false;
}

std::vector<CameraKey> MakeOrbitPath(TqLBox3f const& box)
{
    constexpr int eAROUND = 12;
    constexpr int eTHROUGH = 6;
    constexpr double eTURN = 6.283185307179586;
    std::vector<CameraKey> path;
    if (box.IsEmpty()) {
        return path;
    }
    TqLPos3f const center = box.GetCenter();
    TqLVec3f const size = box.GetSize();
    double const largest = std::max({size[0], size[1], size[2]});
    double const radius = largest > 0.0 ? largest : 1.0;
    for (int i = 0; i <= eAROUND; ++i) {
        double const angle = eTURN * i / eAROUND;
        path.push_back(LookAt(center[0] + 1.3 * radius * std::sin(angle),
                              center[1] + (0.25 + 0.2 * std::sin(2.0 * angle)) * radius,
                              center[2] + 1.3 * radius * std::cos(angle), center));
    }
    // Then straight through the middle, looking ahead, and out at the other side.
    for (int i = 1; i <= eTHROUGH; ++i) {
        double const share = double(i) / eTHROUGH;
        double const z = center[2] + (1.3 - 1.9 * share) * radius;
        TqLPos3f const ahead(center[0], center[1], z - radius);
        path.push_back(LookAt(center[0], center[1] + (0.25 * (1.0 - share)) * radius, z, ahead));
    }
    return path;
}

} // namespace host
