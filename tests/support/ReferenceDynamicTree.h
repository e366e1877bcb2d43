#pragma once

// ReferenceDynamicTree: the dynamic hierarchy once more, written for clearness alone.
//
// Every operation visits whatever it likes: a repair looks at every group of the tree, sets are
// plain lists, and nothing is freed before the end. Shapes are numbers into a table of boxes. Tests
// give the library's tree and this one the same operations and compare the structures, child by
// child, in order. Memory that is refused, shapes with several parents and wrong arguments are not
// modelled.

#include "geometry/TqLBox.h"

#include <deque>
#include <string>
#include <vector>

/// Cost of putting a node into a group; both boxes as they are.
double ReferenceGrowth(TqLBox3f const& group, TqLBox3f const& node);

/// Whether a box counts as empty for costs: its x extent alone decides.
bool IsEmptyForCost(TqLBox3f const& box);

/// The cost of what has no sensible cost.
double ReferenceSentinel();

/// Picks a pair out of `nodes` (indices into `boxes`) and removes it; the remaining order is that
/// which the library's scratch array has afterwards.
void ReferencePickPair(std::vector<TqLBox3f> const& boxes, std::vector<int>* nodes, int* first,
                       int* second);

/// The halves into which all of `boxes` are split, by index.
void ReferenceSplit(std::vector<TqLBox3f> const& boxes, std::vector<int>* left,
                    std::vector<int>* right);

class ReferenceDynamicTree
{
public:
    struct Node
    {
        bool isLeaf = false;
        bool isSingle = false; ///< A leaf made for one shape: it takes the shape's box as it is.
        bool isDead = false;
        std::vector<int> shapes;     ///< Of a leaf.
        std::vector<Node*> children; ///< Of a group.
        Node* parent = nullptr;
        TqLBox3f box;
        unsigned int modified = 0;
    };

    /// The shapes and nodes that trees share, so that they can be merged.
    struct World
    {
        struct Shape
        {
            TqLBox3f box;
            unsigned int modified = 0;
            Node* leaf = nullptr; ///< Null while the shape hangs nowhere.
        };

        std::vector<Shape> shapes;
        std::deque<Node> nodes;
    };

    explicit ReferenceDynamicTree(World* world);

    /// A tree of any structure, up to date, as GetStructure writes it; leaves of one shape are
    /// single.
    ReferenceDynamicTree(World* world, std::string const& structure);

    Node* GetRoot() const { return m_root; }

    void AddShape(int shape);
    /// Adds a leaf of several shapes.
    Node* AddLeaf(std::vector<int> const& shapes);
    /// Adds a leaf that was removed.
    void AddLeaf(Node* leaf);
    void RemoveShape(int shape);
    /// Takes the leaf out, unless bringing the tree up to date has emptied it. Its shapes stay in
    /// it.
    void RemoveLeaf(Node* leaf);
    /// Raises bits of a shape's modified mask; its new box is in the world already.
    void Notify(int shape, unsigned int mask);
    void Update();
    void Rebalance();
    /// False, and nothing was done, when the other tree is taller.
    bool Merge(ReferenceDynamicTree* other);

    int CalcDepth() const { return CalcDepth(m_root); }

    bool IsModified() const { return m_root->modified != 0; }

    /// Groups as "(...)", leaves of one shape as its number, others as "[...]".
    std::string GetStructure() const;

private:
    using LevelSet = std::vector<Node*>;

    struct Pieces
    {
        std::vector<std::vector<Node*>> groups; ///< By height.
        std::vector<Node*> leaves;
    };

    enum class Status
    {
        eEMPTIED,
        eKEPT,
        eMOVED
    };

    Node* NewNode(bool isLeaf);
    Node* NewLeaf(std::vector<int> const& shapes);
    static int CalcDepth(Node const* node);
    static void Notify(Node* node, unsigned int mask);
    static TqLBox3f CalcBox(Node const* group);
    static void Append(Node* group, Node* child, unsigned int mask);
    static void Remove(Node* group, Node* child, unsigned int mask);
    static void InitChildrenForAdd(Node* group, std::vector<Node*> const& children);
    static void SplitNodes(std::vector<Node*> const& nodes, std::vector<Node*>* left,
                           std::vector<Node*>* right);

    void ExtendBoxToRoot(Node* group, TqLBox3f const& box);
    void RecalcBoxToRoot(Node* group);
    Node* ChooseParent(Node* node, int levels) const;
    int AddChildSplit(Node* group, Node* child, LevelSet* set);
    int Insert(Node* node, int levels, LevelSet* set = nullptr);
    void InsertLeaf(Node* leaf);

    void RemoveLeafNoUpdate(Node* leaf);
    void RebalanceForRemove(Node* group, bool recurse, LevelSet* set);
    void RebalanceRoot(LevelSet* set);
    void CullUp(Node* group, LevelSet* set);
    void CullAll(Node* group);
    void CollectLevel(Node* group, int levels, LevelSet* set) const;

    void UpdateLeaf(Node* leaf);
    void UpdateKeepStructure(Node* group);
    void Restructure();
    Status SplitOffGroups(Node* group, Pieces* pieces, int depth);
    Status SplitOffLeaves(Node* leaf, Pieces* pieces);
    static void ExchangeChildren(Node* a, Node* b);

    void Print(Node const* node, std::string* text) const;
    Node* Parse(char const** at);

    World* m_world;
    Node* m_root;
};
