// One box against the six planes of a pick frustum, in the plain form and in the one that is built
// in: `CanCull...Outside` for boxes that a side culls, as most are in a thin pick; `...Across` for
// boxes that no plane culls.

#include "geometry/internal/TqLPlaneTest.h"

#include "scenes/SceneRandom.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <string>
#include <type_traits>
#include <vector>

namespace
{

using namespace TqLInternal;

constexpr int s_numBoxes = 1024;

/// The box of half a metre around the axis of view: sides at x and y of -0.5 and 0.5, near and far
/// at depths of 1 and 100.
struct Planes
{
    Planes()
    {
        constexpr double normals[s_numTestPlanes][3] = {{1, 0, 0},  {-1, 0, 0}, {0, 1, 0},
                                                        {0, -1, 0}, {0, 0, 1},  {0, 0, -1}};
        constexpr double distances[s_numTestPlanes] = {-0.5, -0.5, -0.5, -0.5, 1.0, -100.0};
        for (int i = 0; i < s_numTestPlanes; ++i) {
            for (int axis = 0; axis < 3; ++axis) {
                rows[eROW_X + axis][i] = normals[i][axis];
                rows[eROW_SIZE_X + axis][i] = std::fabs(normals[i][axis]);
            }
            rows[eROW_DISTANCE][i] = distances[i];
            rows[eROW_MARGIN][i] = s_planeRounding * std::fabs(distances[i]);
        }
    }

    alignas(16) TqLPlaneRows rows;
};

/// Boxes up to 2 m in size, beside a random one of the sides or across the axis.
std::vector<TqLBox3f> MakeBoxes(bool areOutside)
{
    SceneRandom random(7);
    std::vector<TqLBox3f> boxes;
    for (int i = 0; i < s_numBoxes; ++i) {
        double const size = random.Range(0.1, 2.0);
        TqLPos3f min(-0.5 * size, -0.5 * size, random.Range(2.0, 90.0));
        if (areOutside) {
            int const axis = static_cast<int>(random.Below(2));
            min[axis] =
                random.Chance(0.5) ? random.Range(1.0, 20.0) : -size - random.Range(1.0, 20.0);
        }
        boxes.emplace_back(min, min + TqLVec3f(size, size, size));
    }
    return boxes;
}

template <class Test>
void CanCull(benchmark::State& state, bool areOutside)
{
    Planes const planes;
    std::vector<TqLBox3f> const boxes = MakeBoxes(areOutside);
    int numCulled = 0;
    for (auto _ : state) {
        numCulled = 0;
        for (TqLBox3f const& box : boxes) {
            int mask = (1 << s_numTestPlanes) - 1;
            numCulled += Test::IsOutside(planes.rows, {0.0, s_planeRounding}, box, &mask) ? 1 : 0;
            benchmark::DoNotOptimize(mask);
        }
    }
    if (numCulled != (areOutside ? s_numBoxes : 0)) {
        state.SkipWithError("culled others than it should");
    }
    state.SetItemsProcessed(state.iterations() * s_numBoxes);
}

template <class Test>
void Register(std::string const& form)
{
    for (bool const areOutside : {true, false}) {
        std::string const name = "CanCull" + form + (areOutside ? "_Outside" : "_Across");
        benchmark::RegisterBenchmark(name.c_str(), &CanCull<Test>, areOutside);
    }
}

int RegisterAll()
{
    Register<TqLScalarPlaneTest>("Plain");
    if (!std::is_same_v<TqLPlaneTest, TqLScalarPlaneTest>) {
        Register<TqLPlaneTest>("Sse2");
    }
    return 0;
}

[[maybe_unused]] int const s_registered = RegisterAll();

} // namespace
