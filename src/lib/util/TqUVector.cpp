#include "util/TqUVector.h"

#include "util/TqUComponent.h"

namespace
{

TqUComponent s_component("TqUVector");

} // namespace

void TqUVector::Initialise()
{
    s_component.Initialise("TqUVector", "util/TqUVector.cpp 1");
}

void TqUVector::Terminate()
{
    s_component.Terminate();
}

int TqUVector::IsInitialised()
{
    return s_component.IsInitialised();
}
