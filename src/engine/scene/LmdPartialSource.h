#pragma once
// Decides how a change of the document reaches the scene that is already built, without a full
// rebuild:
//   - a new element: its objects are built on their own (runPartialSource) when it is scene
//     content (a 3D object, light, 2D element, declaration, or a model's VertexList/Animation)
//     standing where the scene shows it; logic waits for the next full run;
//   - a changed attribute: most values are pushed live into the object (updateLuaAttribute);
//     those that change the object's mesh, body or kind need the object rebuilt.
#include <string>

#include <pugixml.hpp>

namespace Lumenda3D {

class LmdSceneReader;

class LmdPartialSource {
public:
    enum class AttributeUpdate { None, Live, Rebuild };

    // Lumenda3DEngine::shouldRunPartialSource. `nameOrAttribute` is the element name of a new
    // block and `node` its parent; or an attribute name (lower-case first letter) and `node` the
    // element that carries it.
    static bool shouldRun(const std::string& nameOrAttribute, const pugi::xml_node& node, const LmdSceneReader& reader);
    // Whether a new element named `element` under `parent` makes scene objects.
    static bool isSceneContent(const std::string& element, const pugi::xml_node& parent, const LmdSceneReader& reader);
    // How a change of `attribute` on an element named `element` reaches the scene.
    static AttributeUpdate attributeUpdate(const std::string& element, const std::string& attribute,
                                           const LmdSceneReader& reader);
};

} // namespace Lumenda3D
