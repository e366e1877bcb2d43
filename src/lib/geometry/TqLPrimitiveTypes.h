// Which kinds of primitives a shape or a subtree consists of.
//
// A node keeps these five bits in its flag word; culling by area, picking and sweeping ask for
// them.
#pragma once

/// A set of primitive kinds, one bit each. Sets are combined with | and tested with &.
struct TqLPrimitiveTypes
{
    /// Bit values; a combination is a value of the type as well.
    ///
    /// | value | name       | meaning                                      |
    /// |-------|------------|----------------------------------------------|
    /// | 1     | eTRIANGLES | surfaces                                     |
    /// | 2     | eLINES     | lines: culled by extent instead of by area   |
    /// | 4     | ePOINTS    | points: never culled by area or extent       |
    /// | 8     | eTEXT      | text: never culled by area or extent         |
    /// | 16    | eOTHER     | anything else                                |
    enum Enum : unsigned int
    {
        eNONE = 0,
        eTRIANGLES = 1,
        eLINES = 2,
        ePOINTS = 4,
        eTEXT = 8,
        eOTHER = 16,
        eALL = 31
    };
};

constexpr TqLPrimitiveTypes::Enum operator|(TqLPrimitiveTypes::Enum a, TqLPrimitiveTypes::Enum b)
{
    return static_cast<TqLPrimitiveTypes::Enum>(static_cast<unsigned int>(a) |
                                                static_cast<unsigned int>(b));
}

constexpr TqLPrimitiveTypes::Enum operator&(TqLPrimitiveTypes::Enum a, TqLPrimitiveTypes::Enum b)
{
    return static_cast<TqLPrimitiveTypes::Enum>(static_cast<unsigned int>(a) &
                                                static_cast<unsigned int>(b));
}

constexpr TqLPrimitiveTypes::Enum& operator|=(TqLPrimitiveTypes::Enum& a, TqLPrimitiveTypes::Enum b)
{
    return a = a | b;
}
