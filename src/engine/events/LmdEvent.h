#pragma once
// Engine events by number. The engine, the editor and its panels fire them through
// Lumenda3DEngine::fireEvents; listeners are added with addEventListener and receive the event
// as a shared pointer to LmdEvent, which they cast to the class they expect.
#include <string>

namespace Lumenda3D {

enum LmdEventEnum : int {
    LmdEventNone = 0,
    // The game was started, paused or stopped, and a document finished loading into the scene.
    LmdEventPlayStarted = 1,
    LmdEventPlayPaused = 2,
    LmdEventPlayStopped = 3,
    LmdEventSceneLoaded = 4,
    // The level shown changed (LmdLevelChangedEvent).
    LmdEventLevelChanged = 5,
    // Two objects touched while the game runs (LmdCollisionEvent).
    LmdEventCollision = 6,
    // A 3D object or 2D element was clicked while the game runs (LmdObjectClickedEvent).
    LmdEventObjectClicked = 7,
    // Events the editor reacts to.
    LmdEventGizmoAttached = 15,
    LmdEventGizmoDetached = 16,
    LmdEventGizmoCopy = 17,
    LmdEventVerticesMoved = 18,
    LmdEventBlockSelected = 19,
    LmdEventAttributesOpened = 20,
    LmdEventAttributesClosed = 21,
    LmdEventInstanceReactivated = 26,
};

// How a listener stays registered. Normal listeners stay until the engine goes; Once listeners
// are removed after their first event.
enum LmdListenerMode : int { LmdListenerNormal = 0, LmdListenerOnce = 1 };

class LmdEvent {
public:
    explicit LmdEvent(LmdEventEnum id = LmdEventNone) : mId(id) {}
    virtual ~LmdEvent() = default;
    LmdEventEnum getId() const { return mId; }
    void setId(LmdEventEnum id) { mId = id; }

private:
    LmdEventEnum mId;
};

// Event 19: a block was selected in the tree; -1 when the selection was cleared.
class LmdBlockSelectedEvent : public LmdEvent {
public:
    explicit LmdBlockSelectedEvent(int xmlId) : LmdEvent(LmdEventBlockSelected), mXmlId(xmlId) {}
    int getXmlId() const { return mXmlId; }

private:
    int mXmlId;
};

class LmdAttributeEditorOpenEvent : public LmdEvent {
public:
    LmdAttributeEditorOpenEvent() : LmdEvent(LmdEventAttributesOpened) {}
};

class LmdAttributeEditorCloseEvent : public LmdEvent {
public:
    LmdAttributeEditorCloseEvent() : LmdEvent(LmdEventAttributesClosed) {}
};

// An event that carries one text: event 26 holds the payload a second process handed over.
class LmdTextEvent : public LmdEvent {
public:
    LmdTextEvent(LmdEventEnum id, std::string text) : LmdEvent(id), mText(std::move(text)) {}
    const std::string& getText() const { return mText; }

private:
    std::string mText;
};

class LmdLevelChangedEvent : public LmdEvent {
public:
    LmdLevelChangedEvent(std::string level, bool playing)
        : LmdEvent(LmdEventLevelChanged), mLevel(std::move(level)), mPlaying(playing) {}
    const std::string& getLevel() const { return mLevel; }
    bool isPlaying() const { return mPlaying; }

private:
    std::string mLevel;
    bool mPlaying;
};

class LmdCollisionEvent : public LmdEvent {
public:
    LmdCollisionEvent(std::string a, std::string b)
        : LmdEvent(LmdEventCollision), mA(std::move(a)), mB(std::move(b)) {}
    const std::string& getFirst() const { return mA; }
    const std::string& getSecond() const { return mB; }

private:
    std::string mA, mB;
};

class LmdObjectClickedEvent : public LmdEvent {
public:
    LmdObjectClickedEvent(std::string name, int xmlId)
        : LmdEvent(LmdEventObjectClicked), mName(std::move(name)), mXmlId(xmlId) {}
    const std::string& getName() const { return mName; }
    int getXmlId() const { return mXmlId; }

private:
    std::string mName;
    int mXmlId;
};

} // namespace Lumenda3D
