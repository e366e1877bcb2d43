#include "support/Components.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcDeferredTraversal.h"
#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcPickFrustumTraversal.h"
#include "scenecull/TqOcPickSweepTraversal.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcRenderTravCull.h"
#include "scenecull/TqOcRenderTraversal.h"
#include "scenecull/TqOcShape.h"
#include "scenecull/TqOcStaticTraversable.h"
#include "scenecull/TqOcTravCull.h"
#include "scenecull/TqOcTravFrustum.h"
#include "scenecull/TqOcTravTransform.h"
#include "scenecull/TqOcTraversable.h"
#include "scenecull/TqOcTraversal.h"
#include "scenecull/TqOcTraversalFIFO.h"
#include "scenecull/TqOcVisitor.h"

#include <gtest/gtest.h>

namespace
{

// The one guard of the test program; null outside of its tests and while taken down.
using AllComponents =
    ComponentGuard<TqOcContext, TqOcTraversable, TqOcShape, TqOcStaticGroup, TqOcDynamicGroup,
                   TqOcVisitor, TqOcTraversal, TqOcTravFrustum, TqOcTravTransform, TqOcTravCull,
                   TqOcRenderTraversal, TqOcRenderTravCull, TqOcPrioritizedTraversal,
                   TqOcHierarchyBuilder, TqOcDeferredTraversal, TqOcTraversalQueue,
                   TqOcTraversalFIFO, TqOcPickTraversal, TqOcPickFrustumTraversal,
                   TqOcPickSweepTraversal>;

AllComponents* s_components = nullptr;

void Start()
{
    if (s_components == nullptr) {
        s_components = new AllComponents;
    }
}

void Stop()
{
    delete s_components;
    s_components = nullptr;
}

class ComponentEnvironment : public ::testing::Environment
{
public:
    void SetUp() override { Start(); }

    void TearDown() override { Stop(); }
};

} // namespace

bool RegisterComponentsForTests()
{
    static bool const registered = [] {
        ::testing::AddGlobalTestEnvironment(new ComponentEnvironment);
        return true;
    }();
    return registered;
}

WithoutComponents::WithoutComponents()
{
    Stop();
}

WithoutComponents::~WithoutComponents()
{
    Start();
}
