#include "support/OracleWalk.h"

#include "scenecull/TqOcStaticTraversable.h"

#include "geometry/TqLMatrix.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace
{

constexpr double eFORCED_PRIORITY = -2.0;

std::uint64_t HashBox(std::uint64_t seed, TqLBox3f const& box)
{
    std::uint64_t hash = seed;
    for (int axis = 0; axis < 3; ++axis) {
        double const values[2] = {box.GetMin()[axis], box.GetMax()[axis]};
        for (double value : values) {
            std::uint64_t bits = 0;
            std::memcpy(&bits, &value, sizeof bits);
            hash = SceneRandom::SeedFor(hash, bits);
        }
    }
    return hash;
}

} // namespace

// ---- Host ---------------------------------------------------------------------------------------

void OracleHost::AddDraw(int number)
{
    m_events.push_back("draw " + std::to_string(number));
    ++m_draws;
}

void OracleHost::Clear()
{
    m_draws = 0;
    m_queries.clear();
    m_events.clear();
}

OracleHost::Query& OracleHost::Find(TqOcOcclusionQuery* query)
{
    return *reinterpret_cast<Query*>(query);
}

TqOcOcclusionQuery* OracleHost::BeginOcclusionQuery(TqLBox3f const& box, unsigned int tris)
{
    std::uint64_t const hash = HashBox(m_seed, box);
    if (!hasQueries || hash % 4 == 0) {
        m_events.push_back("refuse " + std::to_string(tris));
        return nullptr;
    }
    m_queries.push_back(Query{static_cast<int>(m_queries.size()) + 1, hash});
    m_events.push_back("begin " + std::to_string(m_queries.back().number) + " " +
                       std::to_string(tris) + " " + std::to_string(hash));
    return reinterpret_cast<TqOcOcclusionQuery*>(&m_queries.back());
}

int OracleHost::CheckOcclusionQueryReady(TqOcOcclusionQuery* query)
{
    Query const& found = Find(query);
    m_events.push_back("wait " + std::to_string(found.number));
    return (found.hash >> 8) % 5 != 0;
}

unsigned int OracleHost::EndOcclusionQuery(TqOcOcclusionQuery* query)
{
    Query const& found = Find(query);
    m_events.push_back("end " + std::to_string(found.number));
    // Some answers wrap when multiplied by themselves.
    unsigned const answers[] = {0, 1, 2, 3, 100, 65536, 65537, 0xFFFFFFFFu};
    return answers[(found.hash >> 16) % 8];
}

void OracleHost::AbortOcclusionQuery(TqOcOcclusionQuery* query)
{
    m_events.push_back("abort " + std::to_string(Find(query).number));
}

int OracleHost::IsInteractionPending()
{
    return m_draws >= endAfterShapes;
}

// ---- Best first ---------------------------------------------------------------------------------

OracleBestFirst::OracleBestFirst(TqOcPrioritizedTraversal& traversal, TqOcContext& context)
    : m_traversal(traversal)
    , m_context(context)
{}

void OracleBestFirst::Run(TqOcTraversable* root)
{
    m_clipped = false;
    Finish(root); // a frame deals with its root before it walks
    if (root->GetBoundingBox().GetMin()[0] > root->GetBoundingBox().GetMax()[0]) {
        return;
    }
    TqLAffine3f identity;
    identity.MakeIdentity();
    TqOcTravFrustum frustum(m_traversal.GetViewFrustum(), &m_context, m_traversal.GetStress());
    TqOcTravTransform transform(identity, m_traversal.GetClipPlanes(),
                                m_traversal.GetNumClipPlanes());
    TqOcRenderTravCull cull(&frustum, &transform);

    Record record;
    record.node = root;
    record.cull = &cull;
    if (Judge(record, GetFirstBits()) != 0 && !m_clipped && Expand(record)) {
        Visit(record, std::numeric_limits<double>::infinity());
        EndRun(record);
    }
    m_levels.clear();
}

bool OracleBestFirst::IsVisible(TqOcBaseTraversable const& node) const
{
    return node.IsHideRender() == 0 && (node.GetPrimitives() & m_traversal.GetPrimitiveBits()) != 0;
}

// A node's own turn. Returns whether it has children left to be walked.
bool OracleBestFirst::Expand(Record& record)
{
    for (;;) {
        bool const appended = TakeTurn(record);
        if (!appended || m_clipped || record.children.empty()) {
            record.children.clear();
            EndTurn(record);
            Finish(record.node);
            return false;
        }
        if (record.children.size() > 1 || record.children[0].cull != record.cull) {
            break;
        }
        // An only child stands in for its parent and inherits the parent's score.
        Finish(record.node);
        record.node = record.children[0].node;
        record.children.clear();
    }
    Score(record);
    if (record.children.empty()) {
        Finish(record.node);
        return false;
    }
    record.expanded = true;
    return true;
}

// Queues what can be offered, under the cull object that the node gives its children.
void OracleBestFirst::AppendChildren(Record& record)
{
    TqOcRenderTravCull* const cull = GetCullBelow(record);
    TqOcBaseTraversable* const* children = nullptr;
    int const count = record.node->GetChildren(&children);
    for (int i = 0; i < count; ++i) {
        if (Admits(*children[i])) {
            record.children.emplace_back();
            record.children.back().node = static_cast<TqOcTraversable*>(children[i]);
            record.children.back().cull = cull;
        }
    }
}

// The node's own cull object, or one more where it places its children.
TqOcRenderTravCull* OracleBestFirst::GetCullBelow(Record& record)
{
    auto const* placing = dynamic_cast<OraclePlaceGroup const*>(record.node);
    if (placing == nullptr) {
        return record.cull;
    }
    TqOcTravFrustum* frustum = record.cull->GetTravFrustum();
    TqOcTravTransform* transform = record.cull->GetTravTransform();
    m_levels.push_back(Level{*frustum, *transform, *record.cull});
    Level& level = m_levels.back();
    if (placing->IsTransforming()) {
        level.transform.Transform(*transform, placing->GetAffine());
        level.cull = TqOcRenderTravCull(frustum, &level.transform);
    } else {
        double const* window = placing->GetWindow();
        level.frustum.Narrow(*frustum, window[0], window[1], window[2], window[3]);
        level.cull = TqOcRenderTravCull(&level.frustum, transform);
    }
    return &level.cull;
}

// Judges the children, last appended first, drops the culled ones and puts the best in front.
void OracleBestFirst::Score(Record& record)
{
    std::vector<Record> kept;
    for (auto child = record.children.rbegin(); child != record.children.rend(); ++child) {
        // Sides that the parent is wholly inside of count only in the same window.
        bool const sameWindow = child->cull->GetTravFrustum() == record.cull->GetTravFrustum();
        int const bits = sameWindow ? record.data.cullBits : GetFirstBits();
        if (!m_clipped && Judge(*child, bits) != 0) {
            kept.insert(kept.begin(), *child);
        }
    }
    std::size_t best = 0;
    for (std::size_t i = 1; i < kept.size(); ++i) {
        if (kept[i].data.priority < kept[best].data.priority) {
            best = i;
        }
    }
    if (!kept.empty()) {
        std::rotate(kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(best),
                    kept.begin() + static_cast<std::ptrdiff_t>(best) + 1);
    }
    record.children = std::move(kept);
}

// Works the children of an expanded node until they are done or a better node is elsewhere.
OracleBestFirst::Outcome OracleBestFirst::Visit(Record& record, double bound)
{
    double const slack = std::max(0.0, m_traversal.GetSortSlack());
    record.node->SetTraversed();
    Outcome outcome = eDONE;
    while (!m_clipped && !record.children.empty()) {
        double const allowed = bound > m_traversal.GetSlackStart() ? bound + slack : bound;
        Record& head = record.children[0];
        if (head.data.priority > allowed) {
            record.data.priority = head.data.priority;
            outcome = ePUT_OFF;
            break;
        }
        double below = allowed;
        if (record.children.size() > 1) {
            PutBestSecond(record);
            below = std::min(below, record.children[1].data.priority);
            LookAhead(record.children[1]);
        }
        Outcome headOutcome = eDONE;
        if (head.expanded || (!IsOccluded(head) && Expand(head))) {
            headOutcome = Visit(head, below);
        }
        if (headOutcome == eDONE && !m_clipped) {
            Finish(head.node);
            record.children.erase(record.children.begin());
        } else if (!m_clipped && record.children.size() > 1 &&
                   record.children[1].data.priority < head.data.priority) {
            std::swap(record.children[0], record.children[1]);
        }
    }
    record.node->ClearTraversed();
    return outcome;
}

void OracleBestFirst::PutBestSecond(Record& record)
{
    auto const second = record.children.begin() + 1;
    auto best = second;
    for (auto child = second; child != record.children.end(); ++child) {
        if (child->data.priority < best->data.priority) {
            best = child;
        }
    }
    std::rotate(second, best, best + 1);
}

// ---- Frame --------------------------------------------------------------------------------------

OracleWalk::OracleWalk(TqOcPrioritizedTraversal& traversal, OracleHost& host)
    : OracleBestFirst(traversal, host)
    , m_host(host)
{}

bool OracleWalk::TakeTurn(Record& record)
{
    record.node->SetHysteresisId(m_traversal.GetFrameId());
    if (record.node->IsLeaf() != 0) {
        DrawLeaf(record.node);
        return false;
    }
    AppendChildren(record);
    return true;
}

int OracleWalk::Judge(Record& record, int bits)
{
    return record.cull->CalcPriority(&m_traversal, 1, record.node, bits, &record.data);
}

bool OracleWalk::Admits(TqOcBaseTraversable const& child)
{
    if (child.IsTraversed() != 0 || child.GetFrameId() == m_traversal.GetFrameId()) {
        m_traversal.IncTrisTraversedCulled(child.GetTris());
        return false;
    }
    if (!IsVisible(child)) {
        m_traversal.IncTrisVisibilityCulled(child.GetTris());
        return false;
    }
    return true;
}

void OracleWalk::Finish(TqOcTraversable* node)
{
    node->SetFrameId(m_traversal.GetFrameId());
}

void OracleWalk::DrawLeaf(TqOcTraversable* leaf)
{
    m_traversal.IncLeavesRendered(1);
    TqOcBaseTraversable* const* children = nullptr;
    int const count = leaf->GetChildren(&children);
    for (int i = 0; i < count; ++i) {
        auto* shape = static_cast<OracleShape*>(children[i]);
        if (IsVisible(*shape)) {
            m_traversal.IncShapesRendered(1);
            m_traversal.IncTrisRendered(shape->GetTris());
            m_host.AddDraw(shape->GetNumber());
            shape->SetFrameId(m_traversal.GetFrameId());
        }
    }
}

// The time-out of these walks has expired from the start, so each finished node asks the host.
void OracleWalk::EndTurn(Record const& record)
{
    if (record.data.priority > eFORCED_PRIORITY && !m_clipped &&
        m_traversal.GetPolicy() == TqOcRenderTraversal::eINTERRUPTIBLE) {
        m_clipped = m_host.IsInteractionPending() != 0;
    }
}

// One step ahead: the next best child gets its query while the best is walked.
void OracleWalk::LookAhead(Record& record)
{
    TqLBox3f const& box = record.node->GetBoundingBox();
    bool const wanted = !record.expanded && m_traversal.IsOcclusionCulling() != 0 &&
                        record.query == nullptr &&
                        record.data.distance > record.cull->GetNearCullDistance() &&
                        record.cull->ClipPlaneIntersect(box) == 0;
    if (wanted) {
        record.query = m_host.BeginOcclusionQuery(box, record.node->GetTris());
    }
}

bool OracleWalk::IsOccluded(Record& record)
{
    if (record.query == nullptr) {
        return false;
    }
    TqOcOcclusionQuery* query = record.query;
    record.query = nullptr;
    if (m_host.CheckOcclusionQueryReady(query) == 0) {
        m_host.AbortOcclusionQuery(query);
        return false;
    }
    std::uint32_t const n = m_host.EndOcclusionQuery(query);
    bool const occluded = n == 0 || m_traversal.GetCullArea() >=
                                        static_cast<double>(static_cast<std::uint32_t>(n * n));
    if (occluded) {
        m_traversal.IncTrisOcclusionCulled(record.node->GetTris());
    }
    return occluded;
}

void OracleWalk::EndRun(Record& record)
{
    if (record.query != nullptr) {
        m_host.AbortOcclusionQuery(record.query);
        record.query = nullptr;
    }
    for (Record& child : record.children) {
        EndRun(child);
    }
}
