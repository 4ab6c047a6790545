#pragma once
// An OGRE root without a window or render system, for tests of the scene: scene nodes, entities,
// meshes and materials all work (hardware buffers live in memory); nothing is drawn, and textures
// cannot be made. One per test process, made on first use and kept until exit.
#include <memory>

#include <Ogre.h>
#include <OgreDefaultHardwareBufferManager.h>

namespace Lumenda3D::test {

class HeadlessOgre {
public:
    static Ogre::SceneManager* sceneManager() { return instance().mSceneManager; }

private:
    HeadlessOgre() {
        mLog = std::make_unique<Ogre::LogManager>();
        mLog->createLog("headless-ogre.log", true, false, true); // no console, no file
        mRoot = std::make_unique<Ogre::Root>("", "", "");
        mBuffers = std::make_unique<Ogre::DefaultHardwareBufferManager>();
        Ogre::MaterialManager::getSingleton().initialise();
        Ogre::ResourceGroupManager::getSingleton().initialiseAllResourceGroups();
        mSceneManager = mRoot->createSceneManager();
    }
    ~HeadlessOgre() {
        mRoot.reset();
        mBuffers.reset();
        mLog.reset();
    }
    static HeadlessOgre& instance() {
        static HeadlessOgre ogre;
        return ogre;
    }

    std::unique_ptr<Ogre::LogManager> mLog;
    std::unique_ptr<Ogre::Root> mRoot;
    std::unique_ptr<Ogre::DefaultHardwareBufferManager> mBuffers;
    Ogre::SceneManager* mSceneManager = nullptr;
};

} // namespace Lumenda3D::test
