#pragma once
// What game logic needs from the running scene. The scene (3D objects, 2D elements, lights, sound,
// physics) implements this interface; LmdLuaRuntime calls it from the translated logic blocks.
//
// Objects are found by their `name` in the game document (or the name `cloneObject` gave a copy).
// Every method that works on an object returns false when no object of that name exists (or the
// value does not suit it); the runtime then reports a script error naming the block at fault, so
// the scene never has to log on the logic's behalf. All calls come on the main thread, from inside
// LmdLuaRuntime's start/update/keyDown/... calls. docs/game-logic-runtime.md explains the whole.
//
// Property names the runtime itself writes or reads:
//   x, y, z                 position relative to the parent (document units)
//   rotationX/Y/Z           degrees, as in the document
//   scaleX/Y/Z              factors
//   velocityX/Y/Z           world velocity of a physics body (read by expressions)
//   visible                 Boolean (Show, Hide)
//   text                    Text of Text2D/Button2D (SetText, texts with {placeholders})
//   color                   Text "0xRRGGBB" (SetColor)
//   texture                 Text: the name of a Material (SetMaterial)
// Expressions may name any other property (`hud.fontSize`, `lamp.intensity`): the scene decides
// which it supports.
#include <optional>
#include <string>

#include "engine/logic/LmdScriptValue.h"

namespace Lumenda3D {

class LmdScriptHost {
public:
    virtual ~LmdScriptHost() = default;

    // ---- Objects and their properties
    virtual bool hasObject(const std::string& object) = 0;
    // False when the object or the property does not exist.
    virtual bool getProperty(const std::string& object, const std::string& property, LmdScriptValue& value) = 0;
    // False when the object does not exist or the property cannot take the value.
    virtual bool setProperty(const std::string& object, const std::string& property, const LmdScriptValue& value) = 0;

    // ---- Motion. Tweened moves (`duration` > 0) arrive as a series of small calls, one a frame.
    // Moves the object by an offset, along the world axes or its own (`local`).
    virtual bool translate(const std::string& object, double dx, double dy, double dz, bool local) = 0;
    // Turns the object so that it faces the other object.
    virtual bool lookAt(const std::string& object, const std::string& target) = 0;
    // A continuous force for the coming physics step, or one `impulse` (a kick, a jump).
    virtual bool applyForce(const std::string& object, double fx, double fy, double fz, bool impulse, bool local) = 0;
    // Sets the velocity of a physics body; an empty component keeps its current value.
    virtual bool setVelocity(const std::string& object, std::optional<double> vx, std::optional<double> vy,
                             std::optional<double> vz, bool local) = 0;

    // ---- Life of objects
    // Removes the object and its child objects from the scene.
    virtual bool destroyObject(const std::string& object) = 0;
    // Copies the object (with its children) at an offset from it and returns the copy's name:
    // `newName` when it is free, otherwise a free name the scene makes up. "" when the object
    // does not exist.
    virtual std::string cloneObject(const std::string& object, const std::string& newName, double dx, double dy,
                                    double dz) = 0;

    // ---- Looks and sound
    // `animation` is the name of an Animation declared in the model (or a clip name).
    virtual bool playAnimation(const std::string& object, const std::string& animation, bool loop, double speed) = 0;
    virtual bool stopAnimation(const std::string& object) = 0;
    virtual bool switchLight(const std::string& light, bool on) = 0;
    // `sound` is the name of a LoadSound declaration. Sounds with `autoPlay` are started by the
    // runtime (through this call) when their game or level starts.
    virtual bool playSound(const std::string& sound, double volume, bool loop) = 0;
    // Stops a sound; "" stops all.
    virtual void stopSound(const std::string& sound) = 0;

    // ---- Queries
    // World distance between two objects' origins; false when either does not exist.
    virtual bool distance(const std::string& a, const std::string& b, double& result) = 0;

    // ---- The game
    // Builds the scene of another level (or rebuilds the current one for a restart) and returns
    // false when it cannot. Called between frames, never inside logic; the runtime then starts the
    // level's logic itself.
    virtual bool goToLevel(const std::string& level) = 0;
    // The Print block. The default writes the text to the log at the normal level.
    virtual void print(const std::string& text);
};

} // namespace Lumenda3D
