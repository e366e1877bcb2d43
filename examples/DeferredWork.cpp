// A host with a thread of its own for traversals: the main thread hands whole traversals over, goes
// on, and asks for their results later.
//
// Who owns what: the main thread owns the hierarchy, the queue and the traversals. A traversal that
// was handed over belongs to the worker until WaitForCompletion returns. The hierarchy must neither
// change nor be updated or drawn while work is queued: the main thread brings it up to date before
// it hands over the first work, and flushes the queue before it changes anything. At the end the
// worker is told to stop by a low message, which comes after all work, and is joined; only then are
// queue and hierarchy deleted. Nobody else enters work here; other producers would have to end
// before that message.
#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcDeferredTraversal.h"
#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcShape.h"
#include "scenecull/TqOcTraversalFIFO.h"
#include "scenecull/TqOcVisitor.h"

#include <cstddef>
#include <cstdio>
#include <exception>
#include <future>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

// --- A hierarchy ---------------------------------------------------------------------------------

class Crate : public TqOcShape
{
public:
    explicit Crate(double x) : TqOcShape(1.0, 12, TqLPrimitiveTypes::eTRIANGLES), m_x(x) {}

    void MoveTo(double x)
    {
        m_x = x;
        Notify(eMODIFIED_BOX);
    }

    void GetShapeBox(TqLBox3f& box) override { box = {{m_x - 1, -1, -1}, {m_x + 1, 1, 1}}; }

    void RenderShape(TqOcRenderTraversal*) override {}

    void PickShape(TqOcPickFrustumTraversal*) override {}

private:
    double m_x;
};

/// Counts the shapes in front of all clip planes.
class CountInFront : public TqOcVisitor
{
public:
    explicit CountInFront(TqOcTraversal const& planes) : m_planes(planes) {}

    int GetCount() const { return m_count; }

    Action BeginVisit(TqOcTraversable* node) override
    {
        return IsInFront(node->GetBoundingBox()) ? eCONTINUE : ePRUNE;
    }

    void VisitShape(TqOcShape* shape) override
    {
        TqLBox3f box;
        box.MakeEmpty();
        shape->GetShapeBox(box);
        m_count += IsInFront(box) ? 1 : 0;
    }

private:
    bool IsInFront(TqLBox3f const& box) const
    {
        for (int i = 0; i < m_planes.GetNumClipPlanes(); ++i) {
            if (m_planes.GetClipPlanes()[i].MaxDistanceFromPlane(box) < 0.0) {
                return false;
            }
        }
        return true;
    }

    TqOcTraversal const& m_planes;
    int m_count = 0;
};

// --- A traversal that runs on the worker ---------------------------------------------------------

class DeferredCount : public TqOcDeferredTraversal
{
public:
    /// Counts in front of the clip planes that `view` has now; runs through `queue`.
    DeferredCount(TqOcTraversal const& view, TqOcTraversalQueue* queue)
        : TqOcDeferredTraversal(view)
        , m_queue(queue)
    {}

    /// Waits for the worker too: it may go while an exception is on its way.
    ~DeferredCount() override { WaitForWorker(); }

    int GetCount() const { return m_count; }

    /// Whether it ran on a thread other than the caller's.
    bool RanElsewhere() const
    {
        return m_thread != std::thread::id() && m_thread != std::this_thread::get_id();
    }

    /// On the main thread: hands over. The hierarchy is up to date already and stays as it is, for
    /// the worker may be in it. Waits until the worker has run what was handed over before; a
    /// result, or an exception, that WaitForCompletion has not fetched is lost.
    void AsyncApply(TqOcTraversable* root) override
    {
        if (!HasRoot(root)) {
            return;
        }
        WaitForWorker();
        ResetStats();
        m_root = root;
        m_done = std::promise<void>();
        m_result = m_done.get_future();
        m_queue->Enter(this);
    }

    /// On the main thread: waits until the worker has run it, and throws what it threw.
    void WaitForCompletion() override
    {
        if (m_result.valid()) {
            m_result.get();
        }
    }

    /// On the worker. Once the promise is kept, the main thread may delete the traversal.
    void RunOnWorker()
    {
        std::promise<void> done = std::move(m_done);
        try {
            StartTraversal(m_root);
            EndTraversal();
            done.set_value();
        } catch (...) {
            done.set_exception(std::current_exception());
        }
    }

    void StartTraversal(TqOcTraversable* root) override
    {
        m_thread = std::this_thread::get_id();
        CountInFront visitor(*this);
        visitor.Apply(root);
        m_count = visitor.GetCount();
    }

    void EndTraversal() override {}

private:
    void WaitForWorker() const
    {
        if (m_result.valid()) {
            m_result.wait();
        }
    }

    TqOcTraversalQueue* m_queue;
    TqOcTraversable* m_root = nullptr;
    std::promise<void> m_done;
    std::future<void> m_result;
    std::thread::id m_thread; // where it ran
    int m_count = 0;
};

// --- The worker ----------------------------------------------------------------------------------

enum Message
{
    eSTOP = 1,  // low: after all work
    eHURRY = 2, // high: before any work
};

struct Worker
{
    explicit Worker(TqOcTraversalQueue* work) : queue(work), thread([this] { Loop(); }) {}

    ~Worker()
    {
        queue->EnterLow(eSTOP);
        thread.join();
    }

    void Loop()
    {
        for (;;) {
            void* item = nullptr;
            switch (queue->Remove(&item)) {
            case 0:
                static_cast<DeferredCount*>(item)->RunOnWorker();
                break;
            case eHURRY:
                ++numHurries;
                break;
            default:
                return;
            }
        }
    }

    TqOcTraversalQueue* queue;
    int numHurries = 0; // the worker's; others may read it when it is idle
    std::thread thread; // last, so that the rest is there when it starts
};

// --- The host ------------------------------------------------------------------------------------

constexpr int eNUM_CRATES = 1000;
constexpr int eNUM_PLANES = 10;

/// Has the crates right of ten planes counted, all at once; returns whether every count is right.
/// @param numMoved  crates that stand left of all planes
bool CountAll(TqOcTraversable* root, TqOcTraversalQueue* queue, int numMoved)
{
    TqOcContext context;
    TqOcPrioritizedTraversal view(&context); // what the user looks at, and sets planes on
    std::vector<std::unique_ptr<DeferredCount>> counts;
    for (int i = 0; i < eNUM_PLANES; ++i) {
        TqLPlane3f const plane(TqLUnitVec3f(TqLVec3f(1, 0, 0)), 400.0 * i);
        view.SetClipPlanes(&plane, 1);
        counts.push_back(std::make_unique<DeferredCount>(view, queue));
        counts.back()->AsyncApply(root); // the user goes on meanwhile
    }
    queue->EnterHigh(eHURRY); // overtakes what still waits
    bool isRight = true;
    for (int i = 0; i < eNUM_PLANES; ++i) {
        DeferredCount& deferred = *counts[static_cast<std::size_t>(i)];
        deferred.WaitForCompletion();
        int const count = deferred.GetCount();
        std::printf(" %d", count);
        isRight = isRight && deferred.RanElsewhere() &&
                  count == eNUM_CRATES - 100 * i - (i == 0 ? numMoved : 0);
    }
    std::printf("\n");
    return isRight;
}

/// Hands one traversal over again and again without waiting, and then nothing; returns whether the
/// count is right in the end.
bool CountAgain(TqOcTraversable* root, TqOcTraversalQueue* queue)
{
    TqOcContext context;
    TqOcPrioritizedTraversal const view(&context); // no planes
    DeferredCount all(view, queue);
    for (int i = 0; i < 100; ++i) {
        all.AsyncApply(root);
    }
    all.Apply(nullptr); // posts an error
    all.WaitForCompletion();
    std::printf("all of them:                 %d\n", all.GetCount());
    return all.GetCount() == eNUM_CRATES;
}

bool Run()
{
    std::vector<Crate*> crates;
    TqOcStaticHierarchyBuilder builder(100);
    for (int i = 0; i < eNUM_CRATES; ++i) {
        crates.push_back(new Crate(4.0 * i)); // the hierarchy will own it
        builder.Append(crates.back());
    }
    std::unique_ptr<TqOcTraversable> const root(builder.End());
    root->Update(); // from here on the worker reads it
    TqOcTraversalFIFO queue(8);
    Worker worker(&queue); // stopped and joined before queue and hierarchy go

    std::printf("crates right of each plane:");
    bool const isRight = CountAll(root.get(), &queue, 0);

    queue.Flush(); // nobody reads the hierarchy now
    crates.front()->MoveTo(-100.0);
    root->Update();
    std::printf("one has moved away:        ");
    bool const isStillRight = CountAll(root.get(), &queue, 1) && CountAgain(root.get(), &queue);

    queue.Flush();
    return isRight && isStillRight && worker.numHurries == 2;
}

int main()
{
    TqOcShape::Initialise();
    TqOcHierarchyBuilder::Initialise();
    TqOcDeferredTraversal::Initialise();
    TqOcTraversalFIFO::Initialise();
    bool const isRight = Run();
    TqOcTraversalFIFO::Terminate();
    TqOcDeferredTraversal::Terminate();
    TqOcHierarchyBuilder::Terminate();
    TqOcShape::Terminate();
    return isRight ? 0 : 1;
}
