#include "engine/scene/LmdPartialSource.h"

#include "engine/scene/LmdSceneReader.h"

#include <cctype>
#include <cstring>

namespace Lumenda3D {
namespace {

bool oneOf(const std::string& value, std::initializer_list<const char*> names) {
    for (const char* name : names)
        if (value == name)
            return true;
    return false;
}

} // namespace

bool LmdPartialSource::isSceneContent(const std::string& element, const pugi::xml_node& parent,
                                      const LmdSceneReader& reader) {
    if (!parent)
        return false;
    using Role = LmdSceneReader::Role;
    const Role role = reader.roleOf(element);
    if (role == Role::Logic || role == Role::Unknown || role == Role::Level)
        return role == Role::Level && parent.parent() && parent.parent().type() == pugi::node_document;
    // The new element must stand in the scene's part of the tree: in a level, under the root,
    // or in an object, never inside logic.
    for (pugi::xml_node n = parent; n && n.type() == pugi::node_element; n = n.parent()) {
        if (n.parent().type() == pugi::node_document)
            break; // the game's root element
        const Role above = reader.roleOf(n.name());
        if (above == Role::Logic || above == Role::Unknown)
            return false;
        if (role == Role::Part && n == parent)
            return above == Role::Object3D || above == Role::Part; // VertexList in a model, Vertex in it
    }
    return true;
}

LmdPartialSource::AttributeUpdate LmdPartialSource::attributeUpdate(const std::string& element,
                                                                     const std::string& attribute,
                                                                     const LmdSceneReader& reader) {
    using Role = LmdSceneReader::Role;
    const Role role = reader.roleOf(element);
    if (oneOf(attribute, {"id", "guidId", "isCollapse", "showAttributes", "image", "_aiChange", "var"}))
        return AttributeUpdate::None;
    switch (role) {
    case Role::Object3D:
        if (oneOf(attribute, {"width", "height", "depth", "radius", "segments", "fileName", "autoScale", "body",
                              "shape", "mass", "friction", "restitution", "damping", "lockRotation", "sensor",
                              "xAxis", "yAxis", "zAxis", "castShadows"}))
            return AttributeUpdate::Rebuild;
        return AttributeUpdate::Live;
    case Role::Element2D:
        return oneOf(attribute, {"picture"}) ? AttributeUpdate::Rebuild : AttributeUpdate::Live;
    case Role::Declaration:
    case Role::Part:
    case Role::Level:
        return AttributeUpdate::Rebuild;
    case Role::Logic:
    case Role::Unknown:
        break;
    }
    return AttributeUpdate::None;
}

bool LmdPartialSource::shouldRun(const std::string& nameOrAttribute, const pugi::xml_node& node,
                                 const LmdSceneReader& reader) {
    if (nameOrAttribute.empty() || !node)
        return false;
    if (std::isupper(static_cast<unsigned char>(nameOrAttribute[0])))
        return isSceneContent(nameOrAttribute, node, reader);
    return attributeUpdate(node.name(), nameOrAttribute, reader) == AttributeUpdate::Rebuild;
}

} // namespace Lumenda3D
