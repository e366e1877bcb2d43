// PlantScene: the generated process plant, one unit of 2,500 boxes after another.
//
// A unit is 36 m square and about 25 m high. It is built section by section in the order in which
// a model of it would be read: slabs, steel, rails, vessels, pipes, racks, trays; small fittings
// fill it up to its count.

#include "scenes/SceneBoxSink.h"
#include "scenes/SceneBoxes.h"
#include "scenes/SceneRandom.h"

#include "geometry/TqLBox.h"
#include "geometry/TqLPrimitiveTypes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace
{

constexpr std::size_t eUNIT_BOXES = 2500;
constexpr double ePITCH = 36.0;
constexpr double eSTOREY_HEIGHT = 6.0;
constexpr int eSTOREYS = 4;
constexpr int eBAYS = 4;
constexpr double eBAY = 8.0;
constexpr double eMARGIN = 2.0;
constexpr double eOVERHANG = 12.0;

// Twelve directions, 30 degrees apart, written out because sin and cos differ between libraries.
constexpr double eHALF_ROOT_3 = 0.86602540378443865;
constexpr double eRING[12][2] = {{1.0, 0.0},  {eHALF_ROOT_3, 0.5},   {0.5, eHALF_ROOT_3},
                                 {0.0, 1.0},  {-0.5, eHALF_ROOT_3},  {-eHALF_ROOT_3, 0.5},
                                 {-1.0, 0.0}, {-eHALF_ROOT_3, -0.5}, {-0.5, -eHALF_ROOT_3},
                                 {0.0, -1.0}, {0.5, -eHALF_ROOT_3},  {eHALF_ROOT_3, -0.5}};

/// Builds one unit at its place.
class PlantUnit
{
public:
    PlantUnit(double originX, double originY, SceneRandom& random, SceneBoxSink& sink)
        : m_x(originX)
        , m_y(originY)
        , m_random(random)
        , m_sink(sink)
    {}

    void Build()
    {
        AddSlabs();
        AddSteel();
        for (int i = 0; i < 5; ++i) {
            AddVessel();
        }
        AddRacks();
        AddTrays();
        for (int i = 0; i < 26; ++i) {
            AddPipe();
        }
        while (!m_sink.IsFull()) {
            AddFitting();
        }
    }

private:
    // All section functions work in coordinates of the unit, 0 to ePITCH.
    void Add(double x0, double y0, double z0, double x1, double y1, double z1, unsigned tris)
    {
        m_sink.Add(MakeSceneBox(m_x + x0, m_y + y0, z0, m_x + x1, m_y + y1, z1), tris);
    }

    void AddSlabs()
    {
        Add(0.0, 0.0, -0.4, ePITCH, ePITCH, 0.0, 12);
        for (int storey = 1; storey < eSTOREYS; ++storey) {
            double const z = storey * eSTOREY_HEIGHT;
            for (int i = 0; i < 4; ++i) {
                double const x = eMARGIN + m_random.Below(3) * eBAY;
                double const y = eMARGIN + m_random.Below(3) * eBAY;
                double const dx = eBAY * (1 + m_random.Below(2));
                double const dy = eBAY * (1 + m_random.Below(2));
                Add(x, y, z, x + dx, y + dy, z + 0.05, 12 + m_random.Below(400));
                AddRails(x, y, z, dx, dy);
            }
        }
    }

    // Two rails and five posts along each side of a platform.
    void AddRails(double x, double y, double z, double dx, double dy)
    {
        for (int side = 0; side < 2; ++side) {
            double const sx = x + side * dx;
            double const sy = y + side * dy;
            for (int rail = 1; rail <= 2; ++rail) {
                double const h = z + 0.55 * rail;
                Add(x, sy, h, x + dx, sy + 0.04, h + 0.04, 24);
                Add(sx, y, h, sx + 0.04, y + dy, h + 0.04, 24);
            }
            for (int post = 0; post < 5; ++post) {
                double const px = x + post * 0.25 * dx;
                double const py = y + post * 0.25 * dy;
                Add(px, sy, z, px + 0.04, sy + 0.04, z + 1.1, 16);
                Add(sx, py, z, sx + 0.04, py + 0.04, z + 1.1, 16);
            }
        }
    }

    void AddSteel()
    {
        for (int i = 0; i <= eBAYS; ++i) {
            for (int j = 0; j <= eBAYS; ++j) {
                double const x = eMARGIN + i * eBAY;
                double const y = eMARGIN + j * eBAY;
                double const top = eSTOREY_HEIGHT * (1 + m_random.Below(eSTOREYS));
                Add(x - 0.2, y - 0.2, 0.0, x + 0.2, y + 0.2, top, 36);
            }
        }
        for (int storey = 1; storey < eSTOREYS; ++storey) {
            double const z = storey * eSTOREY_HEIGHT;
            for (int line = 0; line <= eBAYS; ++line) {
                for (int bay = 0; bay < eBAYS; ++bay) {
                    double const along = eMARGIN + bay * eBAY;
                    double const across = eMARGIN + line * eBAY;
                    Add(along, across - 0.1, z - 0.3, along + eBAY, across + 0.1, z, 36);
                    Add(across - 0.1, along, z - 0.3, across + 0.1, along + eBAY, z, 36);
                }
            }
        }
    }

    // A standing or lying vessel with heads, legs, nozzles and a ladder.
    void AddVessel()
    {
        double const radius = m_random.Range(0.6, 2.2);
        double const height = m_random.Range(3.0, 14.0);
        double const x = m_random.Range(4.0, ePITCH - 4.0);
        double const y = m_random.Range(4.0, ePITCH - 4.0);
        double const z = 1.5 + m_random.Below(2) * eSTOREY_HEIGHT;
        double const head = 0.3 * radius;
        Add(x - radius, y - radius, z, x + radius, y + radius, z + height,
            800 + m_random.Below(4000));
        Add(x - radius, y - radius, z - head, x + radius, y + radius, z, 400);
        Add(x - radius, y - radius, z + height, x + radius, y + radius, z + height + head, 400);
        for (int leg = 0; leg < 4; ++leg) {
            double const lx = x + eRING[leg * 3][0] * 0.8 * radius;
            double const ly = y + eRING[leg * 3][1] * 0.8 * radius;
            Add(lx - 0.1, ly - 0.1, z - 1.5, lx + 0.1, ly + 0.1, z, 24);
        }
        for (int nozzle = 0; nozzle < 8; ++nozzle) {
            std::uint32_t const side = m_random.Below(12);
            double const nx = x + eRING[side][0] * (radius + 0.15);
            double const ny = y + eRING[side][1] * (radius + 0.15);
            double const nz = z + m_random.Range(0.1, 0.9) * height;
            Add(nx - 0.15, ny - 0.15, nz - 0.15, nx + 0.15, ny + 0.15, nz + 0.15, 96);
            Add(nx - 0.2, ny - 0.2, nz - 0.2, nx + 0.2, ny + 0.2, nz + 0.2, 120);
        }
        for (int rung = 0; rung < 12; ++rung) {
            double const rz = z + height * rung / 12.0;
            Add(x + radius + 0.1, y - 0.25, rz, x + radius + 0.13, y + 0.25, rz + 0.03, 16);
        }
    }

    // A pipe along one axis with flanges; a flange is ringed by 8 or 12 bolts.
    void AddPipe()
    {
        int const axis = m_random.Chance(0.25) ? 2 : static_cast<int>(m_random.Below(2));
        double const available = axis == 2 ? eSTOREYS * eSTOREY_HEIGHT - 2.0 : ePITCH - 2.0;
        double const length = m_random.Range(0.12, 1.0) * available;
        double const radius = 0.05 + 0.3 * m_random.Skewed();
        double middle[3] = {m_x + m_random.Range(1.0, ePITCH - 1.0),
                            m_y + m_random.Range(1.0, ePITCH - 1.0), m_random.Range(0.5, 20.0)};
        double const origin = axis == 0 ? m_x : axis == 1 ? m_y : 0.0;
        double const start = origin + 1.0 + m_random.Unit() * (available - length);
        middle[axis] = start + 0.5 * length;
        double half[3] = {radius, radius, radius};
        half[axis] = 0.5 * length;
        unsigned const tris = 32 + m_random.Below(96);
        double const scale = m_random.Chance(0.1) ? 0.5 : 1.0;
        m_sink.AddCentred(middle, half, tris, TqLPrimitiveTypes::eTRIANGLES, scale);
        int const flanges = 2 + static_cast<int>(m_random.Below(4));
        int const bolts = radius > 0.15 ? 12 : 8;
        for (int i = 0; i < flanges; ++i) {
            middle[axis] = start + length * i / (flanges - 1);
            AddFlange(middle, axis, radius, bolts);
        }
    }

    void AddFlange(double const middle[3], int axis, double radius, int bolts)
    {
        int const across = (axis + 1) % 3;
        int const up = (axis + 2) % 3;
        double const rim = 1.5 * radius + 0.03;
        double half[3] = {rim, rim, rim};
        half[axis] = 0.03;
        m_sink.AddCentred(middle, half, 96);
        double const ring = radius + 0.5 * (rim - radius);
        double const head = 0.01 + 0.04 * radius;
        double boltHalf[3] = {head, head, head};
        boltHalf[axis] = 0.06;
        for (int i = 0; i < bolts; ++i) {
            double const* direction = eRING[bolts == 12 ? i : (i * 3) / 2];
            double bolt[3];
            bolt[axis] = middle[axis];
            bolt[across] = middle[across] + direction[0] * ring;
            bolt[up] = middle[up] + direction[1] * ring;
            m_sink.AddCentred(bolt, boltHalf, 60);
        }
    }

    // Two crossing racks. Their pipes run on into the neighbouring units.
    void AddRacks()
    {
        for (int axis = 0; axis < 2; ++axis) {
            double const place = m_random.Range(6.0, ePITCH - 10.0);
            double const level = 8.0 + 3.0 * axis;
            for (int pipe = 0; pipe < 12; ++pipe) {
                double const radius = m_random.Range(0.04, 0.25);
                double const across = place + 0.35 * pipe;
                double const from = -m_random.Unit() * eOVERHANG;
                double const to = ePITCH + m_random.Unit() * eOVERHANG;
                AddRackPart(axis, from, to, across - radius, across + radius, level,
                            level + 2.0 * radius, 64 + m_random.Below(200));
            }
            for (int frame = 0; frame < 7; ++frame) {
                double const along = 3.0 + 5.0 * frame;
                AddRackPart(axis, along, along + 0.3, place - 0.5, place + 4.5, level - 0.3, level,
                            36);
                AddRackPart(axis, along, along + 0.3, place - 0.5, place - 0.2, 0.0, level, 36);
                AddRackPart(axis, along, along + 0.3, place + 4.2, place + 4.5, 0.0, level, 36);
            }
        }
    }

    void AddRackPart(int axis, double from, double to, double low, double high, double bottom,
                     double top, unsigned tris)
    {
        if (axis == 0) {
            Add(from, low, bottom, to, high, top, tris);
        } else {
            Add(low, from, bottom, high, to, top, tris);
        }
    }

    // A cable tray is a bundle of lines on brackets.
    void AddTrays()
    {
        for (int tray = 0; tray < 10; ++tray) {
            double const y = m_random.Range(1.0, ePITCH - 1.0);
            double const z = m_random.Range(2.5, 20.0);
            double const from = m_random.Range(1.0, 10.0);
            double const to = m_random.Range(20.0, ePITCH - 1.0);
            m_sink.Add(MakeSceneBox(m_x + from, m_y + y, z, m_x + to, m_y + y + 0.3, z + 0.1), 40,
                       TqLPrimitiveTypes::eLINES);
            for (int bracket = 0; bracket < 8; ++bracket) {
                double const x = from + (to - from) * bracket / 8.0;
                Add(x, y - 0.05, z - 0.1, x + 0.05, y + 0.35, z, 20);
            }
        }
    }

    // A valve, an instrument or its label: the small things between the pipes.
    void AddFitting()
    {
        double const middle[3] = {m_x + m_random.Range(1.0, ePITCH - 1.0),
                                  m_y + m_random.Range(1.0, ePITCH - 1.0),
                                  m_random.Range(0.3, 18.0)};
        double const size = 0.02 + 0.25 * m_random.Skewed();
        double const half[3] = {size, size * m_random.Range(0.5, 1.5), size};
        if (m_random.Chance(0.04)) {
            double const label[3] = {0.1, 0.005, 0.04};
            m_sink.AddCentred(middle, label, 8, TqLPrimitiveTypes::eTEXT);
            return;
        }
        if (m_random.Chance(0.01)) {
            m_sink.AddCentred(middle, half, 1 + m_random.Below(50), TqLPrimitiveTypes::ePOINTS);
            return;
        }
        m_sink.AddCentred(middle, half, 60 + m_random.Below(600));
        double const stem[3] = {0.02, 0.02, size + 0.2};
        m_sink.AddCentred(middle, stem, 40);
        double const wheelMiddle[3] = {middle[0], middle[1], middle[2] + size + 0.2};
        double const wheel[3] = {0.5 * size + 0.05, 0.5 * size + 0.05, 0.02};
        m_sink.AddCentred(wheelMiddle, wheel, 200);
    }

    double m_x;
    double m_y;
    SceneRandom& m_random;
    SceneBoxSink& m_sink;
};

// Unit i's cell in a square that grows by one column and one row at a time.
void FindCell(std::size_t index, double& column, double& row)
{
    std::size_t ring = 0;
    while ((ring + 1) * (ring + 1) <= index) {
        ++ring;
    }
    std::size_t const inRing = index - ring * ring;
    column = static_cast<double>(std::min(ring, inRing));
    row = static_cast<double>(std::min(ring, 2 * ring - inRing));
}

} // namespace

std::vector<SceneBox> MakePlant(std::size_t count, std::uint64_t seed)
{
    return ForEachLot(count, eUNIT_BOXES, seed,
                      [](std::size_t index, SceneRandom& random, SceneBoxSink& sink) {
                          double column = 0.0;
                          double row = 0.0;
                          FindCell(index, column, row);
                          PlantUnit(column * ePITCH, row * ePITCH, random, sink).Build();
                      });
}
