#include "util/TqUMemory.h"

#include "util/TqUAssert.h"
#include "util/TqUPoison.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace
{

// Stands directly in front of every block. It is poisoned while the block lives, so that a write
// below a block is reported by the address sanitizer.
struct alignas(16) Header
{
    std::size_t m_size;     // as asked for
    std::uint32_t m_offset; // from what malloc returned to the block
    std::uint32_t m_mark;   // s_liveMark while the block lives
};

static_assert(sizeof(Header) == 16, "the header must not disturb a block's alignment");

constexpr std::uint32_t s_liveMark = 0x51ab10c5;
constexpr std::uint32_t s_freedMark = 0xdeadb10c;
// Bytes, for the two allocation classes.
constexpr std::size_t s_default = 16;
constexpr std::size_t s_cacheLine = 64;

std::atomic<std::size_t> s_liveBlocks{0};
std::atomic<std::size_t> s_liveBytes{0};
std::atomic<int> s_refused{0};
TqUMemory::AllocHook s_hook = nullptr;
void* s_hookData = nullptr;

void* Refuse() noexcept
{
    s_refused.store(1, std::memory_order_relaxed);
    return nullptr;
}

Header* HeaderOf(void* block) noexcept
{
    return reinterpret_cast<Header*>(static_cast<char*>(block) - sizeof(Header));
}

// Bytes to take from the system beside the block itself: malloc only promises max_align_t.
std::size_t ExtraBytes(std::size_t alignment) noexcept
{
    return alignment > alignof(std::max_align_t) ? sizeof(Header) + alignment : sizeof(Header);
}

// Bytes from the start of the system's memory to the first aligned byte behind a header.
std::size_t BlockOffset(char const* memory, std::size_t alignment) noexcept
{
    auto const start = reinterpret_cast<std::uintptr_t>(memory);
    std::uintptr_t const behindHeader = start + sizeof(Header);
    return static_cast<std::size_t>(((behindHeader + alignment - 1) & ~(alignment - 1)) - start);
}

} // namespace

void* TqUMemory::Alloc(std::size_t size, Alignment alignment) noexcept
{
    if (s_hook != nullptr && !s_hook(size, s_hookData)) {
        return Refuse();
    }
    std::size_t const bytes = alignment == eALIGN_CACHE_LINE ? s_cacheLine : s_default;
    std::size_t const extra = ExtraBytes(bytes);
    if (size > static_cast<std::size_t>(PTRDIFF_MAX) - extra) {
        return Refuse();
    }
    auto* const memory = static_cast<char*>(std::malloc(size + extra));
    if (memory == nullptr) {
        return Refuse();
    }
    std::size_t const offset = BlockOffset(memory, bytes);
    void* const block = memory + offset;
    *HeaderOf(block) = Header{size, static_cast<std::uint32_t>(offset), s_liveMark};
    TQU_POISON(HeaderOf(block), sizeof(Header));
    s_liveBlocks.fetch_add(1, std::memory_order_relaxed);
    s_liveBytes.fetch_add(size, std::memory_order_relaxed);
    return block;
}

void TqUMemory::Dealloc(void* block, std::size_t, Alignment) noexcept
{
    if (block == nullptr) {
        return;
    }
    Header* const header = HeaderOf(block);
    TQU_UNPOISON(header, sizeof(Header));
    TQU_ASSERT(header->m_mark == s_liveMark);
    header->m_mark = s_freedMark;
    s_liveBlocks.fetch_sub(1, std::memory_order_relaxed);
    s_liveBytes.fetch_sub(header->m_size, std::memory_order_relaxed);
    std::free(static_cast<char*>(block) - header->m_offset);
}

std::size_t TqUMemory::GetLiveBlocks() noexcept
{
    return s_liveBlocks.load(std::memory_order_relaxed);
}

std::size_t TqUMemory::GetLiveBytes() noexcept
{
    return s_liveBytes.load(std::memory_order_relaxed);
}

void TqUMemory::SetAllocHook(AllocHook hook, void* userData) noexcept
{
    s_hook = hook;
    s_hookData = userData;
}

int TqUMemory::HasRefused() noexcept
{
    return s_refused.load(std::memory_order_relaxed);
}

void TqUMemory::ClearRefused() noexcept
{
    s_refused.store(0, std::memory_order_relaxed);
}
