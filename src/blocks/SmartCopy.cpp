#include "blocks/SmartCopy.h"

#include <cmath>

namespace Lumenda3D {
namespace {

// The angle of a turn in radians, stable for the tiny turns that float rounding leaves behind
// (the arc cosine of the real part is not: it turns a rounding error of 1e-7 into 1e-3 rad).
double angleOf(const Ogre::Quaternion& turn) {
    const double vector = std::sqrt(double(turn.x) * turn.x + double(turn.y) * turn.y + double(turn.z) * turn.z);
    return 2.0 * std::atan2(vector, std::abs(double(turn.w)));
}

} // namespace

void SmartCopy::startSession(const Ogre::Vector3& direction) {
    hasDelta_ = false;
    scaleRatio_ = Ogre::Vector3::UNIT_SCALE;
    positionDelta_ = Ogre::Vector3::ZERO;
    rotationDelta_ = Ogre::Quaternion::IDENTITY;
    direction_ = direction;
}

void SmartCopy::learn(const Snapshot& source, const Ogre::Vector3& direction) {
    bool newSession = sourceId_ != source.id;
    for (int axis = 0; axis < 3; ++axis)
        if (std::abs(direction[axis] - direction_[axis]) > kDirectionTolerance)
            newSession = true;
    if (newSession) {
        startSession(direction);
        return;
    }
    if (hasDelta_)
        return;  // one step per session: later hand changes are the user's own business
    const Ogre::Vector3 local = source.orientation.Inverse() * (source.position - position_);
    Ogre::Quaternion turn = orientation_.Inverse() * source.orientation;
    turn.normalise();
    Ogre::Vector3 ratio;
    bool scaled = false, moved = false;
    for (int axis = 0; axis < 3; ++axis) {
        ratio[axis] = scale_[axis] != 0.0f ? source.scale[axis] / scale_[axis] : source.scale[axis];
        scaled = scaled || std::abs(ratio[axis] - 1.0f) > kScaleTolerance;
        moved = moved || std::abs(local[axis]) > kMoveTolerance;
    }
    if (!scaled && !moved && angleOf(turn) <= kAngleTolerance)
        return;
    positionDelta_ = local;
    rotationDelta_ = turn;
    scaleRatio_ = ratio;
    hasDelta_ = true;
}

SmartCopy::Placement SmartCopy::place(const Snapshot& source, const Ogre::Vector3& pivot, const Ogre::Vector3& boxMin,
                                      const Ogre::Vector3& boxMax, const Ogre::Vector3& direction, bool smart) {
    const Ogre::Vector3 half = (boxMax - boxMin) * 0.5f;
    const Ogre::Vector3 centre = (boxMax + boxMin) * 0.5f;
    Placement placement;
    placement.smart = smart;
    // The move in the object's frame, before its scale and orientation.
    Ogre::Vector3 move = Ogre::Vector3::ZERO;
    for (int axis = 0; axis < 3; ++axis) {
        if (direction[axis] == 0.0f)
            continue;
        placement.written[axis] = true;
        if (smart) {
            // The copy's origin goes to the source's far face on this axis, and its shape starts
            // there: the two share that face, and the copy turns about it.
            move[axis] = pivot[axis] + centre[axis] + half[axis] * direction[axis];
            placement.pivots[axis] = half[axis] * direction[axis] - centre[axis];
            placement.pivotWritten[axis] = true;
        } else {
            move[axis] = 2.0f * direction[axis] * half[axis];
        }
    }
    const Ogre::Vector3 world = source.orientation * (move * source.scale);
    for (int axis = 0; axis < 3; ++axis) {
        if (world[axis] == 0.0f && !placement.written[axis])
            continue;
        placement.values[axis] = source.position[axis] + world[axis];
        placement.written[axis] = true;
    }
    return placement;
}

SmartCopy::Step SmartCopy::applyStep(const Snapshot& source, Placement& placement) const {
    Step step;
    step.orientation = source.orientation;
    step.scale = source.scale;
    if (!hasDelta_)
        return step;
    step.applied = true;
    step.orientation = source.orientation * rotationDelta_;
    step.orientation.normalise();
    const Ogre::Vector3 offset = step.orientation * positionDelta_;
    for (int axis = 0; axis < 3; ++axis) {
        if (offset[axis] == 0.0f && !placement.written[axis])
            continue;
        const float from = placement.written[axis] ? placement.values[axis] : source.position[axis];
        placement.values[axis] = from + offset[axis];
        placement.written[axis] = true;
    }
    step.scale = source.scale * scaleRatio_;
    return step;
}

float SmartCopy::autoScaleY(float scaleY) {
    const float result = scaleY + (autoScaleAdd_ ? kAutoScaleStep : -kAutoScaleStep);
    autoScaleAdd_ = !autoScaleAdd_;
    return result;
}

void SmartCopy::remember(const Snapshot& copy, const Ogre::Vector3& direction) {
    sourceId_ = copy.id;
    direction_ = direction;
    position_ = copy.position;
    orientation_ = copy.orientation;
    scale_ = copy.scale;
}

void SmartCopy::reset() {
    if (suppressReset_ > 0)
        return;
    sourceId_ = -1;
    direction_ = Ogre::Vector3::ZERO;
    position_ = Ogre::Vector3::ZERO;
    orientation_ = Ogre::Quaternion::IDENTITY;
    scale_ = Ogre::Vector3::ZERO;
    hasDelta_ = false;
    positionDelta_ = Ogre::Vector3::ZERO;
    rotationDelta_ = Ogre::Quaternion::IDENTITY;
    scaleRatio_ = Ogre::Vector3::UNIT_SCALE;
}

} // namespace Lumenda3D
