#pragma once
// One element of the 2D layer (Text2D, Image2D, Rect2D, Button2D, Joystick), built from one
// element of the game document and drawn over the 3D view by LmdLayer2D. It keeps its
// description as its current state, the text it shows (after logic filled in placeholders), its
// picture, and the press state of a button or joystick. Positions are in window pixels from its
// anchor (see LmdLayer2D::placeRect); an element inside another is placed within its parent.
#include <cstdint>
#include <string>
#include <vector>

#include <OgreTexture.h>

#include "engine/logic/LmdScriptValue.h"
#include "engine/scene/LmdSceneDescription.h"

namespace Lumenda3D {

struct LmdRect2D {
    float x = 0, y = 0, width = 0, height = 0;
    bool contains(float px, float py) const { return px >= x && py >= y && px < x + width && py < y + height; }
};

class LmdBase2D {
public:
    explicit LmdBase2D(LmdElementDesc desc);

    const std::string& getName() const { return mDesc.name; }
    int getXmlId() const { return mDesc.xmlId; }
    const std::string& getElement() const { return mDesc.element; }
    LmdElementKind getKind() const { return mDesc.kind; }
    const std::string& getLevel() const { return mDesc.level; }
    const LmdElementDesc& getDesc() const { return mDesc; }
    LmdElementDesc& desc() { return mDesc; }
    LmdBase2D* getParent() const { return mParent; }
    void setParent(LmdBase2D* parent) { mParent = parent; }

    // The text drawn: the document's text until logic sets another.
    const std::string& getText() const { return mText; }
    void setText(const std::string& text) { mText = text; }
    bool isVisible() const { return mDesc.visible; }
    // Whether it and every parent are visible.
    bool isShown() const;
    void setVisible(bool visible) { mDesc.visible = visible; }

    Ogre::TexturePtr getPicture() const { return mPicture; }
    void setPicture(const Ogre::TexturePtr& picture) { mPicture = picture; }

    // Size in pixels (a text's size is measured when it is drawn).
    float getWidth() const { return mDesc.width; }
    float getHeight() const { return mDesc.height; }
    void setMeasuredSize(float width, float height);
    // Where it was drawn last, in window pixels.
    const LmdRect2D& getScreenRect() const { return mScreenRect; }
    void setScreenRect(const LmdRect2D& rect) { mScreenRect = rect; }

    // Press state of a button (drawn darker while held).
    bool isPressed() const { return mPressed; }
    void setPressed(bool pressed) { mPressed = pressed; }
    // A joystick's stick, each axis in [-1, 1], y up; active while a pointer holds it.
    float getStickX() const { return mStickX; }
    float getStickY() const { return mStickY; }
    void setStick(float x, float y) { mStickX = x, mStickY = y; }
    bool isStickActive() const { return mStickActive; }
    void setStickActive(bool active) { mStickActive = active; }

    // Language properties: x, y, visible, text, color, opacity, width, height, fontSize, layer,
    // stickX, stickY. False for a name it has not, or a value that does not suit it.
    bool getProperty(const std::string& name, LmdScriptValue& value) const;
    bool setProperty(const std::string& name, const LmdScriptValue& value);

private:
    LmdElementDesc mDesc;
    LmdBase2D* mParent = nullptr;
    std::string mText;
    Ogre::TexturePtr mPicture;
    LmdRect2D mScreenRect;
    bool mPressed = false;
    float mStickX = 0.0f, mStickY = 0.0f;
    bool mStickActive = false;
};

} // namespace Lumenda3D
