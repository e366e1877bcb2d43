#include "demo/Site.h"

#include "host/model/ShapeMaker.h"
#include "host/model/Transforms.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <utility>

namespace demo
{

namespace
{

using host::MakeScaled;
using host::MakeTranslation;
using host::MeshBuilder;

// The plan, in metres: the model ends at x = 31, the lawn begins there.
constexpr double eMODEL_END = 31.0;
constexpr double eMODEL_WIDTH = 62.0;
constexpr double eGROUND = -0.05;
constexpr double eCRANE_X = 54.0;
constexpr double eMAST_SECTION = 3.0;
constexpr int eMAST_SECTIONS = 15;
constexpr double eJIB_HEIGHT = eMAST_SECTION * eMAST_SECTIONS;
constexpr int eJIB_SECTIONS = 7; ///< of which the first two reach behind the mast
constexpr int eBACK_SECTIONS = 2;
constexpr double eLOAD_RADIUS = 13.0;
constexpr double eLOAD_BOTTOM = 5.0;
constexpr double eLIFT = 22.0;
constexpr double eTURNS = 1.5;
constexpr double eROPE_HALF = 0.07;

constexpr double eBELT_HEIGHT = 1.0;
constexpr double eBELT_HALF = 1.5;
constexpr double eROW_SPACING = 0.6;
constexpr double eROWS_PER_FLIGHT = 144.0;
constexpr double eLANE = 0.72;

struct Colour
{
    char const* m_name;
    float m_rgb[3];
};

constexpr Colour s_yellow{"crane yellow", {0.86f, 0.62f, 0.08f}};
constexpr Colour s_steel{"steel", {0.45f, 0.48f, 0.52f}};
constexpr Colour s_concrete{"site concrete", {0.62f, 0.61f, 0.58f}};
constexpr Colour s_rubber{"belt rubber", {0.12f, 0.12f, 0.13f}};
constexpr Colour s_red{"site red", {0.72f, 0.13f, 0.10f}};
constexpr Colour s_blue{"site blue", {0.12f, 0.30f, 0.66f}};
constexpr Colour s_green{"site green", {0.16f, 0.50f, 0.26f}};
constexpr Colour s_white{"site white", {0.85f, 0.86f, 0.87f}};
constexpr Colour s_copper{"copper", {0.70f, 0.40f, 0.22f}};

std::vector<TqLPos3f> MakeBeltLine()
{
    double const y = eGROUND + eBELT_HEIGHT;
    return {TqLPos3f(36.0, y, 16.5), TqLPos3f(74.0, y, 16.5), TqLPos3f(74.0, y, -16.5),
            TqLPos3f(36.0, y, -16.5)};
}

/// A lattice of four posts with diagonals on every side, over 0 to `length` along y.
void AddLattice(MeshBuilder& builder, double half, double post, double length)
{
    for (int corner = 0; corner < 4; ++corner) {
        double const x = (corner & 1) != 0 ? half : -half;
        double const z = (corner & 2) != 0 ? half : -half;
        host::AddBox(builder, {x - post, 0.0, z - post}, {x + post, length, z + post});
    }
    constexpr int eSTEPS = 8;
    for (int step = 0; step < eSTEPS; ++step) {
        double const along = -half + 2.0 * half * (step + 0.5) / eSTEPS;
        double const low = length * step / eSTEPS;
        double const high = length * (step + 1) / eSTEPS;
        for (double const side : {-half, half}) {
            double const thin = post * 0.6;
            host::AddBox(builder, {along - half / eSTEPS, low, side - thin},
                         {along + half / eSTEPS, high, side + thin});
            host::AddBox(builder, {side - thin, low, along - half / eSTEPS},
                         {side + thin, high, along + half / eSTEPS});
        }
    }
}

/// Turns +y into +x about the origin, for what is built upright and lies.
TqLAffine3f LieDown()
{
    return TqLAffine3f(TqLVec3f(0.0, -1.0, 0.0), TqLVec3f(1.0, 0.0, 0.0), TqLVec3f(0.0, 0.0, 1.0),
                       TqLVec3f(0.0, 0.0, 0.0));
}

/// Turns +y into +z.
TqLAffine3f LieAcross()
{
    return TqLAffine3f(TqLVec3f(1.0, 0.0, 0.0), TqLVec3f(0.0, 0.0, 1.0), TqLVec3f(0.0, -1.0, 0.0),
                       TqLVec3f(0.0, 0.0, 0.0));
}

/// Where the site's own metres lie in the world.
TqLAffine3f FindSite(host::SceneModel const& model, bool isTower, double* modelHeight)
{
    TqLVec3f const size = model.box.GetSize();
    if (isTower) {
        *modelHeight = size[1];
        return TqLAffine3f();
    }
    // The model's larger side takes the place of the tower's longer one.
    double const scale = std::max({size[0], size[2], size[1] * 0.5, 1e-6}) / eMODEL_WIDTH;
    *modelHeight = size[1] / scale;
    return MakeScaled(scale, scale, scale, model.box.GetMax()[0] - eMODEL_END * scale,
                      model.box.GetMin()[1] - eGROUND * scale,
                      (model.box.GetMin()[2] + model.box.GetMax()[2]) / 2);
}

} // namespace

// ---- Building -----------------------------------------------------------------------------------

/// Adds the site's pieces to the model.
class Site::Builder
{
public:
    Builder(host::SceneModel* model, Site* site) : m_model(*model), m_site(*site) {}

    void Build()
    {
        m_box = AddMesh(s_steel, UnitBox);
        m_yellowBox = AddMesh(s_yellow, UnitBox);
        AddGround();
        AddCrane();
        AddLoad();
        AddBelt();
        m_site.m_firstPart = m_model.placements.size();
        AddParts();
    }

private:
    static void UnitBox(MeshBuilder& builder)
    {
        host::AddBox(builder, {0.0, 0.0, 0.0}, {1.0, 1.0, 1.0});
    }

    std::uint32_t AddMesh(Colour const& colour, std::function<void(MeshBuilder&)> const& make)
    {
        host::Material material;
        material.name = colour.m_name;
        std::copy_n(colour.m_rgb, 3, material.color);
        host::Mesh mesh;
        mesh.name = colour.m_name;
        mesh.material = static_cast<std::uint32_t>(m_model.materials.size());
        m_model.materials.push_back(material);
        MeshBuilder builder;
        make(builder);
        builder.Finish(mesh);
        m_model.meshes.push_back(std::move(mesh));
        return static_cast<std::uint32_t>(m_model.meshes.size() - 1);
    }

    /// Adds a piece at rest. @return its pose there, in the site's own metres.
    Pose Place(std::uint32_t mesh, TqLAffine3f const& toSite)
    {
        m_model.AddPlacement(mesh, toSite * m_site.m_toWorld, false);
        return {m_model.placements.size() - 1, toSite};
    }

    /// A block between two corners.
    static TqLAffine3f Block(host::Triple const& min, host::Triple const& max)
    {
        return MakeScaled(max[0] - min[0], max[1] - min[1], max[2] - min[2], min[0], min[1],
                          min[2]);
    }

    void AddGround();
    void AddCrane();
    void AddLoad();
    void AddPipework(TqLAffine3f const& toSite);
    void AddBelt();
    void AddParts();

    host::SceneModel& m_model;
    Site& m_site;
    std::uint32_t m_box = 0;
    std::uint32_t m_yellowBox = 0;
};

void Site::Builder::AddGround()
{
    std::uint32_t const slab = AddMesh(s_concrete, UnitBox);
    for (double const half : {6.0, 2.5}) {
        double const top = half > 3.0 ? 0.12 : 1.2;
        Place(slab, Block({eCRANE_X - half, eGROUND, -half}, {eCRANE_X + half, top, half}));
    }
}

void Site::Builder::AddCrane()
{
    std::uint32_t const mast = AddMesh(
        s_yellow, [](MeshBuilder& builder) { AddLattice(builder, 1.0, 0.14, eMAST_SECTION); });
    for (int i = 0; i < eMAST_SECTIONS; ++i) {
        Place(mast, MakeTranslation(eCRANE_X, eMAST_SECTION * i, 0.0));
    }
    auto const turning = [this](Pose const& pose) { m_site.m_turning.push_back(pose); };
    std::uint32_t const jib = AddMesh(
        s_yellow, [](MeshBuilder& builder) { AddLattice(builder, 0.7, 0.11, eMAST_SECTION); });
    for (int i = 0; i < eJIB_SECTIONS; ++i) {
        double const from = eMAST_SECTION * (i - eBACK_SECTIONS);
        turning(Place(jib, LieDown() * MakeTranslation(eCRANE_X + from, eJIB_HEIGHT + 0.8, 0.0)));
    }
    std::uint32_t const weight = AddMesh(s_concrete, UnitBox);
    for (int i = 0; i < 3; ++i) {
        double const x = eCRANE_X - eMAST_SECTION * eBACK_SECTIONS + 0.8 * i;
        turning(Place(weight, Block({x, eJIB_HEIGHT - 2.2, -1.1}, {x + 0.7, eJIB_HEIGHT, 1.1})));
    }
    std::uint32_t const cab = AddMesh(s_white, UnitBox);
    turning(Place(
        cab, Block({eCRANE_X + 1.1, eJIB_HEIGHT - 2.3, 0.8}, {eCRANE_X + 3.2, eJIB_HEIGHT, 2.4})));
    std::uint32_t const peak = AddMesh(s_yellow, [](MeshBuilder& builder) {
        host::AddCylinder(builder, {0.0, 0.0, 0.0}, 0.9, 0.15, 6.0, 8);
    });
    turning(Place(peak, MakeTranslation(eCRANE_X, eJIB_HEIGHT + 1.5, 0.0)));
}

/// A module of pipes, vessels and valves in a frame, under the jib.
void Site::Builder::AddLoad()
{
    constexpr double eHALF_X = 3.0;
    constexpr double eHALF_Z = 4.5;
    constexpr double eHEIGHT = 6.0;
    constexpr double eBEAM = 0.16;
    TqLAffine3f const toSite = MakeTranslation(eCRANE_X + eLOAD_RADIUS, eLOAD_BOTTOM, 0.0);
    auto const carry = [&](std::uint32_t mesh, TqLAffine3f const& toLoad) {
        m_site.m_carried.push_back(Place(mesh, toLoad * toSite));
    };
    for (double const x : {-eHALF_X, eHALF_X}) {
        for (double const z : {-eHALF_Z, 0.0, eHALF_Z}) {
            carry(m_yellowBox, Block({x - eBEAM, 0.0, z - eBEAM}, {x + eBEAM, eHEIGHT, z + eBEAM}));
        }
        for (double const y : {0.0, eHEIGHT / 2, eHEIGHT}) {
            carry(m_yellowBox,
                  Block({x - eBEAM, y - eBEAM, -eHALF_Z}, {x + eBEAM, y + eBEAM, eHALF_Z}));
        }
    }
    for (double const y : {0.0, eHEIGHT / 2, eHEIGHT}) {
        for (double const z : {-eHALF_Z, 0.0, eHALF_Z}) {
            carry(m_yellowBox,
                  Block({-eHALF_X, y - eBEAM, z - eBEAM}, {eHALF_X, y + eBEAM, z + eBEAM}));
        }
    }
    AddPipework(toSite);
    m_site.m_ropeBottom = eLOAD_BOTTOM + eHEIGHT;
    std::uint32_t const rope = AddMesh(s_rubber, UnitBox);
    m_site.m_rope =
        Place(rope, Block({eCRANE_X + eLOAD_RADIUS - eROPE_HALF, m_site.m_ropeBottom, -eROPE_HALF},
                          {eCRANE_X + eLOAD_RADIUS + eROPE_HALF, eJIB_HEIGHT, eROPE_HALF}))
            .m_placement;
}

void Site::Builder::AddPipework(TqLAffine3f const& toSite)
{
    auto const carry = [&](std::uint32_t mesh, TqLAffine3f const& toLoad) {
        m_site.m_carried.push_back(Place(mesh, toLoad * toSite));
    };
    std::uint32_t const vessel = AddMesh(s_white, [](MeshBuilder& builder) {
        host::AddEllipsoid(builder, {0.0, 0.0, 0.0}, {0.75, 1.25, 0.75}, 16, 24);
    });
    std::uint32_t const flange = AddMesh(s_steel, [](MeshBuilder& builder) {
        host::AddCylinder(builder, {0.0, -0.06, 0.0}, 0.26, 0.26, 0.12, 12);
    });
    std::uint32_t const valve = AddMesh(s_red, [](MeshBuilder& builder) {
        host::AddTorus(builder, {0.0, 0.0, 0.0}, 0.28, 0.05, 20, 8);
    });
    Colour const colours[] = {s_blue, s_copper, s_green};
    std::uint32_t pipes[3];
    for (int i = 0; i < 3; ++i) {
        pipes[i] = AddMesh(colours[i], [](MeshBuilder& builder) {
            host::AddCylinder(builder, {0.0, 0.0, 0.0}, 0.15, 0.15, 1.45, 14);
        });
    }
    // Two storeys, in each a row of vessels and, above, three layers of pipes.
    for (double const floor : {0.2, 3.2}) {
        for (int i = 0; i < 4; ++i) {
            carry(vessel, MakeTranslation(i % 2 == 0 ? -1.3 : 1.3, floor + 1.25, -3.0 + 2.0 * i));
        }
        for (int layer = 0; layer < 2; ++layer) {
            double const y = floor + (layer == 0 ? 0.2 : 2.45);
            for (int lane = 0; lane < 6; ++lane) {
                double const x = -2.4 + 0.96 * lane;
                for (int part = 0; part < 6; ++part) {
                    double const z = -4.35 + 1.47 * part;
                    carry(pipes[(lane + layer) % 3], LieAcross() * MakeTranslation(x, y, z));
                    carry(flange, LieAcross() * MakeTranslation(x, y, z));
                    if ((lane + part) % 3 == 0) {
                        carry(valve, MakeTranslation(x, y + 0.35, z + 0.7));
                    }
                }
            }
        }
    }
}

void Site::Builder::AddBelt()
{
    std::uint32_t const rubber = AddMesh(s_rubber, UnitBox);
    std::uint32_t const roller = AddMesh(s_steel, [](MeshBuilder& builder) {
        host::AddCylinder(builder, {0.0, -eBELT_HALF - 0.15, 0.0}, 0.12, 0.12,
                          2.0 * eBELT_HALF + 0.3, 12);
    });
    std::vector<TqLPos3f> const line = MakeBeltLine();
    for (std::size_t i = 1; i < line.size(); ++i) {
        host::Triple min;
        host::Triple max;
        for (int axis = 0; axis < 3; ++axis) {
            std::size_t const k = static_cast<std::size_t>(axis);
            double const reach = axis == 1 ? 0.0 : eBELT_HALF;
            min[k] = std::min(line[i - 1][axis], line[i][axis]) - reach;
            max[k] = std::max(line[i - 1][axis], line[i][axis]) + reach;
        }
        min[1] -= 0.1;
        max[1] -= 0.02;
        Place(rubber, Block(min, max));
    }
    constexpr double eROLLER_STEP = 2.0;
    for (double at = 0.0; at < m_site.m_belt.GetLength(); at += eROLLER_STEP) {
        TqLAffine3f const place = m_site.m_belt.GetPlace(at);
        Place(roller, LieAcross() * MakeTranslation(0.0, -0.25, 0.0) * place);
        for (double const side : {-eBELT_HALF, eBELT_HALF}) {
            Place(m_box, Block({-0.1, -eBELT_HEIGHT, side - 0.1}, {0.1, -0.1, side + 0.1}) * place);
        }
    }
}

/// A placement for every place of a row that can be on the belt at once. They wait at the start.
void Site::Builder::AddParts()
{
    std::uint32_t const parts[] = {
        AddMesh(s_copper,
                [](MeshBuilder& builder) {
                    host::AddTorus(builder, {0.0, 0.1, 0.0}, 0.2, 0.09, 10, 6);
                }),
        AddMesh(s_blue,
                [](MeshBuilder& builder) {
                    host::AddCylinder(builder, {0.0, 0.0, 0.0}, 0.26, 0.18, 0.5, 10);
                }),
        AddMesh(s_red,
                [](MeshBuilder& builder) {
                    host::AddCushion(builder, {-0.26, 0.0, -0.26}, {0.26, 0.5, 0.26}, 6, 10);
                }),
        AddMesh(s_white,
                [](MeshBuilder& builder) {
                    host::AddEllipsoid(builder, {0.0, 0.25, 0.0}, {0.25, 0.25, 0.25}, 6, 10);
                }),
        AddMesh(s_green, [](MeshBuilder& builder) {
            host::AddBox(builder, {-0.24, 0.0, -0.24}, {0.24, 0.42, 0.24});
        })};
    std::size_t const rows = m_site.m_belt.GetMaxRows();
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t part = 0; part < s_partsPerRow; ++part) {
            Place(parts[(row * 3 + part * 2) % std::size(parts)], m_site.m_belt.GetPlace(0.0));
        }
    }
}

// ---- Site ---------------------------------------------------------------------------------------

Site::Site(host::SceneModel* model, bool isTower)
    : m_modelPlacements(model->placements.size())
    , m_toWorld(FindSite(*model, isTower, &m_modelHeight))
    , m_crane(TqLPos3f(eCRANE_X, 0.0, 0.0), eTURNS, eLIFT)
    , m_belt(MakeBeltLine(), eROW_SPACING)
{
    Builder(model, this).Build();
}

void Site::AppendCranePoses(double time, std::vector<Pose>* poses) const
{
    TqLAffine3f const turn = m_crane.GetTurn(time) * m_toWorld;
    TqLAffine3f const carry = m_crane.GetCarry(time) * m_toWorld;
    for (Pose const& rest : m_turning) {
        poses->push_back({rest.m_placement, rest.m_toWorld * turn});
    }
    for (Pose const& rest : m_carried) {
        poses->push_back({rest.m_placement, rest.m_toWorld * carry});
    }
    double const bottom = m_ropeBottom + m_crane.GetLift(time);
    TqLAffine3f const rope = MakeScaled(2.0 * eROPE_HALF, eJIB_HEIGHT - bottom, 2.0 * eROPE_HALF,
                                        eCRANE_X + eLOAD_RADIUS - eROPE_HALF, bottom, -eROPE_HALF);
    poses->push_back({m_rope, rope * turn});
}

double Site::GetRun(double time) const
{
    return eROWS_PER_FLIGHT * eROW_SPACING * time;
}

BeltRows Site::GetRows(double time) const
{
    double const run = GetRun(time);
    return {m_belt.GetFirstRow(run), m_belt.GetEndRow(run)};
}

std::size_t Site::GetPart(std::size_t row, std::size_t part) const
{
    return m_firstPart + row % m_belt.GetMaxRows() * s_partsPerRow + part;
}

TqLAffine3f Site::GetPartPlace(std::size_t row, std::size_t part, double time) const
{
    double const across =
        (static_cast<double>(part) - 0.5 * static_cast<double>(s_partsPerRow - 1)) * eLANE;
    return MakeTranslation(0.0, 0.0, across) *
           m_belt.GetPlace(m_belt.GetDistance(row, GetRun(time))) * m_toWorld;
}

std::vector<host::CameraKey> Site::MakePath() const
{
    struct Stop
    {
        TqLPos3f m_eye;
        TqLPos3f m_at;
    };

    double const top = std::max(m_modelHeight, eJIB_HEIGHT);
    Stop const stops[] = {
        {TqLPos3f(96.0, 13.0, 36.0), TqLPos3f(50.0, 21.0, 0.0)},
        {TqLPos3f(100.0, 19.0, 24.0), TqLPos3f(44.0, 22.0, 0.0)},
        {TqLPos3f(102.0, 27.0, 0.0), TqLPos3f(40.0, 22.0, 0.0)},
        {TqLPos3f(98.0, 36.0, -36.0), TqLPos3f(36.0, 0.38 * top, 0.0)},
        {TqLPos3f(82.0, 0.95 * top, -58.0), TqLPos3f(24.0, 0.55 * top, 0.0)},
    };
    std::vector<host::CameraKey> keys;
    for (Stop const& stop : stops) {
        keys.push_back({stop.m_eye * m_toWorld, (stop.m_at - stop.m_eye) * m_toWorld});
    }
    return keys;
}

} // namespace demo
