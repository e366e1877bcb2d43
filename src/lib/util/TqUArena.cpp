#include "util/TqUArena.h"

#include "util/TqUMemory.h"

#include <cstdint>

// A chunk is one block of TqUMemory: this record, padded to a cache line, and then its pool blocks.
// Chunks form a list in the order in which they were taken; those behind the current one hold no
// live block (they are spare after a rewind).
struct TqUArenaBase::Chunk
{
    Chunk* m_next;
    char* m_end; // past the last pool block

    char* Begin() { return reinterpret_cast<char*>(this) + s_chunkHeader; }

    static constexpr std::size_t s_chunkHeader = 64;
};

namespace
{

constexpr std::size_t s_firstChunkBytes = 4096;
constexpr std::size_t s_largestChunkBytes = 256 * 1024;
constexpr std::size_t s_leastAlignment = 8;
constexpr std::size_t s_largestAlignment = 64;

// The smallest supported power of two that is not below `alignment`.
std::size_t UsableAlignment(std::size_t alignment)
{
    std::size_t usable = s_leastAlignment;
    while (usable < alignment && usable < s_largestAlignment) {
        usable *= 2;
    }
    return usable;
}

} // namespace

TqUArenaBase::TqUArenaBase(std::size_t blockSize, std::size_t alignment)
    : m_stride(0)
    , m_blockSize(blockSize < sizeof(void*) ? sizeof(void*) : blockSize)
    , m_alignment(UsableAlignment(alignment))
    , m_chunkBytes(s_firstChunkBytes)
{
    // A size too large to be rounded up can never be had; its stride makes every Alloc fail.
    std::size_t const largest = static_cast<std::size_t>(PTRDIFF_MAX) - Chunk::s_chunkHeader;
    m_stride = m_blockSize > largest - m_alignment
                   ? largest
                   : (m_blockSize + m_alignment - 1) & ~(m_alignment - 1);
}

TqUArenaBase::~TqUArenaBase()
{
    FreeChunks();
}

bool TqUArenaBase::Owns(void const* block) const
{
    auto const address = reinterpret_cast<std::uintptr_t>(block);
    for (Chunk* chunk = m_firstChunk; chunk != nullptr; chunk = chunk->m_next) {
        if (address >= reinterpret_cast<std::uintptr_t>(chunk->Begin()) &&
            address < reinterpret_cast<std::uintptr_t>(chunk->m_end)) {
            return true;
        }
    }
    return false;
}

void TqUArenaBase::Rewind() noexcept
{
#if TQU_POISON_ACTIVE
    for (Chunk* chunk = m_firstChunk; chunk != nullptr; chunk = chunk->m_next) {
        TQU_POISON(chunk->Begin(), static_cast<std::size_t>(chunk->m_end - chunk->Begin()));
    }
#endif
    if (m_firstChunk != nullptr) {
        EnterChunk(m_firstChunk);
    }
    m_liveCount = 0;
}

void TqUArenaBase::FreeChunks() noexcept
{
    Chunk* chunk = m_firstChunk;
    while (chunk != nullptr) {
        Chunk* const next = chunk->m_next;
        auto const bytes = static_cast<std::size_t>(chunk->m_end - chunk->Begin());
        TQU_UNPOISON(chunk->Begin(), bytes);
        TqUMemory::Dealloc(chunk, Chunk::s_chunkHeader + bytes, TqUMemory::eALIGN_CACHE_LINE);
        chunk = next;
    }
    m_firstChunk = nullptr;
    m_currentChunk = nullptr;
    m_next = nullptr;
    m_chunkEnd = nullptr;
    m_chunkBytes = s_firstChunkBytes;
    m_liveCount = 0;
}

void* TqUArenaBase::TakeFromNextChunk() noexcept
{
    Chunk* chunk = m_currentChunk != nullptr ? m_currentChunk->m_next : nullptr;
    if (chunk == nullptr) {
        chunk = AddChunk();
        if (chunk == nullptr) {
            return nullptr;
        }
    }
    EnterChunk(chunk);
    void* const block = m_next;
    m_next += m_stride;
    return block;
}

// Appends a chunk behind the current one, which is then the last. Null when memory is refused.
TqUArenaBase::Chunk* TqUArenaBase::AddChunk() noexcept
{
    std::size_t const room = m_chunkBytes - Chunk::s_chunkHeader;
    std::size_t const blocks = room > m_stride ? room / m_stride : 1;
    std::size_t const bytes = blocks * m_stride;
    void* const memory =
        TqUMemory::Alloc(Chunk::s_chunkHeader + bytes, TqUMemory::eALIGN_CACHE_LINE);
    if (memory == nullptr) {
        return nullptr;
    }
    auto* const chunk = ::new (memory) Chunk{nullptr, nullptr};
    chunk->m_end = chunk->Begin() + bytes;
    TQU_POISON(chunk->Begin(), bytes);
    if (m_currentChunk != nullptr) {
        m_currentChunk->m_next = chunk;
    } else {
        m_firstChunk = chunk;
    }
    if (m_chunkBytes < s_largestChunkBytes) {
        m_chunkBytes *= 2;
    }
    return chunk;
}

void TqUArenaBase::EnterChunk(Chunk* chunk) noexcept
{
    m_currentChunk = chunk;
    m_next = chunk->Begin();
    m_chunkEnd = chunk->m_end;
}

// ---- TqURawArena and TqUArena -------------------------------------------------------------------

TqURawArena::~TqURawArena() = default;

void TqURawArena::Release() noexcept
{
    FreeChunks();
}

TqUArena::~TqUArena() = default;

// ---- TqUFastArena -------------------------------------------------------------------------------

TqUFastArena::~TqUFastArena() = default;

void TqUFastArena::DeallocAll() noexcept
{
    m_free = nullptr;
    Rewind();
}

void TqUFastArena::Release() noexcept
{
    m_free = nullptr;
    FreeChunks();
}
