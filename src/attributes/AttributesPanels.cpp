#include "attributes/AttributesPanels.h"

#include "attributes/AttributesEditor.h"
#include "ui/AllUI.h"

namespace Lumenda3D {

std::shared_ptr<AttributesEditor> registerAttributesPanels(AllUI& ui) {
    auto editor = std::make_shared<AttributesEditor>();
    ui.setElement(AttributesEditor::kName, editor);
    return editor;
}

} // namespace Lumenda3D
