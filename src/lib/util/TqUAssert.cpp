#include "util/TqUAssert.h"

#include <cstdio>
#include <cstdlib>

namespace
{

void AbortWithLine(char const* condition, char const* file, int line, void*)
{
    std::fprintf(stderr, "scenecull assertion failed: %s (%s:%d)\n", condition, file, line);
    std::abort();
}

TqUAssert::Handler s_handler = AbortWithLine;
void* s_userData = nullptr;

} // namespace

void TqUAssert::SetHandler(Handler handler, void* userData)
{
    s_handler = handler != nullptr ? handler : AbortWithLine;
    s_userData = userData;
}

void TqUAssert::Fail(char const* condition, char const* file, int line)
{
    s_handler(condition, file, line, s_userData);
}
