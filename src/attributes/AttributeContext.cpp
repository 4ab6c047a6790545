#include "attributes/AttributeContext.h"

#include <vector>

#include "engine/Lumenda3DEngine.h"

namespace Lumenda3D {

std::string pendingUpdateKey(int xmlId, const std::string& name) {
    return std::to_string(xmlId) + "_" + name;
}

void commitPendingUpdates(AttributeContext& context, std::chrono::steady_clock::time_point now) {
    if (!context.pendingUpdates || context.pendingUpdates->empty())
        return;
    std::vector<std::string> done;
    for (const auto& [key, update] : *context.pendingUpdates) {
        if (update.commitTime > now)
            continue;
        if (context.engine && context.engine->getXmlNodeById(update.xmlId))
            context.engine->updateLuaAttribute(update.xmlId, update.name, update.value, update.paramType);
        done.push_back(key);
    }
    for (const std::string& key : done)
        context.pendingUpdates->erase(key);
}

} // namespace Lumenda3D
