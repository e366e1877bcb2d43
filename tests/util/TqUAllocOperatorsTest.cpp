// The five allocation forms.

#include "util/TqUAllocOperators.h"

#include "support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>
#include <stdexcept>

namespace
{

int s_alive = 0;

class Base : public TqUAllocOperators<Base>
{
public:
    Base() { ++s_alive; }

    virtual ~Base() { --s_alive; }

    Base(Base const&) = delete;
    Base& operator=(Base const&) = delete;

    double m_scale = 1.0;
};

class Large : public Base
{
public:
    double m_more[50] = {};
};

class Throwing : public Base
{
public:
    Throwing() { throw std::runtime_error("constructor"); }
};

class alignas(64) Aligned : public Base
{};

class alignas(128) TooAligned : public Base
{};

class Plain
{
public:
    virtual ~Plain() = default;
    double m_scale = 1.0;
};

class TqUAllocOperatorsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        s_alive = 0;
        m_blocks = TqUMemory::GetLiveBlocks();
        m_bytes = TqUMemory::GetLiveBytes();
    }

    void TearDown() override
    {
        EXPECT_EQ(0, s_alive);
        EXPECT_EQ(m_blocks, TqUMemory::GetLiveBlocks());
        EXPECT_EQ(m_bytes, TqUMemory::GetLiveBytes());
        TqUMemory::ClearRefused();
    }

    std::size_t m_blocks = 0;
    std::size_t m_bytes = 0;
};

} // namespace

TEST_F(TqUAllocOperatorsTest, AddsNothingToARecord)
{
    EXPECT_EQ(sizeof(Plain), sizeof(Base));
}

TEST_F(TqUAllocOperatorsTest, PlainFormComesFromTheGeneralAllocatorWithTheObjectsSize)
{
    Base* const node = new Large;
    EXPECT_EQ(m_blocks + 1, TqUMemory::GetLiveBlocks());
    EXPECT_EQ(m_bytes + sizeof(Large), TqUMemory::GetLiveBytes());
    delete node;
}

TEST_F(TqUAllocOperatorsTest, PlainFormThrowsBadAllocWhenMemoryIsRefused)
{
    RefuseAllocations const refuse(1);
    EXPECT_THROW(delete new Large, std::bad_alloc);
    EXPECT_EQ(0, s_alive);
}

TEST_F(TqUAllocOperatorsTest, PlainFormReleasesTheBlockWhenTheConstructorThrows)
{
    EXPECT_THROW(delete new Throwing, std::runtime_error);
}

TEST_F(TqUAllocOperatorsTest, PlainFormAlignsUpTo64BytesAndRefusesMore)
{
    Base* const node = new Aligned;
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(node) % 64);
    delete node;
    EXPECT_THROW(delete new TooAligned, std::bad_alloc);
}

TEST_F(TqUAllocOperatorsTest, FastArenaFormTakesAnElementAndTheMatchingReleaseReturnsIt)
{
    TqUFastArena arena(sizeof(Large));
    Large* const node = new (&arena) Large;
    EXPECT_TRUE(arena.Owns(node));
    EXPECT_EQ(1u, arena.GetLiveCount());
    node->~Large();
    Large::operator delete(node, &arena);
    EXPECT_EQ(0u, arena.GetLiveCount());
    Large* const again = new (&arena) Large;
    EXPECT_EQ(node, again);
    again->~Large();
}

TEST_F(TqUAllocOperatorsTest, ArenaFormTakesABlockAndReleasesItThroughTheRawArena)
{
    TqUArena arena(sizeof(Large), 8);
    Large* const node = new (&arena) Large;
    EXPECT_TRUE(arena.Owns(node));
    node->~Large();
    Large::operator delete(node, &arena);
    EXPECT_EQ(0u, arena.GetLiveCount());
}

TEST_F(TqUAllocOperatorsTest, RawArenaFormTakesABlockAndTheMatchingReleaseReturnsIt)
{
    TqURawArena arena(sizeof(Large));
    Large* const node = new (&arena) Large;
    EXPECT_TRUE(arena.Owns(node));
    node->~Large();
    Large::operator delete(node, &arena);
    EXPECT_EQ(0u, arena.GetLiveCount());
}

TEST_F(TqUAllocOperatorsTest, PlacementFormUsesTheGivenAddressAndItsReleaseDoesNothing)
{
    alignas(Large) unsigned char memory[sizeof(Large)];
    void* const address = memory;
    Large* const node = new (address) Large;
    EXPECT_EQ(address, static_cast<void*>(node));
    EXPECT_EQ(m_blocks, TqUMemory::GetLiveBlocks());
    node->~Large();
    std::memset(memory, 0x5a, sizeof memory);
    Large::operator delete(address, address);
    EXPECT_EQ(m_blocks, TqUMemory::GetLiveBlocks());
    EXPECT_TRUE(std::all_of(std::begin(memory), std::end(memory),
                            [](unsigned char byte) { return byte == 0x5a; }));
}

TEST_F(TqUAllocOperatorsTest, ArenaFormsYieldNullWithoutConstructingWhenMemoryIsRefused)
{
    TqUFastArena fast(sizeof(Base));
    TqUArena arena(sizeof(Base));
    TqURawArena raw(sizeof(Base));
    RefuseAllocations const refuse(1, RefuseAllocations::eAND_ALL_LATER);
    EXPECT_EQ(nullptr, new (&fast) Base);
    EXPECT_EQ(nullptr, new (&arena) Base);
    EXPECT_EQ(nullptr, new (&raw) Base);
    EXPECT_EQ(0, s_alive);
    EXPECT_EQ(3, refuse.GetNumRefused());
}

TEST_F(TqUAllocOperatorsTest, ArenaFormsReleaseTheBlockWhenTheConstructorThrows)
{
    TqUFastArena fast(sizeof(Throwing));
    TqUArena arena(sizeof(Throwing));
    TqURawArena raw(sizeof(Throwing));
    EXPECT_THROW(new (&fast) Throwing, std::runtime_error);
    EXPECT_THROW(new (&arena) Throwing, std::runtime_error);
    EXPECT_THROW(new (&raw) Throwing, std::runtime_error);
    EXPECT_EQ(0u, fast.GetLiveCount());
    EXPECT_EQ(0u, arena.GetLiveCount());
    EXPECT_EQ(0u, raw.GetLiveCount());
}
