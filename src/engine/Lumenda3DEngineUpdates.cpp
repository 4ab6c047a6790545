// The engine's running game and its partial updates: a changed attribute or node reaches the
// running scene and logic without a restart where it can.
#include "engine/Lumenda3DEngine.h"

#include "base/LmdPaths.h"
#include "base/LmdValueParser.h"
#include "engine/assets/LmdMaterialFactory.h"
#include "engine/assets/LmdMeshLibrary.h"
#include "engine/scene/LmdBase2D.h"
#include "engine/scene/LmdBase3D.h"
#include "engine/scene/LmdObjectProperties.h"
#include "engine/scene/LmdPartialSource.h"
#include "engine/scene/LmdScene.h"
#include "engine/scene/LmdSceneReader.h"
#include "engine/scene/ScriptParser.h"
#include "engine/schema/CodeSchema.h"

#include <OgreSceneManager.h>
#include <OgreSceneNode.h>
#include <OgreViewport.h>

#include <algorithm>
#include <map>

namespace Lumenda3D {
namespace {

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

} // namespace Lumenda3D
