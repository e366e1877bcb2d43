// The volume of a sweep pick: a box or a sphere that moves along a vector.
//
// A sweep traversal asks CanCull of every box on its way: can the moving body touch it? The host's
// shapes take body and vector from here, look for the first contact, and shorten the sweep to it,
// so that nodes behind the contact are dropped. A value of about 200 bytes.
//
// Bodies touch when they share a point; a common face is a touch.
#pragma once

#include "geometry/TqLApi.h"
#include "geometry/TqLBox.h"
#include "geometry/TqLVec.h"

#include <type_traits>

/// A body along the axes, given by its centre and half sizes or radius, moved by a sweep vector
/// without turning. After construction there is no body and every box is culled.
///
/// *Plane mask.* The six bits stand for the faces of the box around the whole sweep: bits 0 and 1
/// for its lower and upper x face, 2 and 3 for y, 4 and 5 for z. They speed up the first, coarse
/// part of the test; its exact part is made under every mask. A sweep that was shortened has other
/// faces than those that a mask was narrowed by, so it tests all of its faces under every mask.
///
/// *Bad arguments.* A half size or radius below 0, anything infinite or NaN, or a swept box the
/// sizes of whose six coordinates add up to more than half of DBL_MAX, posts severity 1 against
/// "TqLPickSweep" and leaves a sweep without a body.
class TqLPickSweep
{
public:
    enum Body
    {
        eNOTHING = 0,
        eBOX = 1,
        eSPHERE = 2
    };

    enum
    {
        /// The mask with which a pick begins: all faces still to be tested.
        eALL_PLANES = 63
    };

    /// No body; centre and sweep vector are zero.
    TqLPickSweep() = default;

    /// As SetBox.
    TQL_API TqLPickSweep(TqLPos3f const& center, TqLVec3f const& halfSize, TqLVec3f const& sweep);

    /// As SetSphere.
    TQL_API TqLPickSweep(TqLPos3f const& center, double radius, TqLVec3f const& sweep);

    /// Sweeps a box along the axes; the sweep counts as not shortened.
    /// @param center  of the box at the start
    /// @param halfSize  half the extents, 0 or more per axis; all 0 sweeps a point
    /// @param sweep  from the start to the end of the motion; zero makes a plain pick
    TQL_API void SetBox(TqLPos3f const& center, TqLVec3f const& halfSize, TqLVec3f const& sweep);

    /// Sweeps a sphere; the sweep counts as not shortened.
    /// @param radius  0 or more
    TQL_API void SetSphere(TqLPos3f const& center, double radius, TqLVec3f const& sweep);

    Body GetBody() const { return m_body; }

    /// Centre of the body at the start.
    TqLPos3f const& GetCenter() const { return m_center; }

    /// The motion from start to end.
    TqLVec3f const& GetSweep() const { return m_sweep; }

    /// Half the extents of the body's box; the radius on every axis for a sphere.
    TqLVec3f const& GetHalfSize() const { return m_halfSize; }

    /// Radius of a sphere; 0 for a box.
    double GetRadius() const { return m_body == eSPHERE ? m_halfSize[0] : 0.0; }

    /// The box around all places of the body; empty without a body.
    TqLBox3f const& GetSweptBox() const { return m_sweptBox; }

    /// Whether the sweep vector is zero: the body stands still, a plain pick of what it touches.
    bool IsPick() const { return m_sweep == TqLVec3f(); }

    /// Ends the motion at a share of its present vector and marks the sweep as shortened. A host
    /// calls it with the share at which it found a contact.
    /// @param fraction  0 (stay at the start) to 1 (as it is), of the vector as it stands now, not
    ///        of the one first set
    /// Out of range or NaN: posts severity 0 against "TqLPickSweep" and changes nothing.
    TQL_API void ShortenTo(double fraction);

    /// Whether ShortenTo has been called since the sweep was set. Boxes that passed CanCull before
    /// then are worth asking about again, with CanCullRepeat; masks from then are ignored.
    bool IsShortened() const { return m_isShortened; }

    /// Non-zero when the moving body touches the box nowhere on its way.
    ///
    /// Exact up to rounding: a box is culled only when a gap is left beyond the rounding of the
    /// test itself, and kept only when it is touched or as near as that: within 1e-13 times the
    /// largest coordinate of the box and the swept box, or 1e-307 if that is more, whatever the
    /// sweep's direction. An empty box is culled, and one with an infinite or NaN corner, or so
    /// large that the sizes of its coordinates add up to more than DBL_MAX, never, unless there is
    /// no body.
    /// @param planes  in: mask of the faces still to be tested, 63 at the start. Out: the same less
    ///        the faces that the box lies wholly inside of. Written in either case; bits above 32
    ///        are left alone. Once the sweep was shortened, all faces are tested whatever it says.
    TQL_API int CanCull(TqLBox3f const& box, int* planes) const;

    /// CanCull with all faces to be tested, for boxes tested again after the sweep was shortened.
    TQL_API int CanCullRepeat(TqLBox3f const& box) const;

    /// Switches the component on and off, counted. It pulls in no other. Not thread-safe: call at
    /// start and end of the program.
    TQL_API static void Initialise();

    TQL_API static void Terminate();

    /// Non-zero while there have been more calls of Initialise than of Terminate.
    TQL_API static int IsInitialised();

private:
    void Set(Body body, TqLPos3f const& center, TqLVec3f const& halfSize, TqLVec3f const& sweep);
    void UpdateWay();
    bool IsBoxBeside(TqLBox3f const& box, double rounding) const;
    bool IsSphereBeside(TqLBox3f const& box, double rounding) const;

    TqLPos3f m_center;
    TqLVec3f m_halfSize;
    TqLVec3f m_sweep;
    TqLVec3f m_direction; // the sweep divided by its largest component; zero when that is
    TqLBox3f m_sweptBox;
    double m_rounding = 0.0; // that part of the tests' rounding bound that no box has a say in
    Body m_body = eNOTHING;
    bool m_isShortened = false;
};

static_assert(std::is_trivially_copyable<TqLPickSweep>::value, "plain value");
