#include "host/model/MeshBuilder.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace host
{
namespace
{

using Vec = MeshBuilder::Vec;

constexpr size_t eFIRST_SLOTS = 64;

bool IsFinite(Vec const& v)
{
    return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]);
}

float Dot(Vec const& a, Vec const& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// Scales `v` to unit length in double, so that neither tiny nor huge triangles lose their
/// direction. False, with `v` untouched, for a vector without one.
bool Normalise(Vec& v)
{
    double const x = v[0];
    double const y = v[1];
    double const z = v[2];
    double const length = std::sqrt(x * x + y * y + z * z);
    if (!std::isfinite(length) || length <= 0.0) {
        return false;
    }
    v = {static_cast<float>(x / length), static_cast<float>(y / length),
         static_cast<float>(z / length)};
    return true;
}

/// Twice the area times the direction of a triangle, in double.
std::array<double, 3> GetAreaNormal(Vec const corners[3])
{
    double a[3];
    double b[3];
    for (size_t k = 0; k < 3; ++k) {
        a[k] = double(corners[1][k]) - double(corners[0][k]);
        b[k] = double(corners[2][k]) - double(corners[0][k]);
    }
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

/// The direction of a triangle; straight up where it has no area.
Vec GetFaceNormal(Vec const corners[3])
{
    std::array<double, 3> const n = GetAreaNormal(corners);
    double const length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    if (!std::isfinite(length) || length <= 0.0) {
        return {0.0f, 1.0f, 0.0f};
    }
    return {static_cast<float>(n[0] / length), static_cast<float>(n[1] / length),
            static_cast<float>(n[2] / length)};
}

/// -0 and +0 are one place, but two bit patterns.
Vec WithoutNegativeZeros(Vec const& v)
{
    return {v[0] + 0.0f, v[1] + 0.0f, v[2] + 0.0f};
}

uint64_t Mix(uint64_t hash, uint32_t word)
{
    hash = (hash ^ word) * 0x9E3779B97F4A7C15ull;
    return hash ^ (hash >> 29);
}

template <class T>
uint64_t HashWords(T const& value)
{
    static_assert(sizeof(T) % sizeof(uint32_t) == 0);
    uint32_t words[sizeof(T) / sizeof(uint32_t)];
    std::memcpy(words, &value, sizeof(T));
    uint64_t hash = 0;
    for (uint32_t const word : words) {
        hash = Mix(hash, word);
    }
    return hash;
}

MeshBuilder::TexCoord GetUsable(MeshBuilder::TexCoord const& texCoord)
{
    if (!std::isfinite(texCoord[0]) || !std::isfinite(texCoord[1])) {
        return {0.0f, 0.0f};
    }
    return {texCoord[0] + 0.0f, texCoord[1] + 0.0f};
}

/// Numbers equal positions alike; what SmoothFaces() sums up per place.
class PlaceTable
{
public:
    explicit PlaceTable(size_t corners)
    {
        size_t numSlots = eFIRST_SLOTS;
        while (numSlots < corners * 2) {
            numSlots *= 2;
        }
        m_slots.resize(numSlots);
    }

    uint32_t GetPlace(Vec const& position)
    {
        size_t const mask = m_slots.size() - 1;
        for (size_t slot = HashWords(position) & mask;; slot = (slot + 1) & mask) {
            if (m_slots[slot] == 0) {
                m_positions.push_back(position);
                m_slots[slot] = static_cast<uint32_t>(m_positions.size());
            }
            if (m_positions[m_slots[slot] - 1] == position) {
                return m_slots[slot] - 1;
            }
        }
    }

private:
    std::vector<uint32_t> m_slots;
    std::vector<Vec> m_positions;
};

} // namespace

void MeshBuilder::Add(Vec const corners[3], Vec const* normals, TexCoord const* texCoords)
{
    Face face = {};
    for (int i = 0; i < 3; ++i) {
        if (!IsFinite(corners[i])) {
            ++m_numRefused;
            return;
        }
        face.corners[i] = WithoutNegativeZeros(corners[i]);
        if (texCoords != nullptr) {
            face.texCoords[i] = GetUsable(texCoords[i]);
        }
    }
    if (face.corners[0] == face.corners[1] || face.corners[1] == face.corners[2] ||
        face.corners[2] == face.corners[0]) {
        return;
    }
    m_hasTexCoords = m_hasTexCoords || texCoords != nullptr;
    if (normals == nullptr) {
        m_smooth.push_back(face);
        return;
    }
    Vertex vertices[3];
    for (int i = 0; i < 3; ++i) {
        Vec normal = normals[i];
        if (!IsFinite(normal) || !Normalise(normal)) {
            normal = GetFaceNormal(face.corners);
        }
        vertices[i] = {face.corners[i], WithoutNegativeZeros(normal), face.texCoords[i]};
    }
    AddIndexed(vertices);
}

void MeshBuilder::AddSimple(Vec const* corners)
{
    Vertex vertices[2];
    for (uint32_t i = 0; i < m_corners; ++i) {
        if (!IsFinite(corners[i])) {
            ++m_numRefused;
            return;
        }
        vertices[i] = {WithoutNegativeZeros(corners[i]), {0.0f, 1.0f, 0.0f}, {}};
    }
    if (m_corners == 1 || vertices[0].position != vertices[1].position) {
        AddIndexed(vertices);
    }
}

void MeshBuilder::Finish(Mesh& mesh)
{
    SmoothFaces();
    mesh.positions.clear();
    mesh.normals.clear();
    mesh.texCoords.clear();
    mesh.corners = m_corners;
    mesh.positions.reserve(m_vertices.size() * 3);
    mesh.normals.reserve(m_vertices.size() * 3);
    for (Vertex const& vertex : m_vertices) {
        mesh.positions.insert(mesh.positions.end(), vertex.position.begin(), vertex.position.end());
        mesh.normals.insert(mesh.normals.end(), vertex.normal.begin(), vertex.normal.end());
        if (m_hasTexCoords) {
            mesh.texCoords.insert(mesh.texCoords.end(), vertex.texCoord.begin(),
                                  vertex.texCoord.end());
        }
    }
    mesh.indices = std::move(m_indices);
    mesh.indices.shrink_to_fit();
    mesh.UpdateBox();
    m_vertices = {};
    m_slots = {};
    m_indices = {};
    m_hasTexCoords = false;
}

void MeshBuilder::AddIndexed(Vertex const* corners)
{
    for (uint32_t i = 0; i < m_corners; ++i) {
        m_indices.push_back(Weld(corners[i]));
    }
}

uint32_t MeshBuilder::Weld(Vertex const& vertex)
{
    if (m_slots.size() < (m_vertices.size() + 1) * 2) {
        Rehash(m_slots.empty() ? eFIRST_SLOTS : m_slots.size() * 2);
    }
    size_t const mask = m_slots.size() - 1;
    size_t slot = HashWords(vertex) & mask;
    while (m_slots[slot] != 0) {
        Vertex const& other = m_vertices[m_slots[slot] - 1];
        if (other.position == vertex.position && other.normal == vertex.normal &&
            other.texCoord == vertex.texCoord) {
            return m_slots[slot] - 1;
        }
        slot = (slot + 1) & mask;
    }
    m_vertices.push_back(vertex);
    m_slots[slot] = static_cast<uint32_t>(m_vertices.size());
    return m_slots[slot] - 1;
}

void MeshBuilder::Rehash(size_t numSlots)
{
    m_slots.assign(numSlots, 0);
    size_t const mask = numSlots - 1;
    for (size_t i = 0; i < m_vertices.size(); ++i) {
        size_t slot = HashWords(m_vertices[i]) & mask;
        while (m_slots[slot] != 0) {
            slot = (slot + 1) & mask;
        }
        m_slots[slot] = static_cast<uint32_t>(i + 1);
    }
}

/// Gives the triangles without normals smooth ones: at each place the directions of its faces are
/// summed, weighted by area; a corner takes the sum's direction unless its own face stands too far
/// from it, which keeps the edges of boxes sharp.
void MeshBuilder::SmoothFaces()
{
    if (m_smooth.empty()) {
        return;
    }
    PlaceTable table(m_smooth.size() * 3);
    std::vector<uint32_t> places;
    std::vector<std::array<double, 3>> sums;
    places.reserve(m_smooth.size() * 3);
    for (Face const& face : m_smooth) {
        std::array<double, 3> const areaNormal = GetAreaNormal(face.corners);
        for (Vec const& corner : face.corners) {
            uint32_t const place = table.GetPlace(corner);
            places.push_back(place);
            sums.resize(std::max<size_t>(sums.size(), size_t(place) + 1));
            for (size_t k = 0; k < 3; ++k) {
                sums[place][k] += areaNormal[k];
            }
        }
    }
    size_t at = 0;
    for (Face const& face : m_smooth) {
        Vec const own = GetFaceNormal(face.corners);
        Vertex vertices[3];
        for (Vertex& vertex : vertices) {
            std::array<double, 3> const& sum = sums[places[at]];
            double const length = std::sqrt(sum[0] * sum[0] + sum[1] * sum[1] + sum[2] * sum[2]);
            Vec normal = own;
            if (std::isfinite(length) && length > 0.0) {
                normal = {static_cast<float>(sum[0] / length), static_cast<float>(sum[1] / length),
                          static_cast<float>(sum[2] / length)};
            }
            if (!(Dot(normal, own) >= s_creaseCosine)) {
                normal = own;
            }
            auto const corner = &vertex - vertices;
            vertex = {face.corners[corner], WithoutNegativeZeros(normal), face.texCoords[corner]};
            ++at;
        }
        AddIndexed(vertices);
    }
    m_smooth = {};
}

} // namespace host
