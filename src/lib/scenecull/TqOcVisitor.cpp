#include "scenecull/TqOcVisitor.h"

#include "scenecull/internal/TqOcComponent.h"

#include "scenecull/TqOcTraversable.h"

#include "util/TqUError.h"

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcVisitor");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqUError>()};

} // namespace

void TqOcVisitor::Initialise()
{
    InitialiseComponent(s_component, "TqOcVisitor 1", s_dependencies);
}

void TqOcVisitor::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcVisitor::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcVisitor::~TqOcVisitor() = default;

void TqOcVisitor::Apply(TqOcTraversable* root)
{
    if (root == nullptr) {
        TqUError::Post(TqUSysError::eERROR, &s_component, "A visitor was applied to a null root");
        return;
    }
    root->Update();
    root->Visit(this);
}

TqOcVisitor::Action TqOcVisitor::BeginVisit(TqOcTraversable*)
{
    return eCONTINUE;
}

TqOcVisitor::Action TqOcVisitor::EndVisit(TqOcTraversable*)
{
    return eCONTINUE;
}

void TqOcVisitor::VisitShape(TqOcShape*) {}
