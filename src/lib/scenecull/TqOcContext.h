// The application's side of every traversal: a callback interface.
//
// The application derives from TqOcContext and overrides what its renderer supports. Every
// operation has a harmless default: a context that overrides nothing gives a 1000 x 1000 window, no
// occlusion culling and no interaction. Traversals hold a context by pointer and never own it. All
// calls come on the thread that runs the traversal; an exception thrown from one leaves the walk in
// order and goes on to the caller of Apply.
#pragma once

#include "scenecull/TqOcApi.h"

#include "geometry/TqLBox.h"

/// The application's own handle of one occlusion query; the library only passes it back.
class TqOcOcclusionQuery;

/// Host callbacks of a traversal.
class TQOC_API TqOcContext
{
public:
    /// What a redraw is asked for.
    enum RedrawType
    {
        eREDRAW_FULL = 0, ///< For the application's own use.
        eREDRAW_INCOMPLETE =
            4 ///< The last frame was not completed; posted by the render traversal.
    };

    /// Switches "TqOcContext" on and off; calls are counted.
    /// @{
    static void Initialise();
    static void Terminate();
    static int IsInitialised();
    /// @}

    /// A context holds nothing, so a copy is as good as a new one.
    /// @{
    TqOcContext() = default;
    TqOcContext(TqOcContext const&) = default;
    TqOcContext& operator=(TqOcContext const&) = default;
    /// @}

    // --- Virtual operations; their order is part of the binary interface -----------------------

    /// Every traversal that holds the context must have ended.
    virtual ~TqOcContext();

    /// Size of the window in pixels. Default: 1000 x 1000.
    virtual void GetWindowSize(int* width, int* height);

    /// A render traversal starts a frame. Default: nothing.
    virtual void StartRender();

    /// Asks for an occlusion query of a node about to be drawn: the application draws `box` without
    /// writing colour or depth, and returns its own handle. The result is asked for later in the
    /// same frame, so flush it. The box is in the coordinates of the node's level; a host whose
    /// nodes make levels of their own (TqOcTravState::TransformedCull) is not told the transform
    /// and should return null there. Default: null, no query.
    /// @param tris  triangles under the node, for weighing whether the query pays
    virtual TqOcOcclusionQuery* BeginOcclusionQuery(TqLBox3f const& box, unsigned int tris);

    /// Whether the result can be had now (0 or not 0). On 0 the query is aborted and the node
    /// drawn. Default: 1.
    virtual int CheckOcclusionQueryReady(TqOcOcclusionQuery* query);

    /// Reads the result and releases the handle. The node counts as occluded when the result is 0
    /// or its square (32-bit unsigned) is at most the cull area: return the edge, in pixels, of a
    /// square of the visible area, rounded up. Default: 0.
    virtual unsigned int EndOcclusionQuery(TqOcOcclusionQuery* query);

    /// Releases the handle without reading it. Default: nothing.
    virtual void AbortOcclusionQuery(TqOcOcclusionQuery* query);

    /// What has been drawn so far should be shown: the frame took long and goes on. Default:
    /// nothing.
    virtual void ShowRender();

    /// A render traversal's walk has ended, complete or not. Default: nothing.
    virtual void CompletedRenderTraversal();

    /// The frame is over and is to be presented. Returns the ratio of drawing efficiency that
    /// frame-time control reads: 1 when the time after the walk is spent as planned; below 0 when
    /// the frame was not presented. Default: 1.
    virtual double EndRender();

    /// Whether frames should be interactive now, asked under the automatic policy while they are
    /// not (0 or not 0). Default: 0.
    virtual int IsAutoInteractive();

    /// Whether user input waits, so that a long traversal can yield (0 or not 0). Default: 0.
    virtual int IsInteractionPending();

    /// Another frame is wanted. Default: nothing.
    virtual void PostRedrawRequest(RedrawType type);
};
