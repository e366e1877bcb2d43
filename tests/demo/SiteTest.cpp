#include "demo/Site.h"

#include "host/model/ShapeMaker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

namespace
{

host::SceneModel MakeModel()
{
    host::SceneModel model;
    model.materials.emplace_back();
    model.meshes.emplace_back();
    host::MeshBuilder builder;
    host::AddBox(builder, {-3.0, 10.0, 2.0}, {5.0, 14.0, 4.0});
    builder.Finish(model.meshes[0]);
    model.AddPlacement(0, TqLAffine3f(), true);
    return model;
}

} // namespace

TEST(Site, AddsItsPiecesBehindTheModels)
{
    host::SceneModel model = MakeModel();
    demo::Site const site(&model, false);
    EXPECT_EQ(site.GetNumModelPlacements(), 1U);
    EXPECT_GT(site.GetFirstPart(), site.GetFirstOwn());
    for (host::Placement const& placement : model.placements) {
        ASSERT_LT(placement.mesh, model.meshes.size());
        ASSERT_LT(model.meshes[placement.mesh].material, model.materials.size());
        ASSERT_GT(model.meshes[placement.mesh].GetNumTriangles(), 0U);
    }
}

TEST(Site, StandsBesideAModelInProportionToIt)
{
    host::SceneModel model = MakeModel();
    demo::Site const site(&model, false);
    for (std::size_t i = site.GetFirstOwn(); i < model.placements.size(); ++i) {
        TqLBox3f const& box = model.placements[i].box;
        EXPECT_GT(box.GetMin()[0], 5.0) << "placement " << i;
        EXPECT_LT(box.GetMax()[0], 5.0 + 8.0) << "placement " << i;
        EXPECT_GE(box.GetMin()[1], 10.0 - 1e-6) << "placement " << i;
    }
}

TEST(Site, StartsTheCraneWhereItsPiecesWerePlaced)
{
    host::SceneModel model = MakeModel();
    demo::Site const site(&model, false);
    std::vector<demo::Pose> poses;
    site.AppendCranePoses(0.0, &poses);
    ASSERT_GT(poses.size(), 100U);
    std::set<std::size_t> placements;
    for (demo::Pose const& pose : poses) {
        EXPECT_TRUE(placements.insert(pose.m_placement).second);
        EXPECT_LT(pose.m_placement, site.GetFirstPart());
        for (int row = 0; row < 4; ++row) {
            for (int column = 0; column < 3; ++column) {
                EXPECT_NEAR(pose.m_toWorld[row][column],
                            model.placements[pose.m_placement].toWorld[row][column], 1e-9);
            }
        }
    }
}

TEST(Site, GivesEveryPartOnTheBeltAPlacementOfItsOwn)
{
    host::SceneModel model = MakeModel();
    demo::Site const site(&model, false);
    for (double const time : {0.0, 0.3, 0.77, 1.0}) {
        demo::BeltRows const rows = site.GetRows(time);
        std::set<std::size_t> placements;
        for (std::size_t row = rows.m_first; row < rows.m_end; ++row) {
            for (std::size_t part = 0; part < demo::Site::s_partsPerRow; ++part) {
                std::size_t const placement = site.GetPart(row, part);
                EXPECT_TRUE(placements.insert(placement).second);
                ASSERT_GE(placement, site.GetFirstPart());
                ASSERT_LT(placement, model.placements.size());
            }
        }
    }
}

TEST(Site, LooksTowardsTheModelFromBeyondTheCrane)
{
    host::SceneModel model = MakeModel();
    demo::Site const site(&model, false);
    std::vector<host::CameraKey> const path = site.MakePath();
    ASSERT_GE(path.size(), 2U);
    for (host::CameraKey const& key : path) {
        EXPECT_GT(key.direction.Length(), 0.0);
        EXPECT_GT(key.position[1], model.box.GetMin()[1]);
        EXPECT_LT(key.direction[0], 0.0) << "away from the model";
    }
}
