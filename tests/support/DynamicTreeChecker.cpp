#include "support/DynamicTreeChecker.h"

#include "scenecull/TqOcShape.h"
#include "scenecull/TqOcStaticTraversable.h"

#include <algorithm>
#include <cfloat>
#include <cstddef>
#include <sstream>
#include <unordered_set>

namespace
{

constexpr int eMIN_CHILDREN = 4;
constexpr int eMAX_CHILDREN = 7;
constexpr int eMAX_FAULTS = 12;

bool IsSame(double a, double b)
{
    return a == b || (a != a && b != b);
}

bool IsSame(TqLBox3f const& a, TqLBox3f const& b)
{
    for (int axis = 0; axis < 3; ++axis) {
        if (!IsSame(a.GetMin()[axis], b.GetMin()[axis]) ||
            !IsSame(a.GetMax()[axis], b.GetMax()[axis])) {
            return false;
        }
    }
    return true;
}

/// What a container derives from its children.
struct Aggregate
{
    unsigned int tris = 0;
    unsigned int primitives = 0;
    double scale = DBL_MAX;
    bool hideRender = true;
    bool forceRender = false;
    bool ignoreClip = false;
    bool ignorePick = true;

    void Add(TqOcBaseTraversable const& child)
    {
        tris += child.GetTris();
        primitives |= static_cast<unsigned int>(child.GetPrimitives());
        scale = child.GetScale() < scale ? child.GetScale() : scale;
        hideRender = hideRender && child.IsHideRender() != 0;
        forceRender = forceRender || child.IsForceRender() != 0;
        ignoreClip = ignoreClip || child.IsIgnoreClip() != 0;
        ignorePick = ignorePick && child.IsIgnorePick() != 0;
    }

    bool IsThatOf(TqOcBaseTraversable const& node) const
    {
        return node.GetTris() == tris &&
               static_cast<unsigned int>(node.GetPrimitives()) == primitives &&
               node.GetScale() == scale && (node.IsHideRender() != 0) == hideRender &&
               (node.IsForceRender() != 0) == forceRender &&
               (node.IsIgnoreClip() != 0) == ignoreClip && (node.IsIgnorePick() != 0) == ignorePick;
    }
};

int CountMentions(TqOcBaseTraversable const& node, TqOcTraversable const* parent, int* others)
{
    *others = 0;
    if (!node.HasMultipleParents()) {
        *others = node.GetSingleParent() != nullptr && node.GetSingleParent() != parent ? 1 : 0;
        return node.GetSingleParent() == parent ? 1 : 0;
    }
    int mentions = 0;
    TqUPtrVector<TqOcTraversable> const& parents = *node.GetMultipleParents();
    for (int i = 0; i < parents.Size(); ++i) {
        mentions += parents[i] == parent ? 1 : 0;
        *others += parents[i] == parent ? 0 : 1;
    }
    return mentions;
}

class Checker
{
public:
    Checker(TqOcDynamicGroup& root, std::vector<TqOcShape*> const& shapes,
            DynamicTreeRules const& rules)
        : m_root(root)
        , m_shapes(shapes)
        , m_rules(rules)
        , m_depth(root.CalcDepth())
    {
        m_seen.reserve(4 * shapes.size());
    }

    ::testing::AssertionResult Run()
    {
        if (m_root.HasParent() && !m_rules.allowOtherParents) {
            Fault("the root has a parent");
        }
        CheckGroup(m_root, 0);
        CheckShapes();
        if (m_numFaults == 0) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure() << m_numFaults << " faults:" << m_faults.str();
    }

private:
    template <class... Parts>
    void Fault(Parts const&... parts)
    {
        if (m_numFaults++ >= eMAX_FAULTS) {
            return;
        }
        m_faults << "\n  root";
        for (int const i : m_way) {
            m_faults << "/" << i;
        }
        m_faults << ": ";
        (m_faults << ... << parts);
    }

    /// False when the node was met before: then it is not entered again.
    bool Enter(TqOcBaseTraversable* node)
    {
        bool const isNew = m_seen.insert(node).second;
        if (!isNew) {
            Fault("a node that hangs in the tree twice");
        }
        return isNew;
    }

    void CheckParents(TqOcBaseTraversable const& node, TqOcTraversable const* parent,
                      bool mayHaveMore)
    {
        int others = 0;
        int const mentions = CountMentions(node, parent, &others);
        if (mentions != 1) {
            Fault("names its parent ", mentions, " times");
        }
        if (others != 0 && !mayHaveMore) {
            Fault("names ", others, " other parents");
        }
    }

    void CheckGroup(TqOcDynamicGroup& group, int depth)
    {
        if (!Enter(&group)) {
            return;
        }
        TqOcBaseTraversable* const* children = nullptr;
        int const count = group.GetChildren(&children);
        if (group.IsLeaf()) {
            Fault("a group with the leaf flag");
        }
        if (count < 0 || count > eMAX_CHILDREN || count != group.GetNumChildren()) {
            Fault(count, " children");
            return;
        }
        bool const isSmall = count < (m_rules.allowSmallGroups ? 1 : eMIN_CHILDREN);
        if (&group != &m_root && isSmall) {
            Fault("only ", count, " children");
        }
        int numLeaves = 0;
        for (int i = 0; i < count; ++i) {
            m_way.push_back(i);
            if (children[i] == nullptr || children[i] != group.GetChild(i)) {
                Fault("no child");
            } else if (children[i]->IsShape()) {
                Fault("a shape as a child of a group");
            } else if (children[i]->IsLeaf()) {
                ++numLeaves;
                CheckLeaf(*static_cast<TqOcTraversable*>(children[i]), &group, depth + 1);
            } else if (auto* const inner = dynamic_cast<TqOcDynamicGroup*>(children[i])) {
                CheckParents(*inner, &group, false);
                CheckGroup(*inner, depth + 1);
            } else {
                Fault("a child that is neither leaf nor dynamic group");
            }
            m_way.pop_back();
        }
        if (numLeaves != 0 && numLeaves != count) {
            Fault(numLeaves, " leaves among ", count, " children");
        }
        CheckBoxOfGroup(group);
        CheckDerived(group, children, count);
    }

    void CheckBoxOfGroup(TqOcDynamicGroup& group)
    {
        if (m_rules.allowStaleBoxes && (group.GetModified() & 1u) != 0) {
            return;
        }
        TqLBox3f box;
        for (int i = 0; i < group.GetNumChildren(); ++i) {
            box.ExtendBy(group.GetChild(i)->GetBoundingBox());
        }
        if (m_rules.isUpToDate && !IsSame(box, group.GetBoundingBox())) {
            Fault("a box that is not the union of the children's");
        } else if (!group.GetBoundingBox().Contains(box)) {
            Fault("a box that does not enclose the children's");
        }
    }

    void CheckDerived(TqOcTraversable& node, TqOcBaseTraversable* const* children, int count)
    {
        if (!m_rules.isUpToDate) {
            return;
        }
        if (node.GetModified() != 0) {
            Fault("mask ", node.GetModified(), " after an update");
        }
        Aggregate aggregate;
        for (int i = 0; i < count; ++i) {
            aggregate.Add(*children[i]);
        }
        // A group that never had a child was never updated either, and is as it was constructed.
        bool const isNew = count == 0 && node.GetScale() == 1.0 && !node.IsHideRender();
        if (!isNew && !aggregate.IsThatOf(node)) {
            Fault("aggregates that are not those of the children");
        }
    }

    void CheckLeaf(TqOcTraversable& leaf, TqOcDynamicGroup* parent, int depth)
    {
        if (!Enter(&leaf)) {
            return;
        }
        CheckParents(leaf, parent, m_rules.allowOtherParents);
        if (depth != m_depth) {
            Fault("a leaf at depth ", depth, " in a tree of ", m_depth, " levels");
        }
        TqOcBaseTraversable* const* children = nullptr;
        int const count = leaf.GetChildren(&children);
        TqLBox3f box;
        TqLBox3f own;
        for (int i = 0; i < count; ++i) {
            if (children[i] == nullptr || !children[i]->IsShape()) {
                Fault("child ", i, " of a leaf is no shape");
                return;
            }
            auto* const shape = static_cast<TqOcShape*>(children[i]);
            if (!Enter(shape)) {
                continue;
            }
            ++m_numShapes;
            CheckParents(*shape, &leaf, m_rules.allowOtherParents);
            if (m_rules.isUpToDate) {
                own.MakeEmpty();
                shape->GetShapeBox(own);
                box.ExtendBy(own);
                if (shape->GetModified() != 0) {
                    Fault("a shape of mask ", shape->GetModified(), " after an update");
                }
            }
        }
        if (!m_rules.isUpToDate || count == 0) {
            return;
        }
        // A leaf of one shape may take a box over that is no box, of which a union makes another.
        bool const isOwn = count == 1 && IsSame(own, leaf.GetBoundingBox());
        if (!isOwn && !IsSame(box, leaf.GetBoundingBox())) {
            Fault("a leaf's box that is not the union of its shapes'");
        }
        CheckDerived(leaf, children, count);
    }

    void CheckShapes()
    {
        std::size_t missing = 0;
        for (TqOcShape* const shape : m_shapes) {
            missing += m_seen.count(shape) == 0 ? 1 : 0;
        }
        if (missing != 0) {
            Fault(missing, " shapes are lost");
        }
        if (m_numShapes != m_shapes.size() - missing) {
            Fault(m_numShapes, " shapes hang in the tree, not ", m_shapes.size());
        }
    }

    TqOcDynamicGroup& m_root;
    std::vector<TqOcShape*> const& m_shapes;
    DynamicTreeRules m_rules;
    int m_depth;
    std::vector<int> m_way;
    std::unordered_set<TqOcBaseTraversable const*> m_seen;
    std::size_t m_numShapes = 0;
    int m_numFaults = 0;
    std::ostringstream m_faults;
};

void Describe(TqOcTraversable& node, std::function<std::string(TqOcBaseTraversable*)> const& nameOf,
              std::string* text)
{
    TqOcBaseTraversable* const* children = nullptr;
    int const count = node.GetChildren(&children);
    bool const isLeaf = node.IsLeaf() != 0;
    if (isLeaf && count == 1) {
        *text += nameOf(children[0]) + " ";
        return;
    }
    *text += isLeaf ? "[" : "(";
    for (int i = 0; i < count; ++i) {
        if (isLeaf) {
            *text += nameOf(children[i]) + " ";
        } else {
            Describe(*static_cast<TqOcTraversable*>(children[i]), nameOf, text);
        }
    }
    *text += isLeaf ? "]" : ")";
}

void CollectGroups(TqOcDynamicGroup& group, std::vector<TqOcDynamicGroup*>* groups)
{
    groups->push_back(&group);
    for (int i = 0; i < group.GetNumChildren(); ++i) {
        if (auto* const inner = dynamic_cast<TqOcDynamicGroup*>(group.GetChild(i))) {
            CollectGroups(*inner, groups);
        }
    }
}

} // namespace

::testing::AssertionResult IsSoundDynamicTree(TqOcDynamicGroup& root,
                                              std::vector<TqOcShape*> const& shapes,
                                              DynamicTreeRules const& rules)
{
    return Checker(root, shapes, rules).Run();
}

std::string DescribeDynamicTree(TqOcDynamicGroup& root,
                                std::function<std::string(TqOcBaseTraversable*)> const& nameOf)
{
    std::string text;
    Describe(root, nameOf, &text);
    return text;
}

std::vector<TqOcDynamicGroup*> GroupsOf(TqOcDynamicGroup& root)
{
    std::vector<TqOcDynamicGroup*> groups;
    CollectGroups(root, &groups);
    return groups;
}

std::vector<TqOcTraversable*> LeavesOf(TqOcDynamicGroup& root)
{
    std::vector<TqOcTraversable*> leaves;
    for (TqOcDynamicGroup* const group : GroupsOf(root)) {
        for (int i = 0; i < group->GetNumChildren(); ++i) {
            if (group->GetChild(i)->IsLeaf()) {
                leaves.push_back(group->GetChild(i));
            }
        }
    }
    return leaves;
}

int GetLargestDepth(int leaves)
{
    // A root of more than one level has at least two children, every other group at least four.
    int depth = 1;
    for (int fewest = 2 * eMIN_CHILDREN; fewest <= leaves; fewest *= eMIN_CHILDREN) {
        ++depth;
    }
    return depth;
}

int GetSmallestDepth(int leaves)
{
    int depth = 1;
    for (int most = eMAX_CHILDREN; most < leaves; most *= eMAX_CHILDREN) {
        ++depth;
    }
    return depth;
}
