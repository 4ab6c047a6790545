#include "attributes/AssetPicker.h"

#include <algorithm>

#include <imgui.h>

#include "engine/Lumenda3DEngine.h"
#include "ui/BaseUI.h"

namespace Lumenda3D {

namespace {

LmdAssetResolver::Kind kindOf(const std::string& assetType) {
    if (assetType == "textures")
        return LmdAssetResolver::Kind::Texture;
    if (assetType == "models")
        return LmdAssetResolver::Kind::Model;
    if (assetType == "sounds")
        return LmdAssetResolver::Kind::Sound;
    return LmdAssetResolver::Kind::Any;
}

} // namespace

AssetPicker::AssetPicker(std::string assetType, std::unique_ptr<AssetSource> local,
                         std::unique_ptr<AssetSource> cloud)
    : assetType_(std::move(assetType)), localSource_(std::move(local)), cloudSource_(std::move(cloud)) {}

void AssetPicker::refresh() {
    State& state = *state_;
    const unsigned listing = ++state.listing;
    state.local.clear();
    state.cloud.clear();
    state.thumbnails.clear();
    state.fetchStatus.clear();
    state.fetching = false;
    state.closeWanted = false;
    thumbnails_.clear();
    std::weak_ptr<State> weak = state_;
    // Each answer belongs to one opening: a late answer of an earlier one is dropped.
    auto listed = [weak, listing](bool cloud) {
        return [weak, listing, cloud](std::vector<AssetEntry> entries, const std::string& error) {
            auto state = weak.lock();
            if (!state || state->listing != listing)
                return;
            (cloud ? state->cloud : state->local) = std::move(entries);
            if (cloud)
                state->cloudStatus = error;
        };
    };
    if (localSource_)
        localSource_->list(assetType_, listed(false));
    state.cloudStatus = cloudSource_ ? kCloudLoading : "";
    if (cloudSource_)
        cloudSource_->list(assetType_, listed(true));
}

bool AssetPicker::exists(const std::string& value) {
    if (!context_ || !context_->engine)
        return true;
    const int version = context_->engine->getSourceVersion();
    if (value != checkedValue_ || version != checkedVersion_) {
        checkedValue_ = value;
        checkedVersion_ = version;
        checkedExists_ = !context_->engine->getAssetResolver().resolve(value, kindOf(assetType_)).empty();
    }
    return checkedExists_;
}

bool AssetPicker::drawEntry(const AssetEntry& entry, bool current) {
    const bool pictures = assetType_ == "textures";
    const float side = pictures ? BaseUI::scaled(40.0f) : 0.0f;
    if (pictures) {
        std::string path = entry.thumbnail;
        if (path.empty()) {
            const auto found = state_->thumbnails.find(entry.reference);
            if (found != state_->thumbnails.end())
                path = found->second;
        }
        // Only rows on screen load their picture.
        const AssetThumbnails::Picture picture =
            ImGui::IsRectVisible(ImVec2(side, side)) ? thumbnails_.get(path) : AssetThumbnails::Picture();
        if (picture.id) {
            ImGui::Image(picture.id, ImVec2(side, side));
        } else {
            const ImVec2 at = ImGui::GetCursorScreenPos();
            ImGui::GetWindowDrawList()->AddRect(at, ImVec2(at.x + side, at.y + side),
                                                ImGui::GetColorU32(ImGuiCol_Border));
            ImGui::Dummy(ImVec2(side, side));
        }
        ImGui::SameLine();
    }
    const std::string label = entry.name + "##asset_" + entry.reference;
    // The name stands in the middle of the row, beside its picture.
    ImGui::PushStyleVar(ImGuiStyleVar_SelectableTextAlign, ImVec2(0.0f, 0.5f));
    const bool clicked = ImGui::Selectable(label.c_str(), current, 0, ImVec2(0, side));
    ImGui::PopStyleVar();
    record(label);
    if (current)
        ImGui::SetItemDefaultFocus();
    return clicked;
}

void AssetPicker::chooseCloud(const std::string& key, const pugi::xml_node& node, const pugi::xml_node& definition,
                              const AssetEntry& entry) {
    State& state = *state_;
    state.fetching = true;
    state.fetchStatus = "Fetching '" + entry.name + "'...";
    // The element is found again by its id when the file has come: the document may have
    // changed meanwhile, and an element that is gone is not written.
    const int xmlId = node.attribute("id").as_int(0);
    std::weak_ptr<State> weak = state_;
    const unsigned listing = state.listing;
    AttributeContext* context = context_;
    const std::string reference = entry.reference;
    cloudSource_->fetch(assetType_, entry, [this, weak, listing, context, xmlId, key, definition,
                                            reference](const std::string& error) {
        auto state = weak.lock();
        if (!state)
            return;
        state->fetching = false;
        if (!error.empty()) {
            if (state->listing == listing)
                state->fetchStatus = error;
            return;
        }
        pugi::xml_node target = context && context->engine ? context->engine->getXmlNodeById(xmlId) : pugi::xml_node();
        if (!target) {
            state->fetchStatus = "The block this asset was for is gone; nothing was changed.";
            return;
        }
        setValueAndUpdateLua("string", key, target, reference, definition);
        state->fetchStatus.clear();
        state->closeWanted = state->listing == listing;
    });
}

void AssetPicker::render(const std::string& name, pugi::xml_attribute, pugi::xml_node& node,
                         const pugi::xml_node& definition) {
    const std::string& key = name;
    const std::string value = getAttributeValue(node, name, definition);
    if (drawField(key, value, !value.empty() && !exists(value), node)) {
        searchBuffer_[0] = '\0';
        refresh();
    }
    if (!beginPickerPopup(key))
        return;
    State& state = *state_;
    if (state.closeWanted) {
        state.closeWanted = false;
        closePicker(key);
        ImGui::EndPopup();
        return;
    }
    thumbnails_.newFrame();
    drawSearchBar("##AssetSearch", searchBuffer_, sizeof(searchBuffer_), "Search assets...");
    const float statusHeight = state.fetchStatus.empty() ? 0.0f : ImGui::GetTextLineHeightWithSpacing() * 2;
    ImGui::BeginChild("##AssetList", ImVec2(0, -bottomRowHeight() - statusHeight), true);
    const AssetEntry* chosenLocal = nullptr;
    const AssetEntry* chosenCloud = nullptr;
    ImGui::TextDisabled("%s", kLocalHeading);
    ImGui::Separator();
    if (state.local.empty())
        ImGui::TextDisabled("No %s on this computer yet.", assetType_.c_str());
    for (const AssetEntry& entry : state.local)
        if (matchesSearch(entry.name, searchBuffer_) && drawEntry(entry, entry.reference == value))
            chosenLocal = &entry;
    if (cloudSource_) {
        ImGui::Spacing();
        ImGui::TextDisabled("%s", kCloudHeading);
        ImGui::Separator();
        if (!state.cloudStatus.empty())
            ImGui::TextWrapped("%s", state.cloudStatus.c_str());
        else if (state.cloud.empty())
            ImGui::TextDisabled("No %s in your cloud yet.", assetType_.c_str());
        for (const AssetEntry& entry : state.cloud) {
            if (!matchesSearch(entry.name, searchBuffer_))
                continue;
            // The picture is asked for when the row is first on screen.
            if (assetType_ == "textures" && !state.thumbnails.count(entry.reference) &&
                ImGui::IsRectVisible(ImVec2(1.0f, BaseUI::scaled(40.0f)))) {
                state.thumbnails[entry.reference] = "";
                std::weak_ptr<State> weak = state_;
                const std::string reference = entry.reference;
                cloudSource_->fetchThumbnail(assetType_, entry, [weak, reference](const std::string& path) {
                    if (auto alive = weak.lock())
                        alive->thumbnails[reference] = path;
                });
            }
            if (drawEntry(entry, entry.reference == value) && !state.fetching)
                chosenCloud = &entry;
        }
    }
    ImGui::EndChild();
    if (!state.fetchStatus.empty())
        ImGui::TextWrapped("%s", state.fetchStatus.c_str());
    if (chosenLocal) {
        choose(key, node, definition, chosenLocal->reference);
        ImGui::EndPopup();
        return;
    }
    if (chosenCloud)
        chooseCloud(key, node, definition, *chosenCloud);
    drawPickerBottomButtons(key, node, definition, true, true, true);
    ImGui::EndPopup();
}

} // namespace Lumenda3D
