// The node base and the bounded node: attributes and their bits, the change protocol, parent links,
// ownership, class-specific allocation, and the do-nothing defaults of a node without children.

#include "scenecull/TqOcTraversable.h"

#include "support/AllocationCounter.h"
#include "support/Recorders.h"

#include "geometry/TqLBox.h"

#include "util/TqUArena.h"
#include "util/TqUMemory.h"
#include "util/TqUPtrVector.h"

#include <gtest/gtest.h>

#include <array>
#include <cfloat>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace
{

using Primitives = TqLPrimitiveTypes::Enum;

constexpr double eINFINITY = std::numeric_limits<double>::infinity();
constexpr double eNAN = std::numeric_limits<double>::quiet_NaN();

Primitives MakePrimitives(unsigned int bits)
{
    return static_cast<Primitives>(bits);
}

/// The smallest concrete node; counts its updates.
class BaseNode : public TqOcBaseTraversable
{
public:
    using TqOcBaseTraversable::TqOcBaseTraversable;

    int numUpdates = 0;

protected:
    void DoUpdate() override
    {
        ++numUpdates;
        SetModified(0);
    }
};

/// A node much larger than the base record.
class LargeNode : public BaseNode
{
public:
    std::array<double, 64> payload{};
};

Lines ParentNames(EventLog const& log, TqOcBaseTraversable const& node)
{
    Lines names;
    if (node.HasMultipleParents()) {
        TqUPtrVector<TqOcTraversable> const* parents = node.GetMultipleParents();
        for (int i = 0; i < parents->Size(); ++i) {
            names.push_back(log.GetName(static_cast<TqOcBaseTraversable const*>((*parents)[i])));
        }
    } else if (node.HasParent()) {
        names.push_back(
            log.GetName(static_cast<TqOcBaseTraversable const*>(node.GetSingleParent())));
    }
    return names;
}

/// One attribute that has a notifying and a silent setter, all values read as a number.
struct Attribute
{
    char const* name;
    unsigned int bit;
    double sample;   ///< a value that differs from the default
    double fallback; ///< the default
    void (*set)(TqOcBaseTraversable&, double);
    void (*update)(TqOcBaseTraversable&, double);
    double (*get)(TqOcBaseTraversable const&);
};

using Node = TqOcBaseTraversable;

Attribute const s_attributes[] = {
    {"scale", 0x02, 2.5, 1.0, [](Node& n, double v) { n.SetScale(v); },
     [](Node& n, double v) { n.UpdateScale(v); }, [](Node const& n) { return n.GetScale(); }},
    {"tris", 0x04, 4000000000.0, 0.0,
     [](Node& n, double v) { n.SetTris(static_cast<unsigned int>(v)); },
     [](Node& n, double v) { n.UpdateTris(static_cast<unsigned int>(v)); },
     [](Node const& n) { return static_cast<double>(n.GetTris()); }},
    {"hide render", 0x08, 1.0, 0.0, [](Node& n, double v) { n.SetHideRender(static_cast<int>(v)); },
     [](Node& n, double v) { n.UpdateHideRender(static_cast<int>(v)); },
     [](Node const& n) { return n.IsHideRender() != 0 ? 1.0 : 0.0; }},
    {"force render", 0x10, 1.0, 0.0,
     [](Node& n, double v) { n.SetForceRender(static_cast<int>(v)); },
     [](Node& n, double v) { n.UpdateForceRender(static_cast<int>(v)); },
     [](Node const& n) { return n.IsForceRender() != 0 ? 1.0 : 0.0; }},
    {"primitives", 0x20, 21.0, 0.0,
     [](Node& n, double v) { n.SetPrimitives(MakePrimitives(static_cast<unsigned int>(v))); },
     [](Node& n, double v) { n.UpdatePrimitives(MakePrimitives(static_cast<unsigned int>(v))); },
     [](Node const& n) { return static_cast<double>(n.GetPrimitives()); }},
    {"ignore clip", 0x40, 1.0, 0.0, [](Node& n, double v) { n.SetIgnoreClip(static_cast<int>(v)); },
     [](Node& n, double v) { n.UpdateIgnoreClip(static_cast<int>(v)); },
     [](Node const& n) { return n.IsIgnoreClip() != 0 ? 1.0 : 0.0; }},
    {"ignore pick", 0x80, 1.0, 0.0, [](Node& n, double v) { n.SetIgnorePick(static_cast<int>(v)); },
     [](Node& n, double v) { n.UpdateIgnorePick(static_cast<int>(v)); },
     [](Node const& n) { return n.IsIgnorePick() != 0 ? 1.0 : 0.0; }},
};

/// The switches of the attributes above, which take an int of which the low bit counts.
bool IsSwitch(Attribute const& attribute)
{
    return attribute.bit == 0x08 || attribute.bit == 0x10 || attribute.bit == 0x40 ||
           attribute.bit == 0x80;
}

void ExpectAttributesExcept(char const* changed, TqOcBaseTraversable const& node)
{
    for (Attribute const& other : s_attributes) {
        if (std::strcmp(other.name, changed) != 0) {
            EXPECT_EQ(other.get(node), other.fallback) << other.name << " after " << changed;
        }
    }
}

/// The bits of the node's memory that `change` turned over, as one 32-bit word: the change must lie
/// within one aligned word.
template <class Change>
std::uint32_t ChangedBits(TqOcBaseTraversable& node, Change change)
{
    constexpr std::size_t eWORDS = sizeof(TqOcBaseTraversable) / sizeof(std::uint32_t);
    std::array<std::uint32_t, eWORDS> before{};
    std::array<std::uint32_t, eWORDS> after{};
    void const* const address = &node;
    std::memcpy(before.data(), address, sizeof(before));
    change(node);
    std::memcpy(after.data(), address, sizeof(after));
    std::uint32_t bits = 0;
    int numWords = 0;
    for (std::size_t i = 0; i < eWORDS; ++i) {
        if (before[i] != after[i]) {
            bits = before[i] ^ after[i];
            ++numWords;
        }
    }
    EXPECT_EQ(numWords, 1);
    return bits;
}

} // namespace

// ---- Construction and readers -------------------------------------------------------------------

TEST(TqOcBaseTraversable, StartsWithDefaults)
{
    BaseNode const node;
    EXPECT_EQ(node.GetScale(), 1.0);
    EXPECT_EQ(node.GetTris(), 0u);
    EXPECT_EQ(static_cast<unsigned int>(node.GetPrimitives()), 0u);
    EXPECT_EQ(node.GetModified(), 0u);
    EXPECT_EQ(node.GetFrameId(), 0u);
    EXPECT_FALSE(node.IsHideRender());
    EXPECT_FALSE(node.IsForceRender());
    EXPECT_FALSE(node.IsIgnoreClip());
    EXPECT_FALSE(node.IsIgnorePick());
    EXPECT_FALSE(node.IsLeaf());
    EXPECT_FALSE(node.IsShape());
    EXPECT_FALSE(node.IsUserOwned());
    EXPECT_FALSE(node.IsTraversed());
    EXPECT_FALSE(node.HasMultipleParents());
    EXPECT_FALSE(node.HasParent());
    EXPECT_FALSE(node.IsOwned());
    EXPECT_EQ(node.GetSingleParent(), nullptr);
}

TEST(TqOcBaseTraversable, TakesScaleTrisAndPrimitivesFromItsConstructor)
{
    BaseNode const node(0.25, 12u, MakePrimitives(9));
    EXPECT_EQ(node.GetScale(), 0.25);
    EXPECT_EQ(node.GetTris(), 12u);
    EXPECT_EQ(static_cast<unsigned int>(node.GetPrimitives()), 9u);
    EXPECT_EQ(node.GetModified(), 0u);
    EXPECT_EQ(node.GetFrameId(), 0u);
    EXPECT_FALSE(node.HasParent());
    EXPECT_FALSE(node.IsHideRender());
    EXPECT_FALSE(node.IsForceRender());
    EXPECT_FALSE(node.IsIgnoreClip());
    EXPECT_FALSE(node.IsIgnorePick());
    EXPECT_FALSE(node.IsLeaf());
    EXPECT_FALSE(node.IsShape());
    EXPECT_FALSE(node.IsUserOwned());
    EXPECT_FALSE(node.IsTraversed());
}

TEST(TqOcBaseTraversable, MasksPrimitivesToFiveBitsInConstructorAndSetters)
{
    BaseNode node(1.0, 0u, MakePrimitives(0xFFFFFFE3u));
    EXPECT_EQ(static_cast<unsigned int>(node.GetPrimitives()), 3u);
    EXPECT_FALSE(node.IsTraversed()); // the neighbouring bit
    EXPECT_EQ(node.GetModified(), 0u);
    node.SetPrimitives(MakePrimitives(0x25));
    EXPECT_EQ(static_cast<unsigned int>(node.GetPrimitives()), 5u);
    EXPECT_FALSE(node.IsTraversed());
    node.UpdatePrimitives(MakePrimitives(0xFF));
    EXPECT_EQ(static_cast<unsigned int>(node.GetPrimitives()), 31u);
    EXPECT_FALSE(node.IsTraversed());
}

TEST(TqOcBaseTraversable, DoesNothingInItsDefaultOperations)
{
    BaseNode node;
    node.Render(nullptr);
    EXPECT_EQ(node.Prioritized(nullptr, nullptr), TqOcBaseTraversable::eFINISHED);
    node.PickFrustum(nullptr);
    node.PickSweep(nullptr);
    EXPECT_EQ(static_cast<int>(TqOcBaseTraversable::eFINISHED), 0);
    EXPECT_EQ(static_cast<int>(TqOcBaseTraversable::eAPPENDED), 1);
    EXPECT_EQ(node.GetModified(), 0u);
    EXPECT_EQ(node.GetFrameId(), 0u);
}

TEST(TqOcBaseTraversable, KeepsAllSwitchesInOneWordAtTheirBits)
{
    struct Case
    {
        char const* name;
        std::uint32_t bits;
        void (*change)(TqOcBaseTraversable&);
    };

    Case const cases[] = {
        {"modified", 0x0000FFFFu, [](Node& n) { n.SetModified(0xFFFF); }},
        {"modified box", 0x00000001u, [](Node& n) { n.SetModified(0x0001); }},
        {"primitives", 0x001F0000u, [](Node& n) { n.UpdatePrimitives(MakePrimitives(31)); }},
        {"primitive 1", 0x00010000u, [](Node& n) { n.UpdatePrimitives(MakePrimitives(1)); }},
        {"traversed", 0x00200000u, [](Node& n) { n.SetTraversed(); }},
        {"leaf", 0x00400000u, [](Node& n) { n.SetLeaf(1); }},
        {"leaf and shape", 0x00C00000u, [](Node& n) { n.MakeShape(); }},
        {"hide render", 0x01000000u, [](Node& n) { n.UpdateHideRender(1); }},
        {"force render", 0x02000000u, [](Node& n) { n.UpdateForceRender(1); }},
        {"multiple parents", 0x04000000u, [](Node& n) { n.SetMultipleParents(nullptr); }},
        {"user owned", 0x08000000u, [](Node& n) { n.SetUserOwned(1); }},
        {"ignore clip", 0x10000000u, [](Node& n) { n.UpdateIgnoreClip(1); }},
        {"ignore pick", 0x20000000u, [](Node& n) { n.UpdateIgnorePick(1); }},
    };
    for (Case const& one : cases) {
        SCOPED_TRACE(one.name);
        BaseNode node;
        EXPECT_EQ(Hex(ChangedBits(node, one.change)), Hex(one.bits));
    }
}

TEST(TqOcBaseTraversable, IsCulledWhenTraversedOrStampedWithTheFrame)
{
    BaseNode node;
    node.SetFrameId(7);
    EXPECT_TRUE(node.IsCulled(7));
    EXPECT_FALSE(node.IsCulled(8));
    node.SetTraversed();
    EXPECT_TRUE(node.IsTraversed());
    EXPECT_TRUE(node.IsCulled(8));
    node.ClearTraversed();
    EXPECT_FALSE(node.IsTraversed());
    EXPECT_FALSE(node.IsCulled(8));
    EXPECT_TRUE(node.IsCulled(7));
}

TEST(TqOcBaseTraversable, IsCulledInFrameZeroWhenItWasNeverHandled)
{
    BaseNode const node;
    EXPECT_TRUE(node.IsCulled(0));
}

TEST(TqOcBaseTraversable, IsOwnedByItsUserWithoutHavingAParent)
{
    BaseNode node;
    EXPECT_FALSE(node.IsOwned());
    node.SetUserOwned(1);
    EXPECT_TRUE(node.IsUserOwned());
    EXPECT_TRUE(node.IsOwned());
    EXPECT_FALSE(node.HasParent());
    node.SetUserOwned(0);
    EXPECT_FALSE(node.IsUserOwned());
    EXPECT_FALSE(node.IsOwned());
}

TEST(TqOcBaseTraversable, IsOwnedByOneOrSeveralParents)
{
    PlainTraversable first;
    PlainTraversable second;
    BaseNode node;
    node.AddParent(&first);
    EXPECT_TRUE(node.IsOwned());
    EXPECT_TRUE(node.HasParent());
    node.AddParent(&second);
    EXPECT_TRUE(node.IsOwned());
    EXPECT_TRUE(node.HasParent());
    node.RemoveParent(&first);
    node.RemoveParent(&second);
    EXPECT_FALSE(node.IsOwned());
    EXPECT_FALSE(node.HasParent());
}

TEST(TqOcBaseTraversable, HasAParentAndAnOwnerWhenTheMultipleParentsFlagAloneIsSet)
{
    BaseNode node;
    node.SetMultipleParents(nullptr);
    EXPECT_TRUE(node.HasMultipleParents());
    EXPECT_TRUE(node.HasParent());
    EXPECT_TRUE(node.IsOwned());
    node.SetSingleParent(nullptr);
    EXPECT_FALSE(node.HasMultipleParents());
    EXPECT_FALSE(node.HasParent());
    EXPECT_FALSE(node.IsOwned());
}

// ---- Setters ------------------------------------------------------------------------------------

TEST(TqOcBaseTraversable, StoresAndNotifiesItsBitInEverySetter)
{
    for (Attribute const& attribute : s_attributes) {
        SCOPED_TRACE(attribute.name);
        EventLog log;
        RecordingTraversable parent(&log, "parent");
        BaseNode node;
        node.SetSingleParent(&parent);
        attribute.set(node, attribute.sample);
        EXPECT_EQ(attribute.get(node), attribute.sample);
        EXPECT_EQ(Hex(node.GetModified()), Hex(attribute.bit));
        EXPECT_EQ(log.Take(), (Lines{"Notify parent " + Hex(attribute.bit)}));
        EXPECT_EQ(Hex(parent.GetModified()), Hex(attribute.bit));
        ExpectAttributesExcept(attribute.name, node);
        attribute.set(node, attribute.fallback);
        EXPECT_EQ(attribute.get(node), attribute.fallback);
    }
}

TEST(TqOcBaseTraversable, CallsAnOverriddenNotifyFromEverySetter)
{
    for (Attribute const& attribute : s_attributes) {
        SCOPED_TRACE(attribute.name);
        EventLog log;
        RecordingTraversable node(&log, "node");
        attribute.set(node, attribute.sample);
        EXPECT_EQ(log.Take(), (Lines{"Notify node " + Hex(attribute.bit)}));
        EXPECT_EQ(Hex(node.GetModified()), Hex(attribute.bit));
    }
}

TEST(TqOcBaseTraversable, NotifiesEvenWhenTheValueStaysTheSame)
{
    for (Attribute const& attribute : s_attributes) {
        SCOPED_TRACE(attribute.name);
        BaseNode node;
        attribute.set(node, attribute.fallback);
        EXPECT_EQ(attribute.get(node), attribute.fallback);
        EXPECT_EQ(Hex(node.GetModified()), Hex(attribute.bit));
    }
}

TEST(TqOcBaseTraversable, StoresSilentlyInEveryUpdateForm)
{
    for (Attribute const& attribute : s_attributes) {
        SCOPED_TRACE(attribute.name);
        EventLog log;
        RecordingTraversable parent(&log, "parent");
        RecordingTraversable node(&log, "node");
        node.SetSingleParent(&parent);
        attribute.update(node, attribute.sample);
        EXPECT_EQ(attribute.get(node), attribute.sample);
        EXPECT_EQ(node.GetModified(), 0u);
        EXPECT_EQ(log.Take(), Lines{});
        ExpectAttributesExcept(attribute.name, node);
        attribute.update(node, attribute.fallback);
        EXPECT_EQ(attribute.get(node), attribute.fallback);
    }
}

TEST(TqOcBaseTraversable, UsesTheLowBitOfASwitch)
{
    for (Attribute const& attribute : s_attributes) {
        if (!IsSwitch(attribute)) {
            continue;
        }
        SCOPED_TRACE(attribute.name);
        BaseNode node;
        attribute.set(node, 2.0);
        EXPECT_EQ(attribute.get(node), 0.0);
        ExpectAttributesExcept(attribute.name, node);
        attribute.set(node, 3.0);
        EXPECT_EQ(attribute.get(node), 1.0);
        ExpectAttributesExcept(attribute.name, node);
        attribute.update(node, 2.0);
        EXPECT_EQ(attribute.get(node), 0.0);
        attribute.update(node, -1.0);
        EXPECT_EQ(attribute.get(node), 1.0);
        ExpectAttributesExcept(attribute.name, node);
    }
}

TEST(TqOcBaseTraversable, NeverNotifiesFromTheOtherSetters)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    RecordingTraversable node(&log, "node");
    node.SetSingleParent(&parent);
    node.SetUserOwned(1);
    node.SetLeaf(1);
    node.MakeShape();
    node.SetTraversed();
    node.ClearTraversed();
    node.SetFrameId(3);
    node.SetModified(0x21);
    node.SetModified(0);
    node.SetMultipleParents(nullptr);
    node.SetSingleParent(&parent);
    EXPECT_EQ(log.Take(), Lines{});
    EXPECT_EQ(node.GetModified(), 0u);
    EXPECT_EQ(parent.GetModified(), 0u);
    EXPECT_EQ(node.GetFrameId(), 3u);
}

TEST(TqOcBaseTraversable, OverwritesTheWholeModifiedMaskAndNothingElse)
{
    BaseNode node(1.0, 0u, MakePrimitives(5));
    node.SetModified(0xABCD);
    EXPECT_EQ(node.GetModified(), 0xABCDu);
    EXPECT_EQ(static_cast<unsigned int>(node.GetPrimitives()), 5u);
    node.SetModified(0x0001);
    EXPECT_EQ(node.GetModified(), 0x0001u);
    node.SetModified(0x00FF0002); // the mask has sixteen bits
    EXPECT_EQ(node.GetModified(), 0x0002u);
    EXPECT_EQ(static_cast<unsigned int>(node.GetPrimitives()), 5u);
    EXPECT_FALSE(node.IsTraversed());
    node.SetModified(0);
    EXPECT_EQ(node.GetModified(), 0u);
    EXPECT_EQ(static_cast<unsigned int>(node.GetPrimitives()), 5u);
}

TEST(TqOcBaseTraversable, MakesAShapeByLeafAndShapeBit)
{
    BaseNode node;
    node.MakeShape();
    EXPECT_TRUE(node.IsLeaf());
    EXPECT_TRUE(node.IsShape());
}

TEST(TqOcBaseTraversable, ClearsOnlyTheLeafBitOfAShape)
{
    BaseNode node;
    node.MakeShape();
    node.SetLeaf(0);
    EXPECT_FALSE(node.IsLeaf());
    EXPECT_TRUE(node.IsShape());
    node.SetLeaf(1);
    EXPECT_TRUE(node.IsLeaf());
    EXPECT_TRUE(node.IsShape());
}

TEST(TqOcBaseTraversable, ClearsTheMultipleParentsFlagWithoutFreeingTheVector)
{
    PlainTraversable first;
    PlainTraversable second;
    BaseNode node;
    node.AddParent(&first);
    node.AddParent(&second);
    TqUPtrVector<TqOcTraversable>* const parents = node.GetMultipleParents();
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    node.SetSingleParent(&first);
    EXPECT_FALSE(node.HasMultipleParents());
    EXPECT_EQ(node.GetSingleParent(), &first);
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    EXPECT_EQ(parents->Size(), 2);
    node.SetMultipleParents(parents);
    EXPECT_TRUE(node.HasMultipleParents());
    EXPECT_EQ(node.GetMultipleParents(), parents);
    node.RemoveParent(&second);
    EXPECT_EQ(node.GetSingleParent(), &first);
}

// ---- Change protocol ----------------------------------------------------------------------------

TEST(TqOcBaseTraversable, NotifiesAncestorsOnceWhenAnAttributeIsSetTwice)
{
    EventLog log;
    RecordingTraversable root(&log, "root");
    RecordingTraversable parent(&log, "parent");
    parent.SetSingleParent(&root);
    BaseNode node;
    node.SetSingleParent(&parent);
    node.SetScale(2.0);
    EXPECT_EQ(log.Take(), (Lines{"Notify parent 0x2", "Notify root 0x2"}));
    node.SetScale(3.0);
    EXPECT_EQ(log.Take(), Lines{});
    EXPECT_EQ(node.GetScale(), 3.0);
}

TEST(TqOcBaseTraversable, NotifiesAgainOnceTheBitIsNoLongerPending)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    BaseNode node;
    node.SetSingleParent(&parent);
    node.SetScale(2.0);
    node.SetModified(0);
    parent.SetModified(0);
    log.Clear();
    node.SetScale(2.0);
    EXPECT_EQ(log.Take(), (Lines{"Notify parent 0x2"}));
}

TEST(TqOcBaseTraversable, HandsItsWholeAccumulatedMaskToItsParents)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    BaseNode node;
    node.SetSingleParent(&parent);
    node.SetScale(2.0);
    parent.SetModified(0);
    node.SetTris(5);
    EXPECT_EQ(log.Take(), (Lines{"Notify parent 0x2", "Notify parent 0x6"}));
    EXPECT_EQ(Hex(parent.GetModified()), "0x6");
}

TEST(TqOcBaseTraversable, StopsAtTheFirstAncestorThatAlreadyHoldsTheBits)
{
    EventLog log;
    RecordingTraversable root(&log, "root");
    RecordingTraversable parent(&log, "parent");
    parent.SetSingleParent(&root);
    parent.SetModified(0x06);
    BaseNode node;
    node.SetSingleParent(&parent);
    node.SetScale(2.0);
    EXPECT_EQ(log.Take(), (Lines{"Notify parent 0x2"}));
    EXPECT_EQ(Hex(parent.GetModified()), "0x6");
    EXPECT_EQ(root.GetModified(), 0u);
}

TEST(TqOcBaseTraversable, AddsTheAncestorsOwnBitsOnTheWayUp)
{
    EventLog log;
    RecordingTraversable root(&log, "root");
    RecordingTraversable parent(&log, "parent");
    parent.SetSingleParent(&root);
    parent.SetModified(0x01);
    BaseNode node;
    node.SetSingleParent(&parent);
    node.SetScale(2.0);
    EXPECT_EQ(log.Take(), (Lines{"Notify parent 0x2", "Notify root 0x3"}));
}

TEST(TqOcBaseTraversable, NotifiesBothParentsInTheOrderInWhichTheyWereAdded)
{
    EventLog log;
    RecordingTraversable first(&log, "first");
    RecordingTraversable second(&log, "second");
    BaseNode node;
    node.AddParent(&second);
    node.AddParent(&first);
    node.SetTris(1);
    EXPECT_EQ(log.Take(), (Lines{"Notify second 0x4", "Notify first 0x4"}));
    node.RemoveParent(&first);
    node.RemoveParent(&second);
}

TEST(TqOcBaseTraversable, NotifiesAParentOnceForEachTimeItIsListed)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    BaseNode node;
    node.AddParent(&parent);
    node.AddParent(&parent);
    node.SetTris(1);
    EXPECT_EQ(log.Take(), (Lines{"Notify parent 0x4", "Notify parent 0x4"}));
    node.RemoveParent(&parent);
    node.RemoveParent(&parent);
}

TEST(TqOcBaseTraversable, TellsOnlyItsParentsInNotifyParents)
{
    EventLog log;
    RecordingTraversable first(&log, "first");
    RecordingTraversable second(&log, "second");
    BaseNode node;
    node.NotifyParents(0x08); // nobody to tell
    node.AddParent(&first);
    node.NotifyParents(0x08);
    EXPECT_EQ(log.Take(), (Lines{"Notify first 0x8"}));
    node.AddParent(&second);
    node.NotifyParents(0x08); // also those that hold the bit already
    EXPECT_EQ(log.Take(), (Lines{"Notify first 0x8", "Notify second 0x8"}));
    EXPECT_EQ(node.GetModified(), 0u);
    node.RemoveParent(&first);
    node.RemoveParent(&second);
}

TEST(TqOcBaseTraversable, IgnoresAnEmptyNotification)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    BaseNode node;
    node.SetSingleParent(&parent);
    node.Notify(0);
    EXPECT_EQ(node.GetModified(), 0u);
    EXPECT_EQ(log.Take(), Lines{});
}

TEST(TqOcBaseTraversable, TakesSeveralBitsInOneNotification)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    BaseNode node;
    node.SetSingleParent(&parent);
    node.SetModified(0x0F);
    node.Notify(0x0C);
    EXPECT_EQ(log.Take(), Lines{});
    node.Notify(0x3C);
    EXPECT_EQ(Hex(node.GetModified()), "0x3f");
    EXPECT_EQ(log.Take(), (Lines{"Notify parent 0x3f"}));
    node.Notify(0x8000);
    EXPECT_EQ(Hex(node.GetModified()), "0x803f");
}

TEST(TqOcBaseTraversable, UpdatesOnlyWhenItsMaskIsNotZero)
{
    BaseNode node;
    node.Update();
    EXPECT_EQ(node.numUpdates, 0);
    node.SetScale(2.0);
    node.Update();
    EXPECT_EQ(node.numUpdates, 1);
    EXPECT_EQ(node.GetModified(), 0u);
    node.Update();
    EXPECT_EQ(node.numUpdates, 1);
}

TEST(TqOcBaseTraversable, LeavesItsParentsModifiedWhenItIsUpdated)
{
    PlainTraversable parent;
    BaseNode node;
    node.SetSingleParent(&parent);
    node.SetScale(2.0);
    node.Update();
    EXPECT_EQ(node.GetModified(), 0u);
    EXPECT_EQ(Hex(parent.GetModified()), "0x2");
}

// ---- Parent links -------------------------------------------------------------------------------

TEST(TqOcBaseTraversable, StoresItsFirstParentWithoutAnAllocation)
{
    PlainTraversable parent;
    BaseNode node;
    AllocationCounter counter;
    node.AddParent(&parent);
    EXPECT_EQ(counter.GetNum(), 0u);
    EXPECT_FALSE(node.HasMultipleParents());
    EXPECT_EQ(node.GetSingleParent(), &parent);
    EXPECT_EQ(std::as_const(node).GetSingleParent(), &parent);
    node.RemoveParent(&parent);
    EXPECT_EQ(counter.GetNum(), 0u);
}

TEST(TqOcBaseTraversable, TurnsToAVectorWithTheSecondParentAndAppendsFurtherOnes)
{
    EventLog log;
    RecordingTraversable a(&log, "a");
    RecordingTraversable b(&log, "b");
    RecordingTraversable c(&log, "c");
    BaseNode node;
    node.AddParent(&a);
    EXPECT_EQ(ParentNames(log, node), (Lines{"a"}));
    node.AddParent(&b);
    EXPECT_TRUE(node.HasMultipleParents());
    EXPECT_EQ(ParentNames(log, node), (Lines{"a", "b"}));
    EXPECT_EQ(std::as_const(node).GetMultipleParents(), node.GetMultipleParents());
    node.AddParent(&c);
    EXPECT_EQ(ParentNames(log, node), (Lines{"a", "b", "c"}));
    EXPECT_EQ(log.Take(), Lines{}); // linking is no change of the parents
    EXPECT_EQ(node.GetModified(), 0u);
    node.RemoveParent(&b);
    node.RemoveParent(&c);
    node.RemoveParent(&a);
}

TEST(TqOcBaseTraversable, ListsAParentTwiceThatIsAddedTwice)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    BaseNode node;
    node.AddParent(&parent);
    node.AddParent(&parent);
    EXPECT_TRUE(node.HasMultipleParents());
    EXPECT_EQ(ParentNames(log, node), (Lines{"parent", "parent"}));
    node.RemoveParent(&parent);
    EXPECT_FALSE(node.HasMultipleParents());
    EXPECT_EQ(ParentNames(log, node), (Lines{"parent"}));
    node.RemoveParent(&parent);
    EXPECT_FALSE(node.HasParent());
}

TEST(TqOcBaseTraversable, FallsBackToTheOtherOfTwoParentsAndFreesTheVector)
{
    for (int removed = 0; removed < 2; ++removed) {
        SCOPED_TRACE(removed);
        PlainTraversable parents[2];
        BaseNode node;
        std::size_t const blocks = TqUMemory::GetLiveBlocks();
        node.AddParent(&parents[0]);
        node.AddParent(&parents[1]);
        EXPECT_GT(TqUMemory::GetLiveBlocks(), blocks);
        node.RemoveParent(&parents[removed]);
        EXPECT_FALSE(node.HasMultipleParents());
        EXPECT_EQ(node.GetSingleParent(), &parents[1 - removed]);
        EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    }
}

TEST(TqOcBaseTraversable, KeepsTheFirstOfTwoParentsWhenAStrangerIsRemoved)
{
    PlainTraversable first;
    PlainTraversable second;
    PlainTraversable stranger;
    BaseNode node;
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    node.AddParent(&first);
    node.AddParent(&second);
    node.RemoveParent(&stranger);
    EXPECT_FALSE(node.HasMultipleParents());
    EXPECT_EQ(node.GetSingleParent(), &first);
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

TEST(TqOcBaseTraversable, ClearsASingleParentWhateverParentIsRemoved)
{
    PlainTraversable parent;
    PlainTraversable stranger;
    BaseNode node;
    node.AddParent(&parent);
    node.RemoveParent(&stranger);
    EXPECT_FALSE(node.HasParent());
    EXPECT_EQ(node.GetSingleParent(), nullptr);
    node.RemoveParent(&stranger);
    EXPECT_FALSE(node.HasParent());
}

TEST(TqOcBaseTraversable, FreesAVectorOfOneParentWithItsLastEntry)
{
    // AddParent never makes such a vector; a host may hand one over.
    for (bool const isStranger : {false, true}) {
        SCOPED_TRACE(isStranger);
        PlainTraversable parent;
        PlainTraversable stranger;
        BaseNode node;
        std::size_t const blocks = TqUMemory::GetLiveBlocks();
        auto* const parents = new TqUPtrVector<TqOcTraversable>;
        parents->PushBack(&parent);
        node.SetMultipleParents(parents);
        node.RemoveParent(isStranger ? &stranger : &parent);
        EXPECT_FALSE(node.HasMultipleParents());
        EXPECT_EQ(node.GetSingleParent(), isStranger ? &parent : nullptr);
        EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    }
}

TEST(TqOcBaseTraversable, KeepsTheOrderOfThreeParentsWhenOneIsRemoved)
{
    struct Case
    {
        int removed;
        Lines left;
    };

    Case const cases[] = {{0, {"b", "c"}}, {1, {"a", "c"}}, {2, {"a", "b"}}};
    for (Case const& one : cases) {
        SCOPED_TRACE(one.removed);
        EventLog log;
        RecordingTraversable a(&log, "a");
        RecordingTraversable b(&log, "b");
        RecordingTraversable c(&log, "c");
        TqOcTraversable* const parents[] = {&a, &b, &c};
        BaseNode node;
        for (TqOcTraversable* parent : parents) {
            node.AddParent(parent);
        }
        node.RemoveParent(parents[one.removed]);
        EXPECT_TRUE(node.HasMultipleParents());
        EXPECT_EQ(ParentNames(log, node), one.left);
        EXPECT_EQ(log.Take(), Lines{});
        node.RemoveParent(node.GetMultipleParents()->Front());
        node.RemoveParent(node.GetSingleParent());
        EXPECT_FALSE(node.HasParent());
    }
}

TEST(TqOcBaseTraversable, ErasesOnlyTheFirstEntryOfAParentListedTwiceAmongThree)
{
    EventLog log;
    RecordingTraversable a(&log, "a");
    RecordingTraversable b(&log, "b");
    BaseNode node;
    node.AddParent(&a);
    node.AddParent(&b);
    node.AddParent(&a);
    node.RemoveParent(&a);
    EXPECT_EQ(ParentNames(log, node), (Lines{"b", "a"}));
    node.RemoveParent(&b);
    EXPECT_EQ(ParentNames(log, node), (Lines{"a"}));
    node.RemoveParent(&a);
}

TEST(TqOcBaseTraversable, KeepsThreeParentsWhenAStrangerIsRemoved)
{
    EventLog log;
    RecordingTraversable a(&log, "a");
    RecordingTraversable b(&log, "b");
    RecordingTraversable c(&log, "c");
    PlainTraversable stranger;
    BaseNode node;
    node.AddParent(&a);
    node.AddParent(&b);
    node.AddParent(&c);
    node.RemoveParent(&stranger);
    EXPECT_EQ(ParentNames(log, node), (Lines{"a", "b", "c"}));
    node.RemoveParent(&a);
    node.RemoveParent(&b);
    node.RemoveParent(&c);
}

// ---- Copies and destruction ---------------------------------------------------------------------

TEST(TqOcBaseTraversable, CopiesEveryFieldWithoutTouchingTheParents)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    BaseNode node(0.5, 77u, MakePrimitives(6));
    node.AddParent(&parent);
    node.UpdateHideRender(1);
    node.UpdateForceRender(1);
    node.UpdateIgnoreClip(1);
    node.UpdateIgnorePick(1);
    node.SetUserOwned(1);
    node.SetTraversed();
    node.MakeShape();
    node.SetModified(0x1234);
    node.SetFrameId(99);

    BaseNode assigned;
    assigned = node;
    BaseNode const copied(node);
    for (BaseNode const* copy : {&std::as_const(assigned), &copied}) {
        EXPECT_EQ(copy->GetScale(), 0.5);
        EXPECT_EQ(copy->GetTris(), 77u);
        EXPECT_EQ(static_cast<unsigned int>(copy->GetPrimitives()), 6u);
        EXPECT_EQ(copy->GetModified(), 0x1234u);
        EXPECT_EQ(copy->GetFrameId(), 99u);
        EXPECT_EQ(copy->GetSingleParent(), &parent);
        EXPECT_FALSE(copy->HasMultipleParents());
        EXPECT_TRUE(copy->IsHideRender());
        EXPECT_TRUE(copy->IsForceRender());
        EXPECT_TRUE(copy->IsIgnoreClip());
        EXPECT_TRUE(copy->IsIgnorePick());
        EXPECT_TRUE(copy->IsUserOwned());
        EXPECT_TRUE(copy->IsTraversed());
        EXPECT_TRUE(copy->IsLeaf());
        EXPECT_TRUE(copy->IsShape());
    }
    EXPECT_EQ(log.Take(), Lines{});
    EXPECT_EQ(parent.GetModified(), 0u);
}

TEST(TqOcBaseTraversable, SharesTheParentVectorWithItsCopyAndKeepsItWhenDestroyed)
{
    EventLog log;
    RecordingTraversable a(&log, "a");
    RecordingTraversable b(&log, "b");
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    BaseNode copy;
    {
        BaseNode node;
        node.AddParent(&a);
        node.AddParent(&b);
        copy = node;
        EXPECT_EQ(copy.GetMultipleParents(), node.GetMultipleParents());
    }
    EXPECT_TRUE(copy.HasMultipleParents());
    EXPECT_EQ(ParentNames(log, copy), (Lines{"a", "b"}));
    EXPECT_EQ(log.Take(), Lines{});
    copy.RemoveParent(&b);
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

// ---- Allocation ---------------------------------------------------------------------------------

TEST(TqOcBaseTraversable, TakesPlainNodesFromTheGeneralAllocator)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    std::size_t const bytes = TqUMemory::GetLiveBytes();
    auto* const node = new BaseNode;
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks + 1);
    EXPECT_GE(TqUMemory::GetLiveBytes(), bytes + sizeof(BaseNode));
    delete node;
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    EXPECT_EQ(TqUMemory::GetLiveBytes(), bytes);
}

TEST(TqOcBaseTraversable, ReleasesALargerDerivedNodeCompletely)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    std::size_t const bytes = TqUMemory::GetLiveBytes();
    TqOcBaseTraversable* const node = new LargeNode;
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks + 1);
    EXPECT_GE(TqUMemory::GetLiveBytes(), bytes + sizeof(LargeNode));
    delete node;
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    EXPECT_EQ(TqUMemory::GetLiveBytes(), bytes);
}

TEST(TqOcBaseTraversable, ThrowsFromPlainNewWhenMemoryIsRefused)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    RefuseAllocations refuse(1);
    EXPECT_THROW(new BaseNode, std::bad_alloc);
    EXPECT_EQ(refuse.GetNumRefused(), 1);
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

TEST(TqOcBaseTraversable, TakesAndReturnsBlocksOfAFastArena)
{
    TqUFastArena arena(sizeof(BaseNode));
    auto* const first = new (&arena) BaseNode(2.0, 3u, MakePrimitives(1));
    auto* const second = new (&arena) BaseNode;
    EXPECT_NE(first, second);
    EXPECT_EQ(first->GetScale(), 2.0);
    second->~BaseNode();
    TqOcBaseTraversable::operator delete(second, &arena);
    auto* const third = new (&arena) BaseNode;
    EXPECT_EQ(static_cast<void*>(third), static_cast<void*>(second));
    EXPECT_EQ(first->GetTris(), 3u);
    third->~BaseNode();
    first->~BaseNode();
    arena.DeallocAll();
}

TEST(TqOcBaseTraversable, TakesItsBlockSizeFromTheFastArenaAndNotFromTheNode)
{
    TqUFastArena arena(4 * sizeof(LargeNode));
    auto* const first = new (&arena) BaseNode;
    auto* const second = new (&arena) LargeNode;
    second->payload.fill(1.0);
    EXPECT_EQ(first->GetScale(), 1.0);
    second->~LargeNode();
    first->~BaseNode();
    arena.DeallocAll();
}

TEST(TqOcBaseTraversable, TakesAndReturnsBlocksOfAnArena)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    {
        TqUArena arena(sizeof(BaseNode));
        auto* const first = new (&arena) BaseNode(2.0, 3u, MakePrimitives(1));
        auto* const second = new (&arena) BaseNode;
        EXPECT_NE(first, second);
        EXPECT_EQ(first->GetScale(), 2.0);
        EXPECT_EQ(second->GetScale(), 1.0);
        second->~BaseNode();
        TqOcBaseTraversable::operator delete(second, &arena);
        first->~BaseNode();
        TqOcBaseTraversable::operator delete(first, &arena);
    }
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

TEST(TqOcBaseTraversable, TakesAndReturnsBlocksOfARawArena)
{
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    {
        TqURawArena arena(sizeof(BaseNode));
        auto* const first = new (&arena) BaseNode(2.0, 3u, MakePrimitives(1));
        auto* const second = new (&arena) BaseNode;
        EXPECT_NE(first, second);
        EXPECT_EQ(first->GetScale(), 2.0);
        second->~BaseNode();
        TqOcBaseTraversable::operator delete(second, &arena);
        first->~BaseNode();
        TqOcBaseTraversable::operator delete(first, &arena);
        arena.Release();
    }
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

TEST(TqOcBaseTraversable, StandsAtTheGivenAddressInThePlacementForm)
{
    alignas(BaseNode) unsigned char memory[sizeof(BaseNode)];
    AllocationCounter counter;
    auto* const node = new (static_cast<void*>(memory)) BaseNode(2.0, 3u, MakePrimitives(1));
    EXPECT_EQ(static_cast<void*>(node), static_cast<void*>(memory));
    EXPECT_EQ(node->GetTris(), 3u);
    node->~BaseNode();
    TqOcBaseTraversable::operator delete(node, static_cast<void*>(memory));
    EXPECT_EQ(counter.GetNum(), 0u);
}

// ---- Bounded node -------------------------------------------------------------------------------

TEST(TqOcTraversable, StartsEmptyWithBaseDefaults)
{
    PlainTraversable const node;
    EXPECT_GT(node.GetBoundingBox().GetMin()[0], node.GetBoundingBox().GetMax()[0]);
    EXPECT_EQ(node.GetBoundingBox(),
              MakeBox(DBL_MAX, DBL_MAX, DBL_MAX, -DBL_MAX, -DBL_MAX, -DBL_MAX));
    EXPECT_EQ(node.GetHysteresisId(), 0u);
    EXPECT_EQ(node.GetScale(), 1.0);
    EXPECT_EQ(node.GetTris(), 0u);
    EXPECT_EQ(node.GetModified(), 0u);
    EXPECT_FALSE(node.IsLeaf());
    EXPECT_FALSE(node.IsShape());
    EXPECT_FALSE(node.HasParent());
}

TEST(TqOcTraversable, TakesBoxAndAttributesFromItsConstructor)
{
    PlainTraversable const node(MakeBox(1, 2, 3, 4, 5, 6), 0.5, 9u, MakePrimitives(3));
    EXPECT_EQ(node.GetBoundingBox(), MakeBox(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(node.GetScale(), 0.5);
    EXPECT_EQ(node.GetTris(), 9u);
    EXPECT_EQ(static_cast<unsigned int>(node.GetPrimitives()), 3u);
    EXPECT_EQ(node.GetHysteresisId(), 0u);
    EXPECT_EQ(node.GetModified(), 0u);
}

TEST(TqOcTraversable, CopiesAndMovesEveryFieldWithTheParentLink)
{
    PlainTraversable parent;
    PlainTraversable node(MakeBox(1, 2, 3, 4, 5, 6), 0.5, 9u, MakePrimitives(3));
    node.SetHysteresisId(17);
    node.SetFrameId(4);
    node.AddParent(&parent);
    node.UpdateIgnoreClip(1);
    node.SetModified(0x11);

    PlainTraversable const copied(node);
    PlainTraversable assigned;
    assigned = node;
    PlainTraversable source(node);
    PlainTraversable const moved(std::move(source));
    PlainTraversable secondSource(node);
    PlainTraversable moveAssigned;
    moveAssigned = std::move(secondSource);
    for (PlainTraversable const* copy :
         {&copied, &std::as_const(assigned), &moved, &std::as_const(moveAssigned)}) {
        EXPECT_EQ(copy->GetBoundingBox(), MakeBox(1, 2, 3, 4, 5, 6));
        EXPECT_EQ(copy->GetHysteresisId(), 17u);
        EXPECT_EQ(copy->GetFrameId(), 4u);
        EXPECT_EQ(copy->GetScale(), 0.5);
        EXPECT_EQ(copy->GetTris(), 9u);
        EXPECT_EQ(static_cast<unsigned int>(copy->GetPrimitives()), 3u);
        EXPECT_EQ(copy->GetSingleParent(), &parent);
        EXPECT_TRUE(copy->IsIgnoreClip());
        EXPECT_EQ(copy->GetModified(), 0x11u);
    }
    EXPECT_EQ(parent.GetModified(), 0u);
}

TEST(TqOcTraversable, NotifiesTheBoxBitWhenTheBoxIsSet)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    RecordingTraversable node(&log, "node");
    node.SetSingleParent(&parent);
    node.SetBoundingBox(MakeBox(0, 0, 0, 1, 2, 3));
    EXPECT_EQ(node.GetBoundingBox(), MakeBox(0, 0, 0, 1, 2, 3));
    EXPECT_EQ(log.Take(), (Lines{"Notify node 0x1", "Notify parent 0x1"}));
}

TEST(TqOcTraversable, NotifiesAncestorsOnceWhenTheSameBoxIsSetTwice)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    PlainTraversable node;
    node.SetSingleParent(&parent);
    node.SetBoundingBox(MakeBox(0, 0, 0, 1, 1, 1));
    node.SetBoundingBox(MakeBox(0, 0, 0, 1, 1, 1));
    EXPECT_EQ(log.Take(), (Lines{"Notify parent 0x1"}));
    node.Update();
    node.SetBoundingBox(MakeBox(0, 0, 0, 1, 1, 1));
    EXPECT_EQ(log.Take(), (Lines{"Notify parent 0x1"}));
}

TEST(TqOcTraversable, StoresTheHysteresisIdSilently)
{
    EventLog log;
    RecordingTraversable node(&log, "node");
    node.SetHysteresisId(0xFFFFFFFFu);
    EXPECT_EQ(node.GetHysteresisId(), 0xFFFFFFFFu);
    EXPECT_EQ(node.GetModified(), 0u);
    EXPECT_EQ(log.Take(), Lines{});
}

TEST(TqOcTraversable, EditsItsBoxSilentlyInsideAnUpdate)
{
    EventLog log;
    RecordingTraversable parent(&log, "parent");
    RecordingTraversable node(&log, "node");
    node.SetSingleParent(&parent);
    node.UpdateBoundingBox(MakeBox(0, 0, 0, 1, 1, 1));
    EXPECT_EQ(node.GetBoundingBox(), MakeBox(0, 0, 0, 1, 1, 1));
    node.ExtendBoundingBox(MakeBox(-1, 0.25, 0.5, 0.5, 3, 0.75));
    EXPECT_EQ(node.GetBoundingBox(), MakeBox(-1, 0, 0, 1, 3, 1));
    node.EditBoundingBox() = MakeBox(5, 5, 5, 6, 6, 6);
    EXPECT_EQ(node.GetBoundingBox(), MakeBox(5, 5, 5, 6, 6, 6));
    node.ClearBoundingBox();
    EXPECT_GT(node.GetBoundingBox().GetMin()[0], node.GetBoundingBox().GetMax()[0]);
    node.ExtendBoundingBox(MakeBox(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(node.GetBoundingBox(), MakeBox(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(node.GetModified(), 0u);
    EXPECT_EQ(log.Take(), Lines{});
}

TEST(TqOcTraversable, HasNoChildrenAndLeavesTheGivenPointerUntouched)
{
    PlainTraversable node;
    TqOcBaseTraversable* const marker[1] = {nullptr};
    TqOcBaseTraversable* const* children = marker;
    EXPECT_EQ(node.GetChildren(&children), 0);
    EXPECT_EQ(children, marker);
}

TEST(TqOcTraversable, DoesNothingWhenShapesAreAddedOrRemoved)
{
    EventLog log;
    RecordingTraversable node(&log, "node");
    RecordingShape shape(&log, "shape", MakeCube(0, 0, 0, 1));
    node.AddShape(&shape);
    EXPECT_FALSE(shape.HasParent());
    shape.SetSingleParent(&node);
    node.RemoveShape(&shape);
    EXPECT_EQ(shape.GetSingleParent(), &node);
    EXPECT_EQ(node.GetModified(), 0u);
    EXPECT_EQ(shape.GetNumBoxCalls(), 0);
    EXPECT_EQ(log.Take(), Lines{});
}

TEST(TqOcTraversable, IsVisitedByBeginAndEndWhateverTheyAnswer)
{
    EventLog log;
    RecordingTraversable node(&log, "node");
    RecordingVisitor visitor(&log);
    node.Visit(&visitor);
    EXPECT_EQ(log.Take(), (Lines{"BeginVisit node", "EndVisit node"}));
    visitor.prunedName = "node";
    visitor.endAction = TqOcVisitor::ePRUNE;
    node.Visit(&visitor);
    EXPECT_EQ(log.Take(), (Lines{"BeginVisit node", "EndVisit node"}));
}

namespace
{

/// A container that logs the removal that `DeleteShape` asks of it, and unlinks the shape.
class UnlinkingNode : public PlainTraversable
{
public:
    explicit UnlinkingNode(EventLog* log) : m_log(log) {}

    void RemoveShape(TqOcShape* shape) override
    {
        m_log->Add("RemoveShape " + m_log->GetName(static_cast<TqOcBaseTraversable*>(shape)));
        shape->RemoveParent(this);
    }

private:
    EventLog* m_log;
};

} // namespace

TEST(TqOcTraversable, RemovesAShapeThroughTheVirtualOperationBeforeDeletingIt)
{
    EventLog log;
    UnlinkingNode node(&log);
    auto* const shape = new RecordingShape(&log, "shape", MakeCube(0, 0, 0, 1));
    shape->AddParent(&node);
    node.DeleteShape(shape);
    EXPECT_EQ(log.Take(), (Lines{"RemoveShape shape", "Delete shape"}));
}

TEST(TqOcTraversable, DeletesAStrangersShapeThatNothingOwns)
{
    EventLog log;
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    PlainTraversable node;
    auto* const shape = new RecordingShape(&log, "shape", MakeCube(0, 0, 0, 1));
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks + 1);
    node.DeleteShape(shape);
    EXPECT_EQ(log.Take(), (Lines{"Delete shape"}));
    EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
}

TEST(TqOcTraversable, SparesADeletedShapeThatStillHasAParent)
{
    EventLog log;
    UnlinkingNode node(&log);
    PlainTraversable other;
    RecordingShape shape(&log, "shape", MakeCube(0, 0, 0, 1));
    shape.AddParent(&node);
    shape.AddParent(&other);
    node.DeleteShape(&shape);
    EXPECT_EQ(log.Take(), (Lines{"RemoveShape shape"}));
    EXPECT_EQ(shape.GetSingleParent(), &other);
}

TEST(TqOcTraversable, SparesADeletedShapeThatItsUserOwns)
{
    EventLog log;
    UnlinkingNode node(&log);
    RecordingShape shape(&log, "shape", MakeCube(0, 0, 0, 1));
    shape.SetUserOwned(1);
    shape.AddParent(&node);
    node.DeleteShape(&shape);
    EXPECT_EQ(log.Take(), (Lines{"RemoveShape shape"}));
    EXPECT_FALSE(shape.HasParent());
}

// ---- Bad input ----------------------------------------------------------------------------------

TEST(TqOcTraversable, StoresABadBoxAsGiven)
{
    PlainTraversable node;
    node.SetBoundingBox(MakeBox(5, 5, 5, -5, -5, -5));
    EXPECT_EQ(node.GetBoundingBox(), MakeBox(5, 5, 5, -5, -5, -5));
    node.SetBoundingBox(MakeBox(-eINFINITY, 0, 0, eINFINITY, 1, 1));
    EXPECT_EQ(node.GetBoundingBox(), MakeBox(-eINFINITY, 0, 0, eINFINITY, 1, 1));
    node.SetBoundingBox(MakeBox(eNAN, 0, 0, 1, 1, 1));
    EXPECT_NE(node.GetBoundingBox().GetMin()[0], node.GetBoundingBox().GetMin()[0]);
    EXPECT_EQ(node.GetBoundingBox().GetMax()[0], 1.0);
    EXPECT_EQ(Hex(node.GetModified()), "0x1");
}

TEST(TqOcTraversable, KeepsNanOutOfAnExtendedBox)
{
    EventLog log;
    RecordingTraversable node(&log, "node");
    node.UpdateBoundingBox(MakeBox(0, 0, 0, 1, 1, 1));
    node.ExtendBoundingBox(MakeBox(eNAN, eNAN, eNAN, eNAN, eNAN, eNAN));
    EXPECT_EQ(node.GetBoundingBox(), MakeBox(0, 0, 0, 1, 1, 1));
    node.ExtendBoundingBox(MakeBox(eNAN, -2, eNAN, 3, eNAN, eNAN));
    EXPECT_EQ(node.GetBoundingBox(), MakeBox(0, -2, 0, 3, 1, 1));
}

TEST(TqOcTraversable, SurvivesANullShape)
{
    PostedErrors posted;
    PlainTraversable node;
    node.AddShape(nullptr);
    node.RemoveShape(nullptr);
    EXPECT_EQ(posted.AsLines(), Lines{});
    node.DeleteShape(nullptr);
    ASSERT_EQ(posted.Size(), 1);
    EXPECT_EQ(posted.Get()[0].severity, 1);
    EXPECT_EQ(posted.Get()[0].component, "TqOcTraversable");
    EXPECT_EQ(node.GetModified(), 0u);
}

TEST(TqOcBaseTraversable, KeepsItsParentsWhenMemoryForTheSecondOneIsRefused)
{
    PlainTraversable first;
    PlainTraversable second;
    BaseNode node;
    node.AddParent(&first);
    std::size_t const blocks = TqUMemory::GetLiveBlocks();
    for (int refused = 1; refused <= 2; ++refused) {
        SCOPED_TRACE(refused);
        RefuseAllocations refuse(refused, RefuseAllocations::eAND_ALL_LATER);
        EXPECT_THROW(node.AddParent(&second), std::bad_alloc);
        EXPECT_FALSE(node.HasMultipleParents());
        EXPECT_EQ(node.GetSingleParent(), &first);
        EXPECT_EQ(TqUMemory::GetLiveBlocks(), blocks);
    }
}
