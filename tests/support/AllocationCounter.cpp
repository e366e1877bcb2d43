#include "support/AllocationCounter.h"

#include "util/TqUMemory.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace
{

std::atomic<std::size_t> s_numNew{0};
std::atomic<std::size_t> s_numMemory{0};

// Hook users alive: counters and refusers. The hook stands while there is one.
int s_numUsers = 0;

int s_untilRefusal = 0; // allocations up to and with the refused one; 0 = no refusal pending
bool s_refuseAll = false;
bool s_refuseLater = false;
bool s_refuseMemory = false;
int s_numRefused = 0;

// Of the thread that made the refuser only: a test framework's other threads keep their memory.
thread_local bool s_refuseNew = false;

/// Counts one allocation of a kind that is refused now; returns whether this one is.
bool IsRefused()
{
    bool refused = s_refuseAll;
    if (s_untilRefusal > 0 && --s_untilRefusal == 0) {
        refused = true;
        s_refuseAll = s_refuseLater;
    }
    if (refused) {
        ++s_numRefused;
    }
    return refused;
}

bool Hook(std::size_t, void*)
{
    ++s_numMemory;
    return !(s_refuseMemory && IsRefused());
}

void AddUser()
{
    if (s_numUsers++ == 0) {
        TqUMemory::SetAllocHook(&Hook, nullptr);
    }
}

void RemoveUser()
{
    if (--s_numUsers == 0) {
        TqUMemory::SetAllocHook(nullptr, nullptr);
    }
}

void* CountedAlloc(std::size_t size)
{
    ++s_numNew;
    if (s_refuseNew && IsRefused()) {
        return nullptr;
    }
    return std::malloc(size != 0 ? size : 1);
}

void* CountedAlignedAlloc(std::size_t size, std::align_val_t alignment)
{
    ++s_numNew;
    if (s_refuseNew && IsRefused()) {
        return nullptr;
    }
    auto const step = static_cast<std::size_t>(alignment);
    std::size_t const rounded = (size + step - 1) / step * step;
    return std::aligned_alloc(step, rounded != 0 ? rounded : step);
}

void* OrThrow(void* p)
{
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return p;
}

} // namespace

// ---- Counting -----------------------------------------------------------------------------------

AllocationCounter::AllocationCounter()
{
    AddUser();
    Reset();
}

AllocationCounter::~AllocationCounter()
{
    RemoveUser();
}

std::size_t AllocationCounter::GetNumNew() const
{
    return s_numNew - m_startNew;
}

std::size_t AllocationCounter::GetNumMemory() const
{
    return s_numMemory - m_startMemory;
}

void AllocationCounter::Reset()
{
    m_startNew = s_numNew;
    m_startMemory = s_numMemory;
}

// ---- Refusing -----------------------------------------------------------------------------------

RefuseAllocations::RefuseAllocations(int n, Extent extent, Kinds kinds)
{
    s_untilRefusal = n > 0 ? n : 0;
    s_refuseAll = false;
    s_refuseLater = extent == eAND_ALL_LATER;
    s_numRefused = 0;
    s_refuseMemory = (kinds & eMEMORY) != 0;
    s_refuseNew = (kinds & eGLOBAL_NEW) != 0;
    AddUser();
}

RefuseAllocations::~RefuseAllocations()
{
    s_refuseNew = false;
    s_refuseMemory = false;
    s_untilRefusal = 0;
    s_refuseAll = false;
    RemoveUser();
}

int RefuseAllocations::GetNumRefused() const
{
    return s_numRefused;
}

// ---- Global operators ---------------------------------------------------------------------------

void* operator new(std::size_t size)
{
    return OrThrow(CountedAlloc(size));
}

void* operator new[](std::size_t size)
{
    return OrThrow(CountedAlloc(size));
}

void* operator new(std::size_t size, std::nothrow_t const&) noexcept
{
    return CountedAlloc(size);
}

void* operator new[](std::size_t size, std::nothrow_t const&) noexcept
{
    return CountedAlloc(size);
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    return OrThrow(CountedAlignedAlloc(size, alignment));
}

void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return OrThrow(CountedAlignedAlloc(size, alignment));
}

void operator delete(void* p) noexcept
{
    std::free(p);
}

void operator delete[](void* p) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}

void operator delete[](void* p, std::size_t) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::nothrow_t const&) noexcept
{
    std::free(p);
}

void operator delete[](void* p, std::nothrow_t const&) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::align_val_t) noexcept
{
    std::free(p);
}

void operator delete[](void* p, std::align_val_t) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::size_t, std::align_val_t) noexcept
{
    std::free(p);
}

void operator delete[](void* p, std::size_t, std::align_val_t) noexcept
{
    std::free(p);
}
