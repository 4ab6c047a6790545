#include "services/AiProviderSettings.h"

#include <algorithm>

#include "services/EditorSettings.h"

namespace Lumenda3D {

namespace {

std::string keyName(const std::string& id) { return "ai.key." + id; }
std::string baseUrlName(const std::string& id) { return "ai.baseUrl." + id; }
std::string modelName(const std::string& id) { return "ai.model." + id; }

std::string trimmedUrl(std::string url) {
    while (!url.empty() && (url.back() == '/' || url.back() == ' '))
        url.pop_back();
    while (!url.empty() && url.front() == ' ')
        url.erase(url.begin());
    return url;
}

bool startsWith(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

} // namespace

const std::vector<AiProviderSettings::Provider>& AiProviderSettings::providers() {
    static const std::vector<Provider> list = {
        {"openai", "OpenAI", "https://api.openai.com/v1", {"gpt-4.1", "gpt-4.1-mini", "o4-mini", "gpt-5"}, false},
        {"anthropic", "Anthropic", "https://api.anthropic.com", {"claude-sonnet-4-5", "claude-opus-4-1", "claude-haiku-4-5"}, false},
        {"gemini", "Google Gemini", "https://generativelanguage.googleapis.com", {"gemini-2.5-flash", "gemini-2.5-pro"}, false},
        {"compatible", "OpenAI-compatible server", "", {"local-model"}, true},
    };
    return list;
}

const AiProviderSettings::Provider* AiProviderSettings::find(const std::string& id) {
    for (const Provider& p : providers())
        if (p.id == id)
            return &p;
    return nullptr;
}

std::string AiProviderSettings::key(const std::string& id) { return EditorSettings::getInstance().getString(keyName(id), ""); }

bool AiProviderSettings::hasKey(const std::string& id) { return !key(id).empty(); }

void AiProviderSettings::setKey(const std::string& id, const std::string& value) {
    std::string k = value;
    k.erase(std::remove_if(k.begin(), k.end(), [](char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }), k.end());
    EditorSettings::getInstance().setString(keyName(id), k);
}

void AiProviderSettings::clearKey(const std::string& id) { EditorSettings::getInstance().setString(keyName(id), ""); }

std::string AiProviderSettings::baseUrl(const std::string& id) {
    const Provider* p = find(id);
    const std::string stored = trimmedUrl(EditorSettings::getInstance().getString(baseUrlName(id), ""));
    if (!stored.empty())
        return stored;
    return p ? p->defaultBaseUrl : "";
}

void AiProviderSettings::setBaseUrl(const std::string& id, const std::string& url) {
    EditorSettings::getInstance().setString(baseUrlName(id), trimmedUrl(url));
}

bool AiProviderSettings::isConfigured(const std::string& id) {
    const Provider* p = find(id);
    if (!p)
        return false;
    if (p->keyOptional)
        return !baseUrl(id).empty();
    return hasKey(id);
}

std::vector<std::string> AiProviderSettings::order() {
    std::vector<std::string> result;
    const std::string stored = EditorSettings::getInstance().getString("ai.providerOrder", "");
    size_t start = 0;
    while (start <= stored.size()) {
        size_t comma = stored.find(',', start);
        if (comma == std::string::npos)
            comma = stored.size();
        const std::string id = stored.substr(start, comma - start);
        if (find(id) && std::find(result.begin(), result.end(), id) == result.end())
            result.push_back(id);
        start = comma + 1;
    }
    for (const Provider& p : providers())
        if (std::find(result.begin(), result.end(), p.id) == result.end())
            result.push_back(p.id);
    return result;
}

void AiProviderSettings::setOrder(const std::vector<std::string>& ids) {
    std::string text;
    for (const std::string& id : ids) {
        if (!find(id))
            continue;
        if (!text.empty())
            text += ',';
        text += id;
    }
    EditorSettings::getInstance().setString("ai.providerOrder", text);
}

std::string AiProviderSettings::model(const std::string& id) {
    const Provider* p = find(id);
    const std::string fallback = p && !p->models.empty() ? p->models.front() : "";
    const std::string stored = EditorSettings::getInstance().getString(modelName(id), "");
    return stored.empty() ? fallback : stored;
}

void AiProviderSettings::setModel(const std::string& id, const std::string& model) {
    EditorSettings::getInstance().setString(modelName(id), model);
}

std::string AiProviderSettings::chosenModel() { return EditorSettings::getInstance().getString("ai.chosenModel", ""); }

void AiProviderSettings::setChosenModel(const std::string& choice) {
    EditorSettings::getInstance().setString("ai.chosenModel", choice);
}

std::string AiProviderSettings::effort() {
    const std::string value = EditorSettings::getInstance().getString("ai.effort", "");
    return value == "low" || value == "medium" || value == "high" ? value : "";
}

void AiProviderSettings::setEffort(const std::string& effort) { EditorSettings::getInstance().setString("ai.effort", effort); }

bool AiProviderSettings::deepThink() { return EditorSettings::getInstance().getBool("ai.deepThink", false); }

void AiProviderSettings::setDeepThink(bool on) { EditorSettings::getInstance().setBool("ai.deepThink", on); }

std::string AiProviderSettings::reasoningCaps(const std::string& providerId, const std::string& model) {
    if (providerId == "openai" && (startsWith(model, "o") || startsWith(model, "gpt-5")))
        return "effort_levels";
    if (providerId == "anthropic" && (model.find("sonnet-4") != std::string::npos || model.find("opus-4") != std::string::npos ||
                                      model.find("haiku-4") != std::string::npos || model.find("3-7") != std::string::npos))
        return "deep_think";
    if (providerId == "gemini" && model.find("2.5") != std::string::npos)
        return "deep_think";
    return "";
}

int AiProviderSettings::timeoutSeconds() {
    const int value = EditorSettings::getInstance().getInt("ai.timeoutSeconds", 180);
    return std::clamp(value, 1, 3600);
}

} // namespace Lumenda3D
