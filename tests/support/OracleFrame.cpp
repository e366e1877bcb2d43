#include "support/OracleFrame.h"

#include "scenecull/TqOcStaticTraversable.h"

OracleNode MakeOracleNode(TqOcTraversable const& node)
{
    return OracleNode{node.GetBoundingBox(),     node.GetPrimitives(), node.IsIgnoreClip() != 0,
                      node.IsForceRender() != 0, node.GetScale(),      node.GetHysteresisId()};
}

OracleFrame::OracleFrame(OracleTree const& tree, OracleCamera const& camera,
                         OracleSettings const& settings)
    : m_cull(camera, settings)
    , m_primitiveBits(settings.primitiveBits)
    , m_drawn(tree.GetShapes().size(), OracleChance::eNO)
{
    TqOcTraversable* root = tree.GetRoot();
    if (root->GetBoundingBox().GetMin()[0] <= root->GetBoundingBox().GetMax()[0]) {
        Judge(root, OracleChance::eYES, OraclePlace());
    }
}

bool OracleFrame::IsVisible(TqOcBaseTraversable const& node) const
{
    return node.IsHideRender() == 0 &&
           (static_cast<unsigned>(node.GetPrimitives()) & m_primitiveBits) != 0;
}

void OracleFrame::Judge(TqOcTraversable* node, OracleChance chance, OraclePlace const& place)
{
    OracleResult const result = m_cull.Judge(MakeOracleNode(*node), place);
    m_judged[node] = OracleNodeRecord{chance, result};
    m_decided &= result.verdict != OracleVerdict::eUNDECIDED && result.reasonCertain;
    ++m_totals.judged;
    if (result.reason != OracleReason::eCLIP_PLANE && result.reason != OracleReason::eBEHIND_EYE) {
        ++m_totals.measured;
    }
    switch (result.reason) {
    case OracleReason::eNONE:
        Enter(node, result.verdict == OracleVerdict::eVISIBLE ? chance : OracleChance::ePERHAPS,
              place);
        break;
    case OracleReason::eCLIP_PLANE:
    case OracleReason::eBEHIND_EYE:
    case OracleReason::eFRUSTUM:
        m_totals.frustumCulled += node->GetTris();
        break;
    case OracleReason::eAREA:
        m_totals.areaCulled += node->GetTris();
        break;
    case OracleReason::eDISTANCE:
    case OracleReason::eNEAR:
        m_totals.distanceCulled += node->GetTris();
        break;
    }
}

void OracleFrame::Enter(TqOcTraversable* node, OracleChance chance, OraclePlace const& place)
{
    if (node->IsLeaf() != 0) {
        EnterLeaf(node, chance);
        return;
    }
    TqOcBaseTraversable* const* children = nullptr;
    int const count = node->GetChildren(&children);
    std::vector<TqOcTraversable*> visible;
    for (int i = 0; i < count; ++i) {
        if (IsVisible(*children[i])) {
            visible.push_back(static_cast<TqOcTraversable*>(children[i]));
        } else {
            m_totals.visibilityCulled += children[i]->GetTris();
        }
    }
    auto const* placing = dynamic_cast<OraclePlaceGroup const*>(node);
    if (visible.size() == 1 && placing == nullptr) {
        Enter(visible[0], chance, place); // an only child takes its parent's turn over, unjudged
        return;
    }
    OraclePlace const below = placing != nullptr ? placing->GetPlaceBelow(place) : place;
    for (TqOcTraversable* child : visible) {
        Judge(child, chance, below);
    }
}

void OracleFrame::EnterLeaf(TqOcTraversable* leaf, OracleChance chance)
{
    ++m_totals.leaves;
    TqOcBaseTraversable* const* children = nullptr;
    int const count = leaf->GetChildren(&children);
    for (int i = 0; i < count; ++i) {
        auto const* shape = static_cast<OracleShape const*>(children[i]);
        if (IsVisible(*shape)) {
            m_drawn[static_cast<std::size_t>(shape->GetNumber())] = chance;
            m_totals.rendered += shape->GetTris();
            ++m_totals.shapes;
        } else {
            m_totals.skipped += shape->GetTris();
        }
    }
}
