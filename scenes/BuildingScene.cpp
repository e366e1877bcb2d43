// BuildingScene: the generated office building, one storey of 900 boxes after another.
//
// A storey is 60 x 16 m: a corridor with ten rooms on either side. A block has up to 20 storeys;
// further blocks stand beside it. Walls are in pieces around their doors and windows, so that a
// view through an opening really sees into the room.

#include "scenes/SceneBoxSink.h"
#include "scenes/SceneBoxes.h"
#include "scenes/SceneRandom.h"

#include "geometry/TqLBox.h"
#include "geometry/TqLPrimitiveTypes.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace
{

constexpr std::size_t eSTOREY_BOXES = 900;
constexpr std::size_t eBLOCK_STOREYS = 20;
constexpr std::size_t eBLOCK_COLUMNS = 8;
constexpr double eROOM_WIDTH = 6.0;
constexpr double eROOM_DEPTH = 6.5;
constexpr double eCORRIDOR = 3.0;
constexpr double eHEIGHT = 3.2;
constexpr double eWALL = 0.15;
constexpr int eROOMS_A_SIDE = 10;

/// Builds one storey at its place.
class Storey
{
public:
    Storey(double originX, double originY, double floor, SceneRandom& random, SceneBoxSink& sink)
        : m_x(originX)
        , m_y(originY)
        , m_z(floor)
        , m_random(random)
        , m_sink(sink)
    {}

    void Build()
    {
        double const length = eROOMS_A_SIDE * eROOM_WIDTH;
        double const depth = 2.0 * eROOM_DEPTH + eCORRIDOR;
        Add(0.0, 0.0, -0.25, length, depth, 0.0, 12);
        for (int room = 0; room < eROOMS_A_SIDE; ++room) {
            AddRoom(room * eROOM_WIDTH, 0.0, false);
            AddRoom(room * eROOM_WIDTH, eROOM_DEPTH + eCORRIDOR, true);
        }
        while (!m_sink.IsFull()) {
            double const x = m_random.Range(0.5, length - 0.5);
            double const y = m_random.Range(0.5, depth - 0.5);
            double const size = 0.03 + 0.4 * m_random.Skewed();
            Add(x, y, 0.0, x + size, y + size, size, 50 + m_random.Below(2000));
        }
    }

private:
    void Add(double x0, double y0, double z0, double x1, double y1, double z1, unsigned tris)
    {
        m_sink.Add(MakeSceneBox(m_x + x0, m_y + y0, m_z + z0, m_x + x1, m_y + y1, m_z + z1), tris);
    }

    // A room at (x, y). Its window looks away from the corridor, its door into it.
    void AddRoom(double x, double y, bool windowAtTop)
    {
        double const windowY = windowAtTop ? y + eROOM_DEPTH - eWALL : y;
        double const doorY = windowAtTop ? y : y + eROOM_DEPTH - eWALL;
        AddWindowWall(x, windowY);
        AddDoorWall(x, doorY);
        Add(x, y, 0.0, x + eWALL, y + eROOM_DEPTH, eHEIGHT - 0.25, 12);
        int const pieces = 3 + static_cast<int>(m_random.Below(5));
        for (int piece = 0; piece < pieces; ++piece) {
            AddPiece(x, y);
        }
    }

    void AddWindowWall(double x, double y)
    {
        double const right = x + eROOM_WIDTH;
        Add(x, y, 0.0, right, y + eWALL, 0.9, 12);
        Add(x, y, 2.3, right, y + eWALL, eHEIGHT - 0.25, 12);
        Add(x, y, 0.9, x + 1.5, y + eWALL, 2.3, 12);
        Add(right - 1.5, y, 0.9, right, y + eWALL, 2.3, 12);
        Add(x + 1.5, y + 0.06, 0.9, right - 1.5, y + 0.09, 2.3, 2);
        Add(x + 1.5, y, 0.9, right - 1.5, y + eWALL, 0.95, 60);
    }

    void AddDoorWall(double x, double y)
    {
        double const right = x + eROOM_WIDTH;
        double const door = x + m_random.Range(0.6, 3.0);
        Add(x, y, 0.0, door, y + eWALL, eHEIGHT - 0.25, 12);
        Add(door + 1.0, y, 0.0, right, y + eWALL, eHEIGHT - 0.25, 12);
        Add(door, y, 2.1, door + 1.0, y + eWALL, eHEIGHT - 0.25, 12);
        Add(door, y + 0.05, 0.0, door + 1.0, y + 0.1, 2.1, 300);
        Add(door + 0.85, y - 0.05, 1.0, door + 0.95, y + 0.2, 1.1, 500);
    }

    // A piece of furniture, and up to five small things that stand on it.
    void AddPiece(double x, double y)
    {
        double const px = x + m_random.Range(0.3, eROOM_WIDTH - 2.2);
        double const py = y + m_random.Range(0.3, eROOM_DEPTH - 1.6);
        double const dx = m_random.Range(0.4, 1.8);
        double const dy = m_random.Range(0.4, 1.2);
        double const dz = m_random.Range(0.4, 2.0);
        Add(px, py, 0.0, px + dx, py + dy, dz, 100 + m_random.Below(6000));
        std::uint32_t const things = m_random.Below(6);
        for (std::uint32_t i = 0; i < things; ++i) {
            double const size = 0.02 + 0.3 * m_random.Skewed();
            double const tx = px + m_random.Unit() * dx;
            double const ty = py + m_random.Unit() * dy;
            Add(tx, ty, dz, tx + size, ty + size, dz + size, 20 + m_random.Below(3000));
        }
    }

    double m_x;
    double m_y;
    double m_z;
    SceneRandom& m_random;
    SceneBoxSink& m_sink;
};

} // namespace

std::vector<SceneBox> MakeBuilding(std::size_t count, std::uint64_t seed)
{
    return ForEachLot(count, eSTOREY_BOXES, seed,
                      [](std::size_t index, SceneRandom& random, SceneBoxSink& sink) {
                          std::size_t const block = index / eBLOCK_STOREYS;
                          double const x = 75.0 * static_cast<double>(block % eBLOCK_COLUMNS);
                          double const y = 32.0 * static_cast<double>(block / eBLOCK_COLUMNS);
                          double const z = eHEIGHT * static_cast<double>(index % eBLOCK_STOREYS);
                          Storey(x, y, z, random, sink).Build();
                      });
}
