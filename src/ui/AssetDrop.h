#pragma once
// A cell of the asset library on its way to a block of the tree or to a field of the attribute
// panel. The library sets the ImGui payload (AssetDragPayload) and installs the handler that
// knows what an asset does to an element; the block tree and the attribute panel only mark their
// drop places with AssetDrop::target, so that neither needs the library.
#include <string>

#include <imgui.h>

namespace Lumenda3D {

struct AssetDragPayload {
    static constexpr const char* kType = "LMD_ASSET";
    enum class Kind : int { Texture, Model, Sound, Material };
    // Where the asset is: the server's public catalogue, the person's uploads, this computer.
    enum class Source : int { Public, Cloud, Local };

    Kind kind = Kind::Texture;
    Source source = Source::Local;
    char name[256] = {};

    static AssetDragPayload make(Kind kind, Source source, const std::string& name);
    // The asset payload being dragged now; null when no asset is dragged.
    static const AssetDragPayload* dragged();
};

class AssetDropHandler {
public:
    virtual ~AssetDropHandler() = default;
    // What dropping `asset` onto element `xmlId` would do ("Model file: cube.obj"), or why it
    // cannot (`fits` false). `attribute` names a field; empty: the block as a whole.
    virtual std::string preview(const AssetDragPayload& asset, int xmlId, const std::string& attribute, bool& fits) = 0;
    // Applies the drop as one undo step, or tells the person why it does not fit.
    virtual void drop(const AssetDragPayload& asset, int xmlId, const std::string& attribute) = 0;

    // The one handler of the editor (the asset library); null uninstalls. Main thread.
    static void install(AssetDropHandler* handler);
    static void uninstall(AssetDropHandler* handler);
    static AssetDropHandler* installed();
};

namespace AssetDrop {
// Marks the rectangle as the drop place of element `xmlId` (and field `attribute`, or "" for the
// block) while an asset is dragged: over it the place is outlined (green when the asset fits, red
// when not) and the tooltip says what the drop does; a release there hands the asset to the
// handler. `key` makes the place's id unique in the window. Returns whether a drop happened.
bool target(const ImVec2& min, const ImVec2& max, int xmlId, const std::string& attribute, const std::string& key);
// The same over the last item drawn.
bool targetLastItem(int xmlId, const std::string& attribute, const std::string& key);
} // namespace AssetDrop

} // namespace Lumenda3D
