#pragma once
// Events 20 and 21 as the attribute panel fires them: opened or closed, with the id of the
// element it shows (-1 for none). Listeners that only need to know which of the two it was cast
// to the engine's event classes.
#include "engine/events/LmdEvent.h"

namespace Lumenda3D {

class AttributesPanelOpenedEvent : public LmdAttributeEditorOpenEvent {
public:
    explicit AttributesPanelOpenedEvent(int xmlId) : xmlId_(xmlId) {}
    int getXmlId() const { return xmlId_; }

private:
    int xmlId_;
};

class AttributesPanelClosedEvent : public LmdAttributeEditorCloseEvent {
public:
    explicit AttributesPanelClosedEvent(int xmlId) : xmlId_(xmlId) {}
    int getXmlId() const { return xmlId_; }

private:
    int xmlId_;
};

} // namespace Lumenda3D
