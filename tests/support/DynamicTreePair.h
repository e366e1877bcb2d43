#pragma once

// DynamicTreePair: a random tree of arbitrary group sizes, as hands and the bulk builder make them,
// in the library's form and in the reference's.

#include "support/DynamicTreeMaker.h"
#include "support/ReferenceDynamicTree.h"

#include "scenes/SceneRandom.h"

#include <cstdlib>
#include <memory>
#include <string>

class DynamicTreePair
{
public:
    /// @param depth  levels of groups
    /// @param hasEmpty  whether some groups have no children
    DynamicTreePair(SceneRandom& random, int depth, bool hasEmpty)
    {
        std::string text;
        int count = 0;
        Write(random, depth, hasEmpty, &count, &text);
        for (int i = 0; i < count; ++i) {
            ReferenceDynamicTree::World::Shape shape;
            shape.box = MakeCube(random.Below(40), random.Below(40), random.Below(3), 1.0);
            world.shapes.push_back(shape);
        }
        char const* at = text.c_str();
        tree.reset(Read(&at));
        reference = std::make_unique<ReferenceDynamicTree>(&world, text);
    }

    /// Moves a shape in both.
    void Move(PlayShape* shape, TqLBox3f const& box)
    {
        shape->Move(box);
        world.shapes[static_cast<std::size_t>(shape->GetNumber())].box = box;
        reference->Notify(shape->GetNumber(), TqOcBaseTraversable::eMODIFIED_BOX);
    }

    ReferenceDynamicTree::World world;
    std::unique_ptr<TqOcDynamicGroup> tree;
    std::unique_ptr<ReferenceDynamicTree> reference;

private:
    static void Write(SceneRandom& random, int depth, bool hasEmpty, int* number, std::string* text)
    {
        *text += "(";
        int const count = (hasEmpty ? 0 : 1) + static_cast<int>(random.Below(hasEmpty ? 8 : 7));
        for (int i = 0; i < count; ++i) {
            if (depth == 1) {
                *text += std::to_string((*number)++) + " ";
            } else {
                Write(random, depth - 1, hasEmpty, number, text);
            }
        }
        *text += ")";
    }

    TqOcDynamicGroup* Read(char const** at) const
    {
        Nodes children;
        for (++*at; **at != ')';) {
            if (**at == '(') {
                children.push_back(Read(at));
                continue;
            }
            char* end = nullptr;
            int const number = static_cast<int>(std::strtol(*at, &end, 10));
            *at = end + 1;
            children.push_back(NewLeaf(number, world.shapes[static_cast<std::size_t>(number)].box));
        }
        ++*at;
        return NewGroup(children);
    }
};
