#pragma once

// Pools of blocks of one size, for records that live and die together: a frame's walk records, a
// build's items, or nodes (through the allocation operators). The blocks lie next to each other in
// chunks taken from TqUMemory, the first of 4 KiB, each further one twice as large up to 256 KiB.
//   TqURawArena   no free list; Release gives everything back
//   TqUArena      a raw arena whose blocks are freed with the arena
//   TqUFastArena  with a free list; DeallocAll takes every block back and keeps the chunks
// An arena never runs destructors. Free blocks are poisoned under the address sanitizer. One arena
// is used from one thread at a time. Alloc is a few inlined instructions.

#include "util/TqUApi.h"
#include "util/TqUAssert.h"
#include "util/TqUPoison.h"

#include <cstddef>
#include <new>

/// The chunk store under all three arenas: hands out blocks in address order within a chunk, never
/// reuses one by itself, and can be rewound to its first block. Not used directly.
class TQU_API TqUArenaBase
{
public:
    TqUArenaBase(TqUArenaBase const&) = delete;
    TqUArenaBase& operator=(TqUArenaBase const&) = delete;

    /// Bytes of a block that may be used: the size given to the constructor, at least one pointer.
    std::size_t GetBlockSize() const { return m_blockSize; }

    /// Alignment of every block in bytes.
    std::size_t GetAlignment() const { return m_alignment; }

    /// Number of blocks handed out and not given back.
    std::size_t GetLiveCount() const { return m_liveCount; }

    /// Whether `block` lies in this arena's memory. Linear in the number of chunks.
    bool Owns(void const* block) const;

protected:
    TqUArenaBase(std::size_t blockSize, std::size_t alignment);
    ~TqUArenaBase();

    /// The next block that was never handed out since the last rewind; null when memory is refused.
    void* TakeNext() noexcept
    {
        void* block = m_next;
        if (m_next == m_chunkEnd) {
            block = TakeFromNextChunk();
        } else {
            m_next += m_stride;
        }
        return block;
    }

    /// Starts again at the first block of the first chunk; chunks are kept. Constant time (linear
    /// in the memory held under the address sanitizer, which poisons it).
    void Rewind() noexcept;

    /// Gives every chunk back to TqUMemory.
    void FreeChunks() noexcept;

private:
    struct Chunk;

    void* TakeFromNextChunk() noexcept;
    Chunk* AddChunk() noexcept;
    void EnterChunk(Chunk* chunk) noexcept;

    char* m_next = nullptr;     // next block of the current chunk
    char* m_chunkEnd = nullptr; // end of the current chunk's last block
    std::size_t m_stride;       // bytes from one block to the next
    std::size_t m_blockSize;    // bytes of a block that may be used
    std::size_t m_alignment;    // bytes
    std::size_t m_chunkBytes;   // size aimed at for the next new chunk
    Chunk* m_firstChunk = nullptr;
    Chunk* m_currentChunk = nullptr; // blocks come from here; later chunks are spare

protected:
    std::size_t m_liveCount = 0;
};

/// A pool without a free list: memory of a block that is given back is not used again until
/// Release.
class TQU_API TqURawArena : public TqUArenaBase
{
public:
    /// Takes no memory yet.
    /// @param blockSize  bytes a block, at least one pointer; rounded up to the alignment inside
    /// @param alignment  of every block in bytes: a power of two from 8 to 64 (other values are
    /// rounded up to one, and down to 64). Larger than the block's type needs only wastes memory.
    explicit TqURawArena(std::size_t blockSize, std::size_t alignment = 16)
        : TqUArenaBase(blockSize, alignment)
    {}

    /// Frees every block, without running destructors.
    ~TqURawArena();

    /// An uninitialised block; null when memory is refused (the arena is then as before).
    void* Alloc() noexcept
    {
        void* const block = TakeNext();
        if (block != nullptr) {
            TQU_UNPOISON(block, GetBlockSize());
            ++m_liveCount;
        }
        return block;
    }

    /// Gives a block of this arena back: it may not be touched any more. Its memory stays with the
    /// arena until Release. Null is allowed.
    void Dealloc(void* block) noexcept
    {
        if (block != nullptr) {
            TQU_ASSERT(Owns(block) && m_liveCount != 0);
            TQU_POISON(block, GetBlockSize());
            --m_liveCount;
        }
    }

    /// Frees every block and returns the memory to TqUMemory. The arena can be used again. Linear
    /// in the number of chunks.
    void Release() noexcept;
};

/// A pool whose blocks are all freed with the arena. A single block may be given back early through
/// the raw arena's Dealloc.
class TQU_API TqUArena : public TqURawArena
{
public:
    /// Parameters as TqURawArena's.
    explicit TqUArena(std::size_t blockSize, std::size_t alignment = 16)
        : TqURawArena(blockSize, alignment)
    {}

    ~TqUArena();
};

/// A pool with a free list for records that come and go within a frame. After DeallocAll the same
/// memory is handed out again, in address order, so that a second frame of the same size takes
/// nothing from the heap.
class TQU_API TqUFastArena : public TqUArenaBase
{
public:
    /// Parameters as TqURawArena's. Takes no memory yet.
    explicit TqUFastArena(std::size_t elementSize, std::size_t alignment = 16)
        : TqUArenaBase(elementSize, alignment)
    {}

    /// Frees every element, without running destructors.
    ~TqUFastArena();

    /// An uninitialised element: the one given back last, else the next in address order; null when
    /// memory is refused (the pool is then as before). Constant time.
    void* Alloc() noexcept
    {
        void* element = m_free;
        if (element != nullptr) {
            TQU_UNPOISON(element, GetBlockSize());
            m_free = m_free->m_next;
        } else {
            element = TakeNext();
            if (element == nullptr) {
                return nullptr;
            }
            TQU_UNPOISON(element, GetBlockSize());
        }
        ++m_liveCount;
        return element;
    }

    /// Puts an element of this pool on the free list. Null is allowed. Constant time.
    void Dealloc(void* element) noexcept
    {
        if (element != nullptr) {
            TQU_ASSERT(Owns(element) && m_liveCount != 0);
            m_free = ::new (element) FreeElement{m_free};
            TQU_POISON(element, GetBlockSize());
            --m_liveCount;
        }
    }

    /// Takes every element back at once and keeps the memory for reuse. Constant time.
    void DeallocAll() noexcept;

    /// Takes every element back and returns the memory to TqUMemory, for a host that is short of
    /// it. The pool can be used again.
    void Release() noexcept;

private:
    struct FreeElement
    {
        FreeElement* m_next;
    };

    FreeElement* m_free = nullptr;
};
