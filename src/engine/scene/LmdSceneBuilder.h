#pragma once
// Makes the OGRE side of scene objects from their descriptions: the mesh of a primitive or model
// (with a model's automatic size, and in a play scene its start animation), the light of a
// light, the editor's markers of cameras and lights, and the looks (the colour, or the Material
// the `texture` attribute names). Also the level's surroundings: background colour, sky, fog,
// shadows, ambient light. Main thread, OGRE root.
#include <string>

#include "engine/scene/LmdSceneDescription.h"

namespace Ogre {
class SceneManager;
class Viewport;
} // namespace Ogre

namespace Lumenda3D {

class LmdBase2D;
class LmdBase3D;
class LmdMaterialFactory;
class LmdMeshLibrary;
class LmdSceneFaults;
class LmdShadows;

class LmdSceneBuilder {
public:
    struct Services {
        Ogre::SceneManager* sceneManager = nullptr;
        LmdMaterialFactory* materials = nullptr;
        LmdMeshLibrary* meshes = nullptr;
        LmdSceneFaults* faults = nullptr;
        LmdShadows* shadows = nullptr; // null: the scene draws no shadows
    };

    LmdSceneBuilder(const Services& services, bool editMode);

    // Shape, light, marker and looks of a new object. `scope` resolves Material names.
    void build(LmdBase3D& object, const LmdSceneDescription& scope);
    // Rebuilds the mesh (after its size, file or vertices changed) and reapplies the looks.
    void rebuildShape(LmdBase3D& object, const LmdSceneDescription& scope);
    // Colour or Material of the object's mesh, from its description.
    void applyLooks(LmdBase3D& object, const LmdSceneDescription& scope);
    // Light colour, intensity, range, angle and direction from the description.
    void applyLight(LmdBase3D& object);
    // Fits a model into one unit (autoScale) or shows it at its own size.
    void applyAutoScale(LmdBase3D& object);
    // In a play scene, starts a model's `animation` (looping); a name the model does not have is
    // one fault naming the element, and the model stands still.
    void startAnimation(LmdBase3D& object);
    // A 2D element's picture.
    void loadPicture(LmdBase2D& element);

    // Background, sky, fog, shadows and ambient light of a level ("" for none); `ambient` is the
    // sum of its ambient lights (negative components when it has none).
    void applyEnvironment(const LmdSceneDescription& scope, const std::string& level, Ogre::Viewport* viewport,
                          const Ogre::ColourValue& ambient);

    bool isEditMode() const { return mEditMode; }

private:
    void buildShape(LmdBase3D& object);
    void buildLight(LmdBase3D& object);
    void buildMarker(LmdBase3D& object);

    Services mServices;
    bool mEditMode;
};

} // namespace Lumenda3D
