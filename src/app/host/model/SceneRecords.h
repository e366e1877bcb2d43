// How materials, meshes and lists of them are stored: one function a record, used for writing and
// for reading, so that the two cannot drift apart. ModelCache and GuardedReader store through it.
#pragma once

#include "host/model/BinaryStream.h"
#include "host/model/SceneModel.h"

#include <vector>

namespace host
{

// Smallest stored sizes in bytes, which bound the counts that a reader believes.
constexpr size_t eLEAST_MATERIAL_BYTES = 8 + 4 * sizeof(float);
constexpr size_t eLEAST_MESH_BYTES = 5 * 8 + 2 * sizeof(uint32_t);

/// Hands each field of a record to a writer.
struct RecordSaver
{
    BinaryWriter& stream;

    template <class T>
    void operator()(T const& value)
    {
        stream.Write(value);
    }
};

/// Fills each field of a record from a reader.
struct RecordLoader
{
    BinaryReader& stream;

    template <class T>
    void operator()(T& value)
    {
        stream.Read(value);
    }

    void operator()(bool& value)
    {
        uint8_t byte = 0;
        stream.Read(byte);
        value = byte != 0;
    }
};

/// Stores or loads a material.
template <class Archive, class T>
void ExchangeMaterial(Archive archive, T& material)
{
    archive(material.name);
    archive(material.color[0]);
    archive(material.color[1]);
    archive(material.color[2]);
    archive(material.opacity);
}

/// Stores or loads a mesh. Its box is not stored: it follows from the positions.
template <class Archive, class T>
void ExchangeMesh(Archive archive, T& mesh)
{
    archive(mesh.name);
    archive(mesh.positions);
    archive(mesh.normals);
    archive(mesh.texCoords);
    archive(mesh.indices);
    archive(mesh.corners);
    archive(mesh.material);
}

/// Writes a list: its length, then `exchange(saver, item)` for each item.
template <class T, class Exchange>
void SaveAll(BinaryWriter& stream, std::vector<T> const& items, Exchange exchange)
{
    stream.Write(static_cast<uint64_t>(items.size()));
    for (T const& item : items) {
        exchange(RecordSaver{stream}, item);
    }
}

/// Reads a list that SaveAll() wrote. An item takes at least `leastBytes` in the file.
template <class T, class Exchange>
void LoadAll(BinaryReader& stream, size_t leastBytes, std::vector<T>& items, Exchange exchange)
{
    items.resize(stream.ReadCount(leastBytes));
    for (T& item : items) {
        exchange(RecordLoader{stream}, item);
    }
}

/// Writes materials and meshes.
void SaveShapes(BinaryWriter& stream, std::vector<Material> const& materials,
                std::vector<Mesh> const& meshes);

/// Reads what SaveShapes() wrote, checks it and computes the meshes' boxes. False when an index
/// points outside or the stream failed.
bool LoadShapes(BinaryReader& stream, std::vector<Material>& materials, std::vector<Mesh>& meshes);

/// True when all arrays of the mesh fit each other and every index points inside. Linear.
bool IsMeshConsistent(Mesh const& mesh, size_t numMaterials);

} // namespace host
