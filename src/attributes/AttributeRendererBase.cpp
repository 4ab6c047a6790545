#include "attributes/AttributeRendererBase.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

#include <imgui.h>
#include <imgui_internal.h>

#include "engine/Lumenda3DEngine.h"
#include "engine/editing/LmdSourceFiles.h"
#include "engine/schema/CodeSchema.h"
#include "engine/schema/SchemaValidator.h"

namespace Lumenda3D {

void AttributeRendererBase::setContext(AttributeContext* context) {
    context_ = context;
    sourceFiles_ = context && context->engine ? context->engine->sourceFiles : nullptr;
}

bool AttributeRendererBase::setValueAndUpdateLua(const std::string& paramType, const std::string& name,
                                                 pugi::xml_node& node, const std::string& value,
                                                 const pugi::xml_node& definition,
                                                 const std::function<void()>& onDone) {
    if (!context_ || !context_->engine || !node)
        return false;
    const std::string ownType = definition.attribute("paramType").as_string();
    const std::string type = ownType.empty() ? paramType : ownType;
    // The engine's document service may have come after setContext (the edit layer is installed
    // once the engine is set up); fetch it again rather than write past undo.
    if (!sourceFiles_)
        sourceFiles_ = context_->engine->sourceFiles;
    if (sourceFiles_)
        sourceFiles_->setAttribute(node, name.c_str(), value);
    else
        (node.attribute(name.c_str()) ? node.attribute(name.c_str()) : node.append_attribute(name.c_str()))
            .set_value(value.c_str());

    const int id = node.attribute("id").as_int(0);
    const int interval = definition.attribute("updateInterval").as_int(0);
    if (interval >= 1) {
        storeDeferredUpdate(id, name, value, type, interval);
        if (onDone)
            onDone();
        return false;
    }
    const bool taken = context_->engine->updateLuaAttribute(id, name, value, type);
    if (definition.attribute("assetConfig").as_bool(false))
        context_->engine->rebuildMaterialObject(id, false);
    if (onDone)
        onDone();
    return taken;
}

bool AttributeRendererBase::setLuaValue(const std::string& paramType, const std::string& name, pugi::xml_node& node,
                                        const std::string& value) {
    if (!context_ || !context_->engine)
        return false;
    return context_->engine->updateLuaAttribute(node.attribute("id").as_int(0), name, value, paramType);
}

void AttributeRendererBase::removeValue(pugi::xml_node& node, const std::string& name) {
    if (!context_ || !context_->engine || !node)
        return;
    if (!sourceFiles_)
        sourceFiles_ = context_->engine->sourceFiles;
    if (sourceFiles_)
        sourceFiles_->removeAttribute(node, name.c_str());
    else
        node.remove_attribute(name.c_str());
}

void AttributeRendererBase::storeDeferredUpdate(int xmlId, const std::string& name, const std::string& value,
                                                const std::string& paramType, int intervalMs) {
    if (!context_ || !context_->pendingUpdates)
        return;
    PendingAttributeUpdate& update = (*context_->pendingUpdates)[pendingUpdateKey(xmlId, name)];
    update.xmlId = xmlId;
    update.name = name;
    update.value = value;
    update.paramType = paramType;
    update.commitTime = std::chrono::steady_clock::now() + std::chrono::milliseconds(intervalMs);
}

std::string AttributeRendererBase::getAttributeValue(pugi::xml_node& node, const std::string& name,
                                                     const pugi::xml_node& definition) {
    if (pugi::xml_attribute attribute = node.attribute(name.c_str()))
        return attribute.value();
    // The default is shown, not written: selecting a block leaves its element as it was, so that
    // an undo that takes an attribute away leaves it away.
    (void)node;
    return definition.attribute("default").as_string();
}

std::string AttributeRendererBase::getEmptyValueByType(const pugi::xml_node& definition) {
    const std::string type = definition.attribute("paramType").as_string();
    return type == "boolean" || type == "int" ? "0" : "";
}

std::vector<std::string> AttributeRendererBase::splitValues(const std::string& text) {
    std::vector<std::string> items;
    size_t start = 0;
    while (true) {
        const size_t bar = text.find('|', start);
        items.push_back(text.substr(start, bar == std::string::npos ? std::string::npos : bar - start));
        if (bar == std::string::npos)
            break;
        start = bar + 1;
    }
    return items;
}

std::string AttributeRendererBase::widgetId(const std::string& name, const pugi::xml_node&) {
    // The panel scopes ids per shown block; the attribute name alone keeps a field's typing
    // across a reload of the document, which gives the element a new "id".
    return name;
}

void AttributeRendererBase::takeUndoKeys(const std::string& label) {
    if (!context_ || ImGui::GetActiveID() != ImGui::GetID(label.c_str()))
        return;
    const ImGuiIO& io = ImGui::GetIO();
    if (!io.KeyCtrl || io.KeyAlt)
        return;
    const bool z = ImGui::IsKeyPressed(ImGui::GetKeyIndex(ImGuiKey_Z), false);
    const bool y = ImGui::IsKeyPressed(ImGui::GetKeyIndex(ImGuiKey_Y), false);
    if (!z && !y)
        return;
    // Every keystroke is in the document already, one undo step per attribute run: the
    // document's undo is the one that counts. The field lets go (so it does not undo its own
    // text as well) and shows the document's value from the next frame.
    context_->pendingCommand = z && !io.KeyShift ? kUndoCommand : kRedoCommand;
    ImGui::ClearActiveID();
}

bool AttributeRendererBase::attributeInputText(const std::string& name, pugi::xml_node& node,
                                               const std::string& value, const pugi::xml_node& definition,
                                               const std::string& paramType) {
    char buffer[256];
    const size_t length = std::min(value.size(), sizeof(buffer) - 1);
    std::memcpy(buffer, value.data(), length);
    buffer[length] = '\0';
    const std::string id = widgetId(name, node);
    const std::string label = "##" + id;
    takeUndoKeys(label);
    const bool changed = ImGui::InputText(label.c_str(), buffer, sizeof(buffer));
    record(label);
    if (changed) {
        const std::string text = buffer;
        const std::string refused = text.empty() ? std::string() : refusal(node, name, definition, text, value);
        if (context_)
            context_->fieldErrors.erase(id);
        if (!refused.empty()) {
            if (context_)
                context_->fieldErrors[id] = refused;
        } else if (text.empty()) {
            removeValue(node, name);
        } else {
            setValueAndUpdateLua(paramType, name, node, text, definition);
        }
    }
    // A refused text is forgotten once the field is left: it then shows the document's value.
    if (context_ && ImGui::IsItemDeactivated())
        context_->fieldErrors.erase(id);
    return changed;
}

bool AttributeRendererBase::attributeInputTextMultiline(const std::string& name, pugi::xml_node& node,
                                                        const std::string& value, const pugi::xml_node& definition,
                                                        const std::string& paramType) {
    static char buffer[65536];
    if (value.size() >= sizeof(buffer)) {
        ImGui::TextColored(ImVec4(1.0f, 0.6f, 0.2f, 1.0f), "Text too large to edit (%zu bytes)", value.size());
        return false;
    }
    std::memcpy(buffer, value.data(), value.size());
    buffer[value.size()] = '\0';
    const std::string id = widgetId(name, node);
    const float height = ImGui::GetTextLineHeight() * 4 + ImGui::GetStyle().FramePadding.y * 2;
    ImGui::BeginChild(("##child_" + id).c_str(), ImVec2(-1.0f, height + ImGui::GetStyle().FramePadding.y * 2));
    const std::string label = "##" + id;
    takeUndoKeys(label);
    const bool changed = ImGui::InputTextMultiline(label.c_str(), buffer, sizeof(buffer), ImVec2(-1.0f, height));
    record(label);
    ImGui::EndChild();
    if (changed) {
        if (buffer[0] == '\0')
            removeValue(node, name);
        else
            setValueAndUpdateLua(paramType, name, node, buffer, definition);
    }
    return changed;
}

std::string AttributeRendererBase::refusal(const pugi::xml_node& node, const std::string& name,
                                           const pugi::xml_node& definition, const std::string& text,
                                           const std::string& kept) const {
    if (!context_ || !context_->schema)
        return "";
    const CodeSchema::AttributeDef* attribute = nullptr;
    if (const CodeSchema::CommandDef* command = context_->schema->findCommandDef(node.name()))
        attribute = CodeSchema::findAttributeDef(*command, name);
    if (!attribute)
        attribute = SchemaValidator::findSharedAttribute(name);
    if (!attribute)
        return "";
    const std::string problem = SchemaValidator::checkValue(*attribute, text);
    if (problem.empty())
        return "";
    const char* caption = definition.attribute("en_caption").as_string();
    std::string message = std::string(*caption ? caption : name.c_str()) + " " + problem + ".";
    if (!kept.empty())
        message += " It stays " + kept + ".";
    return message;
}

void AttributeRendererBase::record(const std::string& label) const {
    if (context_ && context_->recordItem)
        context_->recordItem(label.c_str());
}

void AttributeRendererBase::drawFieldError(const std::string& id) const {
    if (!context_)
        return;
    const auto found = context_->fieldErrors.find(id);
    if (found != context_->fieldErrors.end())
        ImGui::TextColored(ImVec4(1.0f, 0.45f, 0.35f, 1.0f), "%s", found->second.c_str());
}

} // namespace Lumenda3D
