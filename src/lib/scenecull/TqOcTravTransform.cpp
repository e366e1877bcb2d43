#include "scenecull/TqOcTravTransform.h"

#include "scenecull/internal/TqOcComponent.h"

#include <type_traits>

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcTravTransform");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqLMatrix>()};

static_assert(std::is_trivially_destructible<TqOcTravTransform>::value, "pools drop it wholesale");

} // namespace

void TqOcTravTransform::Initialise()
{
    InitialiseComponent(s_component, "TqOcTravTransform 1", s_dependencies);
}

void TqOcTravTransform::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcTravTransform::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcTravTransform::TqOcTravTransform(TqLAffine3f const& toWorld, TqLPlane3f const* clipPlanes,
                                     int numClipPlanes)
    : m_toWorld(toWorld)
{
    if (toWorld.IsIdentity()) {
        CopyClipPlanes(clipPlanes, numClipPlanes);
    } else {
        m_fromWorld = toWorld.Inverse();
        TransformClipPlanes(clipPlanes, numClipPlanes, toWorld);
    }
}

TqOcTravTransform::TqOcTravTransform(TqOcTravTransform const& other)
    : m_toWorld(other.m_toWorld)
    , m_fromWorld(other.m_fromWorld)
{
    CopyClipPlanes(other.m_clipPlanes, other.m_numClipPlanes);
}

TqOcTravTransform& TqOcTravTransform::operator=(TqOcTravTransform const& other)
{
    if (this != &other) {
        m_toWorld = other.m_toWorld;
        m_fromWorld = other.m_fromWorld;
        CopyClipPlanes(other.m_clipPlanes, other.m_numClipPlanes);
    }
    return *this;
}

void TqOcTravTransform::Transform(TqOcTravTransform const& parent, TqLAffine3f const& affine)
{
    m_toWorld = affine * parent.m_toWorld;
    m_fromWorld = parent.m_fromWorld * affine.Inverse();
    TransformClipPlanes(parent.m_clipPlanes, parent.m_numClipPlanes, affine);
}

void TqOcTravTransform::CopyClipPlanes(TqLPlane3f const* planes, int count)
{
    m_numClipPlanes = count;
    for (int i = 0; i < count; ++i) {
        m_clipPlanes[i] = planes[i];
    }
}

void TqOcTravTransform::TransformClipPlanes(TqLPlane3f const* planes, int count,
                                            TqLAffine3f const& affine)
{
    m_numClipPlanes = count;
    for (int i = 0; i < count; ++i) {
        m_clipPlanes[i] = planes[i].TransformedByInverse(affine);
    }
}
