// TqUMemory: blocks, counts, refusal.

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

namespace
{

// Live counts at construction, to compare with later ones.
struct Before
{
    std::size_t m_blocks = TqUMemory::GetLiveBlocks();
    std::size_t m_bytes = TqUMemory::GetLiveBytes();

    std::size_t NewBlocks() const { return TqUMemory::GetLiveBlocks() - m_blocks; }

    std::size_t NewBytes() const { return TqUMemory::GetLiveBytes() - m_bytes; }
};

struct HookGuard
{
    HookGuard(TqUMemory::AllocHook hook, void* data) { TqUMemory::SetAllocHook(hook, data); }

    ~HookGuard()
    {
        TqUMemory::SetAllocHook(nullptr, nullptr);
        TqUMemory::ClearRefused();
    }
};

bool RecordAndRefuseOver100(std::size_t size, void* userData)
{
    static_cast<std::vector<std::size_t>*>(userData)->push_back(size);
    return size <= 100;
}

std::uintptr_t Address(void const* p)
{
    return reinterpret_cast<std::uintptr_t>(p);
}

} // namespace

TEST(TqUMemory, AllocationClassOneHasTheValueOne)
{
    EXPECT_EQ(1, TqUMemory::eALIGN_DEFAULT);
}

TEST(TqUMemory, GivesWritableBlocksOfEverySizeAlignedTo16)
{
    for (std::size_t size = 0; size < 300; ++size) {
        void* const block = TqUMemory::Alloc(size, TqUMemory::eALIGN_DEFAULT);
        ASSERT_NE(nullptr, block);
        EXPECT_EQ(0u, Address(block) % 16) << size;
        std::memset(block, 0xa5, size);
        TqUMemory::Dealloc(block, size, TqUMemory::eALIGN_DEFAULT);
    }
}

TEST(TqUMemory, GivesCacheLineBlocksAlignedTo64)
{
    std::vector<void*> blocks;
    for (std::size_t size = 0; size < 300; size += 7) {
        blocks.push_back(TqUMemory::Alloc(size, TqUMemory::eALIGN_CACHE_LINE));
        ASSERT_NE(nullptr, blocks.back());
        EXPECT_EQ(0u, Address(blocks.back()) % 64) << size;
        std::memset(blocks.back(), 0xa5, size);
    }
    for (void* block : blocks) {
        TqUMemory::Dealloc(block, 1, TqUMemory::eALIGN_DEFAULT);
    }
}

TEST(TqUMemory, GivesEmptyBlocksAnAddressOfTheirOwn)
{
    void* const first = TqUMemory::Alloc(0, TqUMemory::eALIGN_DEFAULT);
    void* const second = TqUMemory::Alloc(0, TqUMemory::eALIGN_DEFAULT);
    EXPECT_NE(nullptr, first);
    EXPECT_NE(first, second);
    TqUMemory::Dealloc(first, 0, TqUMemory::eALIGN_DEFAULT);
    TqUMemory::Dealloc(second, 0, TqUMemory::eALIGN_DEFAULT);
}

TEST(TqUMemory, CountsLiveBlocksAndTheBytesAskedFor)
{
    Before const before;
    void* const first = TqUMemory::Alloc(40, TqUMemory::eALIGN_DEFAULT);
    void* const second = TqUMemory::Alloc(1000, TqUMemory::eALIGN_CACHE_LINE);
    EXPECT_EQ(2u, before.NewBlocks());
    EXPECT_EQ(1040u, before.NewBytes());
    TqUMemory::Dealloc(first, 40, TqUMemory::eALIGN_DEFAULT);
    EXPECT_EQ(1u, before.NewBlocks());
    EXPECT_EQ(1000u, before.NewBytes());
    TqUMemory::Dealloc(second, 1000, TqUMemory::eALIGN_CACHE_LINE);
    EXPECT_EQ(0u, before.NewBlocks());
    EXPECT_EQ(0u, before.NewBytes());
}

TEST(TqUMemory, FindsABlocksSizeWhateverSizeIsHandedBack)
{
    Before const before;
    for (std::size_t claimed : {std::size_t{0}, std::size_t{40}, std::size_t{1} << 40}) {
        void* const block = TqUMemory::Alloc(200, TqUMemory::eALIGN_DEFAULT);
        TqUMemory::Dealloc(block, claimed, TqUMemory::eALIGN_CACHE_LINE);
        EXPECT_EQ(0u, before.NewBlocks()) << claimed;
        EXPECT_EQ(0u, before.NewBytes()) << claimed;
    }
}

TEST(TqUMemory, IgnoresTheReleaseOfNull)
{
    Before const before;
    TqUMemory::Dealloc(nullptr, 100, TqUMemory::eALIGN_DEFAULT);
    EXPECT_EQ(0u, before.NewBlocks());
    EXPECT_EQ(0u, before.NewBytes());
}

TEST(TqUMemory, AsksTheHookBeforeEachAllocationAndReturnsNullWhenItRefuses)
{
    std::vector<std::size_t> asked;
    asked.reserve(10);
    Before const before;
    HookGuard const guard(RecordAndRefuseOver100, &asked);
    void* const granted = TqUMemory::Alloc(100, TqUMemory::eALIGN_DEFAULT);
    void* const refused = TqUMemory::Alloc(101, TqUMemory::eALIGN_CACHE_LINE);
    EXPECT_NE(nullptr, granted);
    EXPECT_EQ(nullptr, refused);
    EXPECT_EQ((std::vector<std::size_t>{100, 101}), asked);
    EXPECT_EQ(1u, before.NewBlocks());
    TqUMemory::Dealloc(granted, 100, TqUMemory::eALIGN_DEFAULT);
}

TEST(TqUMemory, AsksNobodyOnceTheHookIsRemoved)
{
    std::vector<std::size_t> asked;
    {
        HookGuard const guard(RecordAndRefuseOver100, &asked);
    }
    void* const block = TqUMemory::Alloc(101, TqUMemory::eALIGN_DEFAULT);
    EXPECT_NE(nullptr, block);
    EXPECT_TRUE(asked.empty());
    TqUMemory::Dealloc(block, 101, TqUMemory::eALIGN_DEFAULT);
}

TEST(TqUMemory, RemembersARefusalUntilItIsCleared)
{
    std::vector<std::size_t> asked;
    HookGuard const guard(RecordAndRefuseOver100, &asked);
    EXPECT_EQ(0, TqUMemory::HasRefused());
    EXPECT_EQ(nullptr, TqUMemory::Alloc(200, TqUMemory::eALIGN_DEFAULT));
    void* const granted = TqUMemory::Alloc(1, TqUMemory::eALIGN_DEFAULT);
    EXPECT_NE(0, TqUMemory::HasRefused());
    TqUMemory::ClearRefused();
    EXPECT_EQ(0, TqUMemory::HasRefused());
    TqUMemory::Dealloc(granted, 1, TqUMemory::eALIGN_DEFAULT);
}

TEST(TqUMemory, ReturnsNullForSizesThatCannotBeHad)
{
    Before const before;
    std::size_t const largest = std::numeric_limits<std::size_t>::max();
    for (std::size_t size : {largest, largest - 16, largest / 2, largest / 2 + 1}) {
        TqUMemory::ClearRefused();
        EXPECT_EQ(nullptr, TqUMemory::Alloc(size, TqUMemory::eALIGN_DEFAULT)) << size;
        EXPECT_EQ(nullptr, TqUMemory::Alloc(size, TqUMemory::eALIGN_CACHE_LINE)) << size;
        EXPECT_NE(0, TqUMemory::HasRefused());
    }
    EXPECT_EQ(0u, before.NewBlocks());
    TqUMemory::ClearRefused();
}

TEST(TqUMemory, KeepsItsCountsWhenSeveralThreadsAllocate)
{
    Before const before;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (std::size_t i = 0; i < 5000; ++i) {
                void* const block = TqUMemory::Alloc(i % 64, TqUMemory::eALIGN_DEFAULT);
                TqUMemory::Dealloc(block, i % 64, TqUMemory::eALIGN_DEFAULT);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(0u, before.NewBlocks());
    EXPECT_EQ(0u, before.NewBytes());
}
