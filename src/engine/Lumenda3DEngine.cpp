#include "engine/Lumenda3DEngine.h"

#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "base/LmdValueParser.h"
#include "engine/app/LmdScreenProjector.h"
#include "engine/assets/LmdMaterialFactory.h"
#include "engine/assets/LmdMeshLibrary.h"
#include "engine/document/Lumenda3DUtils.h"
#include "engine/LmdEditLayer.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdLayer2D.h"
#include "engine/scene/LmdObjectProperties.h"
#include "engine/scene/LmdPartialSource.h"
#include "engine/scene/LmdScene.h"
#include "engine/scene/LmdSceneReader.h"
#include "engine/scene/LmdShadows.h"
#include "engine/scene/ScriptParser.h"
#include "engine/schema/CodeSchema.h"
#include "services/MyHttpClient.h"

#include <OgreCamera.h>
#include <OgreEntity.h>
#include <OgreSceneManager.h>
#include <OgreSceneNode.h>
#include <OgreViewport.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

namespace Lumenda3D {
namespace {

Lumenda3DEngine* gEngine = nullptr;

// The distance along `direction` (not normalised) at which the ray enters the box; false if it misses.
bool rayBox(const Ogre::Vector3& origin, const Ogre::Vector3& direction, const Ogre::AxisAlignedBox& box, float& t) {
    float tMin = 0.0f, tMax = std::numeric_limits<float>::max();
    for (int axis = 0; axis < 3; ++axis) {
        const float o = origin[axis], d = direction[axis];
        const float lo = box.getMinimum()[axis], hi = box.getMaximum()[axis];
        if (std::abs(d) < 1e-12f) {
            if (o < lo || o > hi)
                return false;
            continue;
        }
        float t1 = (lo - o) / d, t2 = (hi - o) / d;
        if (t1 > t2)
            std::swap(t1, t2);
        tMin = std::max(tMin, t1);
        tMax = std::min(tMax, t2);
        if (tMin > tMax)
            return false;
    }
    t = tMin;
    return true;
}

LmdScriptValue typedValue(const std::string& value, const std::string& type) {
    if (type == "number" || type == "int") {
        double number = 0.0;
        if (LmdValueParser::parseNumber(value, number))
            return LmdScriptValue::ofNumber(number);
    } else if (type == "boolean") {
        bool flag = false;
        if (LmdValueParser::parseBool(value, flag))
            return LmdScriptValue::ofBoolean(flag);
    }
    return LmdScriptValue::ofText(value);
}

} // namespace

Lumenda3DEngine::Lumenda3DEngine(const std::string& appName) : LmdAppContext(appName) {
    gEngine = this;
    mScriptParser = std::make_shared<ScriptParser>();
}

Lumenda3DEngine::~Lumenda3DEngine() {
    // Scene objects live in OGRE's scene manager: they go before the context shuts OGRE down.
    if (getSceneManager())
        mEditScene.reset();
    else
        mEditScene.release(); // OGRE is gone and took the objects with it
    if (mShadows && !getSceneManager())
        mShadows->detach();
    // The edit layer's scene parts must not outlive the scene manager; it lets go of the document.
    if (mEditLayer) {
        mEditLayer->sceneClosing(getSceneManager() != nullptr);
        mEditLayer.reset();
    }
    if (mHttpClient)
        mHttpClient->shutdown();
    if (gEngine == this)
        gEngine = nullptr;
}

Lumenda3DEngine* Lumenda3DEngine::getEngine() {
    return gEngine;
}

void Lumenda3DEngine::installEditLayer(std::unique_ptr<LmdEditLayer> layer) {
    if (mEditLayer)
        mEditLayer->sceneClosing(getSceneManager() != nullptr);
    mEditLayer = std::move(layer);
    if (mEditLayer && getSceneManager() && mEditScene)
        mEditLayer->sceneCreated(getSceneManager());
}

bool Lumenda3DEngine::editSceneShown() const {
    return mEditScene && getActiveScene() == mEditScene.get();
}

void Lumenda3DEngine::setup() {
    LmdAppContext::setup();
    runGuarded("setupEngine", [&] {
        setupAssets();
        mMaterials = std::make_unique<LmdMaterialFactory>(mAssets);
        mMeshes = std::make_unique<LmdMeshLibrary>(mAssets, *mMaterials, mFaults);
        mShadows = std::make_unique<LmdShadows>(getSceneManager());
        mFonts.install();
        mEditScene = makeScene(true);
        if (mEditLayer)
            mEditLayer->sceneCreated(getSceneManager());
        if (mDocument.getSourceXml())
            rebuildEditScene(mCurrentLevel);
    });
}

void Lumenda3DEngine::onClose() {
    runGuarded("onClose", [&] {
        clearSelectedObjects();
        if (mEditLayer)
            mEditLayer->sceneClosing(true);
        mEditScene.reset();
        mShadows.reset();
        mMeshes.reset();
        mMaterials.reset();
    });
    LmdAppContext::onClose();
}

std::unique_ptr<LmdScene> Lumenda3DEngine::makeScene(bool editMode) {
    LmdSceneBuilder::Services services;
    services.sceneManager = getSceneManager();
    services.materials = mMaterials.get();
    services.meshes = mMeshes.get();
    services.faults = &mFaults;
    services.shadows = mShadows.get();
    return std::make_unique<LmdScene>(services, editMode);
}

// --- Document --------------------------------------------------------------------------------

pugi::xml_document* Lumenda3DEngine::getSourceXml() {
    return mDocument.getSourceXml();
}

std::string Lumenda3DEngine::getSourceXmlString(bool withIds, bool forStorage) const {
    return mDocument.getSourceXmlString(withIds, forStorage);
}

bool Lumenda3DEngine::setXmlSourceString(const std::string& xml) {
    // Parse first: bad text must leave the document and the scene alone.
    pugi::xml_document probe;
    if (!LmdGameDocument::parse(xml, probe))
        return mDocument.setXmlSourceString(xml); // logs nothing, returns false, keeps the old one
    forgetDocumentNodes();
    const bool ok = mDocument.setXmlSourceString(xml);
    if (ok) {
        mFaults.reset(); // a new document reports its faults anew
        clearSyntheticClickMark();
    }
    return ok;
}

int Lumenda3DEngine::getSourceVersion() const {
    return mDocument.getSourceVersion();
}

pugi::xml_node Lumenda3DEngine::getXmlNodeById(int id) const {
    return mDocument.getXmlNodeById(id);
}

void Lumenda3DEngine::registerXmlNode(const pugi::xml_node& node) {
    mDocument.registerXmlNode(node);
}

bool Lumenda3DEngine::sourceHasLocalAssets() const {
    return mDocument.sourceHasLocalAssets();
}

std::string Lumenda3DEngine::getAssetsXmlString() const {
    return mDocument.getAssetsXmlString(mScriptParser ? mScriptParser->getCodeSchema() : nullptr);
}

void Lumenda3DEngine::forgetDocumentNodes() {
    if (!mEditScene)
        return;
    // The old document's nodes die with it: the scene keeps its objects (shown until the
    // rebuild) but no handle into the old tree.
    mEditScene->forgetNodes();
}

void Lumenda3DEngine::rebuildLevelDescription(LmdScene& scene, const pugi::xml_node& level) {
    LmdSceneReader reader = mScriptParser->reader(mFaults);
    scene.setLevelDesc(reader.readLevelDesc(level));
}

// --- Running and partial updates -------------------------------------------------------------

void Lumenda3DEngine::rebuildEditScene(const std::string& level) {
    if (!mEditScene || !mScriptParser)
        return;
    clearSelectedObjects();
    mEditScene->clear();
    mMeshes->clearDocumentResources();
    mMaterials->clearDocumentResources();
    const pugi::xml_node root = mDocument.root();
    mScriptParser->buildScene(*mEditScene, root, std::string(), mFaults);
    const std::vector<std::string> levels = getLevelNames();
    std::string shown = level;
    if (std::find(levels.begin(), levels.end(), shown) == levels.end())
        shown = levels.empty() ? std::string() : levels.front();
    mCurrentLevel = shown;
    mEditScene->showLevel(shown, getViewport());
    previewTexts(*mEditScene);
    fireEvents(LmdEventSceneLoaded, std::make_shared<LmdEvent>(LmdEventSceneLoaded));
}

void Lumenda3DEngine::previewTexts(LmdScene& scene) {
    const pugi::xml_node root = mDocument.root();
    for (LmdBase2D* element : scene.elements()) {
        const std::string& text = element->getDesc().text;
        if (text.find('{') == std::string::npos)
            continue;
        // Starting values of the variables the level and the game declare.
        std::map<std::string, std::string> values;
        auto collect = [&values](const pugi::xml_node& scope) {
            for (pugi::xml_node var = scope.child("Var"); var; var = var.next_sibling("Var"))
                values.emplace(var.attribute("name").value(), var.attribute("value").as_string("0"));
        };
        collect(LmdSceneReader::findLevel(root, element->getLevel()));
        collect(root);
        std::string shown;
        for (size_t i = 0; i < text.size(); ++i) {
            const size_t close = text[i] == '{' ? text.find('}', i) : std::string::npos;
            if (close != std::string::npos) {
                const std::string name = std::string(LmdValueParser::trim(text.substr(i + 1, close - i - 1)));
                auto found = values.find(name);
                if (found != values.end()) {
                    std::string value = found->second;
                    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\''))
                        value = value.substr(1, value.size() - 2);
                    shown += value;
                    i = close;
                    continue;
                }
            }
            shown += text[i];
        }
        element->setText(shown);
    }
}

void Lumenda3DEngine::updateScript(bool, std::function<void()> done, bool keepLevel) {
    mLoading = true;
    const int serial = ++mLoadSerial;
    const std::string level = keepLevel ? mCurrentLevel : std::string();
    deferAction([this, serial, level, done] {
        // A newer request rebuilds anyway: only the last one does the work, all complete.
        if (serial == mLoadSerial) {
            runGuarded("updateScript", [&] { rebuildEditScene(level); });
            mLoading = false;
        }
        if (done)
            runGuarded("updateScript done", done);
    });
}

void Lumenda3DEngine::runPartialSource(pugi::xml_node node, pugi::xml_node parent) {
    (void)parent; // the node's own place in the document tells where it stands
    if (!node || !mEditScene || !mScriptParser)
        return;
    runGuarded("runPartialSource", [&] {
        LmdSceneFaults quietFaults;
        LmdSceneReader reader = mScriptParser->reader(quietFaults);
        const LmdSceneReader::Role role = reader.roleOf(node.name());
        if (role == LmdSceneReader::Role::Part) {
            // A model's VertexList or Animation: the model is rebuilt with it.
            if (pugi::xml_node owner = reader.enclosingObject(node))
                rebuildNode(*mEditScene, owner.attribute("id").as_int(0));
            return;
        }
        LmdSceneDescription part;
        mScriptParser->describeSubtree(node, part, mFaults);
        mEditScene->addPart(part);
        if (role == LmdSceneReader::Role::Declaration) {
            // A new Material may be what objects' `texture` named all along.
            for (LmdBase3D* object : mEditScene->objects())
                mEditScene->builder().applyLooks(*object, mEditScene->description());
        }
        previewTexts(*mEditScene);
        mEditScene->refreshEnvironment(getViewport());
    });
}

bool Lumenda3DEngine::shouldRunPartialSource(const std::string& nameOrAttribute, pugi::xml_node node) {
    return mScriptParser && mScriptParser->shouldRunPartialSource(nameOrAttribute, node);
}

void Lumenda3DEngine::rebuildNode(LmdScene& scene, int xmlId) {
    const pugi::xml_node node = mDocument.getXmlNodeById(xmlId);
    if (!node)
        return;
    const bool wasSelected = getSelectedObject() && getSelectedObject()->getXmlId() == xmlId;
    if (wasSelected)
        clearSelectedObjects();
    scene.removeNode(xmlId);
    LmdSceneDescription part;
    mScriptParser->describeSubtree(node, part, mFaults);
    // In a play scene only the level being played is built.
    if (!scene.isEditMode()) {
        auto away = [&scene](const std::string& level) { return !level.empty() && level != scene.getShownLevel(); };
        part.objects.erase(std::remove_if(part.objects.begin(), part.objects.end(),
                                          [&](const LmdObjectDesc& o) { return away(o.level); }),
                           part.objects.end());
        part.elements.erase(std::remove_if(part.elements.begin(), part.elements.end(),
                                           [&](const LmdElementDesc& e) { return away(e.level); }),
                            part.elements.end());
    }
    scene.addPart(part);
    if (wasSelected && &scene == mEditScene.get())
        setSelectedObject(scene.objectByXmlId(xmlId));
}

bool Lumenda3DEngine::applyAttribute(LmdScene& scene, int xmlId, const std::string& attribute,
                                     const std::string& value, const std::string& type, bool playing) {
    const pugi::xml_node node = mDocument.getXmlNodeById(xmlId);
    LmdSceneFaults quiet;
    quiet.setLogging(false);
    const LmdSceneReader reader = mScriptParser->reader(quiet);
    const LmdSceneReader::Role role = node ? reader.roleOf(node.name()) : LmdSceneReader::Role::Unknown;
    const LmdScriptValue typed = typedValue(value, type);

    // Declarations and levels: re-read from the document (it already holds the value).
    if (role == LmdSceneReader::Role::Declaration || role == LmdSceneReader::Role::Level) {
        if (role == LmdSceneReader::Role::Declaration && std::string(node.name()) == "LoadSound")
            return true; // read again when the game starts
        if (role == LmdSceneReader::Role::Declaration) {
            LmdSceneDescription part;
            mScriptParser->describeSubtree(node, part, mFaults);
            scene.addPart(part);
            for (LmdBase3D* object : scene.objects())
                scene.builder().applyLooks(*object, scene.description());
        } else {
            rebuildLevelDescription(scene, node);
        }
        scene.refreshEnvironment(getViewport());
        return true;
    }
    if (role == LmdSceneReader::Role::Part) {
        if (pugi::xml_node owner = reader.enclosingObject(node))
            rebuildNode(scene, owner.attribute("id").as_int(0));
        return true;
    }

    bool taken = false;
    for (LmdBase3D* object : scene.objectsOfXmlId(xmlId)) {
        if (attribute == "name") {
            scene.renameObject(object, value);
            taken = true;
            continue;
        }
        LmdObjectProperties::Context context{&scene, mMaterials.get(), nullptr, getViewport()};
        if (playing)
            context.physics = physicsFor(scene);
        if (LmdObjectProperties::set(context, *object, attribute, typed) ||
            (attribute == "texture" && value.empty() && LmdObjectProperties::set(context, *object, "texture", typed))) {
            taken = true;
        }
    }
    if (!taken && !scene.objectsOfXmlId(xmlId).empty() &&
        LmdPartialSource::attributeUpdate(node.name(), attribute, reader) == LmdPartialSource::AttributeUpdate::Rebuild) {
        rebuildNode(scene, xmlId);
        taken = true;
    }
    if (LmdBase2D* element = scene.elementByXmlId(xmlId)) {
        if (attribute == "picture") {
            element->desc().picture = value;
            scene.builder().loadPicture(*element);
            taken = true;
        } else if (attribute == "name") {
            element->desc().name = value;
            taken = true;
        } else {
            taken = element->setProperty(attribute, typed) || taken;
            if (attribute == "text" && scene.isEditMode())
                element->desc().text = value, previewTexts(scene);
        }
    }
    if (role == LmdSceneReader::Role::Object3D && attribute != "name")
        scene.refreshEnvironment(getViewport()); // ambient lights, visibility of lights
    return taken;
}

bool Lumenda3DEngine::updateLuaAttribute(int xmlId, const std::string& attribute, const std::string& value,
                                         const std::string& type) {
    bool taken = false;
    runGuarded("updateLuaAttribute", [&] {
        if (mEditScene && mScriptParser)
            taken = applyAttribute(*mEditScene, xmlId, attribute, value, type, false);
    });
    return taken;
}

bool Lumenda3DEngine::pushAttributeLive(int xmlId, const std::string& attribute) {
    const pugi::xml_node node = mDocument.getXmlNodeById(xmlId);
    if (!node)
        return false;
    std::string type = "string";
    std::string value = node.attribute(attribute.c_str()).value();
    const CodeSchema* schema = mScriptParser ? mScriptParser->getCodeSchema() : nullptr;
    const CodeSchema::CommandDef* command = schema ? schema->findCommandDef(node.name()) : nullptr;
    if (const CodeSchema::AttributeDef* def = command ? CodeSchema::findAttributeDef(*command, attribute) : nullptr) {
        switch (def->kind) {
        case CodeSchema::ValueKind::Number: type = "number"; break;
        case CodeSchema::ValueKind::Integer: type = "int"; break;
        case CodeSchema::ValueKind::Boolean: type = "boolean"; break;
        case CodeSchema::ValueKind::Color: type = "color"; break;
        case CodeSchema::ValueKind::Text: break;
        }
        if (!node.attribute(attribute.c_str()))
            value = std::string(def->defaultValue);
    }
    return updateLuaAttribute(xmlId, attribute, value, type);
}

void Lumenda3DEngine::rebuildMaterialObject(int xmlId, bool) {
    runGuarded("rebuildMaterialObject", [&] {
        if (!mEditScene)
            return;
        const pugi::xml_node node = mDocument.getXmlNodeById(xmlId);
        if (node && std::string(node.name()) == "Material") {
            LmdSceneDescription part;
            mScriptParser->describeSubtree(node, part, mFaults);
            mEditScene->addPart(part);
            for (LmdBase3D* object : mEditScene->objects())
                mEditScene->builder().applyLooks(*object, mEditScene->description());
            return;
        }
        for (LmdBase3D* object : mEditScene->objectsOfXmlId(xmlId))
            mEditScene->builder().applyLooks(*object, mEditScene->description());
        if (node && (std::string(node.name()) == "SkyBox" || std::string(node.name()) == "Fog")) {
            LmdSceneDescription part;
            mScriptParser->describeSubtree(node, part, mFaults);
            mEditScene->addPart(part);
            mEditScene->refreshEnvironment(getViewport());
        }
    });
}

void Lumenda3DEngine::applyObjectAutoScale(int xmlId) {
    runGuarded("applyObjectAutoScale", [&] {
        if (mEditScene)
            rebuildNode(*mEditScene, xmlId);
    });
}

void Lumenda3DEngine::stop(std::function<void()> done) {
    if (done)
        runGuarded("stop done", done);
}

void Lumenda3DEngine::clear() {
    runGuarded("clear", [&] {
        clearSelectedObjects();
        if (mEditScene)
            mEditScene->clear();
        if (mEditScene)
            mEditScene->showLevel(std::string(), getViewport());
        mCurrentLevel.clear();
    });
}

void Lumenda3DEngine::deferAction(std::function<void()> action) {
    if (action)
        mDeferred.push_back(std::move(action));
}

void Lumenda3DEngine::setupAssets() {
    LmdPaths::ensureDir(mAssets.getCacheDir());
}

void Lumenda3DEngine::refreshLocalAssets() {
    // Files may have changed on disk: read everything again with the next build.
    updateScript(isRunning(), nullptr, true);
}

void Lumenda3DEngine::setLocalAssetsDir(const std::string& dir) {
    mAssets.setLocalAssetsDir(dir);
}

void Lumenda3DEngine::setGameDir(const std::string& dir) {
    mAssets.setGameDir(dir);
}

// --- Scene and selection ---------------------------------------------------------------------

void Lumenda3DEngine::setLevel(const std::string& name) {
    runGuarded("setLevel", [&] {
        const std::vector<std::string> levels = getLevelNames();
        if (!name.empty() && std::find(levels.begin(), levels.end(), name) == levels.end()) {
            LmdLog::message("setLevel: the game has no level named '" + name + "'");
            return;
        }
        mCurrentLevel = name;
        LmdBase3D* selected = getSelectedObject();
        if (selected && !selected->getLevel().empty() && selected->getLevel() != name)
            clearSelectedObjects();
        if (mEditScene && getActiveScene() == mEditScene.get())
            mEditScene->showLevel(name, getViewport());
        fireEvents(LmdEventLevelChanged, std::make_shared<LmdLevelChangedEvent>(name, false));
    });
}

std::vector<std::string> Lumenda3DEngine::getLevelNames() const {
    return LmdSceneReader::levelNames(mDocument.root());
}

void Lumenda3DEngine::addEditorLevel(const std::string& name) {
    runGuarded("addEditorLevel", [&] {
        pugi::xml_node root = mDocument.root();
        if (!root || name.empty())
            return;
        if (mEditLayer) {
            // Through the document service: recorded for undo, registered and built.
            if (!mEditLayer->createElement(root, "Level", {{"name", name}}))
                return;
        } else {
            pugi::xml_node level = root.append_child("Level");
            level.append_attribute("name") = name.c_str();
            level.append_attribute("id").set_value(Lumenda3DUtils::getNextId());
            registerXmlNode(level);
            runPartialSource(level, root);
        }
        setLevel(name);
    });
}

LmdBase3D* Lumenda3DEngine::getSelectedObject() const {
    return mEditLayer ? mEditLayer->selectedObject() : nullptr;
}

void Lumenda3DEngine::setSelectedObject(LmdBase3D* object) {
    if (mEditLayer)
        mEditLayer->selectObject(object);
}

void Lumenda3DEngine::clearSelectedObjects() {
    if (mEditLayer)
        mEditLayer->clearSelection();
}

LmdSelection* Lumenda3DEngine::getSelection() const {
    return mEditLayer ? &mEditLayer->selection() : nullptr;
}

std::shared_ptr<LmdGizmo> Lumenda3DEngine::getGizmo() const {
    return mEditLayer ? mEditLayer->gizmo() : nullptr;
}

std::shared_ptr<LmdGizmo2D> Lumenda3DEngine::getGizmo2D() const {
    return mEditLayer ? mEditLayer->gizmo2D() : nullptr;
}

LmdBase3D* Lumenda3DEngine::getObjByXmlId(int xmlId) const {
    LmdScene* scene = getActiveScene();
    return scene ? scene->objectByXmlId(xmlId) : nullptr;
}

LmdBase2D* Lumenda3DEngine::get2DObjectByXmlId(int xmlId) const {
    LmdScene* scene = getActiveScene();
    return scene ? scene->elementByXmlId(xmlId) : nullptr;
}

std::vector<LmdBase3D*> Lumenda3DEngine::getObjectList() const {
    LmdScene* scene = getActiveScene();
    return scene ? scene->objects() : std::vector<LmdBase3D*>();
}

std::vector<LmdBase2D*> Lumenda3DEngine::get2DObjectList() const {
    LmdScene* scene = getActiveScene();
    return scene ? scene->elements() : std::vector<LmdBase2D*>();
}

std::vector<LmdBase3D*> Lumenda3DEngine::objectsUnder(int x, int y,
                                                     const std::function<bool(const LmdBase3D&)>& candidate) const {
    LmdScene* scene = getActiveScene();
    // The one picking ray: the live camera through the viewport, in window pixels.
    const LmdScreenProjector projector = getScreenProjector();
    if (!scene || !projector.isValid())
        return {};
    const Ogre::Ray ray = projector.ray(float(x), float(y));
    std::vector<std::pair<float, LmdBase3D*>> hits;
    for (LmdBase3D* object : scene->objects()) {
        if (!object->getNode() || !scene->isShownNow(*object) || !object->isShown() || !candidate(*object))
            continue;
        const Ogre::AxisAlignedBox local = object->getLocalBounds();
        if (local.isNull() || local.isInfinite())
            continue;
        // The ray in the object's own frame meets the box its entity spans there.
        const Ogre::Affine3 inverse = object->getNode()->_getFullTransform().inverse();
        float t = 0.0f;
        if (rayBox(inverse * ray.getOrigin(), inverse.linear() * ray.getDirection(), local, t))
            hits.emplace_back(t, object);
    }
    std::stable_sort(hits.begin(), hits.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<LmdBase3D*> objects;
    objects.reserve(hits.size());
    for (const auto& hit : hits)
        objects.push_back(hit.second);
    return objects;
}

std::vector<LmdBase3D*> Lumenda3DEngine::pickObjects(int x, int y) const {
    return objectsUnder(x, y, [](const LmdBase3D& object) { return object.getMask() != 0; });
}

LmdBase3D* Lumenda3DEngine::pickObject(int x, int y) const {
    const std::vector<LmdBase3D*> hits = pickObjects(x, y);
    return hits.empty() ? nullptr : hits.front();
}

std::vector<Ogre::Entity*> Lumenda3DEngine::getEntitiesUnderScreenPoint(int x, int y) const {
    std::vector<Ogre::Entity*> entities;
    for (LmdBase3D* object : objectsUnder(x, y, [](const LmdBase3D& o) { return o.getEntity() != nullptr; }))
        entities.push_back(object->getEntity());
    return entities;
}

LmdBase2D* Lumenda3DEngine::pick2DObject(int x, int y) const {
    LmdScene* scene = getActiveScene();
    return scene ? LmdLayer2D::hit(scene->elements(), scene->getShownLevel(), float(x), float(y)) : nullptr;
}

Ogre::Vector3 Lumenda3DEngine::convert2DTo3D(const ImVec2& screen) const {
    const LmdScreenProjector projector = getScreenProjector();
    if (!projector.isValid())
        return Ogre::Vector3::ZERO;
    const Ogre::Ray ray = projector.ray(screen.x, screen.y);
    const Ogre::Plane placing(Ogre::Vector3::UNIT_Y, 0.0f);
    const std::pair<bool, Ogre::Real> hit = ray.intersects(placing);
    if (hit.first && hit.second > 0.0f && hit.second < 10000.0f)
        return ray.getPoint(hit.second);
    return ray.getPoint(10.0f);
}

ImVec2 Lumenda3DEngine::getSceneCenterScreenPos() const {
    const Ogre::Vector2 size = getWindowSize();
    return ImVec2(mInsetLeft + (size.x - mInsetLeft) * 0.5f, mInsetTop + (size.y - mInsetTop) * 0.5f);
}

LmdRect2D Lumenda3DEngine::get2DView() const {
    const Ogre::Vector2 size = getWindowSize();
    return LmdRect2D{mInsetLeft, mInsetTop, std::max(size.x - mInsetLeft, 0.0f), std::max(size.y - mInsetTop, 0.0f)};
}

void Lumenda3DEngine::setViewInsets(float left, float top) {
    mInsetLeft = std::max(left, 0.0f);
    mInsetTop = std::max(top, 0.0f);
}

// --- Services and events ---------------------------------------------------------------------

std::shared_ptr<MyHttpClient> Lumenda3DEngine::getHttpClient() {
    if (!mHttpClient) {
        mHttpClient = std::make_shared<MyHttpClient>();
        mHttpDelivery = mFramePump.add("HTTP callbacks", [this] { mHttpClient->pump(); });
    }
    return mHttpClient;
}

void Lumenda3DEngine::addEventListener(LmdEventEnum id, std::function<void(std::shared_ptr<LmdEvent>)> listener,
                                       LmdListenerMode mode) {
    mEvents.addListener(id, std::move(listener), mode);
}

LmdSubscription Lumenda3DEngine::subscribeEvent(LmdEventEnum id, std::function<void(std::shared_ptr<LmdEvent>)> listener,
                                                LmdListenerMode mode) {
    return mEvents.subscribe(id, std::move(listener), mode);
}

void Lumenda3DEngine::fireEvents(LmdEventEnum id, std::shared_ptr<LmdEvent> event) {
    mEvents.fire(id, event);
}

void Lumenda3DEngine::logToServer(const std::string& text) {
    LmdLog::message(text);
}

// --- Frame -----------------------------------------------------------------------------------

bool Lumenda3DEngine::frameStarted(const Ogre::FrameEvent& evt) {
    LmdAppContext::frameStarted(evt); // input
    if (!mDeferred.empty()) {
        std::vector<std::function<void()>> due;
        due.swap(mDeferred);
        for (auto& action : due)
            runGuarded("deferAction", action);
    }
    runGuarded("frameUpdate", [&] { frameUpdate(evt.timeSinceLastFrame); });
    if (mEditLayer)
        runGuarded("updateGizmos", [&] { mEditLayer->frameStarted(); });
    return true;
}

bool Lumenda3DEngine::frameRenderingQueued(const Ogre::FrameEvent& evt) {
    // What other threads finished arrives first: the agents' jobs, HTTP answers, the updater.
    mFramePump.run();
    const bool result = LmdAppContext::frameRenderingQueued(evt);
    if (mEditLayer)
        runGuarded("frameRenderingQueued", [&] { mEditLayer->frameRenderingQueued(); });
    return result;
}

void Lumenda3DEngine::preViewportUpdate(const Ogre::RenderTargetViewportEvent& evt) {
    LmdAppContext::preViewportUpdate(evt);
    if (!evt.source || !evt.source->getOverlaysEnabled() || !ImGui::GetCurrentContext())
        return;
    runGuarded("draw2D", [&] {
        LmdScene* scene = getActiveScene();
        if (!scene)
            return;
        LmdLayer2D::draw(ImGui::GetBackgroundDrawList(), scene->elements(), scene->getShownLevel(), get2DView(),
                         &mFonts);
        // The gizmos' screen parts go over the layer they edit, under every panel.
        if (mEditLayer && scene == mEditScene.get())
            mEditLayer->drawOverlay(ImGui::GetBackgroundDrawList());
    });
}

bool Lumenda3DEngine::mousePressed(const OgreBites::MouseButtonEvent& evt) {
    if (evt.button == OgreBites::BUTTON_LEFT) {
        mPressX = evt.x;
        mPressY = evt.y;
        // A press on a gizmo is the gizmo's: the camera never sees it (Alt + drag stays the camera's).
        bool taken = false;
        if (mEditLayer && editSceneShown() && !mAltHeld)
            taken = runGuarded("gizmo press", false, [&] { return mEditLayer->mousePressed(evt.x, evt.y); });
        if (taken)
            return true;
    }
    return LmdAppContext::mousePressed(evt);
}

bool Lumenda3DEngine::mouseMoved(const OgreBites::MouseMotionEvent& evt) {
    bool taken = false;
    if (mEditLayer && editSceneShown())
        taken = runGuarded("gizmo move", false, [&] { return mEditLayer->mouseMoved(evt.x, evt.y); });
    return taken || LmdAppContext::mouseMoved(evt);
}

bool Lumenda3DEngine::mouseReleased(const OgreBites::MouseButtonEvent& evt) {
    bool gizmoDrag = false;
    if (evt.button == OgreBites::BUTTON_LEFT && mEditLayer && editSceneShown())
        gizmoDrag = runGuarded("gizmo release", false, [&] { return mEditLayer->mouseReleased(evt.x, evt.y); });
    const bool handled = LmdAppContext::mouseReleased(evt);
    if (!gizmoDrag && evt.button == OgreBites::BUTTON_LEFT && std::abs(evt.x - mPressX) <= 3 &&
        std::abs(evt.y - mPressY) <= 3 && !getEditorCamera().isBusy() && mEditLayer && editSceneShown()) {
        runGuarded("pick", [&] { mEditLayer->clicked(evt.x, evt.y, mShiftHeld); });
    }
    mPressX = mPressY = -1000;
    return handled || gizmoDrag;
}

bool Lumenda3DEngine::keyPressed(const OgreBites::KeyboardEvent& evt) {
    noteModifier(evt, true);
    return LmdAppContext::keyPressed(evt);
}

bool Lumenda3DEngine::keyReleased(const OgreBites::KeyboardEvent& evt) {
    noteModifier(evt, false);
    return LmdAppContext::keyReleased(evt);
}

// --- Modifiers and projection ----------------------------------------------------------------------------------

void Lumenda3DEngine::noteModifier(const OgreBites::KeyboardEvent& evt, bool down) {
    constexpr OgreBites::Keycode kScancodeKey = 1 << 30;
    switch (evt.keysym.sym) {
    case kScancodeKey | 0xE1: // left shift
    case kScancodeKey | 0xE5: // right shift
        mShiftHeld = down;
        break;
    case kScancodeKey | 0xE0: // left ctrl
    case kScancodeKey | 0xE4: // right ctrl
        mCtrlHeld = down;
        break;
    case kScancodeKey | 0xE2: // left alt
    case kScancodeKey | 0xE6: // right alt
        mAltHeld = down;
        break;
    default:
        return;
    }
    if (mEditLayer)
        mEditLayer->modifiersChanged(mShiftHeld, mCtrlHeld, mAltHeld);
}

LmdScreenProjector Lumenda3DEngine::getScreenProjector() const {
    return LmdScreenProjector::fromCamera(getCamera(), getViewport());
}

} // namespace Lumenda3D
