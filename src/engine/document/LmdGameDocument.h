#pragma once
// The game document the engine holds: the parsed XML, the xml ids by which the engine and the
// block tree find nodes, a version that changes with every change, and the text forms of the
// document. It needs no window; the engine owns one and forwards its document operations here.
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <pugixml.hpp>

namespace Lumenda3D {

class CodeSchema;

class LmdGameDocument {
public:
    // The element every game document has at its top.
    static constexpr const char* kRootElement = "KiteBench3D";
    // The text of a new, empty game.
    static constexpr const char* kEmptyGameXml = "<KiteBench3D>\n</KiteBench3D>";
    // How game text is parsed everywhere: pugixml's defaults.
    static constexpr unsigned int kParseFlags = pugi::parse_default;

    LmdGameDocument();
    ~LmdGameDocument();
    LmdGameDocument(const LmdGameDocument&) = delete;
    LmdGameDocument& operator=(const LmdGameDocument&) = delete;

    // The live document; null before the first successful setXmlSourceString.
    pugi::xml_document* getSourceXml();
    const pugi::xml_document* getSourceXml() const;
    // The document's root element (empty handle without a document).
    pugi::xml_node root() const;

    // The document as text. `withIds`: every element carries its numeric `id` (the form agents
    // read and address). `forStorage`: the form that is saved and hashed, without session-only
    // marks. Elements stand one per line, indented by two spaces. "" without a document.
    std::string getSourceXmlString(bool withIds, bool forStorage) const;

    // Parses and replaces the document. Every element gets a fresh id and is registered.
    // Bad text (not well-formed, or without a root element) returns false, sets `error`, and
    // leaves the old document and its node handles untouched.
    bool setXmlSourceString(const std::string& xml, std::string* error = nullptr);

    // Changes whenever the document changes; consumers cache against it.
    int getSourceVersion() const { return version_; }
    void markChanged() { ++version_; }

    // Node by xml id; empty for an id that is not registered.
    pugi::xml_node getXmlNodeById(int id) const;
    // Makes a node known under its `id` attribute (call after the id is set).
    void registerXmlNode(const pugi::xml_node& node);
    // Forgets the ids of the node and its subtree (call before the nodes are destroyed).
    void unregisterSubtree(const pugi::xml_node& node);
    // Gives the node and its subtree fresh ids, parents first, and registers them.
    void assignIds(pugi::xml_node node);
    size_t registeredNodeCount() const { return registered_; }

    // Whether any attribute value refers to a local asset ("local:<file name>").
    bool sourceHasLocalAssets() const;
    // The assets the game refers to, once each in document order, as an <Assets> document.
    // With a schema, an attribute counts as an asset when its schema attribute names an
    // `assetLoader`; local references count always.
    std::string getAssetsXmlString(const CodeSchema* schema = nullptr) const;

    // Called after each successful replacement with the previous document (null for the first),
    // so that the edit history can record the change. The receiver may keep it.
    using ReplacedCallback = std::function<void(std::unique_ptr<pugi::xml_document> previous)>;
    void setOnReplaced(ReplacedCallback callback) { onReplaced_ = std::move(callback); }

    // Parses game text with the document's rules; false and `error` on bad text: text that is not
    // well-formed, or that holds no root element or more than one.
    static bool parse(const std::string& xml, pugi::xml_document& out, std::string* error = nullptr);
    // Whether the text would load (parse() without keeping the result).
    static bool isValidText(const std::string& xml);

private:
    void setSlot(int id, const pugi::xml_node& node);
    void clearSlot(int id, const pugi::xml_node& node);

    std::unique_ptr<pugi::xml_document> doc_;
    // The ids of one load form a consecutive block, kept in a vector indexed from its first id;
    // ids given out later (new nodes, restored subtrees) live in the map.
    int denseBase_ = 0;
    std::vector<pugi::xml_node> dense_;
    std::unordered_map<int, pugi::xml_node> extra_;
    size_t registered_ = 0;
    int version_ = 0;
    mutable size_t lastTextSize_ = 0;
    ReplacedCallback onReplaced_;
};

} // namespace Lumenda3D
