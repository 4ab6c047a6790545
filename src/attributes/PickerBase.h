#pragma once
// What every picker of the attribute panel shares: the field with the current value and a "..."
// button, a centred modal pop-up with a search bar, the "Ok", "Clear" and "Cancel" row, and the
// value at opening, which "Cancel" puts back. State is kept per attribute name: one pop-up is open
// at a time.
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "attributes/AttributeRendererBase.h"

namespace Lumenda3D {

class PickerBase : public AttributeRendererBase {
public:
    static constexpr const char* kMissingSuffix = " (missing)";

    bool isPickerOpen(const std::string& key) const;
    void setPickerOpen(const std::string& key, bool open);
    void storeInitialValue(const std::string& key, const std::string& value);
    std::string getInitialValue(const std::string& key) const;
    bool hasInitialValue(const std::string& key) const;
    void clearInitialValue(const std::string& key);

    // The pop-up's title (and id) for an attribute.
    static std::string popupId(const std::string& key);

protected:
    // Size and place of the pop-up: centred, half the width and 70% of the height of the view.
    void setupPickerPopup(const std::string& key);
    static int getPickerWindowFlags();
    // Places and begins the modal pop-up of `key`; false when it is not open (then nothing to
    // end). A pop-up closed by its own control is forgotten here. On true, end with EndPopup.
    bool beginPickerPopup(const std::string& key);
    // A framed one-line bar with the hinted search input and "Clear##<id>".
    void drawSearchBar(const char* id, char* buffer, size_t size, const char* hint);
    // Whether `item` matches the search text (lower-case substring; an empty search matches all).
    static bool matchesSearch(const std::string& item, const char* search);
    // The read-only field with the value (marked when `missing`) and the "..." button; true when
    // the button was pressed, with the value at opening stored.
    bool drawField(const std::string& key, const std::string& value, bool missing, pugi::xml_node& node);
    // The row at the bottom of the pop-up: `extra` at the left, the named buttons at the right.
    void drawPickerBottomButtons(const std::string& key, pugi::xml_node& node, const pugi::xml_node& definition,
                                 bool showOk, bool showClear, bool showCancel,
                                 const std::function<void()>& extra = {});
    // Forgets the open flag and the value at opening and closes the current pop-up.
    void closePicker(const std::string& key);
    // The framed child `childId` with the items that match `search`, the current one highlighted
    // and focused; `emptyText` in grey when there are no items at all (a search without a hit
    // shows an empty list). Returns the clicked item, if any; the caller then chooses it.
    std::optional<std::string> drawChoiceList(const char* childId, const std::vector<std::string>& items,
                                              const std::string& value, const char* search, const char* emptyText);
    // The height the bottom row needs below a list.
    static float bottomRowHeight();
    // Writes a chosen item (the document and the live scene) and closes.
    void choose(const std::string& key, pugi::xml_node& node, const pugi::xml_node& definition,
                const std::string& item);

private:
    std::unordered_map<std::string, bool> pickerOpen_;
    std::unordered_map<std::string, std::string> initialValues_;
};

} // namespace Lumenda3D
