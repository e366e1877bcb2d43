#pragma once

// Opens the operations of the dynamic hierarchy that are not public to the tests.

#include "scenecull/TqOcDynamicGroup.h"

/// Static forwarders to protected and private operations of TqOcDynamicGroup.
class TqOcDynamicGroupProbe
{
public:
    using SplitStatus = TqOcDynamicGroup::SplitStatus;

    static constexpr SplitStatus eEMPTIED = TqOcDynamicGroup::eSPLIT_EMPTIED;
    static constexpr SplitStatus eKEPT = TqOcDynamicGroup::eSPLIT_KEPT;
    static constexpr SplitStatus eMOVED = TqOcDynamicGroup::eSPLIT_MOVED;

    // Child array.
    static void InitChildren(TqOcDynamicGroup& group, TqOcTraversable** children, int n)
    {
        group.InitChildren(children, n);
    }

    /// Writes the entries that InitChildrenForAdd takes over, then calls it.
    static void InitChildrenForAdd(TqOcDynamicGroup& group, TqOcTraversable* const* children, int n)
    {
        for (int i = 0; i < n; ++i) {
            group.m_children[i] = children[i];
        }
        group.InitChildrenForAdd(n);
    }

    static void DeleteChildren(TqOcDynamicGroup& group) { group.DeleteChildren(); }

    static void AddChildImpl(TqOcDynamicGroup& group, TqOcTraversable* child, unsigned int mask)
    {
        group.AddChildImpl(child, mask);
    }

    static TqOcTraversable* RemoveChildImpl(TqOcDynamicGroup& group, int index, unsigned int mask)
    {
        return group.RemoveChildImpl(index, mask);
    }

    static int RemoveChildImpl(TqOcDynamicGroup& group, TqOcTraversable* child, unsigned int mask)
    {
        return group.RemoveChildImpl(child, mask);
    }

    // Boxes.
    static TqLBox3f CalcBox(TqOcDynamicGroup const& group) { return group.CalcBox(); }

    static void SetBox(TqOcDynamicGroup& group, TqLBox3f const& box)
    {
        group.UpdateBoundingBox(box);
    }

    static void ExtendBoxToRoot(TqOcDynamicGroup& group, TqOcDynamicGroup* root,
                                TqLBox3f const& box)
    {
        group.ExtendBoxToRoot(root, box);
    }

    static void RecalcBoxToRoot(TqOcDynamicGroup& group, TqOcDynamicGroup* root)
    {
        group.RecalcBoxToRoot(root);
    }

    // Insertion.
    static void AddLeafNoUpdate(TqOcDynamicGroup& root, TqOcTraversable* leaf)
    {
        root.AddLeafNoUpdate(leaf);
    }

    static TqOcDynamicGroup* ChooseParent(TqOcDynamicGroup& root, TqOcTraversable* node, int levels)
    {
        return root.ChooseParent(node, levels);
    }

    static int AddChildSplit(TqOcDynamicGroup& group, TqOcTraversable* child,
                             TqOcDynamicGroup* root, TqOcDynamicGroupLevelSet* levelSet = nullptr)
    {
        return group.AddChildSplit(child, root, levelSet);
    }

    // Removal and repair.
    static void RemoveLeafNoUpdate(TqOcDynamicGroup& root, TqOcTraversable* leaf)
    {
        root.RemoveLeafNoUpdate(leaf);
    }

    static void RebalanceForRemove(TqOcDynamicGroup& root, TqOcDynamicGroup* group, bool recurse,
                                   TqOcDynamicGroupLevelSet* levelSet = nullptr)
    {
        root.RebalanceForRemove(group, recurse, levelSet);
    }

    static void RebalanceRootForRemove(TqOcDynamicGroup& root,
                                       TqOcDynamicGroupLevelSet* levelSet = nullptr)
    {
        root.RebalanceRootForRemove(levelSet);
    }

    static void RecursiveCullEmptyGroup(TqOcDynamicGroup& root, TqOcDynamicGroup* group,
                                        TqOcDynamicGroupLevelSet* levelSet = nullptr)
    {
        root.RecursiveCullEmptyGroup(group, levelSet);
    }

    static void CullAllEmptyGroups(TqOcDynamicGroup& root, TqOcDynamicGroup* group)
    {
        root.CullAllEmptyGroups(group);
    }

    // Update.
    static void DoUpdate(TqOcDynamicGroup& root) { root.DoUpdate(); }

    static void UpdateKeepStructure(TqOcDynamicGroup& group) { group.UpdateKeepStructure(); }

    static SplitStatus SplitOffMovingGroups(TqOcDynamicGroup& root, TqOcDynamicGroup* group,
                                            TqOcSubtreeDepthMap* map, int depth)
    {
        return root.SplitOffMovingGroups(group, map, depth);
    }

    static SplitStatus SplitOffMovingLeaves(TqOcTraversable* leaf, TqOcSubtreeDepthMap* map)
    {
        return TqOcDynamicGroup::SplitOffMovingLeaves(leaf, map);
    }
};
