// What an application asks of a frustum pick through its pick bits and result bits.
//
// The traversal only stores these words; GlShape reads them.
#pragma once

#include "geometry/TqLPrimitiveTypes.h"

namespace host
{

/// For TqOcPickFrustumTraversal::SetPickBits(): what is picked. 0 picks all kinds of primitives
/// anywhere in the frustum.
struct PickBits
{
    enum : int
    {
        eTRIANGLES = TqLPrimitiveTypes::eTRIANGLES, ///< 1
        eLINES = TqLPrimitiveTypes::eLINES,         ///< 2
        ePOINTS = TqLPrimitiveTypes::ePOINTS,       ///< 4
        /// A kind that no shape has. Alone, it leaves only the walk of a pick: no shape is tested.
        eNO_SHAPE = 128,
        /// The bits that choose kinds; with none of them set, all kinds are picked.
        eKINDS = eTRIANGLES | eLINES | ePOINTS | eNO_SHAPE,
        /// Triangles are picked only where the line of sight through the middle of the frustum
        /// meets them, as a renderer samples the middle of a pixel. Without it a triangle that
        /// reaches into the pixel at its rim may be picked in front of the one in the middle.
        eLINE_OF_SIGHT = 256
    };
};

/// For TqOcPickFrustumTraversal::SetResultBits(): what is reported. 0 reports all of it.
struct ResultBits
{
    enum : int
    {
        eLIST = 1,   ///< GetAllPickedShapes: every shape that is hit, once
        eNEAREST = 2 ///< the nearest hit and its properties
    };
};

} // namespace host
