#pragma once
// The rules of the gizmo's copies, apart from the document: where a copy goes, and what a smart
// copy learns from the user.
//
// A plain copy lands one object length along the direction, turned with the object. A smart copy
// lines up edge to edge with its source, and its pivot sits on the edge the two share, so that
// turning the copy by hand turns it about that edge. The session remembers the newest copy as it
// was made; when the user turns, moves or scales that copy by hand and then copies it again (same
// direction), the difference is learnt once and repeated on every further copy, each relative to
// the one before: one stair turned by hand gives a spiral staircase.
//
// Positions, orientations and scales are those of the object relative to its parent (its x, y,
// z, rotation and scale attributes); `pivot` is its xAxis, yAxis, zAxis; the box is the shape's
// bounds around the pivot without the object's own scale.
//
// Main thread only.
#include <OgreQuaternion.h>
#include <OgreVector.h>

namespace Lumenda3D {

class SmartCopy {
public:
    // The live object a copy is made from, read just before the copy.
    struct Snapshot {
        int id = -1;
        Ogre::Vector3 position = Ogre::Vector3::ZERO;
        Ogre::Vector3 scale = Ogre::Vector3::UNIT_SCALE;
        Ogre::Quaternion orientation = Ogre::Quaternion::IDENTITY;
    };

    // Where the copy goes. `written` axes get `values` as their position; a smart copy also gets
    // `pivots` on the axes it was pulled along (`pivotWritten`).
    struct Placement {
        float values[3] = {0.0f, 0.0f, 0.0f};
        bool written[3] = {false, false, false};
        float pivots[3] = {0.0f, 0.0f, 0.0f};
        bool pivotWritten[3] = {false, false, false};
        bool smart = false;
    };

    // The learnt step applied to a copy: its orientation and scale. Without a learnt step
    // `applied` is false and the copy keeps its source's.
    struct Step {
        Ogre::Quaternion orientation = Ogre::Quaternion::IDENTITY;
        Ogre::Vector3 scale = Ogre::Vector3::UNIT_SCALE;
        bool applied = false;
    };

    // Changes smaller than these are not the user's doing.
    static constexpr float kMoveTolerance = 0.001f;
    static constexpr float kScaleTolerance = 0.001f;
    static constexpr float kAngleTolerance = 0.0001f;  // radians
    static constexpr float kDirectionTolerance = 0.0001f;
    // The alternating change of y scale that auto scale gives each copy.
    static constexpr float kAutoScaleStep = 0.01f;

    // Before a smart copy: starts a new session when `source` is not the newest copy or the
    // direction changed; otherwise, if nothing is learnt yet, learns the difference between the
    // source now and as it was made (when there is one worth learning).
    void learn(const Snapshot& source, const Ogre::Vector3& direction);

    // Where a copy of `source` goes along `direction` (a unit axis of the object, signed). `box`
    // is the shape's bounds around the pivot; `pivot` and `position` the source's attributes.
    static Placement place(const Snapshot& source, const Ogre::Vector3& pivot, const Ogre::Vector3& boxMin,
                           const Ogre::Vector3& boxMax, const Ogre::Vector3& direction, bool smart);

    // The learnt step on top of `source`: also moves `placement` by the learnt offset (in the new
    // orientation's frame).
    Step applyStep(const Snapshot& source, Placement& placement) const;

    // The y scale auto scale gives the next copy: alternately a little larger and smaller.
    float autoScaleY(float scaleY);

    // After a copy was made: it is the newest copy, as it was born.
    void remember(const Snapshot& copy, const Ogre::Vector3& direction);

    // Ends the session, unless a copy is under way (see SuppressReset).
    void reset();

    bool hasSession() const { return sourceId_ != -1; }
    bool hasStep() const { return hasDelta_; }
    int sourceId() const { return sourceId_; }
    const Ogre::Vector3& positionDelta() const { return positionDelta_; }
    const Ogre::Quaternion& rotationDelta() const { return rotationDelta_; }
    const Ogre::Vector3& scaleRatio() const { return scaleRatio_; }

    void setAutoScale(bool on) { autoScale_ = on; }
    bool getAutoScale() const { return autoScale_; }

    // Held while a copy is made: the selection and gizmo events the copy itself causes must not
    // end the session it is part of.
    class SuppressReset {
    public:
        explicit SuppressReset(SmartCopy& owner) : owner_(owner) { ++owner_.suppressReset_; }
        ~SuppressReset() { --owner_.suppressReset_; }
        SuppressReset(const SuppressReset&) = delete;
        SuppressReset& operator=(const SuppressReset&) = delete;

    private:
        SmartCopy& owner_;
    };

private:
    void startSession(const Ogre::Vector3& direction);

    int sourceId_ = -1;
    Ogre::Vector3 direction_ = Ogre::Vector3::ZERO;
    Ogre::Vector3 position_ = Ogre::Vector3::ZERO;
    Ogre::Quaternion orientation_ = Ogre::Quaternion::IDENTITY;
    Ogre::Vector3 scale_ = Ogre::Vector3::ZERO;
    bool hasDelta_ = false;
    Ogre::Vector3 positionDelta_ = Ogre::Vector3::ZERO;
    Ogre::Quaternion rotationDelta_ = Ogre::Quaternion::IDENTITY;
    Ogre::Vector3 scaleRatio_ = Ogre::Vector3::UNIT_SCALE;

    bool autoScale_ = false;
    bool autoScaleAdd_ = true;
    int suppressReset_ = 0;
};

} // namespace Lumenda3D
