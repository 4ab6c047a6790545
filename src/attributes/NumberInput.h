#pragma once
// A number attribute: "-" and "+" buttons that step by the definition's "upDownStep" (1 when it
// has none), a handle that changes the value while dragged sideways (one step per 8 pixels), and
// the text field. Text that is not a number is not written: the document keeps its last good
// value and the field says why, in the game language's words.
#include "attributes/AttributeRendererBase.h"

namespace Lumenda3D {

class NumberInput : public AttributeRendererBase {
public:
    // Pixels of horizontal drag per step.
    static constexpr float kDragPixelsPerStep = 8.0f;

    void render(const std::string& name, pugi::xml_attribute attribute, pugi::xml_node& node,
                const pugi::xml_node& definition) override;

    // The value as the buttons write it ("%f").
    static std::string format(double value);

private:
    // The value when the drag began and the drag's start, per widget id; one drag at a time.
    std::string dragId_;
    double dragStartValue_ = 0.0;
};

} // namespace Lumenda3D
