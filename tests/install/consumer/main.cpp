// A host program that knows scenecull only as an installed package. It draws one frame and returns
// 0 when exactly the shapes in front of the camera were drawn.
#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcPrioritizedTraversal.h"

#include "geometry/TqLFrustum3f.h"

#include "util/TqUError.h"
#include "util/TqUMemory.h"

#include <cstdio>
#include <memory>

class Box : public TqOcShape
{
public:
    explicit Box(double z) : TqOcShape(1.0, 12, TqLPrimitiveTypes::eTRIANGLES), m_z(z) {}

    void GetShapeBox(TqLBox3f& box) override { box = {{-1, -1, m_z - 1}, {1, 1, m_z + 1}}; }

    void RenderShape(TqOcRenderTraversal* frame) override
    {
        frame->IncShapesRendered(1);
        frame->IncTrisRendered(GetTris());
    }

    void PickShape(TqOcPickFrustumTraversal*) override {}

private:
    double m_z;
};

// Deriving from a class of the library and casting back needs its exported table and type record.
class Context : public TqOcContext
{
public:
    void CompletedRenderTraversal() override { ++m_completed; }

    int m_completed = 0;
};

static int s_posts = 0;

static void CountPost(TqUSysError::Severity, char const* component, char const* text, void*)
{
    std::fprintf(stderr, "%s: %s\n", component, text);
    ++s_posts;
}

int main()
{
    TqUError::SetHandler(CountPost, nullptr);
    TqOcShape::Initialise();
    TqOcHierarchyBuilder::Initialise();
    TqOcPrioritizedTraversal::Initialise();

    TqOcStaticHierarchyBuilder builder(24);
    for (int i = 0; i < 100; ++i) {
        builder.Append(new Box(-10.0 - 5.0 * i));
        builder.Append(new Box(10.0 + 5.0 * i));
    }
    std::unique_ptr<TqOcTraversable> root(builder.End());
    if (!root) {
        std::fprintf(stderr, "nothing was built\n");
        return 1;
    }

    Context context;
    TqOcContext* base = &context;
    if (dynamic_cast<Context*>(base) == nullptr) {
        std::fprintf(stderr, "the type record is not shared with the library\n");
        return 1;
    }
    unsigned int drawn = 0;
    {
        TqOcPrioritizedTraversal frame(&context);
        frame.SetViewFrustum(TqLFrustum3f(1.0, 1.0, 1.0, 5000.0));
        frame.SetFrameId(1);
        frame.Apply(root.get());
        drawn = frame.GetShapesRendered();
    }

    root.reset();
    TqOcPrioritizedTraversal::Terminate();
    TqOcHierarchyBuilder::Terminate();
    TqOcShape::Terminate();

    std::printf("%u shapes drawn, %d frames completed, %d errors posted, %zu blocks left\n", drawn,
                context.m_completed, s_posts, TqUMemory::GetLiveBlocks());
    return drawn == 100 && context.m_completed == 1 && s_posts == 0 ? 0 : 1;
}
