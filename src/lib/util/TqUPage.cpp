#include "util/TqUPage.h"

#include "util/TqUComponent.h"
#include "util/TqUMemory.h"

namespace
{

TqUComponent s_component("TqUPage");
std::size_t s_limit = 0; // bytes; 0 is none
TqUPage::PageOutCallback s_callback = nullptr;
void* s_callbackData = nullptr;
bool s_pagingOut = false;

// The callback is asked for once live bytes exceed the limit less one tenth of it.
constexpr std::size_t s_reserveShare = 10;

// Notes that the callback runs, also when it is left by an exception.
struct PagingOut
{
    PagingOut() { s_pagingOut = true; }

    ~PagingOut() { s_pagingOut = false; }

    PagingOut(PagingOut const&) = delete;
    PagingOut& operator=(PagingOut const&) = delete;
};

} // namespace

int TqUPage::IsOutOfMemory()
{
    bool const overLimit = s_limit != 0 && TqUMemory::GetLiveBytes() > s_limit;
    return overLimit || TqUMemory::HasRefused() != 0;
}

void TqUPage::PageOutIfNeeded()
{
    if (s_limit == 0 || s_callback == nullptr || s_pagingOut) {
        return;
    }
    if (TqUMemory::GetLiveBytes() > s_limit - s_limit / s_reserveShare) {
        PagingOut const running;
        s_callback(s_callbackData);
    }
}

void TqUPage::SetMemoryLimit(std::size_t bytes)
{
    s_limit = bytes;
}

std::size_t TqUPage::GetMemoryLimit()
{
    return s_limit;
}

void TqUPage::SetPageOutCallback(PageOutCallback callback, void* userData)
{
    s_callback = callback;
    s_callbackData = userData;
}

void TqUPage::ClearRefusedAllocation()
{
    TqUMemory::ClearRefused();
}

void TqUPage::Initialise()
{
    s_component.Initialise("TqUPage", "util/TqUPage.cpp 1");
}

void TqUPage::Terminate()
{
    s_component.Terminate();
}

int TqUPage::IsInitialised()
{
    return s_component.IsInitialised();
}
