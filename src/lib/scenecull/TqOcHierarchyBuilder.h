#pragma once

// Builders: an unordered collection of shapes becomes a hierarchy of static containers.
//
// TqOcStaticHierarchyBuilder makes a tree of groups of at most six, with a triangle budget for the
// leaves, or a flat list of its leaves. TqOcFlatHierarchyBuilder makes one group of single-shape
// leaves. An application calls Append for each shape, then End; the builder never owns a shape and
// touches its parent links only when a leaf takes it. What End returns belongs to the caller, who
// deletes it or puts it into a container. TqOcDynamicHierarchyBuilder makes a tree of dynamic
// groups from a list of leaves in one call.

#include "scenecull/TqOcApi.h"

#include "util/TqUArena.h"
#include "util/TqUPtrVector.h"
#include "util/TqUVoidPtrVector.h"

class TqOcDynamicGroup;
class TqOcShape;
class TqOcTraversable;

/// What the builders share: their component. It has no state.
class TQOC_API TqOcHierarchyBuilder
{
public:
    /// Switches "TqOcHierarchyBuilder", the component of all static builders, on and off; calls are
    /// counted.
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
};

/// Builds a bounding-volume hierarchy, top down, from whole shapes.
///
/// A set of shapes whose triangle total is below the threshold becomes one leaf. A larger one is
/// divided into up to six parts, always the most voluminous part next, each time in two along one
/// axis at the mean of the centres; shapes that straddle the plane too far on either side form a
/// part of their own. Each part then becomes a leaf or, divided again, a group. A set that no axis
/// divides becomes a leaf whatever its total. Triangle totals are sums modulo 2^32, like the
/// nodes'.
///
/// Input that cannot be placed: a null shape is posted and ignored. Shapes whose box has an
/// infinite or NaN corner take no part in the division; they form a leaf of their own, the last
/// one, and are posted once a build. Empty boxes (corners of plus and minus DBL_MAX) are divided
/// like others.
///
/// Cost: O(n log n) for n shapes in practice. While it runs, a build holds 70 bytes a shape (up to
/// twice that when nearly every shape gets a leaf of its own) beside the 64 that Append takes; all
/// of it is returned when End returns.
///
/// When memory is refused, Append and End throw std::bad_alloc, nothing is leaked, no shape keeps a
/// link, and the builder still holds what was appended: End can be tried again, and Begin starts
/// anew. An exception from GetShapeBox leaves Append, and one from the page-out callback Append or
/// End, in the same way.
class TQOC_API TqOcStaticHierarchyBuilder : public TqOcHierarchyBuilder
{
public:
    /// An empty builder.
    /// @param triSplitThreshold  triangles; sets with fewer are not divided. Larger values give
    /// fewer, larger leaves. With 0 or less every set is divided as far as it can be.
    explicit TqOcStaticHierarchyBuilder(int triSplitThreshold);

    TqOcStaticHierarchyBuilder(TqOcStaticHierarchyBuilder const&) = delete;
    TqOcStaticHierarchyBuilder& operator=(TqOcStaticHierarchyBuilder const&) = delete;

    /// Does not touch the shapes.
    ~TqOcStaticHierarchyBuilder();

    int GetTriSplitThreshold() const { return m_triSplitThreshold; }

    /// Forgets what was appended. The memory stays with the builder until the next End.
    void Begin();

    /// Adds a shape, which must live until End; it may be added twice, and then has its leaf as a
    /// parent twice. The box is asked for now, the triangle count in End. Gives the host an
    /// opportunity to page out first. Null: posts severity 1 and is ignored.
    void Append(TqOcShape* shape);

    /// Builds a tree of all appended shapes and empties the builder.
    /// @return its root: a TqOcStaticGroup, or a TqOcStaticLeaf when nothing was divided, marked as
    /// modified: its first Update computes boxes and totals. Null when nothing was appended. Parts
    /// deeper than 1,000 groups are not divided further; each is posted with severity 1.
    TqOcTraversable* End();

    /// Builds leaves only, which are not restricted to six a parent and so come out as small as the
    /// threshold asks, and empties the builder. Gives the host an opportunity to page out before
    /// each division.
    /// @param leaves  the new TqOcStaticLeaf nodes are added behind what it holds; nothing is added
    /// when nothing was appended, or when building fails. Null: posts severity 1 and does nothing.
    void End(TqUPtrVector<TqOcTraversable>* leaves);

private:
    void Reset();

    // Data; the order is part of the binary interface.
    TqUVoidPtrVector m_items; // TqOcSHBItem*, in the order of Append
    int m_triSplitThreshold;
    TqUArena m_itemArena; // blocks of one TqOcSHBItem; released after each build
};

/// Builds one group with a single-shape leaf for each shape, for small scenes, or where every shape
/// is to be culled by itself. Copying a builder copies its list; the shapes are shared.
class TQOC_API TqOcFlatHierarchyBuilder : public TqOcHierarchyBuilder
{
public:
    /// An empty builder.
    TqOcFlatHierarchyBuilder();

    TqOcFlatHierarchyBuilder(TqOcFlatHierarchyBuilder const& other) = default;
    TqOcFlatHierarchyBuilder& operator=(TqOcFlatHierarchyBuilder const& other) = default;

    /// Does not touch the shapes.
    ~TqOcFlatHierarchyBuilder();

    /// Forgets what was appended.
    void Begin();

    /// Adds a shape, which must live until the last End; it may be added twice. Null: posts
    /// severity 1 and is ignored.
    void Append(TqOcShape* shape);

    /// Builds a group of single-shape leaves, in the order of Append, and brings it up to date. The
    /// list stays: a second End builds a second group over the same shapes.
    /// @return a TqOcStaticGroup, without children when nothing was appended. When memory is
    /// refused (std::bad_alloc) or a shape's GetShapeBox throws, nothing is leaked, no shape keeps
    /// a link, and the list stays.
    TqOcTraversable* End();

private:
    TqUPtrVector<TqOcShape> m_shapes; // in the order of Append
};

/// Builds a dynamic hierarchy from a list of nodes, bottom up: runs of up to k nodes that lie close
/// together become groups, the groups are grouped in the same way, and so on until one is left.
///
/// A run is cut in two, and the parts again, until it is short enough. On the axes in turn, the
/// longest first, the cut is: the middle by centres, when the halves overlap by less than a quarter
/// of the run; the small nodes apart from the large ones, where there are any; the first good cut
/// elsewhere. Where no axis allows one, up to 50 nodes are distributed by TqOcDynamicGroup::Split,
/// and more are cut in the middle. Cuts lie at multiples of k, so that most groups are full; but
/// groups of one to three children come out, too, and stay until an update or Rebalance repairs the
/// tree. Nodes of equal measures keep the order that they have in the list.
///
/// Cost: O(n log n) for n nodes in practice, also when all boxes are equal or nested; sets made for
/// the purpose can take O(n^2). While it runs, a build holds about 110 bytes a node.
class TQOC_API TqOcDynamicHierarchyBuilder
{
public:
    TqOcDynamicHierarchyBuilder() = default;

    /// Builds a tree, and gives the host an opportunity to page out at the start and before each
    /// group. Nodes that are modified are brought up to date first.
    /// @param nodes  all leaves, or all dynamic groups of one depth; others, and null, are posted
    /// with severity 1 and left out. A node that has a parent gets another one; one that is listed
    /// twice is added twice. Comes back in another order: that of the tree, what was left out last.
    /// Null: posts severity 1, and counts as an empty list.
    /// @param k  largest number of children of a group, 2 to 7. Smaller values give deeper trees.
    /// Others: posts severity 0 and takes the nearest
    /// @return the root, up to date, which belongs to the caller; without children when there are
    /// no nodes
    /// When memory is refused (std::bad_alloc), or a shape's GetShapeBox or the page-out callback
    /// throws, all groups are taken back: nothing is leaked, no node is deleted, and none keeps a
    /// link to a group.
    TqOcDynamicGroup* Build(TqUPtrVector<TqOcTraversable>* nodes, int k);

private:
    class Groups;
};
