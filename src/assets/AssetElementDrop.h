#pragma once
// What a drag from the asset library does when it ends on a block of the tree or on a field of
// the attribute panel. On a field, the field takes the asset in the form it holds: a "texture"
// field a Material's name (the texture's Material, found by its picture or made once, or the
// dragged material), a picture field the texture's reference, a model or sound file field the
// file's reference. On a block, the first of the block's attributes that takes the asset does:
// a texture goes onto an object as its material (or onto a 2D picture), a model onto a Model's
// file, a sound onto a sound block's file. Anything else is refused with one sentence that says
// why; an applied drop is one undo step.
#include <string>

#include "assets/AssetSceneDrop.h"

namespace Lumenda3D {

class AssetElementDrop {
public:
    struct Plan {
        bool fits = false;
        std::string attribute;  // the attribute that takes the asset
        std::string text;       // what the drop does ("fileName: cube.obj"), or why it cannot
    };

    explicit AssetElementDrop(AssetSceneDrop& scene) : scene_(scene) {}

    // Which attribute of element `xmlId` takes `asset`; `field` names the attribute dropped on,
    // empty for the block as a whole.
    Plan plan(const AssetSceneDrop::Dragged& asset, int xmlId, const std::string& field) const;
    // Applies the plan; "" when done, otherwise why nothing changed.
    std::string apply(const AssetSceneDrop::Dragged& asset, int xmlId, const std::string& field);

    // Whether an attribute (name and schema type) takes an asset of this kind.
    static bool takes(AssetSceneDrop::Kind kind, const std::string& attribute, const std::string& type);
    static const char* kindWord(AssetSceneDrop::Kind kind);  // "a texture"

private:
    AssetSceneDrop& scene_;
};

} // namespace Lumenda3D
