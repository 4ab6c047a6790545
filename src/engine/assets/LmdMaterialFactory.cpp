#include "engine/assets/LmdMaterialFactory.h"

#include "base/LmdValueParser.h"
#include "engine/assets/LmdAssetResolver.h"
#include "engine/scene/LmdSceneFaults.h"

#include <OgreDataStream.h>
#include <OgreImage.h>
#include <OgreMaterialManager.h>
#include <OgrePass.h>
#include <OgreTechnique.h>
#include <OgreTextureManager.h>
#include <OgreTextureUnitState.h>

#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace Lumenda3D {
namespace {

namespace fs = std::filesystem;
const char* const kGroup = Ogre::RGN_DEFAULT;

Ogre::ColourValue toColour(std::uint32_t rgb, float alpha = 1.0f) {
    return Ogre::ColourValue(float((rgb >> 16) & 0xFF) / 255.0f, float((rgb >> 8) & 0xFF) / 255.0f,
                             float(rgb & 0xFF) / 255.0f, alpha);
}

Ogre::MaterialPtr freshMaterial(const std::string& name) {
    Ogre::MaterialManager& materials = Ogre::MaterialManager::getSingleton();
    if (Ogre::ResourcePtr existing = materials.getResourceByName(name, kGroup))
        materials.remove(existing);
    return materials.create(name, kGroup);
}

void setLit(Ogre::Pass* pass, const Ogre::ColourValue& colour) {
    pass->setLightingEnabled(true);
    pass->setAmbient(colour.r, colour.g, colour.b);
    pass->setDiffuse(colour);
    pass->setSpecular(0, 0, 0, 1);
    pass->setSelfIllumination(0, 0, 0);
}

void setTransparent(Ogre::Pass* pass, float opacity) {
    if (opacity < 0.999f) {
        pass->setSceneBlending(Ogre::SBT_TRANSPARENT_ALPHA);
        pass->setDepthWriteEnabled(false);
    } else {
        pass->setSceneBlending(Ogre::SBT_REPLACE);
        pass->setDepthWriteEnabled(true);
    }
}

std::string lowerExtension(const std::string& path) {
    std::string ext = fs::path(path).extension().string();
    if (!ext.empty())
        ext.erase(0, 1);
    return LmdValueParser::toLower(ext);
}

} // namespace

LmdMaterialFactory::LmdMaterialFactory(const LmdAssetResolver& resolver) : mResolver(resolver) {}

std::string LmdMaterialFactory::colour(std::uint32_t rgb) {
    auto found = mColours.find(rgb);
    if (found != mColours.end() && Ogre::MaterialManager::getSingleton().resourceExists(found->second, kGroup))
        return found->second;
    const std::string name = "Lmd/Colour/" + LmdValueParser::formatColor(rgb);
    Ogre::MaterialPtr material = freshMaterial(name);
    setLit(material->getTechnique(0)->getPass(0), toColour(rgb));
    mColours[rgb] = name;
    return name;
}

std::string LmdMaterialFactory::unlitColour(std::uint32_t rgb, float opacity) {
    const std::string key = LmdValueParser::formatColor(rgb) + "/" + std::to_string(int(opacity * 100));
    auto found = mUnlit.find(key);
    if (found != mUnlit.end() && Ogre::MaterialManager::getSingleton().resourceExists(found->second, kGroup))
        return found->second;
    const std::string name = "Lmd/Unlit/" + key;
    Ogre::MaterialPtr material = freshMaterial(name);
    Ogre::Pass* pass = material->getTechnique(0)->getPass(0);
    // Emissive only: the colour shows whatever the lights do.
    pass->setLightingEnabled(true);
    pass->setAmbient(0, 0, 0);
    pass->setDiffuse(0, 0, 0, opacity);
    pass->setSelfIllumination(toColour(rgb));
    setTransparent(pass, opacity);
    mUnlit[key] = name;
    return name;
}

std::string LmdMaterialFactory::declaredName(const std::string& level, const std::string& name) const {
    auto found = mDeclared.find(level + "/" + name);
    return found == mDeclared.end() ? std::string() : found->second.material;
}

namespace {

// Every value of a declaration, as one text: equal texts build equal materials.
std::string signatureOf(const LmdMaterialDesc& d) {
    char buffer[256];
    std::snprintf(buffer, sizeof buffer, "%06X|%g|%g|%d|%g|%g|%g|%g|%g|", unsigned(d.color), double(d.opacity),
                  double(d.shininess), int(d.lighting), double(d.tileU), double(d.tileV), double(d.scrollU),
                  double(d.scrollV), double(d.reflectivity));
    return buffer + d.picture + "|" + d.reflectionPicture;
}

} // namespace

Ogre::TexturePtr LmdMaterialFactory::texture(const std::string& path, std::string& error) {
    const std::string name = "Lmd/Texture/" + path;
    Ogre::TextureManager& textures = Ogre::TextureManager::getSingleton();
    if (Ogre::TexturePtr existing = textures.getByName(name, kGroup))
        return existing;
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        error = "cannot open '" + path + "'";
        return Ogre::TexturePtr();
    }
    std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    Ogre::TexturePtr result = textureFromMemory(path, bytes, lowerExtension(path), error);
    return result;
}

Ogre::TexturePtr LmdMaterialFactory::textureFromMemory(const std::string& key, const std::vector<unsigned char>& bytes,
                                                       const std::string& format, std::string& error) {
    const std::string name = "Lmd/Texture/" + key;
    Ogre::TextureManager& textures = Ogre::TextureManager::getSingleton();
    if (Ogre::TexturePtr existing = textures.getByName(name, kGroup))
        return existing;
    if (bytes.empty()) {
        error = "the picture is empty";
        return Ogre::TexturePtr();
    }
    try {
        Ogre::DataStreamPtr stream(OGRE_NEW Ogre::MemoryDataStream(const_cast<unsigned char*>(bytes.data()),
                                                                    bytes.size(), false, true));
        Ogre::Image image;
        image.load(stream, format == "jpeg" ? "jpg" : format);
        Ogre::TexturePtr texture = textures.loadImage(name, kGroup, image);
        mDocumentTextures.push_back(name);
        return texture;
    } catch (const std::exception& e) {
        error = std::string("the picture cannot be decoded (") + e.what() + ")";
    } catch (...) {
        error = "the picture cannot be decoded";
    }
    return Ogre::TexturePtr();
}

Ogre::TexturePtr LmdMaterialFactory::picture(const std::string& reference, const pugi::xml_node& node,
                                             LmdSceneFaults& faults) {
    if (reference.empty())
        return Ogre::TexturePtr();
    const std::string path = mResolver.resolve(reference, LmdAssetResolver::Kind::Texture);
    if (path.empty()) {
        faults.report(node, "the picture '" + reference + "' was not found; the colour is used instead");
        return Ogre::TexturePtr();
    }
    std::string error;
    Ogre::TexturePtr result = texture(path, error);
    if (!result)
        faults.report(node, "the picture '" + reference + "' cannot be used: " + error + "; the colour is used instead");
    return result;
}

void LmdMaterialFactory::applyTextureLayer(Ogre::Pass* pass, const Ogre::TexturePtr& texture,
                                           const LmdMaterialDesc& desc) {
    Ogre::TextureUnitState* unit = pass->createTextureUnitState();
    unit->setTexture(texture);
    unit->setTextureAddressingMode(Ogre::TextureUnitState::TAM_WRAP);
    const float tileU = desc.tileU > 0.0f ? desc.tileU : 1.0f, tileV = desc.tileV > 0.0f ? desc.tileV : 1.0f;
    if (tileU != 1.0f || tileV != 1.0f)
        unit->setTextureScale(1.0f / tileU, 1.0f / tileV);
    if (desc.scrollU != 0.0f || desc.scrollV != 0.0f)
        unit->setScrollAnimation(desc.scrollU, desc.scrollV);
}

std::string LmdMaterialFactory::declared(const LmdMaterialDesc& desc, LmdSceneFaults& faults) {
    const std::string key = desc.level + "/" + desc.name;
    const std::string signature = signatureOf(desc);
    auto found = mDeclared.find(key);
    if (found != mDeclared.end() && found->second.signature == signature &&
        Ogre::MaterialManager::getSingleton().resourceExists(found->second.material, kGroup))
        return found->second.material;
    // A new name: objects of another scene may still show the material this one replaces.
    const std::string name = "Lmd/Material/" + key + "/" + std::to_string(++mSerial);
    mDeclared[key] = Declared{signature, name};
    Ogre::MaterialPtr material = freshMaterial(name);
    mDocumentMaterials.push_back(name);
    Ogre::Pass* pass = material->getTechnique(0)->getPass(0);
    const Ogre::ColourValue colour = toColour(desc.color, desc.opacity);
    if (desc.lighting) {
        setLit(pass, colour);
        if (desc.shininess > 0.0f) {
            pass->setSpecular(0.8f, 0.8f, 0.8f, 1.0f);
            pass->setShininess(desc.shininess);
        }
    } else {
        pass->setLightingEnabled(true);
        pass->setAmbient(0, 0, 0);
        pass->setDiffuse(0, 0, 0, desc.opacity);
        pass->setSelfIllumination(colour);
    }
    setTransparent(pass, desc.opacity);
    if (Ogre::TexturePtr tex = picture(desc.picture, desc.node, faults)) {
        applyTextureLayer(pass, tex, desc);
        if (tex->hasAlpha() && desc.opacity >= 0.999f)
            pass->setAlphaRejectSettings(Ogre::CMPF_GREATER_EQUAL, 128); // cut-out leaves, fences
    }
    if (!desc.reflectionPicture.empty() && desc.reflectivity > 0.0f) {
        if (Ogre::TexturePtr env = picture(desc.reflectionPicture, desc.node, faults)) {
            Ogre::TextureUnitState* unit = pass->createTextureUnitState();
            unit->setTexture(env);
            unit->setEnvironmentMap(true, Ogre::TextureUnitState::ENV_CURVED);
            unit->setColourOperationEx(Ogre::LBX_BLEND_MANUAL, Ogre::LBS_TEXTURE, Ogre::LBS_CURRENT,
                                       Ogre::ColourValue::White, Ogre::ColourValue::White, desc.reflectivity);
        }
    }
    return name;
}

std::string LmdMaterialFactory::model(const std::string& key, size_t submesh, const LmdSubMeshData& data,
                                      const pugi::xml_node& node, LmdSceneFaults& faults) {
    const std::string name = "Lmd/Model/" + key + "/" + std::to_string(submesh);
    Ogre::MaterialPtr material = freshMaterial(name);
    mDocumentMaterials.push_back(name);
    Ogre::Pass* pass = material->getTechnique(0)->getPass(0);
    const Ogre::ColourValue colour = data.hasDiffuse ? Ogre::ColourValue(data.diffuse[0], data.diffuse[1],
                                                                         data.diffuse[2], data.diffuse[3])
                                                     : Ogre::ColourValue::White;
    setLit(pass, colour);
    setTransparent(pass, colour.a);
    std::string error;
    Ogre::TexturePtr tex;
    if (!data.embeddedTexture.empty())
        tex = textureFromMemory(key + "#" + std::to_string(submesh), data.embeddedTexture, data.embeddedFormat, error);
    else if (!data.texturePath.empty())
        tex = texture(data.texturePath, error);
    if (tex) {
        Ogre::TextureUnitState* unit = pass->createTextureUnitState();
        unit->setTexture(tex);
        if (tex->hasAlpha() && colour.a >= 0.999f)
            pass->setAlphaRejectSettings(Ogre::CMPF_GREATER_EQUAL, 128);
    } else if (!error.empty()) {
        faults.report(node, "a texture of the model cannot be used: " + error + "; its colour is used instead");
    }
    return name;
}

std::string LmdMaterialFactory::sky(const LmdSkyDesc& desc, LmdSceneFaults& faults) {
    Ogre::TexturePtr tex = picture(desc.picture, desc.node, faults);
    if (!tex)
        return std::string();
    const std::string key = desc.level + "/" + desc.name;
    char tint[16];
    std::snprintf(tint, sizeof tint, "%06X", unsigned(desc.color));
    const std::string signature = desc.picture + "|" + tint;
    auto found = mSkies.find(key);
    if (found != mSkies.end() && found->second.signature == signature &&
        Ogre::MaterialManager::getSingleton().resourceExists(found->second.material, kGroup))
        return found->second.material;
    const std::string name = "Lmd/Sky/" + key + "/" + std::to_string(++mSerial);
    mSkies[key] = Declared{signature, name};
    Ogre::MaterialPtr material = freshMaterial(name);
    mDocumentMaterials.push_back(name);
    Ogre::Pass* pass = material->getTechnique(0)->getPass(0);
    pass->setLightingEnabled(true);
    pass->setAmbient(0, 0, 0);
    pass->setDiffuse(0, 0, 0, 1);
    pass->setSelfIllumination(toColour(desc.color));
    pass->setDepthWriteEnabled(false);
    pass->setFog(true, Ogre::FOG_NONE); // the sky stays clear of the level's fog
    Ogre::TextureUnitState* unit = pass->createTextureUnitState();
    unit->setTexture(tex);
    unit->setTextureAddressingMode(Ogre::TextureUnitState::TAM_WRAP);
    return name;
}

void LmdMaterialFactory::setColour(const Ogre::MaterialPtr& material, std::uint32_t rgb, float opacity) {
    if (!material)
        return;
    const Ogre::ColourValue colour = toColour(rgb, opacity);
    for (unsigned short t = 0; t < material->getNumTechniques(); ++t) {
        Ogre::Technique* technique = material->getTechnique(t);
        for (unsigned short p = 0; p < technique->getNumPasses(); ++p) {
            Ogre::Pass* pass = technique->getPass(p);
            if (pass->getSelfIllumination() != Ogre::ColourValue::Black && pass->getDiffuse().r == 0 &&
                pass->getDiffuse().g == 0 && pass->getDiffuse().b == 0) {
                pass->setSelfIllumination(colour); // unlit
            } else {
                pass->setAmbient(colour.r, colour.g, colour.b);
                pass->setDiffuse(colour);
            }
            setTransparent(pass, opacity);
        }
    }
}

void LmdMaterialFactory::clearDocumentResources() {
    Ogre::MaterialManager& materials = Ogre::MaterialManager::getSingleton();
    for (const std::string& name : mDocumentMaterials)
        if (Ogre::ResourcePtr existing = materials.getResourceByName(name, kGroup))
            materials.remove(existing);
    mDocumentMaterials.clear();
    mDeclared.clear();
    mSkies.clear();
    if (Ogre::TextureManager* textures = Ogre::TextureManager::getSingletonPtr())
        for (const std::string& name : mDocumentTextures)
            if (Ogre::ResourcePtr existing = textures->getResourceByName(name, kGroup))
                textures->remove(existing);
    mDocumentTextures.clear();
}

} // namespace Lumenda3D
