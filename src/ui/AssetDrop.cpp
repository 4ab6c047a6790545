#include "ui/AssetDrop.h"

#include <algorithm>

#include <imgui_internal.h>

namespace Lumenda3D {

namespace {
AssetDropHandler* gHandler = nullptr;
}

AssetDragPayload AssetDragPayload::make(Kind kind, Source source, const std::string& name) {
    AssetDragPayload payload;
    payload.kind = kind;
    payload.source = source;
    const size_t n = std::min(name.size(), sizeof(payload.name) - 1);
    name.copy(payload.name, n);
    payload.name[n] = '\0';
    return payload;
}

const AssetDragPayload* AssetDragPayload::dragged() {
    if (!ImGui::GetCurrentContext())
        return nullptr;
    const ImGuiPayload* payload = ImGui::GetDragDropPayload();
    if (!payload || !payload->IsDataType(kType) || payload->DataSize != int(sizeof(AssetDragPayload)))
        return nullptr;
    return static_cast<const AssetDragPayload*>(payload->Data);
}

void AssetDropHandler::install(AssetDropHandler* handler) { gHandler = handler; }

void AssetDropHandler::uninstall(AssetDropHandler* handler) {
    if (gHandler == handler)
        gHandler = nullptr;
}

AssetDropHandler* AssetDropHandler::installed() { return gHandler; }

bool AssetDrop::target(const ImVec2& min, const ImVec2& max, int xmlId, const std::string& attribute,
                       const std::string& key) {
    AssetDropHandler* handler = AssetDropHandler::installed();
    if (!handler || xmlId < 0 || !AssetDragPayload::dragged())
        return false;
    const ImRect rect(min, max);
    if (!ImGui::BeginDragDropTargetCustom(rect, ImGui::GetID(("assetDrop:" + key).c_str())))
        return false;
    bool dropped = false;
    const ImGuiPayload* payload =
        ImGui::AcceptDragDropPayload(AssetDragPayload::kType,
                                     ImGuiDragDropFlags_AcceptBeforeDelivery | ImGuiDragDropFlags_AcceptNoDrawDefaultRect);
    if (payload && payload->DataSize == int(sizeof(AssetDragPayload))) {
        // A copy: the handler may start a drag-free action that outlives ImGui's buffer.
        const AssetDragPayload asset = *static_cast<const AssetDragPayload*>(payload->Data);
        bool fits = false;
        const std::string text = handler->preview(asset, xmlId, attribute, fits);
        ImGui::GetForegroundDrawList()->AddRect(ImVec2(min.x - 2, min.y - 2), ImVec2(max.x + 2, max.y + 2),
                                                fits ? IM_COL32(90, 220, 120, 255) : IM_COL32(230, 80, 70, 255),
                                                3.0f, 0, 2.0f);
        ImGui::BeginTooltip();
        if (fits)
            ImGui::TextUnformatted(text.c_str());
        else
            ImGui::TextColored(ImVec4(1.0f, 0.45f, 0.4f, 1.0f), "%s", text.c_str());
        ImGui::EndTooltip();
        if (payload->IsDelivery()) {
            handler->drop(asset, xmlId, attribute);
            dropped = true;
        }
    }
    ImGui::EndDragDropTarget();
    return dropped;
}

bool AssetDrop::targetLastItem(int xmlId, const std::string& attribute, const std::string& key) {
    return target(ImGui::GetItemRectMin(), ImGui::GetItemRectMax(), xmlId, attribute, key);
}

} // namespace Lumenda3D
