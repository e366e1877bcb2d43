// The three pools: TqURawArena, TqUArena, TqUFastArena.

#include "util/TqUArena.h"

#include "support/AllocationCounter.h"

#include "util/TqUMemory.h"
#include "util/TqUPoison.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <set>
#include <vector>

namespace
{

template <class Arena>
std::vector<void*> TakeBlocks(Arena& arena, int count)
{
    std::vector<void*> blocks;
    for (int i = 0; i < count; ++i) {
        blocks.push_back(arena.Alloc());
    }
    return blocks;
}

std::uintptr_t Address(void const* p)
{
    return reinterpret_cast<std::uintptr_t>(p);
}

// Writes a pattern of its own over each block and reads all of them back: no two may overlap.
bool HoldTheirOwnBytes(std::vector<void*> const& blocks, std::size_t size)
{
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        std::memset(blocks[i], static_cast<int>(i % 251), size);
    }
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        auto const* bytes = static_cast<unsigned char const*>(blocks[i]);
        auto const isOwn = [i](unsigned char byte) { return byte == i % 251; };
        if (!std::all_of(bytes, bytes + size, isOwn)) {
            return false;
        }
    }
    return true;
}

struct ForgetRefusals
{
    ~ForgetRefusals() { TqUMemory::ClearRefused(); }
};

} // namespace

// ---- All three ----------------------------------------------------------------------------------

template <class Arena>
class AnyArena : public testing::Test
{};

using Arenas = testing::Types<TqURawArena, TqUArena, TqUFastArena>;
TYPED_TEST_SUITE(AnyArena, Arenas);

TYPED_TEST(AnyArena, TakesNoMemoryBeforeTheFirstBlock)
{
    std::size_t const before = TqUMemory::GetLiveBlocks();
    TypeParam const arena(64);
    EXPECT_EQ(before, TqUMemory::GetLiveBlocks());
    EXPECT_EQ(0u, arena.GetLiveCount());
}

TYPED_TEST(AnyArena, HandsOutBlocksThatDoNotOverlapForEverySizeAndAlignment)
{
    for (std::size_t size : {1u, 8u, 12u, 24u, 56u, 100u, 500u, 5000u}) {
        for (std::size_t alignment : {8u, 16u, 32u, 64u}) {
            TypeParam arena(size, alignment);
            std::vector<void*> const blocks = TakeBlocks(arena, 700);
            ASSERT_TRUE(HoldTheirOwnBytes(blocks, size)) << size << " at " << alignment;
            for (void* block : blocks) {
                ASSERT_EQ(0u, Address(block) % alignment) << size << " at " << alignment;
            }
            EXPECT_EQ(700u, arena.GetLiveCount());
        }
    }
}

TYPED_TEST(AnyArena, AlignsTo16UnlessToldOtherwise)
{
    TypeParam arena(24);
    EXPECT_EQ(16u, arena.GetAlignment());
    for (void* block : TakeBlocks(arena, 500)) {
        ASSERT_EQ(0u, Address(block) % 16);
    }
}

TYPED_TEST(AnyArena, BringsAlignmentsIntoItsRange)
{
    EXPECT_EQ(8u, TypeParam(8, 0).GetAlignment());
    EXPECT_EQ(8u, TypeParam(8, 1).GetAlignment());
    EXPECT_EQ(16u, TypeParam(8, 9).GetAlignment());
    EXPECT_EQ(64u, TypeParam(8, 4096).GetAlignment());
}

TYPED_TEST(AnyArena, GivesEveryBlockRoomForAPointerAtLeast)
{
    TypeParam arena(0);
    EXPECT_EQ(sizeof(void*), arena.GetBlockSize());
    EXPECT_TRUE(HoldTheirOwnBytes(TakeBlocks(arena, 50), sizeof(void*)));
}

TYPED_TEST(AnyArena, PacksBlocksOf56BytesAtAnAlignmentOf8)
{
    TypeParam arena(56, 8);
    std::uintptr_t const first = Address(arena.Alloc());
    EXPECT_EQ(first + 56, Address(arena.Alloc()));
}

TYPED_TEST(AnyArena, HandsOutNewBlocksInAddressOrderWithinAChunk)
{
    TypeParam arena(48);
    std::vector<void*> const blocks = TakeBlocks(arena, 2000);
    int breaks = 0;
    for (std::size_t i = 1; i < blocks.size(); ++i) {
        breaks += Address(blocks[i]) != Address(blocks[i - 1]) + 48;
    }
    // 96,000 bytes in chunks of 4, 8, 16, 32, 64 KiB: four changes of chunk.
    EXPECT_EQ(4, breaks);
}

TYPED_TEST(AnyArena, TakesChunksThatGrowUpTo256KiB)
{
    AllocationCounter counter;
    TypeParam arena(1024);
    for (int i = 0; i < 4096; ++i) {
        ASSERT_NE(nullptr, arena.Alloc());
    }
    // 4 MiB: six chunks of 4 to 128 KiB, then 256 KiB each.
    EXPECT_GE(counter.GetNumMemory(), 20u);
    EXPECT_LE(counter.GetNumMemory(), 24u);
}

TYPED_TEST(AnyArena, ReturnsAllMemoryWhenItEnds)
{
    std::size_t const blocksBefore = TqUMemory::GetLiveBlocks();
    std::size_t const bytesBefore = TqUMemory::GetLiveBytes();
    {
        TypeParam arena(100);
        TakeBlocks(arena, 10000);
        EXPECT_LT(bytesBefore + 1000000, TqUMemory::GetLiveBytes());
    }
    EXPECT_EQ(blocksBefore, TqUMemory::GetLiveBlocks());
    EXPECT_EQ(bytesBefore, TqUMemory::GetLiveBytes());
}

TYPED_TEST(AnyArena, ReturnsNullWhenMemoryIsRefusedAndGoesOnAfterwards)
{
    ForgetRefusals const forget;
    TypeParam arena(512);
    {
        RefuseAllocations const refuse(1, RefuseAllocations::eAND_ALL_LATER);
        EXPECT_EQ(nullptr, arena.Alloc());
        EXPECT_EQ(nullptr, arena.Alloc());
        EXPECT_EQ(0u, arena.GetLiveCount());
    }
    std::vector<void*> blocks = TakeBlocks(arena, 7); // exactly the first chunk
    {
        RefuseAllocations const refuse(1, RefuseAllocations::eAND_ALL_LATER);
        EXPECT_EQ(nullptr, arena.Alloc());
        EXPECT_EQ(7u, arena.GetLiveCount());
    }
    blocks.push_back(arena.Alloc());
    EXPECT_EQ(0, std::count(blocks.begin(), blocks.end(), nullptr));
    EXPECT_TRUE(HoldTheirOwnBytes(blocks, 512));
}

TYPED_TEST(AnyArena, ReturnsNullForBlocksThatCannotBeHad)
{
    ForgetRefusals const forget;
    std::size_t const largest = std::numeric_limits<std::size_t>::max();
    for (std::size_t size : {largest, largest - 8, largest / 2, largest / 2 - 100}) {
        TypeParam arena(size, 64);
        EXPECT_EQ(nullptr, arena.Alloc()) << size;
    }
}

TYPED_TEST(AnyArena, KnowsItsOwnBlocks)
{
    TypeParam arena(40);
    TypeParam other(40);
    EXPECT_FALSE(arena.Owns(&arena));
    std::vector<void*> const blocks = TakeBlocks(arena, 1000);
    for (void* block : blocks) {
        ASSERT_TRUE(arena.Owns(block));
        ASSERT_FALSE(other.Owns(block));
    }
    EXPECT_FALSE(other.Owns(nullptr));
}

TYPED_TEST(AnyArena, CountsBlocksGivenBackAndIgnoresNull)
{
    TypeParam arena(32);
    void* const block = arena.Alloc();
    arena.Alloc();
    arena.Dealloc(nullptr);
    EXPECT_EQ(2u, arena.GetLiveCount());
    arena.Dealloc(block);
    EXPECT_EQ(1u, arena.GetLiveCount());
}

#if TQU_POISON_ACTIVE
TYPED_TEST(AnyArena, PoisonsBlocksThatAreNotHandedOut)
{
    TypeParam arena(40);
    void* const block = arena.Alloc();
    char* const bytes = static_cast<char*>(block);
    EXPECT_EQ(nullptr, __asan_region_is_poisoned(block, 40));
    EXPECT_TRUE(__asan_address_is_poisoned(bytes + 40));
    EXPECT_TRUE(__asan_address_is_poisoned(bytes + 48));
    arena.Dealloc(block);
    EXPECT_TRUE(__asan_address_is_poisoned(bytes));
}
#endif

// ---- TqURawArena --------------------------------------------------------------------------------

TEST(TqURawArena, DoesNotReuseABlockThatWasGivenBack)
{
    TqURawArena arena(32);
    std::set<void*> seen;
    for (int i = 0; i < 1000; ++i) {
        void* const block = arena.Alloc();
        EXPECT_TRUE(seen.insert(block).second);
        arena.Dealloc(block);
    }
}

TEST(TqURawArena, FreesEveryBlockOnReleaseAndCanBeUsedAgain)
{
    std::size_t const before = TqUMemory::GetLiveBlocks();
    TqURawArena arena(64);
    for (int round = 0; round < 3; ++round) {
        std::vector<void*> const blocks = TakeBlocks(arena, 500);
        EXPECT_TRUE(HoldTheirOwnBytes(blocks, 64));
        EXPECT_LT(before, TqUMemory::GetLiveBlocks());
        arena.Release();
        EXPECT_EQ(before, TqUMemory::GetLiveBlocks());
        EXPECT_EQ(0u, arena.GetLiveCount());
    }
}

TEST(TqURawArena, MayBeReleasedEmpty)
{
    TqURawArena arena(64);
    arena.Release();
    arena.Release();
    EXPECT_NE(nullptr, arena.Alloc());
}

// ---- TqUArena -----------------------------------------------------------------------------------

TEST(TqUArena, LetsItsBlocksBeReleasedThroughTheRawArena)
{
    TqUArena arena(64, 8);
    void* const first = arena.Alloc();
    void* const second = arena.Alloc();
    static_cast<TqURawArena&>(arena).Dealloc(first);
    EXPECT_EQ(1u, arena.GetLiveCount());
    std::memset(second, 1, 64);
    EXPECT_NE(first, arena.Alloc());
}

// ---- TqUFastArena -------------------------------------------------------------------------------

TEST(TqUFastArena, HandsOutTheElementGivenBackLastFirst)
{
    TqUFastArena arena(24);
    std::vector<void*> const taken = TakeBlocks(arena, 3);
    arena.Dealloc(taken[1]);
    arena.Dealloc(taken[0]);
    EXPECT_EQ(taken[0], arena.Alloc());
    EXPECT_EQ(taken[1], arena.Alloc());
    EXPECT_EQ(Address(taken[2]) + 32, Address(arena.Alloc()));
}

TEST(TqUFastArena, TakesEveryElementBackAtOnce)
{
    TqUFastArena arena(64);
    TakeBlocks(arena, 5000);
    arena.DeallocAll();
    EXPECT_EQ(0u, arena.GetLiveCount());
}

TEST(TqUFastArena, HandsTheSameAddressesOutInTheSameOrderAfterDeallocAll)
{
    TqUFastArena arena(64);
    std::vector<void*> const first = TakeBlocks(arena, 5000);
    for (std::size_t i = 0; i < first.size(); i += 3) {
        arena.Dealloc(first[i]); // a free list in another order must not survive
    }
    arena.DeallocAll();
    EXPECT_EQ(first, TakeBlocks(arena, 5000));
}

TEST(TqUFastArena, AllocatesNothingInLaterFramesOfTheSameSize)
{
    TqUFastArena arena(96);
    TakeBlocks(arena, 20000);
    arena.DeallocAll();
    AllocationCounter const counter;
    for (int frame = 0; frame < 100; ++frame) {
        for (int i = 0; i < 20000; ++i) {
            ASSERT_NE(nullptr, arena.Alloc());
        }
        arena.DeallocAll();
    }
    EXPECT_EQ(0u, counter.GetNum());
}

TEST(TqUFastArena, GrowsBehindTheKeptChunksInALargerFrame)
{
    TqUFastArena arena(64);
    TakeBlocks(arena, 100);
    arena.DeallocAll();
    std::vector<void*> const blocks = TakeBlocks(arena, 10000);
    EXPECT_TRUE(HoldTheirOwnBytes(blocks, 64));
    arena.DeallocAll();
    EXPECT_EQ(blocks, TakeBlocks(arena, 10000));
}

TEST(TqUFastArena, KeepsElementsApartWhenTheyComeAndGo)
{
    TqUFastArena arena(40);
    std::vector<void*> live;
    unsigned int state = 12345; // fixed seed
    for (int step = 0; step < 20000; ++step) {
        state = state * 1664525u + 1013904223u;
        if (live.empty() || (state >> 28) < 9) {
            live.push_back(arena.Alloc());
        } else {
            std::size_t const which = (state >> 8) % live.size();
            arena.Dealloc(live[which]);
            live[which] = live.back();
            live.pop_back();
        }
    }
    EXPECT_EQ(live.size(), arena.GetLiveCount());
    EXPECT_EQ(live.size(), std::set<void*>(live.begin(), live.end()).size());
    EXPECT_TRUE(HoldTheirOwnBytes(live, 40));
}

TEST(TqUFastArena, MayTakeBackAllOfNothing)
{
    TqUFastArena arena(64);
    arena.DeallocAll();
    EXPECT_NE(nullptr, arena.Alloc());
}

TEST(TqUFastArena, ReturnsItsMemoryOnRelease)
{
    std::size_t const before = TqUMemory::GetLiveBytes();
    TqUFastArena arena(64);
    std::vector<void*> const blocks = TakeBlocks(arena, 1000);
    arena.Dealloc(blocks[5]);
    arena.Release();
    EXPECT_EQ(before, TqUMemory::GetLiveBytes());
    EXPECT_EQ(0u, arena.GetLiveCount());
    EXPECT_TRUE(HoldTheirOwnBytes(TakeBlocks(arena, 1000), 64));
}
