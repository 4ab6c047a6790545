// lumenda3d: the editor's entry.
//
//   lumenda3d [Lumenda3DApp://URL | game.xml] [--mcp on|off] [--mcp-port N] [--screenshot FILE]
//             [--help] [--version]
//
// Fixes the working directory, reads the URL and the options, hands them to a running editor or
// becomes the editor itself, starts the update check, runs the render loop and tears everything
// down in a fixed order. The terminate handler makes a fault during the last stretch of teardown
// look like the clean exit it almost was. See docs/running.md.
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <iostream>
#include <string>
#include <unordered_map>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

#include <OgreLogManager.h>
#include <OgreRenderSystem.h>
#include <OgreRoot.h>

#include "base/LmdVersion.h"
#include "core/LmdStartScreenshot.h"
#include "core/Lumenda3DAppUrl.h"
#include "core/Lumenda3DEditor.h"
#include "services/LmdAutoUpdater.h"
#include "services/LmdCommandLine.h"
#include "services/LmdSingleInstance.h"

namespace {

// The application object, made before main runs and destroyed at process exit.
Lumenda3D::Lumenda3DEditor ctx("Lumenda3D");

// Set once onClose has run, before closeApp; read only by globalTerminateHandler.
bool g_appShuttingDown = false;

// A line in the engine's log, when the log exists; a failure of the logging is swallowed.
void logToEngine(const std::string& text) {
    try {
        if (Ogre::LogManager* log = Ogre::LogManager::getSingletonPtr())
            log->logMessage(text, Ogre::LML_NORMAL);
    } catch (...) {
    }
}

void globalTerminateHandler() {
    if (std::exception_ptr current = std::current_exception()) {
        try {
            std::rethrow_exception(current);
        } catch (const std::exception& e) {
            std::cerr << "Unhandled exception: " << e.what() << std::endl;
            logToEngine(std::string("FATAL unhandled exception: ") + e.what());
        } catch (...) {
            std::cerr << "Unhandled unknown exception" << std::endl;
            logToEngine("FATAL unhandled unknown exception");
        }
    }
    if (g_appShuttingDown)
        _exit(0);
    std::abort();
}

// Points the current directory at the folder of the running program.
void changeToModuleFolder() {
#ifdef _WIN32
    wchar_t buffer[260];
    const DWORD length = GetModuleFileNameW(nullptr, buffer, 260);
    if (length >= 1 && length <= 259) {
        std::error_code ec;
        std::filesystem::current_path(std::filesystem::path(std::wstring(buffer, length)).parent_path(), ec);
    }
#else
    char buffer[260];
    const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer);
    if (length >= 1 && length <= 259) {
        std::error_code ec;
        std::filesystem::current_path(std::filesystem::path(std::string(buffer, size_t(length))).parent_path(), ec);
    }
#endif
}

} // namespace

int main(int argc, char** argv) {
    using namespace Lumenda3D;

    // 1. The terminate handler.
    std::set_terminate(globalTerminateHandler);
    // Paths on the command line are relative to where the user started the editor, not to the
    // program's folder that follows.
    std::error_code ec;
    const std::filesystem::path startFolder = std::filesystem::current_path(ec);

    // 2. The program's own folder becomes the current directory.
    changeToModuleFolder();

    // 3. and 4. The cloud resource of a Lumenda3DApp:// URL.
    std::string resourceId;
    if (argc >= 2 && argv[1] != nullptr) {
        const UrlSchemeArgs url = parseLumenda3DAppUrl(argv[1]);
        if (url.valid) {
            auto found = url.query.find("resId");
            if (found == url.query.end())
                found = url.query.find("resID");
            if (found != url.query.end() && !found->second.empty())
                resourceId = found->second;
        }
    }
    if (!resourceId.empty())
        ctx.pendingResourceId = resourceId;

    // 5. and 6. The agent server's options.
    const LmdCommandLine commandLine(argc, argv);
    if (!commandLine.ok()) {
        std::cerr << commandLine.errorText() << "\n" << LmdCommandLine::usage();
        return 2;
    }
    if (commandLine.helpRequested()) {
        std::cout << LmdCommandLine::usage()
                  << "A path to a game file (a .xml document) opens that game instead of the starting project.\n";
        return 0;
    }
    if (commandLine.versionRequested()) {
        std::cout << LmdVersion::productName() << " " << LmdVersion::text() << "\n";
        return 0;
    }
    const std::string mcp = commandLine.get("mcp", "");
    const std::string mcpPort = commandLine.get("mcp-port", "");
    if (!mcp.empty())
        ctx.mcpController.pendingCommand = mcp;
    if (!mcpPort.empty())
        ctx.mcpController.pendingPort = mcpPort;
    // --screenshot: the first project's window to a file, then the editor quits.
    LmdStartScreenshot* screenshot = nullptr;
    const std::string screenshotPath = commandLine.get("screenshot", "");
    if (!screenshotPath.empty()) {
        auto observer = std::make_unique<LmdStartScreenshot>(
            ctx, (startFolder / screenshotPath).lexically_normal().string());
        screenshot = observer.get();
        ctx.addObserver(std::move(observer));
    }
    // A game file in place of the URL opens in this editor (it is not handed to a running one).
    // A URL of another scheme is no file: it is ignored, and the editor starts as usual.
    const std::string firstArgument = commandLine.positional().empty() ? "" : commandLine.positional().front();
    switch (classifyStartArgument(firstArgument)) {
    case StartArgument::GameFile:
        ctx.pendingGameFile = (startFolder / firstArgument).lexically_normal().string();
        break;
    case StartArgument::OtherUrl:
        std::cerr << "Ignoring " << firstArgument << ": only Lumenda3DApp:// links and game files are opened.\n";
        break;
    case StartArgument::AppLink:
    case StartArgument::None:
        break;
    }

    // 7. The hand-over for a running editor: always these three keys, in this order.
    const std::unordered_map<std::string, std::string> handOver{
        {"resId", resourceId}, {"mcp", mcp}, {"mcpPort", mcpPort}};
    const std::string payload = LmdSingleInstance::buildPayload(handOver, {"resId", "mcp", "mcpPort"});

    // 8. Another editor runs: it has the payload now, and this process is done. The payload has
    // no room for a game file, so the user is told that it was not opened rather than left to
    // wonder.
    if (!LmdSingleInstance::getInstance().acquireOrForward(payload, "")) {
        if (!ctx.pendingGameFile.empty())
            std::cerr << "Lumenda3D is already running, so " << ctx.pendingGameFile
                      << " was not opened. Close the running editor first, then open the file again.\n";
        return 0;
    }

    // 9. The update check, in the background.
    LmdAutoUpdater::getInstance().init(LmdAutoUpdater::feedUrlFor(LmdAutoUpdater::configuredServer()),
                                       LmdVersion::productName(), LmdVersion::text());

    // 10. and 11. The window, the first project, then the render loop.
    try {
        ctx.initApp();
        Ogre::Root* root = ctx.getRoot();
        if (!root || !ctx.isReady())
            throw std::runtime_error("the editor window could not be created");
        // What Root::startRendering does before its own loop.
        root->getRenderSystem()->_initRenderTargets();
        root->clearEventTimes();
        while (!root->endRenderingQueued()) {
            try {
                root->renderOneFrame();
            } catch (const std::exception& e) {
                std::cerr << "Error while rendering: " << e.what() << "\n";
            } catch (...) {
                std::cerr << "Error while rendering\n";
            }
        }

        // The agent server, then the engine's parts; the root and the window stay until closeApp,
        // so that a fault while they are released counts as the clean exit it almost is.
        ctx.onClose();
        g_appShuttingDown = true;
        if (ctx.getRoot())
            ctx.closeApp();
        LmdSingleInstance::getInstance().shutdown();
    } catch (const std::exception& e) {
        const std::string text = std::string("Fatal exception in main: ") + e.what();
        std::cerr << text << "\n";
        logToEngine(text);
        LmdAutoUpdater::getInstance().cleanup();
        return 1;
    } catch (...) {
        const std::string text = "Fatal unknown exception in main";
        std::cerr << text << "\n";
        logToEngine(text);
        LmdAutoUpdater::getInstance().cleanup();
        return 1;
    }
    LmdAutoUpdater::getInstance().cleanup();
    return screenshot && !screenshot->written() ? 1 : 0;
}
