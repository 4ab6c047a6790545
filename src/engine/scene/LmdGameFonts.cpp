#include "engine/scene/LmdGameFonts.h"

#include "base/LmdLog.h"
#include "base/LmdPaths.h"
#include "engine/app/LmdInterfaceFont.h"

#include <OgreHardwarePixelBuffer.h>
#include <OgreMaterialManager.h>
#include <OgrePass.h>
#include <OgreTechnique.h>
#include <OgreTextureManager.h>
#include <OgreTextureUnitState.h>

#include <imgui.h>

#include <algorithm>
#include <filesystem>

namespace Lumenda3D {
namespace {

namespace fs = std::filesystem;
constexpr float kSizes[] = {20.0f, 36.0f, 64.0f};

} // namespace

std::vector<std::string> LmdGameFonts::candidateFiles() {
    std::vector<std::string> files;
    std::error_code ec;
    const fs::path media = fs::path(LmdPaths::mediaDir()) / "fonts";
    if (fs::is_directory(media, ec)) {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(media, ec))
            if (entry.path().extension() == ".ttf")
                found.push_back(entry.path().string());
        std::sort(found.begin(), found.end());
        files.insert(files.end(), found.begin(), found.end());
    }
    const std::vector<std::string> system = LmdInterfaceFont::systemFiles();
    files.insert(files.end(), system.begin(), system.end());
    return files;
}

bool LmdGameFonts::install() {
    if (!mFonts.empty() || !ImGui::GetCurrentContext())
        return !mFonts.empty();
    std::error_code ec;
    for (const std::string& file : candidateFiles())
        if (fs::is_regular_file(file, ec)) {
            mFile = file;
            break;
        }
    if (mFile.empty()) {
        LmdLog::message("No TrueType font found for game texts; they use the interface font");
        return false;
    }
    ImGuiIO& io = ImGui::GetIO();
    for (float size : kSizes) {
        ImFontConfig config;
        config.OversampleH = 2;
        config.OversampleV = 1;
        if (ImFont* font = io.Fonts->AddFontFromFileTTF(mFile.c_str(), size, &config))
            mFonts.push_back({size, font});
    }
    if (mFonts.empty())
        return false;
    unsigned char* pixels = nullptr;
    int width = 0, height = 0;
    io.Fonts->GetTexDataAsRGBA32(&pixels, &width, &height);
    Ogre::TexturePtr texture = Ogre::TextureManager::getSingleton().getByName("ImGui/FontTex", Ogre::RGN_INTERNAL);
    if (!texture || !pixels) {
        LmdLog::message("The interface's font texture was not found; game texts use the interface font");
        mFonts.clear();
        return false;
    }
    if (int(texture->getWidth()) != width || int(texture->getHeight()) != height) {
        texture->freeInternalResources();
        texture->setWidth(uint32_t(width));
        texture->setHeight(uint32_t(height));
        texture->createInternalResources();
    }
    texture->getBuffer()->blitFromMemory(Ogre::PixelBox(uint32_t(width), uint32_t(height), 1, Ogre::PF_BYTE_RGBA, pixels));
    if (Ogre::MaterialPtr material = Ogre::MaterialManager::getSingleton().getByName("ImGui/material", Ogre::RGN_INTERNAL))
        for (unsigned short t = 0; t < material->getNumTechniques(); ++t)
            for (unsigned short p = 0; p < material->getTechnique(t)->getNumPasses(); ++p) {
                Ogre::Pass* pass = material->getTechnique(t)->getPass(p);
                if (pass->getNumTextureUnitStates() > 0)
                    pass->getTextureUnitState(0)->setTextureFiltering(Ogre::TFO_BILINEAR);
            }
    LmdLog::message("Game font: " + mFile);
    return true;
}

ImFont* LmdGameFonts::fontFor(float pixels) const {
    for (const Baked& baked : mFonts)
        if (baked.size >= pixels * 0.95f)
            return baked.font;
    return largest();
}

} // namespace Lumenda3D
