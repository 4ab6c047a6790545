#include "attributes/AttributesEditor.h"

#include <algorithm>
#include <chrono>

#include <imgui.h>

#include "attributes/AnimationPicker.h"
#include "attributes/AssetPicker.h"
#include "attributes/AttributesPanelEvents.h"
#include "attributes/BooleanInput.h"
#include "attributes/ButtonInput.h"
#include "attributes/CloudAssetSource.h"
#include "attributes/ColorInput.h"
#include "attributes/FogPicker.h"
#include "attributes/KeyPicker.h"
#include "attributes/LightPicker.h"
#include "attributes/LocalAssetSource.h"
#include "attributes/NumberInput.h"
#include "attributes/OptionsPicker.h"
#include "attributes/PickerByType.h"
#include "attributes/PickerPlus.h"
#include "attributes/SceneNodePicker.h"
#include "attributes/StringInput.h"
#include "attributes/TargetObjectPicker.h"
#include "attributes/ValuesDialogPicker.h"
#include "attributes/VarPicker.h"
#include "base/LmdValueParser.h"
#include "blocks/Block.h"
#include "blocks/Workflow.h"
#include "engine/Lumenda3DEngine.h"
#include "engine/editing/LmdDocumentFindings.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/scene/ScriptParser.h"
#include "engine/schema/CodeSchema.h"
#include "ui/AssetDrop.h"
#include "ui/LmdCommandRegistry.h"

namespace Lumenda3D {

namespace {

const ImVec4 kLabelColor(0.72f, 0.76f, 0.82f, 1.0f);
// The amber of the block tree's warning mark.
const ImVec4 kFindingColor(1.0f, 0.69f, 0.0f, 1.0f);

// Child indexes (elements only) from the document's top to `node`.
std::vector<size_t> pathOf(pugi::xml_node node) {
    std::vector<size_t> path;
    for (; node && node.parent() && node.parent().type() != pugi::node_document; node = node.parent()) {
        size_t index = 0;
        for (pugi::xml_node sibling = node.previous_sibling(); sibling; sibling = sibling.previous_sibling())
            if (sibling.type() == pugi::node_element)
                ++index;
        path.push_back(index);
    }
    std::reverse(path.begin(), path.end());
    return path;
}

pugi::xml_node nodeAt(pugi::xml_node top, const std::vector<size_t>& path) {
    pugi::xml_node node = top;
    for (size_t index : path) {
        pugi::xml_node child = node.first_child();
        for (size_t i = 0; child; child = child.next_sibling()) {
            if (child.type() != pugi::node_element)
                continue;
            if (i++ == index)
                break;
        }
        if (!child)
            return {};
        node = child;
    }
    return node;
}

} // namespace

AttributesEditor::AttributesEditor() : BaseUI(kName) {
    context_.pendingUpdates = &pendingUpdates_;
    context_.currentNode = &currentNode_;
    context_.recordItem = [this](const char* label) { recordItem(label); };
    initializeRenderers();
}

AttributesEditor::~AttributesEditor() = default;

void AttributesEditor::initializeRenderers() {
    addRenderer("string", std::make_unique<StringInput>());
    addRenderer("number", std::make_unique<NumberInput>());
    addRenderer("int", std::make_unique<NumberInput>());
    addRenderer("boolean", std::make_unique<BooleanInput>());
    addRenderer("color", std::make_unique<ColorInput>());
    addRenderer("button", std::make_unique<ButtonInput>());
    addRenderer("optionsPicker", std::make_unique<OptionsPicker>());
    addRenderer("valuesDialogPicker", std::make_unique<ValuesDialogPicker>());
    addRenderer("picker", std::make_unique<VarPicker>());
    // Pickers of what the game already has, listed from the document when they open.
    addRenderer("functionPicker", std::make_unique<SceneNodePicker>("", "", "Search functions...", "//Function[@name]"));
    addRenderer("soundPicker", std::make_unique<SceneNodePicker>("", "", "Search sounds...", "//LoadSound[@name]"));
    addRenderer("arrayPicker", std::make_unique<SceneNodePicker>("", "", "Search arrays...", "//Array[@name]"));
    addRenderer("levelPicker", std::make_unique<SceneNodePicker>("", "", "Search levels...", "/*/Level[@name]"));
    addRenderer("skyBoxPicker", std::make_unique<SceneNodePicker>("SkyBox", "Add", "Search sky boxes...", "//SkyBox[@name]"));
    addRenderer("joystickPicker",
                std::make_unique<SceneNodePicker>("Joystick", "Add", "Search joysticks...", "//Joystick[@name]"));
    addRenderer("fogPicker", std::make_unique<FogPicker>());
    addRenderer("animationPicker", std::make_unique<AnimationPicker>());
    addRenderer("pickerByType", std::make_unique<PickerByType>());
    addRenderer("pickerPlus", std::make_unique<PickerPlus>());
    addRenderer("targetObjectAll", std::make_unique<TargetObjectPicker>(true, true));
    addRenderer("targetObjectPicker", std::make_unique<TargetObjectPicker>(true, false));
    addRenderer("lookAtObjectPicker", std::make_unique<TargetObjectPicker>(false, false));
    addRenderer("collisionPicker", std::make_unique<CollisionPicker>());
    // Asset files: the local ones and the user's cloud ones.
    auto assetPicker = [](const char* type) {
        return std::make_unique<AssetPicker>(type, std::make_unique<LocalAssetSource>(),
                                             std::make_unique<CloudAssetSource>());
    };
    addRenderer("picture", assetPicker("textures"));
    addRenderer("modelFilePicker", assetPicker("models"));
    addRenderer("animationFilePicker", assetPicker("models"));
    addRenderer("soundFilePicker", assetPicker("sounds"));
    addNamedRenderer("picture", assetPicker("textures"));
    addNamedRenderer("reflectionPicture", assetPicker("textures"));
    addNamedRenderer("fileName", assetPicker("models"));
    // "texture" names a Material of the game; "Add" declares one.
    addNamedRenderer("texture", std::make_unique<SceneNodePicker>("Material", "Add", "Search materials...",
                                                                  "//Material[@name]"));
    addNamedRenderer("fog", std::make_unique<FogPicker>());
    addNamedRenderer("key", std::make_unique<KeyPicker>());
    addNamedRenderer("lightPicker", std::make_unique<LightPicker>());
}

void AttributesEditor::addRenderer(const std::string& type, std::unique_ptr<AttributeRendererBase> renderer) {
    renderer->setContext(&context_);
    renderers_[type] = std::move(renderer);
}

void AttributesEditor::addNamedRenderer(const std::string& name, std::unique_ptr<AttributeRendererBase> renderer) {
    renderer->setContext(&context_);
    namedPickers_[name] = std::move(renderer);
}

void AttributesEditor::init() {
    if (!engine_)
        setEngine(Lumenda3DEngine::getEngine());
    if (!schema_ && engine_ && engine_->getScriptParser())
        setSchema(engine_->getScriptParser()->getCodeSchema());
    if (!findings_)
        findings_ = &LmdDocumentFindings::getInstance();
}

void AttributesEditor::setEngine(Lumenda3DEngine* engine) {
    engine_ = engine;
    context_.engine = engine;
    for (auto& [type, renderer] : renderers_)
        renderer->setContext(&context_);
    for (auto& [name, renderer] : namedPickers_)
        renderer->setContext(&context_);
    changes_ = {};
    if (engine && engine->sourceFiles)
        changes_ = engine->sourceFiles->subscribeChanges([this](const LmdDocumentChange& change) {
            if (change.kind == LmdDocumentChange::Kind::Replaced)
                replaced_ = true;
        });
}

void AttributesEditor::setCreateBlockCallback(
    std::function<std::string(const std::string&, const std::map<std::string, std::string>&)> callback) {
    context_.createBlock = std::move(callback);
}

void AttributesEditor::setSelectBlockCallback(std::function<void(int)> callback) {
    context_.selectBlock = std::move(callback);
}

void AttributesEditor::setIsWindowVisible(bool visible) {
    if (visible == isWindowVisible_)
        return;
    isWindowVisible_ = visible;
    if (!engine_)
        return;
    const int xmlId = currentBlock_ ? currentBlock_->getXmlId() : -1;
    if (visible)
        engine_->fireEvents(LmdEventAttributesOpened, std::make_shared<AttributesPanelOpenedEvent>(xmlId));
    else
        engine_->fireEvents(LmdEventAttributesClosed, std::make_shared<AttributesPanelClosedEvent>(xmlId));
}

void AttributesEditor::setBlock(std::shared_ptr<Block> block, bool) {
    if (block && block == currentBlock_ && isWindowVisible_)
        return;
    currentBlock_ = std::move(block);
    context_.fieldErrors.clear();
    search_.clear();
    ++blockSerial_;
    replaced_ = false;
    if (currentBlock_ && currentBlock_->isAlive()) {
        currentNode_ = currentBlock_->getXmlNode();
        currentXmlId_ = currentBlock_->getXmlId();
        nodePath_ = pathOf(currentNode_);
        nodeName_ = currentNode_.name();
        context_.currentNode = &currentNode_;
        setIsWindowVisible(true);
    } else {
        currentNode_ = pugi::xml_node();
        currentXmlId_ = -1;
        nodePath_.clear();
        nodeName_.clear();
        context_.currentNode = nullptr;
        setIsWindowVisible(false);
    }
}

int AttributesEditor::getXmlId() const {
    return currentNode_ ? currentXmlId_ : -1;
}

void AttributesEditor::followDocument() {
    if (!engine_ || !currentNode_)
        return;
    // The handle is compared, never read, until it is known to be alive: a removed element's
    // memory is gone.
    if (!replaced_ && engine_->getXmlNodeById(currentXmlId_) == currentNode_) {
        return;
    }
    pugi::xml_node found;
    if (replaced_ && engine_->getSourceXml()) {
        pugi::xml_node top = engine_->getSourceXml()->document_element();
        found = nodeAt(top, nodePath_);
        if (found && nodeName_ != found.name())
            found = pugi::xml_node();
    }
    replaced_ = false;
    if (!found) {
        setBlock(nullptr, false);
        return;
    }
    currentNode_ = found;
    currentXmlId_ = found.attribute("id").as_int(-1);
    if (std::shared_ptr<Block> block = Block::getBlockById(currentXmlId_))
        currentBlock_ = block;
}

void AttributesEditor::commitPendingUpdates() {
    Lumenda3D::commitPendingUpdates(context_, std::chrono::steady_clock::now());
}

void AttributesEditor::draw() {
    if (!isWindowVisible_ || !currentNode_ || (engine_ && engine_->isRunning()))
        return;
    followDocument();
    if (!currentNode_)
        return;
    commitPendingUpdates();

    const ImVec2 display = ImGui::GetIO().DisplaySize;
    const float top = std::max(0.0f, Workflow::topBelowBars(*this));
    const float width = std::min(scaled(360.0f), display.x * 0.4f);
    ImGui::SetNextWindowPos(ImVec2(display.x - width, top), ImGuiCond_Always);
    ImGui::SetNextWindowSize(ImVec2(width, std::max(0.0f, display.y - top)), ImGuiCond_Always);
    const std::string title = std::string(currentBlock_ ? currentBlock_->getName() : currentNode_.name()) +
                              "###attributesEditor";
    bool open = true;
    const ImGuiWindowFlags flags = ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoCollapse |
                                   ImGuiWindowFlags_NoSavedSettings;
    if (ImGui::Begin(title.c_str(), &open, flags)) {
        renderSearchBox();
        ImGui::BeginChild("AttributesScroll");
        renderAllAttributesGrouped(LmdValueParser::toLower(search_));
        ImGui::EndChild();
    }
    calculateSize();
    ImGui::End();
    runPendingCommand();
    if (!open)
        close();
}

void AttributesEditor::runPendingCommand() {
    const std::string command = std::move(context_.pendingCommand);
    context_.pendingCommand.clear();
    if (command.empty())
        return;
    if (LmdCommandRegistry* commands = getCommands()) {
        commands->execute(command);
        return;
    }
    // Without the editor's commands (a host of its own) the document service does it.
    LmdSourceFiles* files = engine_ ? engine_->sourceFiles : nullptr;
    if (files && command == kUndoCommand && files->canUndo())
        files->undo();
    else if (files && command == kRedoCommand && files->canRedo())
        files->redo();
}

void AttributesEditor::renderSearchBox() {
    const float clearWidth = ImGui::CalcTextSize("X").x + ImGui::GetStyle().FramePadding.x * 2;
    ImGui::PushItemWidth(ImGui::GetContentRegionAvail().x - clearWidth - ImGui::GetStyle().ItemSpacing.x);
    char buffer[256];
    const size_t length = std::min(search_.size(), sizeof(buffer) - 1);
    search_.copy(buffer, length);
    buffer[length] = '\0';
    if (ImGui::InputTextWithHint(kSearchId, "Search...", buffer, sizeof(buffer)))
        search_ = buffer;
    recordItem(kSearchId);
    ImGui::PopItemWidth();
    ImGui::SameLine();
    if (button(kClearSearch))
        search_.clear();
}

void AttributesEditor::renderAttributesForNode(pugi::xml_node& node) {
    ImGui::PushID("renderForNode");
    commitPendingUpdates();
    pugi::xml_node saved = currentNode_;
    currentNode_ = node;
    renderAllAttributesGrouped("");
    currentNode_ = saved;
    ImGui::PopID();
}

void AttributesEditor::renderAllAttributesGrouped(const std::string& search) {
    if (!schema_ || !currentNode_ || !*currentNode_.name())
        return;
    ImGui::PushID(blockSerial_);
    renderFindings(nullptr);
    const std::vector<AttributeGroup> groups = AttributeLayout::groupAttributes(*schema_, currentNode_, search);
    if (groups.size() == 1) {
        ImGui::TextColored(kLabelColor, "%s", groups.front().name.c_str());
        ImGui::Separator();
        renderGroup(groups.front());
    } else {
        for (const AttributeGroup& group : groups) {
            const ImGuiTreeNodeFlags open =
                schema_->isAttributeGroupDefaultOpen(group.name) ? ImGuiTreeNodeFlags_DefaultOpen : 0;
            if (ImGui::CollapsingHeader(group.name.c_str(), open))
                renderGroup(group);
        }
    }
    ImGui::PopID();
}

void AttributesEditor::renderGroup(const AttributeGroup& group) {
    const auto [matched, plain] = AttributeLayout::splitPrefixMatched(group.name, group.definitions);
    renderPrefixMatchedAttributes(group.name, matched);
    if (plain.empty())
        return;
    const std::string table = "table_nonprefix_" + group.name;
    if (!ImGui::BeginTable(table.c_str(), 2, ImGuiTableFlags_SizingStretchProp))
        return;
    ImGui::TableSetupColumn("label", ImGuiTableColumnFlags_WidthStretch, 0.38f);
    ImGui::TableSetupColumn("value", ImGuiTableColumnFlags_WidthStretch, 0.62f);
    for (const pugi::xml_node& definition : plain) {
        ImGui::TableNextRow();
        ImGui::TableSetColumnIndex(0);
        ImGui::AlignTextToFramePadding();
        ImGui::TextColored(kLabelColor, "%s", AttributeLayout::label(definition).c_str());
        ImGui::TableSetColumnIndex(1);
        renderAttributeInTable(definition);
    }
    ImGui::EndTable();
}

void AttributesEditor::renderPrefixMatchedAttributes(const std::string& group,
                                                     const std::vector<pugi::xml_node>& definitions) {
    if (definitions.empty())
        return;
    const std::string table = "table_prefix_" + group;
    if (!ImGui::BeginTable(table.c_str(), int(definitions.size()), ImGuiTableFlags_SizingStretchSame))
        return;
    for (size_t i = 0; i < definitions.size(); ++i)
        ImGui::TableSetupColumn(("col" + std::to_string(i)).c_str());
    ImGui::TableNextRow();
    for (size_t i = 0; i < definitions.size(); ++i) {
        ImGui::TableSetColumnIndex(int(i));
        const std::string name = definitions[i].attribute("name").as_string();
        ImGui::TextColored(kLabelColor, "%s",
                           AttributeLayout::stripPrefixIgnoreCase(name, group, AttributeLayout::label(definitions[i]))
                               .c_str());
        renderAttributeInTable(definitions[i]);
    }
    ImGui::EndTable();
}

AttributeRendererBase* AttributesEditor::rendererFor(const pugi::xml_node& definition) {
    const std::string key = AttributeLayout::chooseRenderer(
        definition, [this](const std::string& type) { return renderers_.count(type) > 0; },
        [this](const std::string& name) { return namedPickers_.count(name) > 0; });
    if (key.rfind("name:", 0) == 0)
        return namedPickers_.at(key.substr(5)).get();
    const auto found = renderers_.find(key);
    return found != renderers_.end() ? found->second.get() : renderers_.at("string").get();
}

void AttributesEditor::renderAttributeInTable(const pugi::xml_node& definition) {
    const std::string name = definition.attribute("name").as_string();
    if (name.empty())
        return;
    ImGui::PushItemWidth(ImGui::GetContentRegionAvail().x);
    ImGui::BeginGroup();
    rendererFor(definition)->render(name, currentNode_.attribute(name.c_str()), currentNode_, definition);
    ImGui::EndGroup();
    ImGui::PopItemWidth();
    recordItem(("field:" + name).c_str());
    // A cell of the asset library dropped on the field gives it the asset in the field's form.
    AssetDrop::targetLastItem(currentNode_.attribute("id").as_int(-1), name, "field:" + name);
    renderFindings(&name);
}

void AttributesEditor::renderFindings(const std::string* attribute) {
    const int id = currentNode_.attribute("id").as_int(-1);
    const std::vector<const LmdDocumentFindings::Finding*>* all = findings_ ? findings_->forNode(id) : nullptr;
    if (!all)
        return;
    ImGui::PushStyleColor(ImGuiCol_Text, kFindingColor);
    for (const LmdDocumentFindings::Finding* finding : *all) {
        const std::vector<std::string>& named = finding->attributes;
        const bool shown = attribute ? std::find(named.begin(), named.end(), *attribute) != named.end() : named.empty();
        if (!shown)
            continue;
        ImGui::TextWrapped("! %s", finding->text.c_str());
        recordItem(("finding##" + (attribute ? *attribute : std::string())).c_str());
    }
    ImGui::PopStyleColor();
}

} // namespace Lumenda3D
