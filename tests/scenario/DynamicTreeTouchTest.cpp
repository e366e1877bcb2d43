// How much of a large dynamic tree an operation looks at.
//
// Every node of a hand-made tree lies on a memory page of its own, and all pages are closed before
// the operation: the first access to a page, reading too, opens it and counts one node. So an
// operation that has any part that grows with the whole tree shows, however little it does at each
// node.

#include "support/Components.h"
#include "support/DynamicTreeChecker.h"
#include "support/DynamicTreePlay.h"
#include "support/Recorders.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcStaticTraversable.h"

#include <gtest/gtest.h>

#if defined(__linux__)

#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

namespace
{

/// Pages for one object each, which can be closed and count their opening.
class GuardedPages
{
public:
    explicit GuardedPages(std::size_t count)
        : m_pageSize(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)))
        , m_bytes(count * m_pageSize)
    {
        void* const block =
            mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (block == MAP_FAILED) {
            throw std::bad_alloc();
        }
        m_begin = static_cast<char*>(block);
    }

    ~GuardedPages()
    {
        Open();
        munmap(m_begin, m_bytes);
    }

    GuardedPages(GuardedPages const&) = delete;
    GuardedPages& operator=(GuardedPages const&) = delete;

    void* Next() { return m_begin + m_pageSize * m_numUsed++; }

    bool Owns(void const* address) const
    {
        return address >= m_begin && address < m_begin + m_bytes;
    }

    /// Closes all pages and starts to count.
    void Close()
    {
        s_open = this;
        m_numTouched = 0;
        struct sigaction action = {};
        action.sa_sigaction = &GuardedPages::Handle;
        action.sa_flags = SA_SIGINFO;
        sigemptyset(&action.sa_mask);
        sigaction(SIGSEGV, &action, &m_former);
        mprotect(m_begin, m_bytes, PROT_NONE);
    }

    /// Opens all pages; returns how many were touched since Close.
    int Open()
    {
        if (s_open == this) {
            mprotect(m_begin, m_bytes, PROT_READ | PROT_WRITE);
            sigaction(SIGSEGV, &m_former, nullptr);
            s_open = nullptr;
        }
        return m_numTouched;
    }

private:
    static void Handle(int, siginfo_t* info, void*)
    {
        GuardedPages* const pages = s_open;
        if (pages == nullptr || !pages->Owns(info->si_addr)) {
            std::signal(SIGSEGV, SIG_DFL); // a fault of another kind: happens again, and ends us
            return;
        }
        auto const offset =
            static_cast<std::size_t>(static_cast<char*>(info->si_addr) - pages->m_begin);
        mprotect(pages->m_begin + offset / pages->m_pageSize * pages->m_pageSize, pages->m_pageSize,
                 PROT_READ | PROT_WRITE);
        pages->m_numTouched = pages->m_numTouched + 1;
    }

    static inline GuardedPages* s_open = nullptr;

    std::size_t m_pageSize;
    std::size_t m_bytes;
    char* m_begin = nullptr;
    std::size_t m_numUsed = 0;
    int volatile m_numTouched = 0;
    struct sigaction m_former = {};
};

/// A tree in which every group has `fanOut` children, on guarded pages: unit cubes two apart on a
/// line.
class GuardedTree
{
public:
    GuardedTree(int fanOut, int depth) : m_pages(CountNodes(fanOut, depth))
    {
        root = Make(fanOut, depth);
        root->Update();
        root->Rebalance(); // a tree just built by hand is looked at as a whole once
        root->Update();
    }

    ~GuardedTree()
    {
        // Parents first: what the tree made itself goes with its parent.
        std::vector<TqOcDynamicGroup*> mine;
        for (TqOcDynamicGroup* const group : GroupsOf(*root)) {
            if (m_pages.Owns(group)) {
                mine.push_back(group);
            }
        }
        for (TqOcDynamicGroup* const group : mine) {
            group->~TqOcDynamicGroup();
        }
        for (TqOcSingleLeaf* const leaf : m_leaves) {
            leaf->~TqOcSingleLeaf();
        }
        for (PlayShape* const shape : shapes) {
            shape->~PlayShape();
        }
    }

    GuardedTree(GuardedTree const&) = delete;
    GuardedTree& operator=(GuardedTree const&) = delete;

    /// Nodes that `operation` touched.
    template <class Operation>
    int Count(Operation const& operation)
    {
        m_pages.Close();
        operation();
        return m_pages.Open();
    }

    TqOcDynamicGroup* root = nullptr;
    std::vector<PlayShape*> shapes;

private:
    static std::size_t CountNodes(int fanOut, int depth)
    {
        std::size_t leaves = 1;
        std::size_t groups = 0;
        for (int i = 0; i < depth; ++i) {
            groups += leaves;
            leaves *= static_cast<std::size_t>(fanOut);
        }
        return groups + 2 * leaves;
    }

    TqOcDynamicGroup* Make(int fanOut, int depth)
    {
        std::vector<TqOcTraversable*> children;
        for (int i = 0; i < fanOut; ++i) {
            children.push_back(depth == 1 ? MakeLeaf() : Make(fanOut, depth - 1));
        }
        auto* const group = new (m_pages.Next()) TqOcDynamicGroup(children.data(), fanOut);
        group->SetUserOwned(1);
        return group;
    }

    TqOcTraversable* MakeLeaf()
    {
        int const number = static_cast<int>(shapes.size());
        auto* const shape =
            new (m_pages.Next()) PlayShape(number, MakeCube(2.0 * number, 0.0, 0.0, 0.5));
        shape->SetUserOwned(1);
        shapes.push_back(shape);
        m_leaves.push_back(new (m_pages.Next()) TqOcSingleLeaf(shape));
        m_leaves.back()->SetUserOwned(1);
        return m_leaves.back();
    }

    GuardedPages m_pages;
    std::vector<TqOcSingleLeaf*> m_leaves;
};

/// Most nodes on a way down, with the siblings that are compared on it and a shape at the end.
int GetWidestWay(int depth)
{
    return 7 * depth + 2;
}

} // namespace

TEST(DynamicTreeTouch, CountsEveryNodeOfAFullRepair)
{
    GuardedTree tree(5, 4);
    int const touched = tree.Count([&] { tree.root->Rebalance(); });
    EXPECT_GE(touched, 1 + 5 + 25 + 125 + 625); // every group, and every leaf for its box
}

TEST(DynamicTreeTouch, AnUpdateOfOneMovedShapeSeesOnlyTheWaysOutAndBack)
{
    for (int const depth : {3, 4, 5}) {
        GuardedTree tree(5, depth);
        std::size_t const last = tree.shapes.size() - 1;
        for (std::size_t const from : {std::size_t{0}, last / 2, last}) {
            for (double const step : {0.25, -3.0, 40.0}) {
                int const touched = tree.Count([&] {
                    tree.shapes[from]->MoveBy(step, 0.0, 0.0);
                    tree.root->Update();
                });
                EXPECT_GT(touched, depth + 2);
                EXPECT_LE(touched, 2 * GetWidestWay(depth)) << depth << " " << from << " " << step;
            }
        }
        std::vector<TqOcShape*> const shapes(tree.shapes.begin(), tree.shapes.end());
        EXPECT_TRUE(IsSoundDynamicTree(*tree.root, shapes));
    }
}

TEST(DynamicTreeTouch, AnUpdateThatDissolvesGroupsUpToTheRootSeesWaysOnly)
{
    // Groups of four: every removal leaves one of three, whose parent then is one of three, and so
    // on.
    for (int const depth : {3, 4, 5, 6}) {
        GuardedTree tree(4, depth);
        int const touched = tree.Count([&] {
            tree.shapes[0]->Move(
                MakeCube(2.0 * static_cast<double>(tree.shapes.size()), 0.0, 0.0, 0.5));
            tree.root->Update();
        });
        // Out and back, and three orphans on each level.
        EXPECT_LE(touched, (2 + 3 * depth) * GetWidestWay(depth)) << depth;
        EXPECT_LE(touched, 60 * depth) << depth;
        std::vector<TqOcShape*> const shapes(tree.shapes.begin(), tree.shapes.end());
        EXPECT_TRUE(IsSoundDynamicTree(*tree.root, shapes));
    }
}

TEST(DynamicTreeTouch, AnUpdateOfAFewPropertiesSeesOnlyTheWaysToThem)
{
    GuardedTree tree(5, 5);
    int const touched = tree.Count([&] {
        tree.shapes[700]->SetHideRender(1);
        tree.root->Update();
    });
    EXPECT_LE(touched, GetWidestWay(5));
    EXPECT_TRUE(tree.shapes[700]->GetSingleParent()->IsHideRender());
}

TEST(DynamicTreeTouch, AnUpdateThatMovesOneInAHundredCostsNoMoreThanThoseAlone)
{
    GuardedTree tree(5, 5);
    int moved = 0;
    int const touched = tree.Count([&] {
        for (std::size_t i = 50; i < tree.shapes.size(); i += 100) {
            tree.shapes[i]->MoveBy(0.3, 0.0, 0.0);
            ++moved;
        }
        tree.root->Update();
    });
    EXPECT_LE(touched, moved * GetWidestWay(5));
    EXPECT_LT(touched, 3125 / 2); // although every branch has one
}

TEST(DynamicTreeTouch, AnUpdateOfAnUnchangedTreeSeesOnlyTheRoot)
{
    GuardedTree tree(5, 4);
    EXPECT_EQ(tree.Count([&] { tree.root->Update(); }), 1);
}

TEST(DynamicTreeTouch, AnInsertionAndARemovalSeeOneWayEach)
{
    for (int const depth : {3, 5}) {
        GuardedTree tree(5, depth);
        PlayShape added(9999, MakeCube(77.0, 0.0, 0.0, 0.5));
        added.SetUserOwned(1);
        int const inserting = tree.Count([&] { tree.root->AddShape(&added); });
        EXPECT_LE(inserting, GetWidestWay(depth));
        int const removing = tree.Count([&] { tree.root->RemoveShape(&added); });
        EXPECT_LE(removing, GetWidestWay(depth));
    }
}

#endif
