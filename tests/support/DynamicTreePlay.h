#pragma once

// DynamicTreePlay: random life of a dynamic tree, beside a plain list and a reference tree.
//
// Everything follows from a seed. A play owns its shapes, the tree, and a ReferenceDynamicTree that
// gets the same operations. After every operation the two structures are compared and the tree is
// checked; after every update boxes, aggregates and masks are checked too, a visitor must find the
// live shapes, and a walk with everything in view must draw exactly those that can be seen.

#include "support/DynamicTreeChecker.h"
#include "support/ReferenceDynamicTree.h"

#include "scenes/SceneRandom.h"

#include "scenecull/TqOcContext.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcShape.h"
#include "scenecull/TqOcStaticTraversable.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// What PlayShape throws when it is told to.
struct BoxRefused
{};

/// A shape with a number and a box that can be changed, told to fail, and asked what happened to
/// it.
class PlayShape : public TqOcShape
{
public:
    explicit PlayShape(int number = 0, TqLBox3f const& box = TqLBox3f());
    ~PlayShape() override;

    int GetNumber() const { return m_number; }

    TqLBox3f const& GetBox() const { return m_box; }

    /// Stores a box, without a notice.
    void SetBox(TqLBox3f const& box) { m_box = box; }

    /// Stores a box and notifies with eMODIFIED_BOX.
    void Move(TqLBox3f const& box);
    void MoveBy(double x, double y, double z);

    /// Whether GetShapeBox throws BoxRefused.
    void SetRefusing(bool refuses) { m_refuses = refuses; }

    /// Lets the n-th call of GetShapeBox from now on, of any shape, throw BoxRefused; 0: none.
    static void RefuseCall(int n) { s_untilRefusal = n; }

    /// Calls of GetShapeBox so far, refused ones included.
    int GetNumBoxCalls() const { return m_numBoxCalls; }

    /// How often it was drawn since the last ClearDraws.
    int GetNumDraws() const { return m_numDraws; }

    void ClearDraws() { m_numDraws = 0; }

    /// Shapes of this class that exist.
    static int GetNumLive() { return s_numLive; }

    void GetShapeBox(TqLBox3f& box) override;
    void RenderShape(TqOcRenderTraversal* traversal) override;
    void PickShape(TqOcPickFrustumTraversal* traversal) override;

private:
    static inline int s_numLive = 0;
    static inline int s_untilRefusal = 0;

    int m_number;
    TqLBox3f m_box;
    bool m_refuses = false;
    int m_numBoxCalls = 0;
    int m_numDraws = 0;
};

/// The number of a PlayShape as DescribeDynamicTree wants it.
std::string NumberOf(TqOcBaseTraversable* shape);

/// The structure of a tree of PlayShapes, comparable with ReferenceDynamicTree::GetStructure.
std::string StructureOf(TqOcDynamicGroup& root);

/// A prioritized traversal that sees everything: a parallel view from far above all that is not
/// infinite, and nothing culled for its size.
class AllSeeingWalk
{
public:
    AllSeeingWalk();

    /// One frame under a new frame id.
    void Draw(TqOcTraversable* root);

    int GetNumFrames() const { return static_cast<int>(m_frameId); }

private:
    TqOcContext m_context;
    TqOcPrioritizedTraversal m_walk;
    unsigned int m_frameId = 0;
};

/// What the boxes of a play are like.
enum class PlayBoxes
{
    eSCATTERED,  ///< Small, anywhere in a large space.
    eCLUSTERED,  ///< In assemblies, which move as wholes.
    eLATTICE,    ///< On a coarse lattice, many the same: costs tie.
    eDEGENERATE, ///< Points, sheets, empty ones, one huge among tiny.
    eWILD        ///< With infinite and NaN corners here and there; not drawn.
};

inline constexpr int ePLAY_BOXES = 5;

struct PlayOptions
{
    std::uint64_t seed = 1;
    PlayBoxes boxes = PlayBoxes::eSCATTERED;
    int steps = 400;
    int startShapes = 0;
    int targetShapes = 80; ///< More are removed than added above this.
    bool hasOwner = false; ///< The root hangs in a static group, which is what gets updated.
};

class DynamicTreePlay
{
public:
    explicit DynamicTreePlay(PlayOptions const& options);
    ~DynamicTreePlay();

    DynamicTreePlay(DynamicTreePlay const&) = delete;
    DynamicTreePlay& operator=(DynamicTreePlay const&) = delete;

    /// Runs all steps, or up to the first fault; the message says which step of which seed, and
    /// what was done before it.
    ::testing::AssertionResult Run();

    int GetNumUpdates() const { return m_numUpdates; }

    int GetNumMerges() const { return m_numMerges; }

private:
    using Node = ReferenceDynamicTree::Node;

    struct Tree
    {
        TqOcDynamicGroup* root;
        std::unique_ptr<ReferenceDynamicTree> reference;
        std::vector<int> live;
    };

    struct Operation
    {
        char const* name;
        int weight;
        void (DynamicTreePlay::*play)();
    };

    static std::vector<Operation> const& GetOperations();

    // Operations.
    void AddShape();
    void AddSeveral();
    void AddLeaf();
    void RemoveShape();
    void RemoveSeveral();
    void RemoveLeaf();
    void DeleteLeaf();
    void MoveLittle();
    void MoveFar();
    void MoveAssembly();
    void MoveAllTogether();
    void MoveAllApart();
    void MoveSome();
    void Hide();
    void Rescale();
    void MergeSecond();
    void Rebalance();
    void Update();

    // Parts of them.
    Tree MakeTree();
    void DropTree(Tree* tree);
    int NewShape();
    TqLBox3f MakeBox();
    TqLBox3f Shifted(TqLBox3f const& box, double x, double y, double z) const;
    void AddShapeTo(Tree* tree);
    void AddLeafTo(Tree* tree);
    void Move(int shape, TqLBox3f const& box);
    int PickLive();
    void Forget(int shape);
    TqOcTraversable* LeafOf(int shape);
    void UpdateTree(Tree* tree);

    // Checks.
    void Fail(std::string const& what);
    void CheckAfterStep();
    void CheckAfterUpdate();
    void CheckVisit();
    void CheckWalk();

    PlayOptions m_options;
    SceneRandom m_random;
    ReferenceDynamicTree::World m_world;
    std::vector<PlayShape*> m_shapes; ///< By number; null once deleted.
    Tree m_tree;
    std::unique_ptr<TqOcStaticGroup> m_owner;
    AllSeeingWalk m_walk;
    std::vector<std::string> m_history;
    std::string m_fault;
    int m_numUpdates = 0;
    int m_numMerges = 0;
};
