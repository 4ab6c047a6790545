#pragma once
// The assistant's provider preferences, kept in the editor's persisted settings (whose file is
// written with mode 0600, so that the API keys in it are the user's alone): a key and a base URL
// per provider, the priority order, the model of each provider, the model chosen for the next
// messages ("" for automatic, by priority), and the reasoning controls. Keys are never logged.
//
// Providers: "openai" (OpenAI Chat Completions), "anthropic" (Anthropic Messages), "gemini"
// (Google Gemini generateContent) and "compatible", any server that speaks OpenAI Chat
// Completions at a base URL the user gives (llama.cpp's server, Ollama, vLLM, LM Studio), for
// which the key is optional. Main thread only, like EditorSettings.
#include <string>
#include <vector>

namespace Lumenda3D {

class AiProviderSettings {
public:
    struct Provider {
        std::string id;
        std::string label;
        std::string defaultBaseUrl;
        std::vector<std::string> models;   // offered in the model choice; the first is the default
        bool keyOptional = false;          // works without a key (a local server)
    };

    // The four providers, in their default priority order.
    static const std::vector<Provider>& providers();
    static const Provider* find(const std::string& id);

    static std::string key(const std::string& id);
    static bool hasKey(const std::string& id);
    static void setKey(const std::string& id, const std::string& key);
    static void clearKey(const std::string& id);

    // The base URL in use: the stored one, else the provider's default. Trailing "/" dropped.
    static std::string baseUrl(const std::string& id);
    static void setBaseUrl(const std::string& id, const std::string& url);

    // Whether the provider can be asked: a key, or for "compatible" a base URL.
    static bool isConfigured(const std::string& id);
    // Every provider id once, in the user's order (unknown ids dropped, missing ones appended).
    static std::vector<std::string> order();
    static void setOrder(const std::vector<std::string>& ids);

    static std::string model(const std::string& id);
    static void setModel(const std::string& id, const std::string& model);

    // "" for automatic (by priority), else "<provider id>/<model>".
    static std::string chosenModel();
    static void setChosenModel(const std::string& choice);

    // The reasoning controls: effort "low", "medium" or "high" ("" for the model's default), and
    // deep thinking on or off.
    static std::string effort();
    static void setEffort(const std::string& effort);
    static bool deepThink();
    static void setDeepThink(bool on);

    // What the model can be told about reasoning: "effort_levels" (OpenAI's reasoning models),
    // "deep_think" (Anthropic's and Gemini's thinking models), or "" for none.
    static std::string reasoningCaps(const std::string& providerId, const std::string& model);

    // A request that never answers ends after this many seconds ("ai.timeoutSeconds", default 180).
    static int timeoutSeconds();
};

} // namespace Lumenda3D
