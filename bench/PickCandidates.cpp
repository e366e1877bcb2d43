#include "PickCandidates.h"

#include <algorithm>
#include <iterator>

void ListHits(TqOcPickTraversal const& pick, BoxNumbers& hits)
{
    for (int i = 0; i < pick.GetAllPickedShapes().Size(); ++i) {
        hits.push_back(static_cast<BenchShape const*>(pick.GetAllPickedShapes()[i])->GetNumber());
    }
}

std::size_t CountDifferences(BoxNumbers& a, BoxNumbers& b)
{
    std::sort(a.begin(), a.end());
    std::sort(b.begin(), b.end());
    BoxNumbers differences;
    std::set_symmetric_difference(a.begin(), a.end(), b.begin(), b.end(),
                                  std::back_inserter(differences));
    return differences.size();
}

void ReportQueries(benchmark::State& state, std::size_t queries, std::size_t hits)
{
    auto const done = state.iterations() * static_cast<std::int64_t>(queries);
    state.SetItemsProcessed(done);
    state.counters["hits"] = static_cast<double>(hits) / static_cast<double>(queries);
    state.counters["per_query"] = benchmark::Counter(
        static_cast<double>(done), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
