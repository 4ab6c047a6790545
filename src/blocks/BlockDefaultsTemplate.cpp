#include "blocks/BlockDefaultsTemplate.h"

#include <cctype>
#include <fstream>
#include <memory>
#include <sstream>
#include <unordered_map>

#include "base/LmdLog.h"
#include "base/LmdPaths.h"

namespace Lumenda3D {
namespace {

struct State {
    std::unordered_map<std::string, std::unique_ptr<pugi::xml_document>> cache;
    std::string folder;
    int filesRead = 0;
};

State& state() {
    static State s;
    return s;
}

bool safeName(const std::string& name) {
    if (name.empty())
        return false;
    for (char c : name)
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-'))
            return false;
    return true;
}

} // namespace

void BlockDefaultsTemplate::setFolder(const std::string& folder) {
    state().folder = folder;
    state().cache.clear();
}

void BlockDefaultsTemplate::clearCache() {
    state().cache.clear();
    state().filesRead = 0;
}

int BlockDefaultsTemplate::filesRead() {
    return state().filesRead;
}

pugi::xml_node BlockDefaultsTemplate::getTemplateRoot(const std::string& blockName) {
    State& s = state();
    auto it = s.cache.find(blockName);
    if (it != s.cache.end())
        return it->second->first_child();
    // A failed or missing file is remembered as an empty document: each file is tried once.
    auto document = std::make_unique<pugi::xml_document>();
    if (safeName(blockName)) {
        const std::string folder = s.folder.empty() ? LmdPaths::mediaDir() + "/blocks/templates" : s.folder;
        std::ifstream in(folder + "/" + blockName + ".xml", std::ios::binary);
        if (in) {
            ++s.filesRead;
            std::ostringstream text;
            text << in.rdbuf();
            const pugi::xml_parse_result result = document->load_string(text.str().c_str());
            if (!result) {
                LmdLog::message("BlockDefaultsTemplate: failed to parse templates/" + blockName + ".xml: " +
                                result.description());
                document->reset();
            }
        }
    }
    pugi::xml_node root = document->first_child();
    s.cache.emplace(blockName, std::move(document));
    return root;
}

} // namespace Lumenda3D
