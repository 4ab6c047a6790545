#pragma once
// The picker of an animation: the Animation elements of the model the edited element belongs to
// (the nearest Model or Character above it, or the model its "target" names, for a block in an
// event list), then the named elements below the element's own LoadAnimation blocks. Names keep
// the order they are found in, each once.
#include "attributes/SceneNodePicker.h"

namespace Lumenda3D {

class AnimationPicker : public SceneNodePicker {
public:
    AnimationPicker();
    std::vector<std::string> collectNames(pugi::xml_node& node, const pugi::xml_node& definition) override;
    // Adds the animation names of the model `node` belongs to (see above) to `names`.
    void collectFromNearestModel(const pugi::xml_node& node, std::vector<std::string>& names) const;
};

} // namespace Lumenda3D
