#include "host/model/GeneratedFurniture.h"

#include "host/model/PieceMaker.h"

#include <cmath>
#include <iterator>

namespace host
{
namespace
{

constexpr double eTURN = 6.283185307179586;
constexpr int eVARIANTS = 4;

// ---- Variants: each kind comes in a few sizes and paints ----------------------------------------

/// A size factor from 0.85 to 1.15.
double GetFactor(int variant)
{
    return 0.85 + 0.1 * variant;
}

Paint GetWood(int variant)
{
    constexpr Paint s_woods[eVARIANTS] = {Paint::eOAK, Paint::eWALNUT, Paint::eWHITE,
                                          Paint::eBLACK};
    return s_woods[variant];
}

Paint GetCloth(int variant)
{
    constexpr Paint s_cloths[eVARIANTS] = {Paint::eRED_CLOTH, Paint::eBLUE_CLOTH,
                                           Paint::eGREEN_CLOTH, Paint::eLEATHER};
    return s_cloths[variant];
}

// ---- Building blocks ----------------------------------------------------------------------------

/// Four legs under a rectangle of the given half extents, from the floor up.
void AddLegs(MeshBuilder& builder, double halfX, double halfZ, double height, double radius)
{
    for (int i = 0; i < 4; ++i) {
        double const x = (i & 1) != 0 ? halfX - radius : radius - halfX;
        double const z = (i & 2) != 0 ? halfZ - radius : radius - halfZ;
        AddCylinder(builder, {x, 0.0, z}, radius * 0.7, radius, height, 32);
    }
}

void AddFineCushion(MeshBuilder& builder, Triple const& min, Triple const& max)
{
    AddCushion(builder, min, max, 28, 40);
}

/// A row of boxes that stand side by side: books.
void AddBooks(PieceMaker& maker, double minX, double maxX, double y, double depth, int number)
{
    constexpr Paint s_covers[] = {Paint::eRED_CLOTH, Paint::eBLUE_CLOTH, Paint::eGREEN_CLOTH,
                                  Paint::eLINEN};
    double x = minX;
    for (int i = number; x < maxX - 0.05; ++i) {
        double const thick = 0.018 + 0.006 * (i * 7 % 5);
        double const high = 0.20 + 0.012 * (i * 5 % 6);
        Paint const cover = s_covers[static_cast<size_t>(i) % std::size(s_covers)];
        AddBox(maker.Part(cover, "books"), {x, y, -depth / 2}, {x + thick, y + high, depth / 3});
        x += thick + 0.002;
    }
}

/// Doors with round knobs on the front (+z) of a cabinet.
void AddFronts(PieceMaker& maker, Paint paint, double width, double low, double high, double z)
{
    double const half = width / 2;
    AddBox(maker.Part(paint, "doors"), {-half + 0.01, low, z}, {-0.004, high, z + 0.02});
    AddBox(maker.Part(paint, "doors"), {0.004, low, z}, {half - 0.01, high, z + 0.02});
    for (double const x : {-0.06, 0.06}) {
        AddEllipsoid(maker.Part(Paint::eBRASS), {x, (low + high) / 2, z + 0.035},
                     {0.018, 0.018, 0.018}, 20, 28);
    }
}

void AddDish(MeshBuilder& builder, double x, double y, double z, double radius)
{
    AddTorus(builder, {x, y + 0.012, z}, radius, 0.012, 40, 12);
    AddCylinder(builder, {x, y, z}, radius * 0.6, radius, 0.012, 40);
}

/// Leaves on a spiral around the upright axis.
void AddLeaves(MeshBuilder& builder, double low, double high, double spread, double leaf, int count)
{
    for (int i = 0; i < count; ++i) {
        double const share = double(i) / count;
        double const angle = eTURN * 0.381966 * i;
        double const out = spread * std::sqrt(0.1 + 0.9 * (1.0 - share));
        AddEllipsoid(builder,
                     {out * std::sin(angle), low + (high - low) * share, out * std::cos(angle)},
                     {leaf, leaf * 0.35, leaf}, 10, 14);
    }
}

// ---- Kinds --------------------------------------------------------------------------------------

void MakeSeat(PieceMaker& maker, int variant, int seats, char const* name)
{
    double const f = GetFactor(variant);
    double const seat = 0.62 * f;
    double const half = seat * seats / 2;
    Paint const cloth = GetCloth(variant);
    AddLegs(maker.Part(Paint::eSTEEL), half + 0.1, 0.38, 0.12, 0.025);
    AddBox(maker.Part(GetWood(variant), "frame"), {-half - 0.1, 0.12, -0.4},
           {half + 0.1, 0.2, 0.4});
    for (int i = 0; i < seats; ++i) {
        double const x = -half + i * seat;
        AddFineCushion(maker.Part(cloth, "seats"), {x, 0.2, -0.25}, {x + seat, 0.44, 0.4});
        AddFineCushion(maker.Part(cloth, "backs"), {x, 0.4, -0.4}, {x + seat, 0.85 * f, -0.18});
        AddFineCushion(maker.Part(Paint::eLINEN, "pillows"), {x + 0.1, 0.44, -0.2},
                       {x + seat - 0.1, 0.74, -0.06});
    }
    AddFineCushion(maker.Part(cloth, "arms"), {-half - 0.14, 0.2, -0.4}, {-half, 0.62, 0.38});
    AddFineCushion(maker.Part(cloth, "arms"), {half, 0.2, -0.4}, {half + 0.14, 0.62, 0.38});
    maker.Finish(name, "Living room").topHeight = 0.44f;
}

void MakeSofa(PieceMaker& maker, int variant)
{
    MakeSeat(maker, variant, 3, "Sofa");
}

void MakeArmchair(PieceMaker& maker, int variant)
{
    MakeSeat(maker, variant, 1, "Armchair");
}

void MakeTable(PieceMaker& maker, double halfX, double halfZ, double height, int variant)
{
    Paint const wood = GetWood(variant);
    AddBox(maker.Part(wood, "top"), {-halfX, height - 0.035, -halfZ}, {halfX, height, halfZ});
    AddBox(maker.Part(wood, "apron"), {-halfX + 0.06, height - 0.12, -halfZ + 0.06},
           {halfX - 0.06, height - 0.035, halfZ - 0.06});
    AddLegs(maker.Part(wood, "legs"), halfX - 0.03, halfZ - 0.03, height - 0.035, 0.035);
}

void MakeCoffeeTable(PieceMaker& maker, int variant)
{
    double const f = GetFactor(variant);
    MakeTable(maker, 0.5 * f, 0.32 * f, 0.42, variant);
    AddTorus(maker.Part(Paint::eCERAMIC, "bowl"), {0.1, 0.455, 0.0}, 0.12, 0.035, 64, 24);
    AddEllipsoid(maker.Part(Paint::eRED_CLOTH, "fruit"), {0.1, 0.47, 0.03}, {0.05, 0.05, 0.05}, 24,
                 32);
    AddEllipsoid(maker.Part(Paint::eGREEN_CLOTH, "fruit"), {0.08, 0.47, -0.04}, {0.05, 0.05, 0.05},
                 24, 32);
    maker.Finish("Coffee table", "Living room").topHeight = -1.0f;
}

void MakeDiningTable(PieceMaker& maker, int variant)
{
    double const f = GetFactor(variant);
    MakeTable(maker, 0.85 * f, 0.45 * f, 0.75, variant);
    for (int i = 0; i < 4; ++i) {
        double const x = (i % 2 == 0 ? -0.4 : 0.4) * f;
        double const z = (i / 2 == 0 ? -0.25 : 0.25) * f;
        AddDish(maker.Part(Paint::eCERAMIC, "plates"), x, 0.75, z, 0.12);
        AddCylinder(maker.Part(Paint::eGLASS, "glasses"), {x + 0.18, 0.75, z}, 0.028, 0.034, 0.12,
                    40);
        AddEllipsoid(maker.Part(Paint::eSTEEL, "spoons"), {x - 0.17, 0.757, z},
                     {0.012, 0.005, 0.08}, 16, 20);
    }
    maker.Finish("Dining table", "Kitchen");
}

void MakeChair(PieceMaker& maker, int variant)
{
    double const f = GetFactor(variant);
    AddLegs(maker.Part(GetWood(variant), "legs"), 0.21 * f, 0.21 * f, 0.43, 0.02);
    AddFineCushion(maker.Part(GetCloth(variant), "seat"), {-0.22 * f, 0.42, -0.22 * f},
                   {0.22 * f, 0.48, 0.22 * f});
    for (double const x : {-0.19, -0.06, 0.06, 0.19}) {
        AddCylinder(maker.Part(GetWood(variant), "back"), {x * f, 0.46, -0.2 * f}, 0.012, 0.012,
                    0.45, 32);
    }
    AddFineCushion(maker.Part(GetWood(variant), "rail"), {-0.22 * f, 0.82, -0.23 * f},
                   {0.22 * f, 0.92, -0.18 * f});
    maker.Finish("Chair", "Kitchen");
}

void MakeBookcase(PieceMaker& maker, int variant)
{
    double const half = 0.45 * GetFactor(variant);
    double const height = 1.9;
    Paint const wood = GetWood(variant);
    AddBox(maker.Part(wood, "sides"), {-half - 0.02, 0.0, -0.16}, {-half, height, 0.16});
    AddBox(maker.Part(wood, "sides"), {half, 0.0, -0.16}, {half + 0.02, height, 0.16});
    AddBox(maker.Part(wood, "back"), {-half, 0.0, -0.16}, {half, height, -0.15});
    for (int shelf = 0; shelf < 6; ++shelf) {
        double const y = 0.06 + shelf * 0.36;
        AddBox(maker.Part(wood, "shelves"), {-half, y - 0.02, -0.15}, {half, y, 0.16});
        if (shelf < 5) {
            AddBooks(maker, -half + 0.02, half - 0.02, y, 0.24, shelf * 11 + variant);
        }
    }
    AddEllipsoid(maker.Part(Paint::eCERAMIC, "vase"), {0.1, height + 0.12, 0.0}, {0.09, 0.14, 0.09},
                 40, 48);
    maker.Finish("Bookcase", variant % 2 == 0 ? "Office" : "Living room");
}

void MakeCabinet(PieceMaker& maker, int variant)
{
    double const half = 0.4 * GetFactor(variant);
    Paint const wood = GetWood(variant);
    AddBox(maker.Part(Paint::eBLACK, "plinth"), {-half, 0.0, -0.28}, {half, 0.1, 0.22});
    AddBox(maker.Part(wood, "body"), {-half, 0.1, -0.3}, {half, 0.86, 0.28});
    AddFronts(maker, wood, half * 2, 0.12, 0.84, 0.28);
    AddBox(maker.Part(Paint::eSTEEL, "worktop"), {-half, 0.86, -0.3}, {half, 0.9, 0.32});
    AddTorus(maker.Part(Paint::eSTEEL, "pot"), {0.0, 1.04, 0.0}, 0.12, 0.012, 64, 20);
    AddCylinder(maker.Part(Paint::eSTEEL, "pot"), {0.0, 0.9, 0.0}, 0.1, 0.12, 0.14, 64);
    AddDish(maker.Part(Paint::eCERAMIC, "plate"), half / 2, 0.9, -0.12, 0.1);
    maker.Finish("Kitchen cabinet", "Kitchen").topHeight = 0.9f;
}

void MakeStove(PieceMaker& maker, int variant)
{
    AddBox(maker.Part(variant % 2 == 0 ? Paint::eWHITE : Paint::eBLACK), {-0.3, 0.0, -0.3},
           {0.3, 0.85, 0.3});
    AddBox(maker.Part(Paint::eGLASS, "window"), {-0.22, 0.3, 0.3}, {0.22, 0.6, 0.305});
    for (int i = 0; i < 4; ++i) {
        double const x = i % 2 == 0 ? -0.14 : 0.14;
        double const z = i / 2 == 0 ? -0.13 : 0.13;
        for (int ring = 1; ring <= 3; ++ring) {
            AddTorus(maker.Part(Paint::eSTEEL, "rings"), {x, 0.856, z}, 0.03 * ring, 0.006, 48, 10);
        }
        AddEllipsoid(maker.Part(Paint::eBRASS, "knobs"), {-0.2 + 0.13 * i, 0.75, 0.31},
                     {0.022, 0.022, 0.015}, 18, 24);
    }
    maker.Finish("Stove", "Kitchen");
}

void MakeBed(PieceMaker& maker, int variant)
{
    double const half = 0.5 + 0.12 * variant;
    AddLegs(maker.Part(GetWood(variant), "legs"), half, 1.0, 0.15, 0.04);
    AddBox(maker.Part(GetWood(variant), "frame"), {-half, 0.15, -1.02}, {half, 0.3, 1.02});
    AddBox(maker.Part(GetWood(variant), "headboard"), {-half, 0.15, -1.06}, {half, 0.95, -1.02});
    AddFineCushion(maker.Part(Paint::eLINEN, "mattress"), {-half + 0.02, 0.28, -1.0},
                   {half - 0.02, 0.52, 1.0});
    AddFineCushion(maker.Part(GetCloth(variant), "blanket"), {-half, 0.34, -0.45},
                   {half, 0.58, 1.02});
    AddFineCushion(maker.Part(Paint::eWHITE, "pillows"), {-half + 0.05, 0.5, -0.98},
                   {-0.02, 0.66, -0.55});
    AddFineCushion(maker.Part(Paint::eWHITE, "pillows"), {0.02, 0.5, -0.98},
                   {half - 0.05, 0.66, -0.55});
    maker.Finish("Bed", "Bedroom");
}

void MakeWardrobe(PieceMaker& maker, int variant)
{
    double const half = 0.5 + 0.1 * variant;
    Paint const wood = GetWood(variant);
    AddBox(maker.Part(wood, "body"), {-half, 0.08, -0.3}, {half, 2.05, 0.28});
    AddBox(maker.Part(Paint::eBLACK, "plinth"), {-half + 0.03, 0.0, -0.27},
           {half - 0.03, 0.08, 0.25});
    AddFronts(maker, wood, half * 2, 0.1, 2.0, 0.28);
    AddBox(maker.Part(wood, "cornice"), {-half - 0.03, 2.05, -0.3}, {half + 0.03, 2.12, 0.32});
    AddFineCushion(maker.Part(Paint::eLINEN, "blankets"), {-0.3, 2.12, -0.2}, {0.3, 2.3, 0.2});
    maker.Finish("Wardrobe", "Bedroom");
}

void MakeNightstand(PieceMaker& maker, int variant)
{
    double const half = 0.22 * GetFactor(variant);
    AddLegs(maker.Part(Paint::eSTEEL), half, half, 0.2, 0.015);
    AddBox(maker.Part(GetWood(variant), "body"), {-half, 0.2, -half}, {half, 0.5, half});
    AddEllipsoid(maker.Part(Paint::eBRASS), {0.0, 0.35, half + 0.015}, {0.02, 0.02, 0.02}, 24, 32);
    maker.Finish("Nightstand", "Bedroom").topHeight = 0.5f;
}

void MakeWashbasin(PieceMaker& maker, int variant)
{
    double const f = GetFactor(variant);
    AddCylinder(maker.Part(Paint::eCERAMIC, "column"), {0.0, 0.0, 0.0}, 0.11, 0.09, 0.7, 64);
    AddTorus(maker.Part(Paint::eCERAMIC, "bowl"), {0.0, 0.8, 0.0}, 0.2 * f, 0.07, 96, 40);
    AddEllipsoid(maker.Part(Paint::eCERAMIC, "bottom"), {0.0, 0.74, 0.0}, {0.2 * f, 0.06, 0.2 * f},
                 32, 48);
    AddCylinder(maker.Part(Paint::eSTEEL, "tap"), {0.0, 0.84, -0.2 * f}, 0.015, 0.012, 0.16, 40);
    AddEllipsoid(maker.Part(Paint::eSTEEL, "spout"), {0.0, 1.0, -0.14 * f}, {0.016, 0.016, 0.08},
                 28, 32);
    maker.Finish("Washbasin", "Bathroom");
}

void MakeBathtub(PieceMaker& maker, int variant)
{
    double const half = 0.75 * GetFactor(variant);
    AddBox(maker.Part(Paint::eWHITE, "apron"), {-half, 0.0, -0.36}, {half, 0.45, 0.36});
    AddFineCushion(maker.Part(Paint::eCERAMIC, "rim"), {-half - 0.03, 0.43, -0.39},
                   {half + 0.03, 0.55, 0.39});
    AddEllipsoid(maker.Part(Paint::eGLASS, "water"), {0.0, 0.53, 0.0}, {half - 0.1, 0.03, 0.3}, 32,
                 64);
    AddCylinder(maker.Part(Paint::eSTEEL, "tap"), {-half + 0.08, 0.55, 0.0}, 0.02, 0.015, 0.2, 40);
    AddTorus(maker.Part(Paint::eSTEEL, "shower"), {-half + 0.08, 0.76, 0.0}, 0.05, 0.012, 64, 20);
    maker.Finish("Bathtub", "Bathroom");
}

void MakeToilet(PieceMaker& maker, int variant)
{
    double const f = GetFactor(variant);
    AddCylinder(maker.Part(Paint::eCERAMIC, "foot"), {0.0, 0.0, 0.05}, 0.12, 0.16, 0.35, 64);
    AddTorus(maker.Part(Paint::eWHITE, "seat"), {0.0, 0.4, 0.08}, 0.15 * f, 0.035, 80, 28);
    AddFineCushion(maker.Part(Paint::eCERAMIC, "cistern"), {-0.2 * f, 0.38, -0.3},
                   {0.2 * f, 0.8, -0.12});
    AddEllipsoid(maker.Part(Paint::eSTEEL, "button"), {0.0, 0.8, -0.21}, {0.025, 0.012, 0.025}, 24,
                 32);
    maker.Finish("Toilet", "Bathroom");
}

void MakeDesk(PieceMaker& maker, int variant)
{
    double const half = 0.75 * GetFactor(variant);
    Paint const wood = GetWood(variant);
    AddBox(maker.Part(wood, "top"), {-half, 0.71, -0.38}, {half, 0.74, 0.38});
    AddLegs(maker.Part(Paint::eSTEEL, "legs"), half - 0.03, 0.35, 0.71, 0.025);
    AddBox(maker.Part(wood, "drawers"), {half - 0.45, 0.12, -0.34}, {half - 0.06, 0.71, 0.32});
    for (int i = 0; i < 3; ++i) {
        AddEllipsoid(maker.Part(Paint::eBRASS, "knobs"), {half - 0.25, 0.25 + 0.18 * i, 0.335},
                     {0.05, 0.012, 0.015}, 20, 28);
    }
    AddBooks(maker, -half + 0.05, -half + 0.5, 0.74, 0.22, variant * 3);
    maker.Finish("Desk", "Office").topHeight = 0.74f;
}

void MakeOfficeChair(PieceMaker& maker, int variant)
{
    double const f = GetFactor(variant);
    for (int i = 0; i < 5; ++i) {
        double const angle = eTURN * i / 5;
        double const x = 0.26 * std::sin(angle);
        double const z = 0.26 * std::cos(angle);
        AddEllipsoid(maker.Part(Paint::eBLACK, "star"), {x / 2, 0.09, z / 2},
                     {0.03 + std::abs(x) / 2, 0.02, 0.03 + std::abs(z) / 2}, 14, 20);
        AddEllipsoid(maker.Part(Paint::eBLACK, "wheels"), {x, 0.03, z}, {0.03, 0.03, 0.03}, 14, 20);
    }
    AddCylinder(maker.Part(Paint::eSTEEL, "column"), {0.0, 0.09, 0.0}, 0.03, 0.025, 0.35, 48);
    AddFineCushion(maker.Part(GetCloth(variant), "seat"), {-0.25 * f, 0.42, -0.24 * f},
                   {0.25 * f, 0.52, 0.25 * f});
    AddFineCushion(maker.Part(GetCloth(variant), "back"), {-0.23 * f, 0.6, -0.28 * f},
                   {0.23 * f, 1.1 * f, -0.2 * f});
    AddFineCushion(maker.Part(Paint::eBLACK, "arms"), {-0.3 * f, 0.64, -0.15},
                   {-0.24 * f, 0.69, 0.15});
    AddFineCushion(maker.Part(Paint::eBLACK, "arms"), {0.24 * f, 0.64, -0.15},
                   {0.3 * f, 0.69, 0.15});
    maker.Finish("Office chair", "Office");
}

void MakeFloorLamp(PieceMaker& maker, int variant)
{
    double const f = GetFactor(variant);
    AddCylinder(maker.Part(Paint::eBLACK, "foot"), {0.0, 0.0, 0.0}, 0.16, 0.14, 0.03, 64);
    AddCylinder(maker.Part(Paint::eBRASS, "stem"), {0.0, 0.03, 0.0}, 0.014, 0.012, 1.4 * f, 40);
    AddCylinder(maker.Part(Paint::eLINEN, "shade"), {0.0, 1.35 * f, 0.0}, 0.24, 0.15, 0.3, 96);
    AddEllipsoid(maker.Part(Paint::eLIGHT), {0.0, 1.33 * f, 0.0}, {0.05, 0.06, 0.05}, 40, 56);
    AddTorus(maker.Part(Paint::eBRASS, "ring"), {0.0, 1.35 * f, 0.0}, 0.24, 0.006, 96, 14);
    maker.Finish("Floor lamp", "Lights");
}

void MakeCeilingLamp(PieceMaker& maker, int variant)
{
    AddCylinder(maker.Part(Paint::eBRASS, "stem"), {0.0, 0.2, 0.0}, 0.01, 0.01, 0.3, 32);
    AddTorus(maker.Part(Paint::eBRASS, "ring"), {0.0, 0.2, 0.0}, 0.22, 0.012, 96, 20);
    int const bulbs = 5 + variant;
    for (int i = 0; i < bulbs; ++i) {
        double const angle = eTURN * i / bulbs;
        AddEllipsoid(maker.Part(Paint::eLIGHT, "bulbs"),
                     {0.22 * std::sin(angle), 0.26, 0.22 * std::cos(angle)}, {0.04, 0.055, 0.04},
                     24, 32);
        AddEllipsoid(maker.Part(Paint::eGLASS, "drops"),
                     {0.22 * std::sin(angle), 0.12, 0.22 * std::cos(angle)}, {0.02, 0.05, 0.02}, 18,
                     24);
    }
    maker.Finish("Chandelier", "Lights").elevation = 2.2f;
}

void MakePlant(PieceMaker& maker, int variant)
{
    double const f = GetFactor(variant);
    AddCylinder(maker.Part(Paint::eCERAMIC, "pot"), {0.0, 0.0, 0.0}, 0.12, 0.18, 0.3, 64);
    AddTorus(maker.Part(Paint::eCERAMIC, "rim"), {0.0, 0.3, 0.0}, 0.18, 0.012, 64, 16);
    AddEllipsoid(maker.Part(Paint::eSOIL), {0.0, 0.29, 0.0}, {0.17, 0.02, 0.17}, 20, 40);
    AddCylinder(maker.Part(Paint::eWALNUT, "stem"), {0.0, 0.3, 0.0}, 0.02, 0.008, 0.8 * f, 32);
    AddLeaves(maker.Part(Paint::eLEAF), 0.5, 1.2 * f, 0.28, 0.1, 40 + 10 * variant);
    maker.Finish("Plant", "Miscellaneous");
}

void MakeVase(PieceMaker& maker, int variant)
{
    double const f = 0.7 * GetFactor(variant);
    AddEllipsoid(maker.Part(Paint::eCERAMIC), {0.0, 0.14 * f, 0.0}, {0.1 * f, 0.14 * f, 0.1 * f},
                 48, 64);
    AddTorus(maker.Part(Paint::eBRASS), {0.0, 0.28 * f, 0.0}, 0.05 * f, 0.012 * f, 64, 20);
    AddLeaves(maker.Part(Paint::eLEAF), 0.3 * f, 0.55 * f, 0.12 * f, 0.05 * f, 16);
    maker.Finish("Vase", "Miscellaneous");
}

void MakeDishes(PieceMaker& maker, int variant)
{
    for (int i = 0; i < 4 + variant; ++i) {
        AddDish(maker.Part(Paint::eCERAMIC), 0.0, 0.02 * i, 0.0, 0.12);
    }
    AddTorus(maker.Part(Paint::eBLUE_CLOTH, "edge"), {0.0, 0.02 * (4 + variant), 0.0}, 0.1, 0.01,
             64, 16);
    maker.Finish("Stack of plates", "Kitchen");
}

void MakeDeskLamp(PieceMaker& maker, int variant)
{
    double const f = GetFactor(variant);
    AddCylinder(maker.Part(Paint::eBLACK), {0.0, 0.0, 0.0}, 0.08, 0.07, 0.02, 64);
    AddCylinder(maker.Part(Paint::eSTEEL), {0.0, 0.02, 0.0}, 0.008, 0.008, 0.3 * f, 40);
    AddCylinder(maker.Part(GetCloth(variant), "shade"), {0.0, 0.28 * f, 0.0}, 0.11, 0.05, 0.13, 96);
    AddEllipsoid(maker.Part(Paint::eLIGHT), {0.0, 0.29 * f, 0.0}, {0.03, 0.04, 0.03}, 32, 40);
    maker.Finish("Desk lamp", "Lights");
}

void MakePicture(PieceMaker& maker, int variant)
{
    double const half = 0.3 * GetFactor(variant);
    AddBox(maker.Part(GetWood(variant), "frame"), {-half, 0.0, 0.0}, {half, half * 1.4, 0.02});
    AddBox(maker.Part(Paint::eLINEN, "canvas"), {-half + 0.04, 0.04, 0.02},
           {half - 0.04, half * 1.4 - 0.04, 0.022});
    AddEllipsoid(maker.Part(GetCloth(variant), "motif"), {0.0, half * 0.7, 0.02},
                 {half * 0.5, half * 0.4, 0.006}, 32, 48);
    maker.Finish("Picture", "Miscellaneous").elevation = 1.35f;
}

void MakeDoor(PieceMaker& maker, int variant)
{
    AddBox(maker.Part(Paint::eWHITE, "frame"), {-0.47, 0.0, -0.11}, {-0.42, 2.08, 0.11});
    AddBox(maker.Part(Paint::eWHITE, "frame"), {0.42, 0.0, -0.11}, {0.47, 2.08, 0.11});
    AddBox(maker.Part(Paint::eWHITE, "frame"), {-0.47, 2.03, -0.11}, {0.47, 2.08, 0.11});
    AddBox(maker.Part(GetWood(variant), "leaf"), {-0.42, 0.0, -0.02}, {0.42, 2.03, 0.02});
    for (double const z : {-0.04, 0.04}) {
        AddEllipsoid(maker.Part(Paint::eBRASS, "knobs"), {0.36, 1.0, z}, {0.025, 0.025, 0.02}, 24,
                     32);
    }
    maker.Finish("Door", "Doors and windows").doorOrWindow = true;
}

void MakeTree(PieceMaker& maker, int variant)
{
    double const f = GetFactor(variant);
    AddCylinder(maker.Part(Paint::eWALNUT, "trunk"), {0.0, 0.0, 0.0}, 0.25 * f, 0.12 * f, 3.5 * f,
                48);
    AddLeaves(maker.Part(Paint::eLEAF), 2.5 * f, 6.5 * f, 1.8 * f, 0.55 * f, 90);
    maker.Finish("Tree", "Exterior");
}

void MakeBench(PieceMaker& maker, int variant)
{
    double const half = 0.8 * GetFactor(variant);
    AddLegs(maker.Part(Paint::eSTEEL), half, 0.22, 0.42, 0.03);
    for (int i = 0; i < 5; ++i) {
        double const z = -0.22 + 0.09 * i;
        AddFineCushion(maker.Part(GetWood(variant), "slats"), {-half, 0.42, z},
                       {half, 0.46, z + 0.07});
    }
    maker.Finish("Garden bench", "Exterior");
}

using MakeKind = void (*)(PieceMaker& maker, int variant);

constexpr MakeKind s_kinds[] = {
    MakeSofa,    MakeArmchair, MakeCoffeeTable, MakeDiningTable, MakeChair,      MakeBookcase,
    MakeCabinet, MakeStove,    MakeBed,         MakeWardrobe,    MakeNightstand, MakeWashbasin,
    MakeBathtub, MakeToilet,   MakeDesk,        MakeOfficeChair, MakeFloorLamp,  MakeCeilingLamp,
    MakePlant,   MakeVase,     MakeDishes,      MakeDeskLamp,    MakePicture,    MakeDoor,
    MakeTree,    MakeBench,
};

} // namespace

FurnitureLibrary MakeGeneratedFurniture(ProgressFn const& progress)
{
    FurnitureLibrary library;
    library.generated = true;
    PieceMaker maker(library);
    for (size_t kind = 0; kind < std::size(s_kinds); ++kind) {
        for (int variant = 0; variant < eVARIANTS; ++variant) {
            s_kinds[kind](maker, variant);
        }
        if (progress) {
            progress(double(kind + 1) / std::size(s_kinds), "making furniture");
        }
    }
    return library;
}

} // namespace host
