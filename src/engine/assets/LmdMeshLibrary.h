#pragma once
// The meshes of the scene's objects. Primitive meshes are made once per shape and size and shared
// by every object of that size; a model file is read once (Assimp, or OGRE's own .mesh format)
// and shared by every object showing it. An object with moved vertices (VertexList) gets a mesh
// of its own with the moves applied. The plain data of each mesh is kept for physics mesh shapes.
//
// A model file that is missing or cannot be read is one critical log line naming the element;
// the object then stays as an empty placeholder. Main thread, with an OGRE root.
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "engine/assets/LmdMeshData.h"
#include "engine/scene/LmdSceneDescription.h"

namespace Lumenda3D {

class LmdAssetResolver;
class LmdMaterialFactory;
class LmdSceneFaults;

class LmdMeshLibrary {
public:
    struct Shape {
        std::string mesh;                   // OGRE mesh name; empty: nothing to show
        std::vector<std::string> materials; // per submesh, from the model file ("" for primitives)
        const LmdMeshData* data = nullptr;  // the mesh's vertices, in its own frame
        float autoScale = 1.0f;             // a model's factor that fits it into one unit
    };

    LmdMeshLibrary(const LmdAssetResolver& resolver, LmdMaterialFactory& materials, LmdSceneFaults& faults);
    ~LmdMeshLibrary();

    // The shape of a primitive or model object; false (shape empty) when there is none.
    bool shapeOf(const LmdObjectDesc& object, Shape& out);
    // Small meshes for the editor's markers of cameras and lights.
    std::string markerMesh(LmdObjectKind kind);
    // Forgets what was read for the document (models may have changed on disk), and the meshes
    // made for moved vertices. Call when no entity uses them any more.
    void clearDocumentResources();
    size_t modelCount() const { return mModels.size(); }

private:
    struct Entry {
        std::string mesh;
        std::vector<std::string> materials;
        std::unique_ptr<LmdMeshData> data;
        float autoScale = 1.0f;
        bool ok = false;
        std::string error; // why a model cannot be shown, as reported
    };

    Entry* primitive(const LmdObjectDesc& object);
    Entry* model(const LmdObjectDesc& object);
    bool applyVertices(const LmdObjectDesc& object, const Entry& base, Shape& out);

    const LmdAssetResolver& mResolver;
    LmdMaterialFactory& mMaterials;
    LmdSceneFaults& mFaults;
    std::map<std::string, Entry> mPrimitives;
    std::map<std::string, Entry> mModels;  // by resolved path (or reference when not found)
    std::map<std::string, Entry> mEdited;  // meshes with moved vertices, by object
    std::vector<std::string> mModelFolders;
    int mSerial = 0;
};

} // namespace Lumenda3D
