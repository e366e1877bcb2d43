#include "support/DynamicTreePlay.h"

#include "scenecull/TqOcVisitor.h"

#include "geometry/TqLFrustum3f.h"

#include "util/TqUMemory.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>
#include <utility>

namespace
{

constexpr double eSPACE = 1000.0; ///< Boxes start inside [-eSPACE, eSPACE].
constexpr std::size_t eHISTORY = 12;

bool IsDrawable(TqLBox3f const& box)
{
    for (int axis = 0; axis < 3; ++axis) {
        if (!std::isfinite(box.GetMin()[axis]) || !std::isfinite(box.GetMax()[axis])) {
            return false;
        }
    }
    return !box.IsEmpty();
}

/// Lists the numbers of the shapes that a plain visit meets.
class ShapeLister : public TqOcVisitor
{
public:
    std::vector<int> numbers;

    void VisitShape(TqOcShape* shape) override
    {
        numbers.push_back(static_cast<PlayShape*>(shape)->GetNumber());
    }
};

std::vector<int> Sorted(std::vector<int> numbers)
{
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

void EraseFrom(std::vector<int>* list, int number)
{
    list->erase(std::remove(list->begin(), list->end(), number), list->end());
}

} // namespace

// ---- Shapes -------------------------------------------------------------------------------------

PlayShape::PlayShape(int number, TqLBox3f const& box)
    : TqOcShape(1.0, 1, TqLPrimitiveTypes::eTRIANGLES)
    , m_number(number)
    , m_box(box)
{
    ++s_numLive;
}

PlayShape::~PlayShape()
{
    --s_numLive;
}

void PlayShape::Move(TqLBox3f const& box)
{
    m_box = box;
    Notify(eMODIFIED_BOX);
}

void PlayShape::MoveBy(double x, double y, double z)
{
    TqLPos3f const& min = m_box.GetMin();
    TqLPos3f const& max = m_box.GetMax();
    Move(TqLBox3f(TqLPos3f(min[0] + x, min[1] + y, min[2] + z),
                  TqLPos3f(max[0] + x, max[1] + y, max[2] + z)));
}

void PlayShape::GetShapeBox(TqLBox3f& box)
{
    ++m_numBoxCalls;
    bool const isDue = s_untilRefusal > 0 && --s_untilRefusal == 0;
    if (m_refuses || isDue) {
        throw BoxRefused();
    }
    box = m_box;
}

void PlayShape::RenderShape(TqOcRenderTraversal*)
{
    ++m_numDraws;
}

void PlayShape::PickShape(TqOcPickFrustumTraversal*) {}

std::string NumberOf(TqOcBaseTraversable* shape)
{
    return std::to_string(static_cast<PlayShape*>(shape)->GetNumber());
}

std::string StructureOf(TqOcDynamicGroup& root)
{
    return DescribeDynamicTree(root, &NumberOf);
}

// ---- Walk ---------------------------------------------------------------------------------------

AllSeeingWalk::AllSeeingWalk() : m_walk(&m_context)
{
    m_walk.SetCullArea(0.0);
    m_walk.SetCullExtent(0.0);
    m_walk.SetViewFrustum(TqLFrustum3f::Parallel(TqLPos3f(0.0, 0.0, 1e6), TqLVec3f(0.0, 0.0, -1.0),
                                                 TqLVec3f(0.0, 1.0, 0.0), 2e6, 2e6, 0.0, 2e6));
}

void AllSeeingWalk::Draw(TqOcTraversable* root)
{
    m_walk.SetFrameId(++m_frameId);
    m_walk.Apply(root);
}

// ---- Play: life ---------------------------------------------------------------------------------

DynamicTreePlay::DynamicTreePlay(PlayOptions const& options)
    : m_options(options)
    , m_random(options.seed)
    , m_tree(MakeTree())
{
    if (m_options.hasOwner) {
        TqOcTraversable* root = m_tree.root;
        m_owner = std::make_unique<TqOcStaticGroup>(&root, 1);
    }
    for (int i = 0; i < m_options.startShapes; ++i) {
        AddShapeTo(&m_tree);
    }
}

DynamicTreePlay::~DynamicTreePlay()
{
    m_tree.root->SetUserOwned(1);
    m_owner.reset();
    DropTree(&m_tree);
    for (PlayShape* const shape : m_shapes) {
        delete shape;
    }
}

std::vector<DynamicTreePlay::Operation> const& DynamicTreePlay::GetOperations()
{
    using Play = DynamicTreePlay;
    static std::vector<Operation> const operations = {
        {"add a shape", 220, &Play::AddShape},
        {"add several shapes", 20, &Play::AddSeveral},
        {"add a leaf", 40, &Play::AddLeaf},
        {"remove a shape", 110, &Play::RemoveShape},
        {"remove several shapes", 15, &Play::RemoveSeveral},
        {"remove a leaf", 25, &Play::RemoveLeaf},
        {"delete a leaf", 25, &Play::DeleteLeaf},
        {"move a little", 90, &Play::MoveLittle},
        {"move far", 70, &Play::MoveFar},
        {"move an assembly", 40, &Play::MoveAssembly},
        {"move all together", 12, &Play::MoveAllTogether},
        {"move all apart", 12, &Play::MoveAllApart},
        {"move some", 25, &Play::MoveSome},
        {"hide", 50, &Play::Hide},
        {"rescale", 40, &Play::Rescale},
        {"merge", 20, &Play::MergeSecond},
        {"rebalance", 20, &Play::Rebalance},
        {"update", 110, &Play::Update}};
    return operations;
}

::testing::AssertionResult DynamicTreePlay::Run()
{
    int total = 0;
    for (Operation const& operation : GetOperations()) {
        total += operation.weight;
    }
    for (int step = 0; step < m_options.steps && m_fault.empty(); ++step) {
        int at = static_cast<int>(m_random.Below(static_cast<std::uint32_t>(total)));
        for (Operation const& operation : GetOperations()) {
            at -= operation.weight;
            if (at < 0) {
                m_history.push_back(std::to_string(step) + " " + operation.name);
                (this->*operation.play)();
                break;
            }
        }
        CheckAfterStep();
    }
    if (m_fault.empty()) {
        m_history.push_back("last update");
        Update();
    }
    if (m_fault.empty()) {
        return ::testing::AssertionSuccess();
    }
    std::ostringstream text;
    text << "seed " << m_options.seed << ", boxes " << static_cast<int>(m_options.boxes)
         << (m_options.hasOwner ? ", owned" : "") << ", " << m_options.startShapes
         << " shapes at the start; the last operations:";
    std::size_t const count = m_history.size();
    for (std::size_t i = count > eHISTORY ? count - eHISTORY : 0; i < count; ++i) {
        text << "\n  " << m_history[i];
    }
    return ::testing::AssertionFailure() << text.str() << "\n" << m_fault;
}

DynamicTreePlay::Tree DynamicTreePlay::MakeTree()
{
    return {new TqOcDynamicGroup, std::make_unique<ReferenceDynamicTree>(&m_world), {}};
}

/// Deletes the tree and, with it, the shapes that it owns.
void DynamicTreePlay::DropTree(Tree* tree)
{
    delete tree->root;
    for (int const number : std::vector<int>(tree->live)) {
        Forget(number);
    }
    tree->live.clear();
}

/// A shape that has left its tree; it is gone unless the play owns it.
void DynamicTreePlay::Forget(int number)
{
    m_world.shapes[static_cast<std::size_t>(number)].leaf = nullptr;
    EraseFrom(&m_tree.live, number);
    if (number % 2 == 0) {
        m_shapes[static_cast<std::size_t>(number)] = nullptr;
    }
}

// ---- Play: boxes --------------------------------------------------------------------------------

TqLBox3f DynamicTreePlay::MakeBox()
{
    auto const between = [this](double low, double high) { return m_random.Range(low, high); };
    auto const place = [&] { return between(-eSPACE, eSPACE); };
    double x = place();
    double y = place();
    double z = place();
    double a = between(0.1, 20.0);
    double b = between(0.1, 20.0);
    double c = between(0.1, 20.0);
    switch (m_options.boxes) {
    case PlayBoxes::eSCATTERED:
        break;
    case PlayBoxes::eCLUSTERED:
        x = 400.0 * (m_random.Below(4)) + between(-40.0, 40.0);
        y = 400.0 * (m_random.Below(3)) + between(-40.0, 40.0);
        z = between(0.0, 40.0);
        break;
    case PlayBoxes::eLATTICE:
        x = 10.0 * m_random.Below(5);
        y = 10.0 * m_random.Below(5);
        z = 10.0 * m_random.Below(2);
        a = b = c = 5.0;
        break;
    case PlayBoxes::eDEGENERATE:
    case PlayBoxes::eWILD:
        switch (m_random.Below(7)) {
        case 0:
            return TqLBox3f();
        case 1:
            a = b = c = 0.0;
            break;
        case 2:
            b = 0.0;
            break;
        case 3:
            a = b = c = eSPACE;
            break;
        case 4:
            x = y = z = 0.0;
            a = b = c = 1.0;
            break;
        case 5:
            if (m_options.boxes == PlayBoxes::eWILD) {
                double const wild[] = {std::numeric_limits<double>::quiet_NaN(),
                                       std::numeric_limits<double>::infinity(), 1e308};
                double* const corners[] = {&x, &y, &z, &a, &b, &c};
                *corners[m_random.Below(6)] = wild[m_random.Below(3)];
            }
            break;
        default:
            break;
        }
        break;
    }
    return TqLBox3f(TqLPos3f(x - a, y - b, z - c), TqLPos3f(x + a, y + b, z + c));
}

TqLBox3f DynamicTreePlay::Shifted(TqLBox3f const& box, double x, double y, double z) const
{
    TqLPos3f const& min = box.GetMin();
    TqLPos3f const& max = box.GetMax();
    if (box.IsEmpty()) {
        return box;
    }
    return TqLBox3f(TqLPos3f(min[0] + x, min[1] + y, min[2] + z),
                    TqLPos3f(max[0] + x, max[1] + y, max[2] + z));
}

void DynamicTreePlay::Move(int number, TqLBox3f const& box)
{
    std::size_t const i = static_cast<std::size_t>(number);
    m_world.shapes[i].box = box;
    m_shapes[i]->Move(box);
    m_tree.reference->Notify(number, TqOcBaseTraversable::eMODIFIED_BOX);
}

// ---- Play: adding and removing ------------------------------------------------------------------

int DynamicTreePlay::NewShape()
{
    int const number = static_cast<int>(m_shapes.size());
    ReferenceDynamicTree::World::Shape record;
    record.box = MakeBox();
    m_world.shapes.push_back(record);
    m_shapes.push_back(new PlayShape(number, record.box));
    m_shapes.back()->SetUserOwned(number % 2);
    return number;
}

int DynamicTreePlay::PickLive()
{
    if (m_tree.live.empty()) {
        return -1;
    }
    return m_tree.live[m_random.Below(static_cast<std::uint32_t>(m_tree.live.size()))];
}

TqOcTraversable* DynamicTreePlay::LeafOf(int number)
{
    return m_shapes[static_cast<std::size_t>(number)]->GetSingleParent();
}

void DynamicTreePlay::AddShapeTo(Tree* tree)
{
    int const number = NewShape();
    tree->root->AddShape(m_shapes.back());
    tree->reference->AddShape(number);
    tree->live.push_back(number);
}

void DynamicTreePlay::AddLeafTo(Tree* tree)
{
    std::vector<int> numbers;
    std::vector<TqOcShape*> shapes;
    for (int count = 2 + static_cast<int>(m_random.Below(5)); count > 0; --count) {
        numbers.push_back(NewShape());
        shapes.push_back(m_shapes.back());
    }
    tree->root->AddLeaf(new TqOcStaticLeaf(shapes.data(), static_cast<int>(shapes.size())));
    tree->reference->AddLeaf(numbers);
    tree->live.insert(tree->live.end(), numbers.begin(), numbers.end());
}

void DynamicTreePlay::AddShape()
{
    if (static_cast<int>(m_tree.live.size()) >= m_options.targetShapes) {
        RemoveShape();
        return;
    }
    AddShapeTo(&m_tree);
}

void DynamicTreePlay::AddSeveral()
{
    for (int count = static_cast<int>(m_random.Below(30)); count > 0; --count) {
        AddShape();
    }
}

void DynamicTreePlay::AddLeaf()
{
    AddLeafTo(&m_tree);
}

void DynamicTreePlay::RemoveShape()
{
    int const number = PickLive();
    if (number < 0) {
        return;
    }
    PlayShape* const shape = m_shapes[static_cast<std::size_t>(number)];
    m_tree.reference->RemoveShape(number);
    bool const isDeleted = m_random.Chance(0.5);
    if (isDeleted) {
        m_tree.root->DeleteShape(shape);
    } else {
        m_tree.root->RemoveShape(shape);
        if (shape->HasParent()) {
            Fail("a removed shape has a parent");
        }
        if (m_random.Chance(0.3)) {
            m_tree.root->AddShape(shape);
            m_tree.reference->AddShape(number);
            return;
        }
        if (!shape->IsUserOwned()) {
            delete shape;
        }
    }
    Forget(number);
}

void DynamicTreePlay::RemoveSeveral()
{
    for (int count = static_cast<int>(m_random.Below(40)); count > 0; --count) {
        RemoveShape();
    }
}

void DynamicTreePlay::RemoveLeaf()
{
    int const number = PickLive();
    if (number < 0) {
        return;
    }
    TqOcTraversable* const leaf = LeafOf(number);
    Node* const node = m_world.shapes[static_cast<std::size_t>(number)].leaf;
    m_tree.root->RemoveLeaf(leaf);
    m_tree.reference->RemoveLeaf(node);
    TqOcBaseTraversable* const* children = nullptr;
    if (leaf->IsOwned() || leaf->GetChildren(&children) != static_cast<int>(node->shapes.size())) {
        Fail("a removed leaf is owned, or holds other shapes than it should");
        return;
    }
    if (!node->isDead && m_random.Chance(0.6)) {
        m_tree.root->AddLeaf(leaf);
        m_tree.reference->AddLeaf(node);
        return;
    }
    delete leaf;
    for (int const shape : node->shapes) {
        Forget(shape);
    }
}

void DynamicTreePlay::DeleteLeaf()
{
    int const number = PickLive();
    if (number < 0) {
        return;
    }
    Node* const node = m_world.shapes[static_cast<std::size_t>(number)].leaf;
    m_tree.root->DeleteLeaf(LeafOf(number));
    m_tree.reference->RemoveLeaf(node);
    for (int const shape : node->shapes) {
        Forget(shape);
    }
}

// ---- Play: moving -------------------------------------------------------------------------------

void DynamicTreePlay::MoveLittle()
{
    int const number = PickLive();
    if (number >= 0) {
        TqLBox3f const box = m_world.shapes[static_cast<std::size_t>(number)].box;
        double const x = m_random.Range(-1.0, 1.0);
        double const y = m_random.Range(-1.0, 1.0);
        Move(number, Shifted(box, x, y, 0.0));
    }
}

void DynamicTreePlay::MoveFar()
{
    int const number = PickLive();
    if (number >= 0) {
        Move(number, MakeBox());
    }
}

void DynamicTreePlay::MoveAssembly()
{
    std::vector<TqOcDynamicGroup*> const groups = GroupsOf(*m_tree.root);
    TqOcDynamicGroup* const group =
        groups[m_random.Below(static_cast<std::uint32_t>(groups.size()))];
    double const step = m_options.boxes == PlayBoxes::eLATTICE ? 10.0 : 60.0;
    double const x = step * (static_cast<double>(m_random.Below(5)) - 2.0);
    ShapeLister lister;
    group->Visit(&lister);
    for (int const number : lister.numbers) {
        Move(number, Shifted(m_world.shapes[static_cast<std::size_t>(number)].box, x, 0.0, step));
    }
}

void DynamicTreePlay::MoveAllTogether()
{
    double const x = m_random.Range(-30.0, 30.0);
    for (int const number : std::vector<int>(m_tree.live)) {
        Move(number, Shifted(m_world.shapes[static_cast<std::size_t>(number)].box, x, 1.0, 0.0));
    }
}

void DynamicTreePlay::MoveAllApart()
{
    for (int const number : std::vector<int>(m_tree.live)) {
        Move(number, MakeBox());
    }
}

void DynamicTreePlay::MoveSome()
{
    double const share = m_random.Unit();
    for (int const number : std::vector<int>(m_tree.live)) {
        if (m_random.Chance(share)) {
            TqLBox3f const box = m_world.shapes[static_cast<std::size_t>(number)].box;
            Move(number, m_random.Chance(0.5) ? Shifted(box, 0.0, 0.0, 3.0) : MakeBox());
        }
    }
}

// ---- Play: the rest -----------------------------------------------------------------------------

void DynamicTreePlay::Hide()
{
    int const number = PickLive();
    if (number >= 0) {
        PlayShape* const shape = m_shapes[static_cast<std::size_t>(number)];
        shape->SetHideRender(shape->IsHideRender() ? 0 : 1);
        m_tree.reference->Notify(number, TqOcBaseTraversable::eMODIFIED_HIDE_RENDER);
    }
}

void DynamicTreePlay::Rescale()
{
    int const number = PickLive();
    if (number >= 0) {
        PlayShape* const shape = m_shapes[static_cast<std::size_t>(number)];
        shape->SetScale(m_random.Range(0.5, 3.0));
        shape->SetTris(m_random.Below(1000));
        shape->SetIgnorePick(static_cast<int>(m_random.Below(2)));
        m_tree.reference->Notify(number, TqOcBaseTraversable::eMODIFIED_SCALE |
                                             TqOcBaseTraversable::eMODIFIED_TRIS |
                                             TqOcBaseTraversable::eMODIFIED_IGNORE_PICK);
    }
}

void DynamicTreePlay::MergeSecond()
{
    Tree second = MakeTree();
    for (int count = static_cast<int>(m_random.Below(40)); count > 0; --count) {
        if (m_random.Chance(0.1)) {
            AddLeafTo(&second);
        } else {
            AddShapeTo(&second);
        }
    }
    Update();
    second.root->Update();
    second.reference->Update();
    if (StructureOf(*second.root) != second.reference->GetStructure()) {
        Fail("the second tree differs from the reference");
    }
    if (second.root->CalcDepth() > m_tree.root->CalcDepth()) {
        bool hasThrown = false;
        try {
            m_tree.root->Merge(second.root);
        } catch (TqOcDynamicGroup::PreconditionException const&) {
            hasThrown = true;
        }
        if (!hasThrown) {
            Fail("a deeper tree was merged");
        }
        if (m_options.hasOwner || !m_fault.empty()) {
            DropTree(&second);
            return;
        }
        std::swap(m_tree, second);
    }
    m_tree.root->Merge(second.root);
    m_tree.reference->Merge(second.reference.get());
    m_tree.live.insert(m_tree.live.end(), second.live.begin(), second.live.end());
    if (!second.root->HasParent()) {
        if (second.root->GetNumChildren() != 0) {
            Fail("the second tree was left with children");
        }
        delete second.root;
    }
    ++m_numMerges;
}

void DynamicTreePlay::Rebalance()
{
    m_tree.root->Rebalance();
    m_tree.reference->Rebalance();
}

void DynamicTreePlay::UpdateTree(Tree* tree)
{
    if (m_owner != nullptr) {
        m_owner->Update();
    } else {
        tree->root->Update();
    }
    tree->reference->Update();
}

void DynamicTreePlay::Update()
{
    UpdateTree(&m_tree);
    ++m_numUpdates;
    CheckAfterUpdate();
}

// ---- Play: checks -------------------------------------------------------------------------------

void DynamicTreePlay::Fail(std::string const& what)
{
    if (m_fault.empty()) {
        m_fault = what;
    }
}

void DynamicTreePlay::CheckAfterStep()
{
    std::string const actual = StructureOf(*m_tree.root);
    std::string const expected = m_tree.reference->GetStructure();
    if (actual != expected) {
        Fail("the structure is\n  " + actual + "\nand should be\n  " + expected);
    }
    std::vector<TqOcShape*> shapes;
    for (int const number : m_tree.live) {
        shapes.push_back(m_shapes[static_cast<std::size_t>(number)]);
    }
    DynamicTreeRules rules;
    rules.isUpToDate = m_tree.root->GetModified() == 0;
    rules.allowOtherParents = m_owner != nullptr;
    ::testing::AssertionResult const sound = IsSoundDynamicTree(*m_tree.root, shapes, rules);
    if (!sound) {
        Fail(sound.message());
    }
}

void DynamicTreePlay::CheckAfterUpdate()
{
    if (m_tree.root->GetModified() != 0) {
        Fail("the root is modified after an update");
    }
    if (m_owner != nullptr && !(m_owner->GetBoundingBox() == m_tree.root->GetBoundingBox())) {
        Fail("the box of the root's owner is not the root's");
    }
    CheckAfterStep();
    CheckVisit();
    if (m_options.boxes != PlayBoxes::eWILD) {
        CheckWalk();
    }
}

void DynamicTreePlay::CheckVisit()
{
    ShapeLister lister;
    m_tree.root->Visit(&lister);
    if (Sorted(lister.numbers) != Sorted(m_tree.live)) {
        Fail("a visit does not find the live shapes");
    }
}

void DynamicTreePlay::CheckWalk()
{
    m_walk.Draw(m_owner != nullptr ? static_cast<TqOcTraversable*>(m_owner.get()) : m_tree.root);
    std::vector<bool> isLive(m_shapes.size(), false);
    for (int const number : m_tree.live) {
        isLive[static_cast<std::size_t>(number)] = true;
    }
    for (std::size_t i = 0; i < m_shapes.size(); ++i) {
        PlayShape* const shape = m_shapes[i];
        if (shape == nullptr) {
            continue;
        }
        bool const mayBeDrawn = isLive[i] && !shape->IsHideRender();
        // An empty shape is drawn where it shares a leaf with others, or not at all.
        bool const mustBeDrawn = mayBeDrawn && IsDrawable(shape->GetBox());
        if (shape->GetNumDraws() > (mayBeDrawn ? 1 : 0) ||
            shape->GetNumDraws() < (mustBeDrawn ? 1 : 0)) {
            Fail("shape " + std::to_string(i) + " was drawn " +
                 std::to_string(shape->GetNumDraws()) + " times");
        }
        shape->ClearDraws();
    }
}
