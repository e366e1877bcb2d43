#include "support/ReferenceDynamicTree.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <utility>

namespace
{

constexpr unsigned int eBOX = 0x01;
constexpr unsigned int eNOT_BOX = 0xFE;
constexpr unsigned int eALL = 0xFF;
constexpr std::size_t eMAX = 7;
constexpr std::size_t eMIN = 4;

double SumOfEdges(TqLBox3f const& box)
{
    double const x = box.GetMax()[0] - box.GetMin()[0];
    double const y = box.GetMax()[1] - box.GetMin()[1];
    double const z = box.GetMax()[2] - box.GetMin()[2];
    return (y + x) + z;
}

bool HasKeptItsSize(TqLBox3f const& newBox, TqLBox3f const& oldBox)
{
    return SumOfEdges(newBox) <= 1.001 * SumOfEdges(oldBox);
}

double CostInto(TqLBox3f const& group, TqLBox3f const& node)
{
    return IsEmptyForCost(group) ? ReferenceSentinel() : ReferenceGrowth(group, node);
}

template <class T>
void Erase(std::vector<T>* list, T const& value)
{
    auto const found = std::find(list->begin(), list->end(), value);
    if (found != list->end()) {
        list->erase(found);
    }
}

} // namespace

// ---- Costs and splitting ------------------------------------------------------------------------

double ReferenceSentinel()
{
    return std::numeric_limits<double>::max() / 2.0;
}

bool IsEmptyForCost(TqLBox3f const& box)
{
    return box.GetMin()[0] > box.GetMax()[0];
}

double ReferenceGrowth(TqLBox3f const& group, TqLBox3f const& node)
{
    if (IsEmptyForCost(node)) {
        return ReferenceSentinel();
    }
    double const both = SumOfEdges(group.Union(node));
    return both - SumOfEdges(group) - SumOfEdges(node);
}

void ReferencePickPair(std::vector<TqLBox3f> const& boxes, std::vector<int>* nodes, int* first,
                       int* second)
{
    std::vector<int>& list = *nodes;
    std::size_t const n = list.size();
    if (n == 2) {
        *first = list[0];
        *second = list[1];
        list.clear();
        return;
    }
    std::size_t lowestMax = 0;
    std::size_t highestMin = 0;
    double best = 0.0;
    for (int axis = 0; axis < 3; ++axis) {
        auto const min = [&](std::size_t i) {
            return boxes[static_cast<std::size_t>(list[i])].GetMin()[axis];
        };
        auto const max = [&](std::size_t i) {
            return boxes[static_cast<std::size_t>(list[i])].GetMax()[axis];
        };
        std::size_t p = 0;
        std::size_t q = 0;
        for (std::size_t i = 1; i < n; ++i) {
            p = max(i) < max(p) ? i : p;
            q = min(i) > min(q) ? i : q;
        }
        double const separation = min(q) - max(p);
        if (axis == 0 || separation > best) {
            best = separation;
            lowestMax = p;
            highestMin = q;
        }
    }
    std::size_t hi = std::max(lowestMax, highestMin);
    std::size_t lo = std::min(lowestMax, highestMin);
    if (hi == lo) {
        lo = 0;
        hi = hi == 0 ? 1 : hi;
    }
    *first = list[hi];
    *second = list[lo];
    // The two last entries close the gaps, the last one that of `hi` where it is not gone itself.
    if (hi != n - 1) {
        list[hi] = list[n - 1];
    }
    if (lo != n - 2) {
        list[lo] = list[n - 2];
    }
    list.resize(n - 2);
}

void ReferenceSplit(std::vector<TqLBox3f> const& boxes, std::vector<int>* left,
                    std::vector<int>* right)
{
    std::vector<int> rest;
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        rest.push_back(static_cast<int>(i));
    }
    TqLBox3f leftBox;
    TqLBox3f rightBox;
    std::size_t const half = boxes.size() / 2;
    for (std::size_t i = 0; i < half; ++i) {
        int a = 0;
        int b = 0;
        ReferencePickPair(boxes, &rest, &a, &b);
        if (i == 0) {
            leftBox = boxes[static_cast<std::size_t>(a)];
            rightBox = boxes[static_cast<std::size_t>(b)];
        } else {
            TqLBox3f const& boxA = boxes[static_cast<std::size_t>(a)];
            TqLBox3f const& boxB = boxes[static_cast<std::size_t>(b)];
            double const straight = CostInto(leftBox, boxA) + CostInto(rightBox, boxB);
            double const crossed = CostInto(leftBox, boxB) + CostInto(rightBox, boxA);
            if (!(crossed > straight)) {
                std::swap(a, b);
            }
            leftBox.ExtendBy(boxes[static_cast<std::size_t>(a)]);
            rightBox.ExtendBy(boxes[static_cast<std::size_t>(b)]);
        }
        left->push_back(a);
        right->push_back(b);
    }
    if (!rest.empty()) {
        right->push_back(rest[0]);
    }
}

void ReferenceDynamicTree::SplitNodes(std::vector<Node*> const& nodes, std::vector<Node*>* left,
                                      std::vector<Node*>* right)
{
    std::vector<TqLBox3f> boxes;
    for (Node const* const node : nodes) {
        boxes.push_back(node->box);
    }
    std::vector<int> leftNumbers;
    std::vector<int> rightNumbers;
    ReferenceSplit(boxes, &leftNumbers, &rightNumbers);
    for (int const i : leftNumbers) {
        left->push_back(nodes[static_cast<std::size_t>(i)]);
    }
    for (int const i : rightNumbers) {
        right->push_back(nodes[static_cast<std::size_t>(i)]);
    }
}

// ---- Nodes --------------------------------------------------------------------------------------

ReferenceDynamicTree::ReferenceDynamicTree(World* world) : m_world(world), m_root(NewNode(false)) {}

ReferenceDynamicTree::ReferenceDynamicTree(World* world, std::string const& structure)
    : m_world(world)
{
    char const* at = structure.c_str();
    m_root = Parse(&at);
}

/// Reads one node and what follows its name.
ReferenceDynamicTree::Node* ReferenceDynamicTree::Parse(char const** at)
{
    auto const readShape = [at] {
        char* end = nullptr;
        int const shape = static_cast<int>(std::strtol(*at, &end, 10));
        *at = end + 1; // the blank
        return shape;
    };
    if (**at == '(') {
        Node* const group = NewNode(false);
        for (++*at; **at != ')';) {
            Node* const child = Parse(at);
            child->parent = group;
            group->children.push_back(child);
        }
        ++*at;
        group->box = CalcBox(group);
        return group;
    }
    std::vector<int> shapes;
    if (**at == '[') {
        for (++*at; **at != ']';) {
            shapes.push_back(readShape());
        }
        ++*at;
    } else {
        shapes.push_back(readShape());
    }
    Node* const leaf = NewLeaf(shapes);
    UpdateLeaf(leaf);
    return leaf;
}

ReferenceDynamicTree::Node* ReferenceDynamicTree::NewNode(bool isLeaf)
{
    m_world->nodes.emplace_back();
    m_world->nodes.back().isLeaf = isLeaf;
    return &m_world->nodes.back();
}

ReferenceDynamicTree::Node* ReferenceDynamicTree::NewLeaf(std::vector<int> const& shapes)
{
    Node* const leaf = NewNode(true);
    leaf->isSingle = shapes.size() == 1;
    leaf->shapes = shapes;
    leaf->modified = eALL;
    for (int const shape : shapes) {
        m_world->shapes[static_cast<std::size_t>(shape)].leaf = leaf;
    }
    return leaf;
}

int ReferenceDynamicTree::CalcDepth(Node const* node)
{
    if (node->isLeaf) {
        return 0;
    }
    return node->children.empty() ? 1 : 1 + CalcDepth(node->children[0]);
}

void ReferenceDynamicTree::Notify(Node* node, unsigned int mask)
{
    unsigned int const after = node->modified | mask;
    if (after != node->modified) {
        node->modified = after;
        if (node->parent != nullptr) {
            Notify(node->parent, after);
        }
    }
}

TqLBox3f ReferenceDynamicTree::CalcBox(Node const* group)
{
    TqLBox3f box;
    for (Node const* const child : group->children) {
        box.ExtendBy(child->box);
    }
    return box;
}

void ReferenceDynamicTree::Append(Node* group, Node* child, unsigned int mask)
{
    group->children.push_back(child);
    child->parent = group;
    Notify(group, mask);
}

void ReferenceDynamicTree::Remove(Node* group, Node* child, unsigned int mask)
{
    auto const found = std::find(group->children.begin(), group->children.end(), child);
    *found = group->children.back();
    group->children.pop_back();
    child->parent = nullptr;
    Notify(group, mask);
}

void ReferenceDynamicTree::InitChildrenForAdd(Node* group, std::vector<Node*> const& children)
{
    group->children = children;
    group->box = CalcBox(group);
    for (Node* const child : children) {
        child->parent = group;
    }
    Notify(group, eNOT_BOX);
}

void ReferenceDynamicTree::ExtendBoxToRoot(Node* group, TqLBox3f const& box)
{
    for (Node* node = group; !node->box.Contains(box); node = node->parent) {
        node->box.ExtendBy(box);
        if (node == m_root) {
            return;
        }
    }
}

void ReferenceDynamicTree::RecalcBoxToRoot(Node* group)
{
    for (Node* node = group;; node = node->parent) {
        TqLBox3f const box = CalcBox(node);
        if (box == node->box) {
            return;
        }
        node->box = box;
        if (node == m_root) {
            return;
        }
    }
}

// ---- Insertion ----------------------------------------------------------------------------------

ReferenceDynamicTree::Node* ReferenceDynamicTree::ChooseParent(Node* node, int levels) const
{
    if (m_root->children.empty() || levels == 0) {
        return m_root;
    }
    for (Node* current = m_root;;) {
        if (current->children.empty()) {
            throw std::logic_error("an empty group below the root");
        }
        if (current->children[0]->isLeaf) {
            return current;
        }
        Node* best = current->children[0];
        double bestCost = std::numeric_limits<double>::infinity();
        for (Node* const child : current->children) {
            double const cost = CostInto(child->box, node->box);
            if (cost < bestCost) {
                bestCost = cost;
                best = child;
            }
        }
        current = best;
        if (levels == 1) {
            return current;
        }
        --levels;
    }
}

int ReferenceDynamicTree::AddChildSplit(Node* group, Node* child, LevelSet* set)
{
    ExtendBoxToRoot(group, child->box);
    for (;;) {
        for (std::size_t i = group->children.size(); i-- > 0;) {
            Node* const inner = group->children[i];
            if (inner->isLeaf) {
                break;
            }
            if (inner->children.empty()) {
                Remove(group, inner, eNOT_BOX);
                inner->isDead = true;
                if (set != nullptr) {
                    Erase(set, inner);
                }
            }
        }
        if (group->children.size() < eMAX) {
            Append(group, child, eNOT_BOX);
            return 0;
        }
        std::vector<Node*> nodes = group->children;
        nodes.push_back(child);
        group->children.clear();
        for (Node* const node : nodes) {
            node->parent = nullptr;
        }
        std::vector<Node*> left;
        std::vector<Node*> right;
        SplitNodes(nodes, &left, &right);
        Node* const second = NewNode(false);
        if (group == m_root) {
            Node* const first = NewNode(false);
            InitChildrenForAdd(first, left);
            InitChildrenForAdd(second, right);
            group->children = {first, second};
            first->parent = group;
            second->parent = group;
            Notify(group, eNOT_BOX);
            group->box = first->box.Union(second->box);
            return 1;
        }
        InitChildrenForAdd(group, left);
        InitChildrenForAdd(second, right);
        child = second;
        group = group->parent;
    }
}

int ReferenceDynamicTree::Insert(Node* node, int levels, LevelSet* set)
{
    return AddChildSplit(ChooseParent(node, levels), node, set);
}

void ReferenceDynamicTree::InsertLeaf(Node* leaf)
{
    if ((m_root->modified & eBOX) != 0) {
        Update();
    }
    UpdateLeaf(leaf);
    Insert(leaf, -1);
}

void ReferenceDynamicTree::AddShape(int shape)
{
    InsertLeaf(NewLeaf({shape}));
}

ReferenceDynamicTree::Node* ReferenceDynamicTree::AddLeaf(std::vector<int> const& shapes)
{
    Node* const leaf = NewLeaf(shapes);
    InsertLeaf(leaf);
    return leaf;
}

void ReferenceDynamicTree::AddLeaf(Node* leaf)
{
    InsertLeaf(leaf);
}

// ---- Removal ------------------------------------------------------------------------------------

void ReferenceDynamicTree::RemoveShape(int shape)
{
    Node* const leaf = m_world->shapes[static_cast<std::size_t>(shape)].leaf;
    if (leaf->shapes.size() == 1) {
        RemoveLeaf(leaf);
    } else {
        Erase(&leaf->shapes, shape);
        Notify(leaf, eALL);
    }
    m_world->shapes[static_cast<std::size_t>(shape)].leaf = nullptr;
}

void ReferenceDynamicTree::RemoveLeaf(Node* leaf)
{
    if ((m_root->modified & eBOX) != 0) {
        Update();
    }
    if (!leaf->isDead) {
        RemoveLeafNoUpdate(leaf);
    }
}

void ReferenceDynamicTree::RemoveLeafNoUpdate(Node* leaf)
{
    Node* const group = leaf->parent;
    Remove(group, leaf, eNOT_BOX);
    RebalanceForRemove(group, true, nullptr);
}

void ReferenceDynamicTree::RebalanceForRemove(Node* group, bool recurse, LevelSet* set)
{
    if (group->children.size() >= eMIN) {
        RecalcBoxToRoot(group);
        return;
    }
    if (group == m_root) {
        RebalanceRoot(set);
        return;
    }
    int depth = 0;
    for (Node const* node = group; node != m_root; node = node->parent) {
        ++depth;
    }
    do {
        Node* const parent = group->parent;
        Remove(parent, group, eNOT_BOX);
        RecalcBoxToRoot(parent);
        CullUp(parent, set);
        Node* const next = m_root->children.empty() ? m_root : parent;
        int levels = m_root->children.empty() ? 0 : depth;
        std::vector<Node*> const orphans = group->children;
        for (Node* const orphan : orphans) {
            orphan->parent = nullptr;
            levels += Insert(orphan, levels, set);
        }
        group->children.clear();
        group->isDead = true;
        if (set != nullptr) {
            Erase(set, group);
        }
        if (!recurse || next->isDead) {
            return;
        }
        if (next == m_root) {
            RebalanceRoot(set);
            return;
        }
        depth = levels - 1;
        group = next;
    } while (group->children.size() < eMIN);
}

void ReferenceDynamicTree::RebalanceRoot(LevelSet* set)
{
    if (m_root->children.size() != 1 || m_root->children[0]->isLeaf) {
        RecalcBoxToRoot(m_root);
        return;
    }
    Node* const only = m_root->children[0];
    m_root->children = only->children;
    for (Node* const child : m_root->children) {
        child->parent = m_root;
    }
    only->parent = nullptr;
    only->children.clear();
    only->isDead = true;
    if (set != nullptr) {
        Erase(set, only);
    }
    Notify(m_root, eNOT_BOX);
    RecalcBoxToRoot(m_root);
}

void ReferenceDynamicTree::CullUp(Node* group, LevelSet* set)
{
    while (group != m_root && group->children.empty()) {
        Node* const parent = group->parent;
        if (set != nullptr) {
            Erase(set, group);
        }
        Remove(parent, group, eNOT_BOX);
        group->isDead = true;
        group = parent;
    }
}

void ReferenceDynamicTree::CullAll(Node* group)
{
    if (group->children.empty() || group->children[0]->isLeaf) {
        return;
    }
    for (std::size_t i = group->children.size(); i-- > 0;) {
        Node* const child = group->children[i];
        CullAll(child);
        if (child->children.empty()) {
            Remove(group, child, eNOT_BOX);
            child->isDead = true;
        }
    }
}

void ReferenceDynamicTree::CollectLevel(Node* group, int levels, LevelSet* set) const
{
    if (levels == 0) {
        set->push_back(group);
        return;
    }
    for (Node* const child : group->children) {
        CollectLevel(child, levels - 1, set);
    }
}

void ReferenceDynamicTree::Rebalance()
{
    UpdateKeepStructure(m_root);
    CullAll(m_root);
    for (int level = 1;; ++level) {
        int const depth = CalcDepth() - level;
        LevelSet set;
        if (depth <= 0) {
            set.push_back(m_root);
        } else {
            CollectLevel(m_root, depth, &set);
        }
        while (!set.empty()) {
            Node* const group = set.front();
            set.erase(set.begin());
            RebalanceForRemove(group, false, &set);
        }
        if (depth <= 0) {
            return;
        }
    }
}

// ---- Merging ------------------------------------------------------------------------------------

bool ReferenceDynamicTree::Merge(ReferenceDynamicTree* otherTree)
{
    Node* const other = otherTree->m_root;
    if (((m_root->modified | other->modified) & eBOX) != 0 || other->parent != nullptr) {
        throw std::logic_error("a tree to be merged is not up to date, or has a parent");
    }
    int const levels = CalcDepth(m_root) - CalcDepth(other);
    if (levels < 0) {
        return false;
    }
    std::vector<Node*> nodes = other->children;
    if (levels == 0 && m_root->children.size() + nodes.size() > eMAX) {
        nodes.insert(nodes.begin(), m_root->children.begin(), m_root->children.end());
        Node* const added = NewNode(false);
        std::vector<Node*> left;
        std::vector<Node*> right;
        SplitNodes(nodes, &left, &right);
        m_root->children.clear();
        InitChildrenForAdd(other, left);
        InitChildrenForAdd(added, right);
        Append(m_root, other, eNOT_BOX);
        Append(m_root, added, eNOT_BOX);
        ExtendBoxToRoot(m_root, other->box);
        ExtendBoxToRoot(m_root, added->box);
    } else if (levels == 0) {
        for (Node* const child : nodes) {
            Append(m_root, child, eNOT_BOX);
            m_root->box.ExtendBy(child->box);
        }
        other->children.clear();
    } else if (nodes.size() >= eMIN) {
        Insert(other, levels - 1);
    } else {
        int at = levels;
        other->children.clear();
        for (Node* const child : nodes) {
            child->parent = nullptr;
            at += Insert(child, at);
        }
    }
    Notify(other, eALL);
    return true;
}

// ---- Update -------------------------------------------------------------------------------------

void ReferenceDynamicTree::Notify(int shape, unsigned int mask)
{
    World::Shape& record = m_world->shapes[static_cast<std::size_t>(shape)];
    unsigned int const after = record.modified | mask;
    if (after != record.modified) {
        record.modified = after;
        if (record.leaf != nullptr) {
            Notify(record.leaf, after);
        }
    }
}

void ReferenceDynamicTree::Update()
{
    if (m_root->modified == 0) {
        return;
    }
    if ((m_root->modified & eBOX) != 0) {
        Restructure();
    }
    UpdateKeepStructure(m_root);
}

void ReferenceDynamicTree::UpdateLeaf(Node* leaf)
{
    if (leaf->modified == 0) {
        return;
    }
    if ((leaf->modified & eBOX) != 0) {
        leaf->box.MakeEmpty();
    }
    for (int const shape : leaf->shapes) {
        World::Shape& record = m_world->shapes[static_cast<std::size_t>(shape)];
        record.modified = 0;
        if ((leaf->modified & eBOX) != 0) {
            if (leaf->isSingle) {
                leaf->box = record.box;
            } else {
                leaf->box.ExtendBy(record.box);
            }
        }
    }
    leaf->modified = 0;
}

void ReferenceDynamicTree::UpdateKeepStructure(Node* group)
{
    if (group->modified == 0) {
        return;
    }
    for (Node* const child : group->children) {
        if (child->isLeaf) {
            UpdateLeaf(child);
        } else {
            UpdateKeepStructure(child);
        }
    }
    if ((group->modified & eBOX) != 0) {
        group->box = CalcBox(group);
    }
    group->modified = 0;
}

void ReferenceDynamicTree::Restructure()
{
    CullAll(m_root);
    Pieces pieces;
    if (SplitOffGroups(m_root, &pieces, CalcDepth()) == Status::eMOVED) {
        return;
    }
    Rebalance();

    ReferenceDynamicTree collected(m_world);
    bool isFirst = true;
    for (std::size_t height = pieces.groups.size(); height-- > 1;) {
        for (Node* const group : pieces.groups[height]) {
            if (isFirst) {
                collected.m_root = group;
                isFirst = false;
                continue;
            }
            if ((collected.m_root->modified & eBOX) != 0) {
                UpdateKeepStructure(collected.m_root);
            }
            ReferenceDynamicTree piece(m_world);
            piece.m_root = group;
            if (!collected.Merge(&piece)) {
                throw std::logic_error("a taller piece came later");
            }
        }
    }
    for (Node* const leaf : pieces.leaves) {
        if ((collected.m_root->modified & eBOX) != 0) {
            UpdateKeepStructure(collected.m_root);
        }
        UpdateLeaf(leaf);
        collected.Insert(leaf, -1);
    }
    if ((collected.m_root->modified & eBOX) != 0) {
        UpdateKeepStructure(collected.m_root);
    }
    if (CalcDepth() < collected.CalcDepth()) {
        ExchangeChildren(m_root, collected.m_root);
    }
    Merge(&collected);
}

void ReferenceDynamicTree::ExchangeChildren(Node* a, Node* b)
{
    std::vector<Node*> const ofA = a->children;
    std::vector<Node*> const ofB = b->children;
    InitChildrenForAdd(a, ofB);
    InitChildrenForAdd(b, ofA);
}

ReferenceDynamicTree::Status ReferenceDynamicTree::SplitOffGroups(Node* group, Pieces* pieces,
                                                                  int depth)
{
    TqLBox3f const oldBox = group->box;
    TqLBox3f movedBox;
    std::vector<Node*> const children = group->children;
    std::vector<std::pair<bool, Status>> found; // by child: moved, and what became of it
    bool areAllWhole = true;
    for (Node* const child : children) {
        bool const isMoved = (child->modified & eBOX) != 0;
        Status status = Status::eKEPT;
        if (isMoved) {
            status = child->isLeaf ? SplitOffLeaves(child, pieces)
                                   : SplitOffGroups(child, pieces, depth - 1);
            if (status != Status::eEMPTIED) {
                movedBox.ExtendBy(child->box);
            }
        }
        areAllWhole = areAllWhole && isMoved && status == Status::eMOVED;
        found.emplace_back(isMoved, status);
    }
    group->box = movedBox;
    group->modified &= eNOT_BOX;
    if (areAllWhole && HasKeptItsSize(movedBox, oldBox)) {
        return Status::eMOVED;
    }
    TqLBox3f keptBox;
    for (std::size_t i = children.size(); i-- > 0;) {
        Node* const child = children[i];
        if (!found[i].first || found[i].second == Status::eKEPT) {
            keptBox.ExtendBy(child->box);
            continue;
        }
        Remove(group, child, eNOT_BOX);
        if (found[i].second == Status::eEMPTIED) {
            child->isDead = true;
        } else if (child->isLeaf) {
            pieces->leaves.push_back(child);
        } else {
            std::size_t const height = static_cast<std::size_t>(depth - 1);
            if (pieces->groups.size() <= height) {
                pieces->groups.resize(height + 1);
            }
            pieces->groups[height].push_back(child);
        }
    }
    group->box = keptBox;
    return group->children.empty() ? Status::eEMPTIED : Status::eKEPT;
}

ReferenceDynamicTree::Status ReferenceDynamicTree::SplitOffLeaves(Node* leaf, Pieces* pieces)
{
    TqLBox3f const oldBox = leaf->box;
    std::vector<int> const shapes = leaf->shapes;
    std::vector<bool> moved;
    TqLBox3f newBox;
    std::size_t numMoved = 0;
    for (int const shape : shapes) {
        World::Shape& record = m_world->shapes[static_cast<std::size_t>(shape)];
        bool const isMoved = (record.modified & eBOX) != 0;
        moved.push_back(isMoved);
        numMoved += isMoved ? 1 : 0;
        record.modified = 0;
        newBox.ExtendBy(record.box);
    }
    leaf->box = newBox;
    Notify(leaf, eBOX);
    leaf->modified &= eNOT_BOX;
    if (numMoved == 0) {
        return Status::eKEPT;
    }
    if (shapes.size() == 1 || (numMoved == shapes.size() && HasKeptItsSize(newBox, oldBox))) {
        return Status::eMOVED;
    }
    TqLBox3f keptBox;
    for (std::size_t i = shapes.size(); i-- > 0;) {
        if (!moved[i]) {
            keptBox.ExtendBy(m_world->shapes[static_cast<std::size_t>(shapes[i])].box);
            continue;
        }
        Erase(&leaf->shapes, shapes[i]);
        Notify(leaf, eALL);
        Node* const single = NewLeaf({shapes[i]});
        UpdateLeaf(single);
        pieces->leaves.push_back(single);
    }
    leaf->box = keptBox;
    Notify(leaf, eBOX);
    leaf->modified &= eNOT_BOX;
    return leaf->shapes.empty() ? Status::eEMPTIED : Status::eKEPT;
}

// ---- Comparing ----------------------------------------------------------------------------------

std::string ReferenceDynamicTree::GetStructure() const
{
    std::string text;
    Print(m_root, &text);
    return text;
}

void ReferenceDynamicTree::Print(Node const* node, std::string* text) const
{
    if (node->isLeaf && node->shapes.size() == 1) {
        *text += std::to_string(node->shapes[0]) + " ";
        return;
    }
    *text += node->isLeaf ? "[" : "(";
    for (int const shape : node->shapes) {
        *text += std::to_string(shape) + " ";
    }
    for (Node const* const child : node->children) {
        Print(child, text);
    }
    *text += node->isLeaf ? "]" : ")";
}
