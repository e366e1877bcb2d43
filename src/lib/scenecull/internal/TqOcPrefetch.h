// Asking for memory before it is needed. Nodes lie wherever the application made them, so the first
// look at one mostly waits for its memory; asked for together, those of a container come at once.
// Nothing is read or written, whatever the address; compilers without the builtin leave it out.
#pragma once

namespace TqOcInternal
{

constexpr int s_cacheLine = 64; // bytes

/// Asks for the cache line at an address.
inline void Prefetch(void const* memory)
{
#if defined(__GNUC__)
    __builtin_prefetch(memory);
#else
    static_cast<void>(memory);
#endif
}

/// Asks for nodes, from their flags to their boxes.
template <class Node>
void PrefetchNodes(Node* const* nodes, int count)
{
    for (int i = 0; i < count; ++i) {
        Prefetch(nodes[i]);
        Prefetch(reinterpret_cast<char const*>(nodes[i]) + s_cacheLine);
    }
}

} // namespace TqOcInternal
