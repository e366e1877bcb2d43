#pragma once

// The runs of a level that are still to be cut. Internal.

#include "scenecull/internal/TqOcDHBRecord.h"
#include "scenecull/internal/TqOcSHBBuffer.h"

#include "util/TqUArena.h"

#include <cstdint>
#include <new>

/// A range of a level's records.
struct TqOcDHBRun
{
    TqOcDHBBounds m_box;
    std::int32_t m_begin;
    std::int32_t m_end;
    TqOcDHBOrder m_order;
    /// How many times, on the way from the whole level, the second part of a cut was taken.
    std::int32_t m_generation;

    int GetCount() const { return m_end - m_begin; }
};

static_assert(sizeof(TqOcDHBRun) == 64, "a run fills one block of the arena");

/// A stack of runs. Their blocks come from an arena that lives as long as the build.
class TqOcDHBRuns
{
public:
    TqOcDHBRuns() : m_arena(sizeof(TqOcDHBRun), alignof(TqOcDHBRun)) {}

    bool IsEmpty() const { return m_open.Size() == 0; }

    /// Puts a run on top. It stays where it is until it is closed. Throws std::bad_alloc when
    /// memory is refused.
    TqOcDHBRun& Open()
    {
        void* const block = m_arena.Alloc();
        if (block == nullptr) {
            throw std::bad_alloc();
        }
        auto* const run = new (block) TqOcDHBRun{};
        m_open.PushBack(run);
        return *run;
    }

    /// Takes the topmost run off the stack; it lives until it is closed.
    TqOcDHBRun& Take() { return *m_open.PopBack(); }

    void Close(TqOcDHBRun& run) { m_arena.Dealloc(&run); }

private:
    TqUArena m_arena;
    TqOcSHBBuffer<TqOcDHBRun*> m_open;
};
