// The smallest complete host: a row of crates is built into a hierarchy and drawn, nearest first.
#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcPrioritizedTraversal.h"

#include <cstdio>
#include <memory>

struct Crate : TqOcShape
{
    explicit Crate(double z) : TqOcShape(1.0, 12, TqLPrimitiveTypes::eTRIANGLES), m_z(z) {}

    void GetShapeBox(TqLBox3f& box) override { box = {{-1, -1, m_z - 1}, {1, 1, m_z + 1}}; }

    void RenderShape(TqOcRenderTraversal* frame) override // draw here, and count what was drawn
    {
        frame->IncShapesRendered(1);
        frame->IncTrisRendered(GetTris());
    }

    void PickShape(TqOcPickFrustumTraversal*) override {}

    double m_z;
};

int main()
{
    TqOcShape::Initialise();
    TqOcHierarchyBuilder::Initialise();
    TqOcStaticHierarchyBuilder builder(100); // leaves of fewer than 100 triangles
    for (int i = 0; i < 1000; ++i) {
        builder.Append(new Crate(2000.0 - 5.0 * i)); // the hierarchy will own it
    }
    std::unique_ptr<TqOcTraversable> root(builder.End());
    TqOcContext context; // a window of 1000 x 1000 pixels
    TqOcPrioritizedTraversal frame(&context);
    frame.SetViewFrustum(TqLFrustum3f(1.0, 1.0, 1.0, 5000.0)); // from the origin along -z
    frame.SetFrameId(1);                                       // new, and not 0, for every frame
    frame.Apply(root.get());                                   // update, cull, draw
    std::printf("%u crates drawn; triangles outside the view: %u, too small to see: %u\n",
                frame.GetShapesRendered(), frame.GetTrisFrustumCulled(), frame.GetTrisAreaCulled());
    root.reset();
    TqOcHierarchyBuilder::Terminate();
    TqOcShape::Terminate();
}
