// Memory pressure.

#include "util/TqUPage.h"

#include "support/AllocationCounter.h"

#include "util/TqUMemory.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace
{

// A block of live memory.
class Held
{
public:
    explicit Held(std::size_t size) : m_block(TqUMemory::Alloc(size, TqUMemory::eALIGN_DEFAULT)) {}

    ~Held() { Free(); }

    Held(Held const&) = delete;
    Held& operator=(Held const&) = delete;

    void Free()
    {
        TqUMemory::Dealloc(m_block, 0, TqUMemory::eALIGN_DEFAULT);
        m_block = nullptr;
    }

private:
    void* m_block;
};

void CountCall(void* userData)
{
    ++*static_cast<int*>(userData);
}

void FreeHeld(void* userData)
{
    static_cast<Held*>(userData)->Free();
}

void CallAgain(void* userData)
{
    ++*static_cast<int*>(userData);
    TqUPage::PageOutIfNeeded();
}

void Throw(void*)
{
    throw std::runtime_error("page-out");
}

class TqUPageTest : public testing::Test
{
protected:
    void TearDown() override
    {
        TqUPage::SetMemoryLimit(0);
        TqUPage::SetPageOutCallback(nullptr, nullptr);
        TqUPage::ClearRefusedAllocation();
    }
};

} // namespace

TEST_F(TqUPageTest, HasNoLimitByDefault)
{
    Held const held(1 << 20);
    EXPECT_EQ(0u, TqUPage::GetMemoryLimit());
    EXPECT_EQ(0, TqUPage::IsOutOfMemory());
}

TEST_F(TqUPageTest, IsOutOfMemoryWhileLiveBytesExceedTheLimit)
{
    TqUPage::SetMemoryLimit(TqUMemory::GetLiveBytes() + 1000);
    Held exact(1000);
    EXPECT_EQ(0, TqUPage::IsOutOfMemory());
    {
        Held const more(1);
        EXPECT_NE(0, TqUPage::IsOutOfMemory());
    }
    EXPECT_EQ(0, TqUPage::IsOutOfMemory());
    TqUPage::SetMemoryLimit(TqUMemory::GetLiveBytes() - 1);
    EXPECT_NE(0, TqUPage::IsOutOfMemory());
    TqUPage::SetMemoryLimit(0);
    EXPECT_EQ(0, TqUPage::IsOutOfMemory());
}

TEST_F(TqUPageTest, IsOutOfMemoryFromARefusedAllocationUntilItIsCleared)
{
    {
        RefuseAllocations const refuse(1);
        Held const refused(1);
    }
    EXPECT_NE(0, TqUPage::IsOutOfMemory());
    EXPECT_NE(0, TqUPage::IsOutOfMemory());
    TqUPage::ClearRefusedAllocation();
    EXPECT_EQ(0, TqUPage::IsOutOfMemory());
}

TEST_F(TqUPageTest, CallsTheCallbackOnlyAboveNineTenthsOfTheLimit)
{
    int calls = 0;
    TqUPage::SetPageOutCallback(CountCall, &calls);
    Held const held(100000);
    std::size_t const live = TqUMemory::GetLiveBytes();
    TqUPage::SetMemoryLimit(live * 10 / 9 + 10);
    TqUPage::PageOutIfNeeded();
    EXPECT_EQ(0, calls);
    TqUPage::SetMemoryLimit(live * 10 / 9 - 10);
    TqUPage::PageOutIfNeeded();
    EXPECT_EQ(1, calls);
    EXPECT_EQ(0, TqUPage::IsOutOfMemory());
    TqUPage::PageOutIfNeeded();
    EXPECT_EQ(2, calls);
}

TEST_F(TqUPageTest, CallsNobodyWithoutALimitOrACallback)
{
    int calls = 0;
    TqUPage::SetPageOutCallback(CountCall, &calls);
    Held const held(100000);
    TqUPage::PageOutIfNeeded();
    EXPECT_EQ(0, calls);
    TqUPage::SetMemoryLimit(1);
    TqUPage::SetPageOutCallback(nullptr, nullptr);
    TqUPage::PageOutIfNeeded();
    EXPECT_EQ(0, calls);
}

TEST_F(TqUPageTest, LetsTheCallbackFreeMemory)
{
    Held held(100000);
    TqUPage::SetMemoryLimit(TqUMemory::GetLiveBytes() - 1);
    TqUPage::SetPageOutCallback(FreeHeld, &held);
    EXPECT_NE(0, TqUPage::IsOutOfMemory());
    TqUPage::PageOutIfNeeded();
    EXPECT_EQ(0, TqUPage::IsOutOfMemory());
}

TEST_F(TqUPageTest, DoesNotCallTheCallbackFromWithinItself)
{
    int calls = 0;
    Held const held(1000);
    TqUPage::SetMemoryLimit(1);
    TqUPage::SetPageOutCallback(CallAgain, &calls);
    TqUPage::PageOutIfNeeded();
    EXPECT_EQ(1, calls);
}

TEST_F(TqUPageTest, CallsTheCallbackAgainAfterOneThatThrew)
{
    Held const held(1000);
    TqUPage::SetMemoryLimit(1);
    TqUPage::SetPageOutCallback(Throw, nullptr);
    EXPECT_THROW(TqUPage::PageOutIfNeeded(), std::runtime_error);
    int calls = 0;
    TqUPage::SetPageOutCallback(CountCall, &calls);
    TqUPage::PageOutIfNeeded();
    EXPECT_EQ(1, calls);
}
