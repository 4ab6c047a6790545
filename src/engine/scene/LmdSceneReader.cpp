#include "engine/scene/LmdSceneReader.h"

#include "base/LmdValueParser.h"
#include "engine/document/Lumenda3DUtils.h"
#include "engine/scene/LmdEulerHelper.h"
#include "engine/scene/LmdNodeReader.h"
#include "engine/scene/LmdSceneFaults.h"
#include "engine/schema/CodeSchema.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Lumenda3D {
namespace {

struct KindName {
    const char* name;
    LmdObjectKind kind;
};

const KindName kObjectKinds[] = {
    {"Box", LmdObjectKind::Box},
    {"Sphere", LmdObjectKind::Sphere},
    {"Cylinder", LmdObjectKind::Cylinder},
    {"Cone", LmdObjectKind::Cone},
    {"Capsule", LmdObjectKind::Capsule},
    {"Plane", LmdObjectKind::Plane},
    {"Model", LmdObjectKind::Model},
    {"Group", LmdObjectKind::Group},
    {"Camera", LmdObjectKind::Camera},
    {"AmbientLight", LmdObjectKind::AmbientLight},
    {"DirectionalLight", LmdObjectKind::DirectionalLight},
    {"PointLight", LmdObjectKind::PointLight},
    {"SpotLight", LmdObjectKind::SpotLight},
};

struct ElementName {
    const char* name;
    LmdElementKind kind;
};

const ElementName kElementKinds[] = {
    {"Text2D", LmdElementKind::Text},     {"Image2D", LmdElementKind::Image},
    {"Rect2D", LmdElementKind::Rect},     {"Button2D", LmdElementKind::Button},
    {"Joystick", LmdElementKind::Joystick},
};

const char* const kDeclarations[] = {"Material", "SkyBox", "Fog", "LoadSound"};
const char* const kParts[] = {"VertexList", "Vertex", "Animation"};

// Elements of the language that are logic: the runtime reads them, the scene does not. Used when
// no schema is loaded; with a schema every known command that is not scene content is logic.
const char* const kLogic[] = {"OnStart", "OnUpdate", "Timer", "OnKeyDown", "OnKeyHeld", "OnKeyUp", "OnJoystick",
                              "OnClick", "OnCollision", "If", "Else", "Loop", "While", "ForEach", "Break",
                              "Comment", "Var", "Set", "Increment", "Array", "ArrayAdd", "ArraySet",
                              "ArrayRemove", "ArrayClear", "Function", "Call", "Return", "Clone", "Destroy",
                              "GoToLevel", "Print", "Show", "Hide", "SetColor", "SetMaterial", "SetText",
                              "PlayAnimation", "StopAnimation", "SwitchLight", "Move", "Rotate", "Scale",
                              "LookAt", "ApplyForce", "SetVelocity", "PlaySound", "StopSound"};

template <typename Array>
bool contains(const Array& names, std::string_view element) {
    for (const char* name : names)
        if (element == name)
            return true;
    return false;
}

LmdBodyType bodyOf(const std::string& text) {
    if (text == "static")
        return LmdBodyType::Static;
    if (text == "dynamic")
        return LmdBodyType::Dynamic;
    if (text == "kinematic")
        return LmdBodyType::Kinematic;
    return LmdBodyType::None;
}

LmdShapeType shapeOf(const std::string& text) {
    if (text == "box")
        return LmdShapeType::Box;
    if (text == "sphere")
        return LmdShapeType::Sphere;
    if (text == "capsule")
        return LmdShapeType::Capsule;
    if (text == "cylinder")
        return LmdShapeType::Cylinder;
    if (text == "mesh")
        return LmdShapeType::Mesh;
    return LmdShapeType::Auto;
}

// A size must be above zero; anything else is reported and the default used.
float positive(const LmdNodeReader& reader, LmdSceneFaults& faults, const char* name, float fallback) {
    const float value = reader.number(name, fallback);
    if (value > 0.0f)
        return value;
    const float def = reader.defaultNumber(name, fallback) > 0.0f ? reader.defaultNumber(name, fallback) : 1.0f;
    faults.report(reader.node(), std::string(name) + " is '" + reader.node().attribute(name).value() +
                                     "', which is not above zero; using " + Lumenda3DUtils::formatFloat(def));
    return def;
}

} // namespace

LmdSceneReader::LmdSceneReader(const CodeSchema* schema, LmdSceneFaults& faults)
    : mSchema(schema && schema->isLoaded() ? schema : nullptr), mFaults(faults) {}

bool LmdSceneReader::objectKindOf(std::string_view element, LmdObjectKind& kind) {
    for (const KindName& entry : kObjectKinds)
        if (element == entry.name) {
            kind = entry.kind;
            return true;
        }
    return false;
}

bool LmdSceneReader::elementKindOf(std::string_view element, LmdElementKind& kind) {
    for (const ElementName& entry : kElementKinds)
        if (element == entry.name) {
            kind = entry.kind;
            return true;
        }
    return false;
}

LmdSceneReader::Role LmdSceneReader::roleOf(std::string_view element) const {
    if (element == "Level")
        return Role::Level;
    LmdObjectKind kind;
    if (objectKindOf(element, kind))
        return Role::Object3D;
    LmdElementKind elementKind;
    if (elementKindOf(element, elementKind))
        return Role::Element2D;
    if (contains(kDeclarations, element))
        return Role::Declaration;
    if (contains(kParts, element))
        return Role::Part;
    if (mSchema)
        return mSchema->findCommandDef(element) ? Role::Logic : Role::Unknown;
    return contains(kLogic, element) ? Role::Logic : Role::Unknown;
}

std::vector<std::string> LmdSceneReader::levelNames(const pugi::xml_node& root) {
    std::vector<std::string> names;
    for (pugi::xml_node child = root.child("Level"); child; child = child.next_sibling("Level"))
        names.emplace_back(child.attribute("name").value());
    return names;
}

pugi::xml_node LmdSceneReader::findLevel(const pugi::xml_node& root, const std::string& name) {
    for (pugi::xml_node child = root.child("Level"); child; child = child.next_sibling("Level"))
        if (name == child.attribute("name").value())
            return child;
    return pugi::xml_node();
}

std::string LmdSceneReader::levelOf(const pugi::xml_node& node) {
    for (pugi::xml_node n = node; n; n = n.parent())
        if (std::strcmp(n.name(), "Level") == 0)
            return n.attribute("name").value();
    return std::string();
}

pugi::xml_node LmdSceneReader::enclosingObject(const pugi::xml_node& node) const {
    for (pugi::xml_node n = node.parent(); n && n.type() == pugi::node_element; n = n.parent()) {
        const Role role = roleOf(n.name());
        if (role == Role::Object3D)
            return n;
        if (role == Role::Level || role == Role::Element2D)
            break;
    }
    return pugi::xml_node();
}

pugi::xml_node LmdSceneReader::enclosingElement2D(const pugi::xml_node& node) const {
    for (pugi::xml_node n = node.parent(); n && n.type() == pugi::node_element; n = n.parent()) {
        const Role role = roleOf(n.name());
        if (role == Role::Element2D)
            return n;
        if (role == Role::Level || role == Role::Object3D)
            break;
    }
    return pugi::xml_node();
}

void LmdSceneReader::read(const pugi::xml_node& root, LmdSceneDescription& out, const Options& options) {
    out = LmdSceneDescription();
    mOptions = options;
    if (!root)
        return;
    Context context;
    context.underRoot = true;
    walk(root, context, out);
}

void LmdSceneReader::readSubtree(const pugi::xml_node& node, LmdSceneDescription& out) {
    if (!node)
        return;
    mOptions = Options();
    Context context;
    context.level = levelOf(node.parent());
    context.underRoot = node.parent() && node.parent() == node.root().first_child();
    if (pugi::xml_node object = enclosingObject(node))
        context.parentObjectXmlId = object.attribute("id").as_int(0);
    if (pugi::xml_node element = enclosingElement2D(node))
        context.parentElementXmlId = element.attribute("id").as_int(0);
    readNode(node, context, out);
}

void LmdSceneReader::walk(const pugi::xml_node& parent, const Context& context, LmdSceneDescription& out) {
    for (pugi::xml_node child = parent.first_child(); child; child = child.next_sibling())
        if (child.type() == pugi::node_element)
            readNode(child, context, out);
}

void LmdSceneReader::readNode(const pugi::xml_node& node, const Context& context, LmdSceneDescription& out) {
    const std::string_view name = node.name();
    switch (roleOf(name)) {
    case Role::Level: {
        if (!context.underRoot) {
            mFaults.report(node, "a Level stands only directly under the game's root; it is left out");
            return;
        }
        readLevel(node, out);
        Context inner;
        inner.level = out.levels.back().name;
        inner.skipLevelContents = !mOptions.onlyLevel.empty() && inner.level != mOptions.onlyLevel;
        if (!inner.skipLevelContents)
            walk(node, inner, out);
        return;
    }
    case Role::Object3D: {
        if (context.skipLevelContents)
            return;
        LmdObjectKind kind;
        objectKindOf(name, kind);
        const int index = readObject(node, kind, context, out);
        Context inner = context;
        inner.underRoot = false;
        inner.parentObject = index;
        inner.parentObjectXmlId = out.objects[size_t(index)].xmlId;
        inner.parentElement = -1;
        inner.parentElementXmlId = 0;
        walk(node, inner, out);
        return;
    }
    case Role::Element2D: {
        if (context.skipLevelContents)
            return;
        LmdElementKind kind;
        elementKindOf(name, kind);
        const int index = readElement(node, kind, context, out);
        Context inner = context;
        inner.underRoot = false;
        inner.parentElement = index;
        inner.parentElementXmlId = out.elements[size_t(index)].xmlId;
        walk(node, inner, out);
        return;
    }
    case Role::Declaration:
        if (!context.skipLevelContents)
            readDeclaration(node, context, out);
        return;
    case Role::Part:  // read with their model
    case Role::Logic: // the logic runtime's
        return;
    case Role::Unknown: {
        if (context.skipLevelContents)
            return;
        mFaults.report(node, "'" + std::string(name) +
                                 "' is not an element of the game language; it is left out and its contents "
                                 "are read as if they stood in its place");
        Context inner = context;
        walk(node, inner, out);
        return;
    }
    }
}

LmdLevelDesc LmdSceneReader::readLevelDesc(const pugi::xml_node& level) {
    LmdSceneDescription out;
    readLevel(level, out);
    return out.levels.front();
}

void LmdSceneReader::readLevel(const pugi::xml_node& node, LmdSceneDescription& out) {
    LmdNodeReader reader(node, mSchema, mFaults);
    LmdLevelDesc level;
    level.node = node;
    level.xmlId = reader.xmlId();
    level.name = reader.text("name");
    if (level.name.empty()) {
        level.name = "Level " + std::to_string(out.levels.size() + 1);
        mFaults.report(node, "the level has no name; it is called '" + level.name + "' here");
    }
    level.skyBox = reader.text("skyBox");
    level.fog = reader.text("fog");
    level.backgroundColor = reader.color("backgroundColor", 0x87CEEB);
    level.shadows = reader.boolean("shadows", true);
    level.gravity = Ogre::Vector3(reader.number("gravityX", 0.0f), reader.number("gravityY", -9.81f),
                                  reader.number("gravityZ", 0.0f));
    out.levels.push_back(std::move(level));
}

int LmdSceneReader::readObject(const pugi::xml_node& node, LmdObjectKind kind, const Context& context,
                               LmdSceneDescription& out) {
    LmdNodeReader reader(node, mSchema, mFaults);
    LmdObjectDesc d;
    d.kind = kind;
    d.node = node;
    d.xmlId = reader.xmlId();
    d.element = node.name();
    d.name = reader.text("name");
    d.level = context.level;
    d.parent = context.parentObject;
    d.parentXmlId = context.parentObjectXmlId;

    const bool isCamera = kind == LmdObjectKind::Camera;
    d.position = Ogre::Vector3(reader.number("x", 0.0f), reader.number("y", isCamera ? 5.0f : 0.0f),
                               reader.number("z", isCamera ? 10.0f : 0.0f));
    d.rotation = Ogre::Vector3(reader.number("rotationX", isCamera ? -20.0f : 0.0f), reader.number("rotationY", 0.0f),
                               reader.number("rotationZ", 0.0f));
    d.orientation = LmdEulerHelper::composeYXZ(d.rotation.x, d.rotation.y, d.rotation.z);
    if (reader.has("orientationW") && reader.has("orientationX") && reader.has("orientationY") &&
        reader.has("orientationZ")) {
        Ogre::Quaternion q(reader.number("orientationW", 1.0f), reader.number("orientationX", 0.0f),
                           reader.number("orientationY", 0.0f), reader.number("orientationZ", 0.0f));
        if (q.Norm() > 1e-6f) {
            q.normalise();
            d.orientation = q;
        }
    }
    d.scale = Ogre::Vector3(reader.number("scaleX", 1.0f), reader.number("scaleY", 1.0f), reader.number("scaleZ", 1.0f));
    d.pivot = Ogre::Vector3(reader.number("xAxis", 0.0f), reader.number("yAxis", 0.0f), reader.number("zAxis", 0.0f));

    switch (kind) {
    case LmdObjectKind::Box:
        d.size = Ogre::Vector3(positive(reader, mFaults, "width", 1.0f), positive(reader, mFaults, "height", 1.0f),
                               positive(reader, mFaults, "depth", 1.0f));
        break;
    case LmdObjectKind::Plane:
        d.size = Ogre::Vector3(positive(reader, mFaults, "width", 20.0f), 0.0f, positive(reader, mFaults, "depth", 20.0f));
        break;
    case LmdObjectKind::Sphere:
        d.radius = positive(reader, mFaults, "radius", 0.5f);
        d.segments = std::clamp(reader.integer("segments", 24), 4, 128);
        d.size = Ogre::Vector3(d.radius * 2.0f);
        break;
    case LmdObjectKind::Cylinder:
    case LmdObjectKind::Cone:
        d.radius = positive(reader, mFaults, "radius", 0.5f);
        d.segments = std::clamp(reader.integer("segments", 24), 3, 128);
        d.size = Ogre::Vector3(d.radius * 2.0f, positive(reader, mFaults, "height", 1.0f), d.radius * 2.0f);
        break;
    case LmdObjectKind::Capsule:
        d.radius = positive(reader, mFaults, "radius", 0.5f);
        d.size = Ogre::Vector3(d.radius * 2.0f, std::max(positive(reader, mFaults, "height", 2.0f), d.radius * 2.0f),
                               d.radius * 2.0f);
        break;
    default:
        break;
    }

    if (d.hasShape()) {
        d.color = reader.color("color", 0xFFFFFF);
        d.material = reader.text("texture");
        d.visible = reader.boolean("visible", true);
        d.castShadows = reader.boolean("castShadows", true);
        d.physics.body = bodyOf(reader.choice("body", kind == LmdObjectKind::Plane ? "static" : "none"));
        d.physics.shape = shapeOf(reader.choice("shape", "auto"));
        d.physics.mass = reader.number("mass", 1.0f);
        if (d.physics.mass <= 0.0f)
            d.physics.mass = 1.0f;
        d.physics.friction = reader.number("friction", 0.5f);
        d.physics.restitution = reader.number("restitution", 0.0f);
        d.physics.damping = reader.number("damping", 0.0f);
        d.physics.lockRotation = reader.boolean("lockRotation", false);
        d.physics.sensor = reader.boolean("sensor", false);
    } else if (kind == LmdObjectKind::Group) {
        d.visible = reader.boolean("visible", true);
    }

    if (kind == LmdObjectKind::Model) {
        d.fileName = reader.text("fileName");
        d.autoScale = reader.boolean("autoScale", true);
        d.animation = reader.text("animation");
        if (d.fileName.empty())
            mFaults.report(node, "the model has no fileName; an empty placeholder stands in its place");
    }
    if (d.hasShape())
        readModelParts(node, d);

    if (isCamera) {
        d.fov = std::clamp(reader.number("fov", 60.0f), 5.0f, 170.0f);
        d.nearClip = std::max(reader.number("near", 0.1f), 0.001f);
        d.farClip = std::max(reader.number("far", 1000.0f), d.nearClip + 1.0f);
        d.follow = reader.text("follow");
        d.followOffset = Ogre::Vector3(reader.number("followX", 0.0f), reader.number("followY", 3.0f),
                                       reader.number("followZ", 8.0f));
        d.smooth = std::clamp(reader.number("smooth", 0.1f), 0.0f, 1.0f);
    }

    if (d.isLight()) {
        d.color = reader.color("color", kind == LmdObjectKind::AmbientLight ? 0x404040 : 0xFFFFFF);
        d.intensity = reader.number("intensity", 1.0f);
        d.castShadows = reader.boolean("castShadows", kind == LmdObjectKind::DirectionalLight);
        if (kind == LmdObjectKind::DirectionalLight || kind == LmdObjectKind::SpotLight) {
            d.direction = Ogre::Vector3(reader.number("directionX", -0.5f), reader.number("directionY", -1.0f),
                                        reader.number("directionZ", -0.5f));
            if (d.direction.squaredLength() < 1e-8f)
                d.direction = Ogre::Vector3(0, -1, 0);
        }
        if (kind == LmdObjectKind::PointLight || kind == LmdObjectKind::SpotLight)
            d.range = std::max(reader.number("range", kind == LmdObjectKind::SpotLight ? 30.0f : 20.0f), 0.01f);
        if (kind == LmdObjectKind::SpotLight)
            d.angle = std::clamp(reader.number("angle", 45.0f), 1.0f, 179.0f);
    }

    out.objects.push_back(std::move(d));
    return int(out.objects.size()) - 1;
}

void LmdSceneReader::readModelParts(const pugi::xml_node& node, LmdObjectDesc& object) {
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (std::strcmp(child.name(), "VertexList") == 0) {
            for (pugi::xml_node v = child.child("Vertex"); v; v = v.next_sibling("Vertex")) {
                LmdNodeReader reader(v, mSchema, mFaults);
                LmdVertexOffset offset;
                offset.submesh = reader.integer("num", 0);
                const int pos = reader.integer("pos", -1);
                if (pos < 0 || offset.submesh < 0) {
                    mFaults.report(v, "num and pos must be whole numbers from 0; the vertex is left as it is");
                    continue;
                }
                offset.index = pos / 3;
                offset.offset = Ogre::Vector3(reader.number("x", 0.0f), reader.number("y", 0.0f), reader.number("z", 0.0f));
                object.vertices.push_back(offset);
            }
        } else if (std::strcmp(child.name(), "Animation") == 0 && object.kind == LmdObjectKind::Model) {
            LmdNodeReader reader(child, mSchema, mFaults);
            LmdAnimationDesc animation;
            animation.name = reader.text("name");
            animation.clip = reader.text("clip");
            animation.speed = reader.number("speed", 1.0f);
            animation.loop = reader.boolean("loop", true);
            if (animation.clip.empty())
                animation.clip = animation.name;
            object.animations.push_back(std::move(animation));
        }
    }
}

int LmdSceneReader::readElement(const pugi::xml_node& node, LmdElementKind kind, const Context& context,
                                LmdSceneDescription& out) {
    LmdNodeReader reader(node, mSchema, mFaults);
    LmdElementDesc e;
    e.kind = kind;
    e.node = node;
    e.xmlId = reader.xmlId();
    e.element = node.name();
    e.name = reader.text("name");
    e.level = context.level;
    e.parent = context.parentElement;
    e.parentXmlId = context.parentElementXmlId;

    const bool joystick = kind == LmdElementKind::Joystick;
    e.x = reader.number("x", joystick ? 120.0f : 0.0f);
    e.y = reader.number("y", joystick ? -120.0f : 0.0f);
    e.anchor = reader.choice("anchor", joystick ? "bottomLeft" : "topLeft");
    e.layer = reader.integer("layer", 0);
    e.visible = reader.boolean("visible", true);
    e.opacity = std::clamp(reader.number("opacity", 1.0f), 0.0f, 1.0f);

    switch (kind) {
    case LmdElementKind::Text:
        e.text = reader.text("text", "Text");
        e.fontSize = std::clamp(reader.integer("fontSize", 24), 4, 400);
        e.color = reader.color("color", 0xFFFFFF);
        e.align = reader.choice("align", "left");
        break;
    case LmdElementKind::Image:
        e.picture = reader.text("picture");
        e.width = reader.number("width", 100.0f);
        e.height = reader.number("height", 100.0f);
        e.color = reader.color("color", 0xFFFFFF);
        break;
    case LmdElementKind::Rect:
        e.width = reader.number("width", 200.0f);
        e.height = reader.number("height", 20.0f);
        e.color = reader.color("color", 0x43A047);
        e.cornerRadius = std::max(reader.number("cornerRadius", 0.0f), 0.0f);
        break;
    case LmdElementKind::Button:
        e.text = reader.text("text", "Button");
        e.fontSize = std::clamp(reader.integer("fontSize", 20), 4, 400);
        e.textColor = reader.color("textColor", 0xFFFFFF);
        e.width = reader.number("width", 160.0f);
        e.height = reader.number("height", 48.0f);
        e.color = reader.color("color", 0x3366CC);
        e.picture = reader.text("picture");
        e.align = "center";
        break;
    case LmdElementKind::Joystick:
        e.radius = std::max(reader.number("radius", 70.0f), 8.0f);
        e.color = reader.color("color", 0xFFFFFF);
        e.width = e.height = e.radius * 2.0f;
        break;
    }
    out.elements.push_back(std::move(e));
    return int(out.elements.size()) - 1;
}

void LmdSceneReader::readDeclaration(const pugi::xml_node& node, const Context& context, LmdSceneDescription& out) {
    LmdNodeReader reader(node, mSchema, mFaults);
    const std::string_view element = node.name();
    const std::string name = reader.text("name");
    if (name.empty()) {
        mFaults.report(node, "the declaration has no name, so nothing can use it; it is left out");
        return;
    }
    if (element == "Material") {
        LmdMaterialDesc m;
        m.node = node;
        m.xmlId = reader.xmlId();
        m.name = name;
        m.level = context.level;
        m.color = reader.color("color", 0xFFFFFF);
        m.picture = reader.text("picture");
        m.opacity = std::clamp(reader.number("opacity", 1.0f), 0.0f, 1.0f);
        m.shininess = std::max(reader.number("shininess", 0.0f), 0.0f);
        m.lighting = reader.boolean("lighting", true);
        m.tileU = reader.number("tileU", 1.0f);
        m.tileV = reader.number("tileV", 1.0f);
        m.scrollU = reader.number("scrollU", 0.0f);
        m.scrollV = reader.number("scrollV", 0.0f);
        m.reflectionPicture = reader.text("reflectionPicture");
        m.reflectivity = std::clamp(reader.number("reflectivity", 0.0f), 0.0f, 1.0f);
        out.materials.push_back(std::move(m));
    } else if (element == "SkyBox") {
        LmdSkyDesc s;
        s.node = node;
        s.xmlId = reader.xmlId();
        s.name = name;
        s.level = context.level;
        s.picture = reader.text("picture");
        s.color = reader.color("color", 0xFFFFFF);
        s.distance = std::max(reader.number("distance", 5000.0f), 10.0f);
        out.skies.push_back(std::move(s));
    } else if (element == "Fog") {
        LmdFogDesc f;
        f.node = node;
        f.xmlId = reader.xmlId();
        f.name = name;
        f.level = context.level;
        f.exponential = reader.choice("mode", "linear") == "exponential";
        f.color = reader.color("color", 0xC0C8D0);
        f.start = reader.number("start", 20.0f);
        f.end = reader.number("end", 200.0f);
        if (f.end <= f.start)
            f.end = f.start + 1.0f;
        f.density = std::max(reader.number("density", 0.01f), 0.0f);
        out.fogs.push_back(std::move(f));
    } else if (element == "LoadSound") {
        LmdSoundDesc s;
        s.node = node;
        s.xmlId = reader.xmlId();
        s.name = name;
        s.level = context.level;
        s.fileName = reader.text("fileName");
        s.volume = std::clamp(reader.number("volume", 1.0f), 0.0f, 1.0f);
        s.loop = reader.boolean("loop", false);
        s.autoPlay = reader.boolean("autoPlay", false);
        out.sounds.push_back(std::move(s));
    }
}

} // namespace Lumenda3D
