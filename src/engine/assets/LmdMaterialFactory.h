#pragma once
// Materials and textures of the game scene. Every material here is a one-pass material that the
// RTShaderSystem turns into shaders:
//   - plain colours (an object's `color`), shared by all objects of the same colour;
//   - declared Materials (colour, picture with tiling and scrolling, opacity, shininess, lighting,
//     reflection), one per declaration, rebuilt when the declaration changes;
//   - the materials of imported models (the file's diffuse colour and texture);
//   - unlit colours for the editor's markers, and the sky.
// Pictures are read from the files LmdAssetResolver finds; a picture that is missing or cannot be
// decoded is one critical log line naming the element, and the material keeps its colour.
// Main thread, with an OGRE root.
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <OgreMaterial.h>
#include <OgreTexture.h>

#include "engine/assets/LmdMeshData.h"
#include "engine/scene/LmdSceneDescription.h"

namespace Lumenda3D {

class LmdAssetResolver;
class LmdSceneFaults;

class LmdMaterialFactory {
public:
    explicit LmdMaterialFactory(const LmdAssetResolver& resolver);

    // Name of a lit material of this colour.
    std::string colour(std::uint32_t rgb);
    // Name of an unlit material of this colour (markers, gizmo-like helpers).
    std::string unlitColour(std::uint32_t rgb, float opacity = 1.0f);
    // Builds a declared Material, or finds it built with the same values (the edit scene and the
    // play scene share it); returns the OGRE material's name. A declaration whose values changed
    // gets a new material (objects showing the old one keep it until their looks are applied again).
    std::string declared(const LmdMaterialDesc& desc, LmdSceneFaults& faults);
    // The OGRE material a declaration (level scope, name) has now; "" before it was built.
    std::string declaredName(const std::string& level, const std::string& name) const;
    // Material of one submesh of an imported model; `key` identifies the model file.
    std::string model(const std::string& key, size_t submesh, const LmdSubMeshData& data, const pugi::xml_node& node,
                      LmdSceneFaults& faults);
    // Material of a sky dome (picture tinted with the colour); "" when the sky has no usable picture.
    std::string sky(const LmdSkyDesc& desc, LmdSceneFaults& faults);

    // Textures, by absolute path or from bytes; a null pointer with `error` set on failure.
    Ogre::TexturePtr texture(const std::string& path, std::string& error);
    Ogre::TexturePtr textureFromMemory(const std::string& key, const std::vector<unsigned char>& bytes,
                                       const std::string& format, std::string& error);
    // A picture of the game (a reference as the document writes it), for 2D images and buttons.
    Ogre::TexturePtr picture(const std::string& reference, const pugi::xml_node& node, LmdSceneFaults& faults);

    // Changes the colour of an existing material in place, in every technique (the shader
    // techniques the RTShaderSystem made included), so objects using it change at once.
    static void setColour(const Ogre::MaterialPtr& material, std::uint32_t rgb, float opacity);

    // Forgets the declared materials and textures read for the document (on reload), so that
    // changed files are read again. Colour materials stay.
    void clearDocumentResources();

private:
    void applyTextureLayer(Ogre::Pass* pass, const Ogre::TexturePtr& texture, const LmdMaterialDesc& desc);

    const LmdAssetResolver& mResolver;
    std::map<std::uint32_t, std::string> mColours;
    std::map<std::string, std::string> mUnlit;
    struct Declared {
        std::string signature;
        std::string material;
    };
    std::map<std::string, Declared> mDeclared; // by level + "/" + name
    std::map<std::string, Declared> mSkies;
    int mSerial = 0;
    std::vector<std::string> mDocumentMaterials;
    std::vector<std::string> mDocumentTextures;
};

} // namespace Lumenda3D
