#include "export/AssetBundler.h"

#include <filesystem>
#include <set>

#include <pugixml.hpp>

#include "base/LmdLog.h"
#include "engine/assets/LmdAssetResolver.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/scene/LmdSceneFaults.h"
#include "engine/scene/LmdSceneReader.h"
#include "engine/schema/CodeSchema.h"
#include "services/FileManager.h"
#include "services/LocalStorage.h"
#include "services/MyHttpClient.h"

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

using Kind = LmdAssetResolver::Kind;

Kind kindOf(const std::string& type) {
    if (type == "models")
        return Kind::Model;
    if (type == "sounds")
        return Kind::Sound;
    return Kind::Texture;
}

// What one bundle has left to do; shared by the download callbacks.
struct Run {
    int total = 0;
    int finished = 0;
    std::vector<std::string> warnings;
    AssetBundler::Progress progress;
    AssetBundler::Done done;

    void step() {
        ++finished;
        if (progress)
            progress(finished, total);
        if (finished == total && done) {
            std::string text;
            for (const std::string& w : warnings)
                text += (text.empty() ? "" : "\n") + w;
            done(warnings.empty(), text);
        }
    }
};

} // namespace

std::vector<AssetBundler::Reference> AssetBundler::referencesOf(const std::string& xml, const std::string& schemaPath) {
    std::vector<Reference> out;
    pugi::xml_document document;
    if (!LmdGameDocument::parse(xml, document))
        return out;
    CodeSchema schema;
    if (!schemaPath.empty())
        schema.load(schemaPath);
    LmdSceneFaults faults;
    LmdSceneReader reader(&schema, faults);
    LmdSceneDescription scene;
    reader.read(document.document_element(), scene);

    std::set<std::pair<std::string, std::string>> seen;
    auto add = [&out, &seen](const char* type, const std::string& reference) {
        if (!reference.empty() && seen.insert({type, reference}).second)
            out.push_back({type, reference});
    };
    for (const LmdMaterialDesc& m : scene.materials) {
        add("textures", m.picture);
        add("textures", m.reflectionPicture);
    }
    for (const LmdSkyDesc& sky : scene.skies)
        add("textures", sky.picture);
    for (const LmdObjectDesc& object : scene.objects)
        if (object.kind == LmdObjectKind::Model)
            add("models", object.fileName);
    for (const LmdElementDesc& element : scene.elements)
        add("textures", element.picture);
    for (const LmdSoundDesc& sound : scene.sounds)
        add("sounds", sound.fileName);
    return out;
}

void AssetBundler::bundle(const AssetBundleInput& input, Progress progress, Done done) {
    std::string xml, error;
    if (!FileManager::readFile(input.compiledXmlPath, xml, &error)) {
        if (done)
            done(false, "the compiled document could not be read: " + error);
        return;
    }
    const std::vector<Reference> references = referencesOf(xml, input.schemaPath);
    auto run = std::make_shared<Run>();
    run->total = int(references.size());
    run->progress = std::move(progress);
    run->done = std::move(done);
    if (references.empty()) {
        if (run->progress)
            run->progress(0, 0);
        if (run->done)
            run->done(true, "");
        return;
    }

    LmdAssetResolver resolver;
    resolver.setLocalAssetsDir(input.localAssetsDir.empty() ? LocalStorage::localAssetsDir() : input.localAssetsDir);
    resolver.setGameDir(input.gameDir);
    if (!input.mediaDir.empty())
        resolver.setMediaDir(input.mediaDir);
    if (!input.cacheDir.empty())
        resolver.setCacheDir(input.cacheDir);

    std::set<std::string> placed; // "<type>/<file>" already in the bundle
    for (const Reference& ref : references) {
        const std::string fileName = LmdAssetResolver::fileNameOf(ref.reference);
        const fs::path target = fs::path(input.assetsDir) / ref.type / fileName;
        const std::string label = "asset '" + ref.reference + "' (" + ref.type + ")";
        if (fileName.empty() || fileName == "." || fileName == "..") {
            run->warnings.push_back(label + " has no usable file name; it was left out");
            run->step();
            continue;
        }
        if (!placed.insert(ref.type + "/" + fileName).second) {
            run->warnings.push_back(label + " has the same file name as another " + ref.type +
                                    " asset of the game; only the first is in the export");
            run->step();
            continue;
        }
        std::error_code ec;
        fs::create_directories(target.parent_path(), ec);
        const std::string local = resolver.resolve(ref.reference, kindOf(ref.type));
        if (!local.empty()) {
            fs::copy_file(local, target, fs::copy_options::overwrite_existing, ec);
            if (ec)
                run->warnings.push_back(label + " could not be copied: " + ec.message());
            run->step();
            continue;
        }
        std::string url;
        if (LmdAssetResolver::isUrl(ref.reference))
            url = ref.reference;
        else if (!LmdAssetResolver::isLocalReference(ref.reference) && input.resolver)
            url = input.resolver(ref.type, fileName);
        if (url.empty() || !input.client) {
            run->warnings.push_back(label + " was not found on this computer" +
                                    (LmdAssetResolver::isLocalReference(ref.reference)
                                         ? std::string(" (it is not among the local assets)")
                                         : std::string(" and no Lumenda3D server is set up to fetch it from")));
            run->step();
            continue;
        }
        const std::string targetPath = target.string();
        input.client->get(url, [run, label, url, targetPath](const HttpResponse& response) {
            if (!response.success) {
                run->warnings.push_back(label + " could not be fetched from " + url + ": " + response.error);
            } else {
                std::string writeError;
                if (!FileManager::writeFileAtomic(targetPath, response.body, &writeError))
                    run->warnings.push_back(label + " could not be saved: " + writeError);
            }
            run->step();
        });
    }
}

} // namespace Lumenda3D
