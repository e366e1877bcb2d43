// Asking for memory before it is needed. Nodes lie wherever the application made them, so the first
// look at one mostly waits for its memory; asked for together, those of a container come at once.
// Nothing is read or written, whatever the address; compilers without the builtin leave it out.
//
// All of it must be inlined: g++ takes a function that does nothing but prefetch to be without
// effect, and drops the calls.
#pragma once

#include <algorithm>
#include <cstdint>

namespace TqOcInternal
{

constexpr int s_cacheLine = 64; // bytes

/// Processors have few more requests for memory under way at once.
constexpr int s_nodesAhead = 16;

/// Asks for the cache line at an address.
[[gnu::always_inline]] inline void Prefetch(void const* memory)
{
#if defined(__GNUC__)
    __builtin_prefetch(memory);
#else
    static_cast<void>(memory);
#endif
}

/// Asks for the first two cache lines of nodes, which hold what walks read first.
template <class Node>
[[gnu::always_inline]] inline void PrefetchNodes(Node* const* nodes, int count)
{
    for (int i = 0; i < count; ++i) {
        auto const address = reinterpret_cast<std::uintptr_t>(nodes[i]);
        Prefetch(reinterpret_cast<void const*>(address));
        Prefetch(reinterpret_cast<void const*>(address + s_cacheLine));
    }
}

/// For a loop over `count` nodes that calls it with each index: asks for the next s_nodesAhead of
/// them when the last are used up.
template <class Node>
[[gnu::always_inline]] inline void PrefetchAhead(Node* const* nodes, int i, int count)
{
    if (i % s_nodesAhead == 0) {
        PrefetchNodes(nodes + i, std::min(count - i, s_nodesAhead));
    }
}

} // namespace TqOcInternal
