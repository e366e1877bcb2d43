// Puts together one generated piece of furniture after another: solids go into named materials,
// Finish() makes a piece of them and brings it to its place (base at y = 0, centred in x and z).
#pragma once

#include "host/model/FurnitureLibrary.h"
#include "host/model/ShapeMaker.h"

#include <map>
#include <string>

namespace host
{

/// What the generated furniture is painted with.
enum class Paint
{
    eOAK,
    eWALNUT,
    eWHITE,
    eBLACK,
    eSTEEL,
    eBRASS,
    eCERAMIC,
    eGLASS,
    eLEATHER,
    eRED_CLOTH,
    eBLUE_CLOTH,
    eGREEN_CLOTH,
    eLINEN,
    eLEAF,
    eSOIL,
    eLIGHT,
    eNUM_PAINTS
};

/// Builds pieces into a library, which must outlive it.
class PieceMaker
{
public:
    /// Adds all paints to the library's materials.
    explicit PieceMaker(FurnitureLibrary& library);

    /// The solids of the present piece that have this paint. Parts of one paint with different
    /// names become meshes of their own.
    MeshBuilder& Part(Paint paint, char const* name = "");

    /// Makes a piece of everything added since the last one; its size is that of its parts. The
    /// piece may then be changed (elevation, top height, ...) until the next call.
    FurniturePiece& Finish(std::string const& name, std::string const& category);

private:
    FurnitureLibrary& m_library;
    std::map<std::pair<Paint, std::string>, MeshBuilder> m_parts;
};

} // namespace host
