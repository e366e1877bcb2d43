#include "PickPeers.h"

#include <algorithm>
#include <cfloat>

PickPeer::~PickPeer() = default;

namespace
{

class FlatPeer : public PickPeer
{
public:
    explicit FlatPeer(DynamicScene const& scene) : m_boxes(scene.GetBoxes()) {}

    void PickAll(TqLPickFrustum3f const& frustum, BoxNumbers& hits) const override
    {
        for (std::size_t i = 0; i < m_boxes.size(); ++i) {
            int planes = TqLPickFrustum3f::eALL_PLANES;
            if (frustum.CanCull(m_boxes[i], &planes) == 0) {
                hits.push_back(static_cast<std::uint32_t>(i));
            }
        }
    }

    double PickNearest(TqLPickFrustum3f const& frustum) const override
    {
        double nearest = DBL_MAX;
        for (TqLBox3f const& box : m_boxes) {
            int planes = TqLPickFrustum3f::eALL_PLANES;
            if (frustum.CanCull(box, &planes) == 0) {
                nearest = std::min(nearest, frustum.MinDistance(box));
            }
        }
        return nearest;
    }

    void SweepAll(TqLPickSweep const& sweep, BoxNumbers& hits) const override
    {
        for (std::size_t i = 0; i < m_boxes.size(); ++i) {
            if (sweep.CanCullRepeat(m_boxes[i]) == 0) {
                hits.push_back(static_cast<std::uint32_t>(i));
            }
        }
    }

    void SweepFirst(TqLPickSweep& sweep) const override
    {
        for (TqLBox3f const& box : m_boxes) {
            if (sweep.CanCullRepeat(box) == 0) {
                double const contact = FindContact(sweep, box);
                if (contact <= 1.0) {
                    sweep.ShortenTo(contact);
                }
            }
        }
    }

private:
    std::vector<TqLBox3f> const& m_boxes;
};

} // namespace

std::unique_ptr<PickPeer> MakeFlatPeer(DynamicScene const& scene)
{
    return std::make_unique<FlatPeer>(scene);
}

double FindContact(TqLPickSweep const& sweep, TqLBox3f const& box)
{
    // The centre moves against the box grown by half the body's sizes; it is in between the latest
    // entrance and the earliest exit of all axes.
    constexpr double eNEVER = 2.0;
    double first = 0.0;
    double last = 1.0;
    for (int axis = 0; axis < 3; ++axis) {
        double const below =
            box.GetMin()[axis] - sweep.GetHalfSize()[axis] - sweep.GetCenter()[axis];
        double const above =
            box.GetMax()[axis] + sweep.GetHalfSize()[axis] - sweep.GetCenter()[axis];
        double const step = sweep.GetSweep()[axis];
        if (step == 0.0) {
            if (below > 0.0 || above < 0.0) {
                return eNEVER;
            }
            continue;
        }
        first = std::max(first, (step > 0.0 ? below : above) / step);
        last = std::min(last, (step > 0.0 ? above : below) / step);
    }
    return first <= last ? first : eNEVER;
}
