#pragma once
// The translator's work for one document: the passes over the document (declarations, events,
// functions, levels) and one member per kind of logic block. The passes live in
// LmdLuaTranslator.cpp; the blocks in LmdLuaFlowStatements.cpp (order of execution),
// LmdLuaDataStatements.cpp (variables and arrays) and LmdLuaActionStatements.cpp (what acts on
// the scene).
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <pugixml.hpp>

#include "engine/logic/LmdElementPath.h"
#include "engine/logic/LmdLuaBlockReader.h"
#include "engine/logic/LmdLuaBlockScope.h"
#include "engine/logic/LmdLuaTranslation.h"
#include "engine/logic/LmdLuaWriter.h"
#include "engine/schema/CodeSchema.h"

namespace Lumenda3D::translator {

using Problem = LmdLuaTranslation::Problem;

// Logic nested deeper than this is refused (Lua's parser allows about 200 levels, and each block
// level costs one or two).
constexpr int kMaxBlockDepth = 60;

// ---------------------------------------------------------------- the translator

class Translator {
public:
    explicit Translator(const CodeSchema& schema) : schema_(schema) {
        game_.vars = "G";
        game_.funcs = "F";
    }

    LmdLuaTranslation run(pugi::xml_node root);

private:
    using StatementFn = void (Translator::*)(pugi::xml_node, Place&, Locals&);

    struct Owner {
        SelfKind kind = SelfKind::None;
        std::string name;
        std::string label;
    };

    // ---- helpers
    std::string category(const char* name) const { return schema_.getCommandCategory(name); }
    bool isObjectElement(pugi::xml_node node) const {
        const std::string c = category(node.name());
        return c == "3D Models" || c == "2D Models" || c == "Light";
    }
    bool isEvent(pugi::xml_node node) const { return category(node.name()) == "Events"; }
    std::string where(pugi::xml_node node) { return describe(node, &paths_); }
    std::string label(pugi::xml_node node) { return std::string(node.name()) + " (" + where(node) + ")"; }
    int nodeIndex(pugi::xml_node node) {
        auto found = nodeIndex_.find(node.internal_object());
        if (found != nodeIndex_.end())
            return found->second;
        const int index = writer_.addNode(node.name(), where(node));
        nodeIndex_.emplace(node.internal_object(), index);
        return index;
    }
    void problem(pugi::xml_node node, const std::string& text, std::vector<std::string> attributes = {}) {
        Problem p;
        p.nodeId = node.attribute("id").as_int(0);
        p.element = node.name();
        p.where = where(node);
        p.text = text;
        p.attributes = std::move(attributes);
        out_.problems.push_back(std::move(p));
    }
    // Reports the block's faults; true when it has none.
    bool check(pugi::xml_node node, const Block& block, const char* consequence = "the block is skipped") {
        if (block.ok())
            return true;
        problem(node, block.faults() + "; " + consequence, block.faultyAttributes());
        return false;
    }
    void emit(pugi::xml_node node, const std::string& code) {
        writer_.open(nodeIndex(node));
        writer_.line(code);
        writer_.close();
    }
    std::string fresh(const char* prefix) { return prefix + std::to_string(++temporaries_); }
    static std::string bool_(bool value) { return value ? "true" : "false"; }

    // ---- passes
    void collect(pugi::xml_node scopeNode, Declarations& decls);
    void collectObjects(pugi::xml_node node);
    void scopeChildren(pugi::xml_node parent, int level, const Declarations* levelDecls, const Owner& owner,
                       std::vector<std::pair<std::string, std::string>>* objects);
    void declaration(pugi::xml_node node, int level, const Declarations* levelDecls);
    void function(pugi::xml_node node, const Declarations* levelDecls);
    void event(pugi::xml_node node, int level, const Declarations* levelDecls, const Owner& owner);
    void boundText(pugi::xml_node node, int level, const Declarations* levelDecls, const Owner& owner);
    void finish();

    // ---- logic
    void block(pugi::xml_node parent, Place& place, Locals& locals, bool skipElse = false);
    void statement(pugi::xml_node node, Place& place, Locals& locals);
    void sShowHide(pugi::xml_node, Place&, Locals&);
    void sSetColor(pugi::xml_node, Place&, Locals&);
    void sSetMaterial(pugi::xml_node, Place&, Locals&);
    void sSetText(pugi::xml_node, Place&, Locals&);
    void sPlayAnimation(pugi::xml_node, Place&, Locals&);
    void sStopAnimation(pugi::xml_node, Place&, Locals&);
    void sSwitchLight(pugi::xml_node, Place&, Locals&);
    void sTransform(pugi::xml_node, Place&, Locals&); // Move, Rotate, Scale
    void sLookAt(pugi::xml_node, Place&, Locals&);
    void sApplyForce(pugi::xml_node, Place&, Locals&);
    void sSetVelocity(pugi::xml_node, Place&, Locals&);
    void sPlaySound(pugi::xml_node, Place&, Locals&);
    void sStopSound(pugi::xml_node, Place&, Locals&);
    void sIf(pugi::xml_node, Place&, Locals&);
    void sLoop(pugi::xml_node, Place&, Locals&);
    void sWhile(pugi::xml_node, Place&, Locals&);
    void sForEach(pugi::xml_node, Place&, Locals&);
    void sBreak(pugi::xml_node, Place&, Locals&);
    void sComment(pugi::xml_node, Place&, Locals&) {}
    void sVar(pugi::xml_node, Place&, Locals&);
    void sSet(pugi::xml_node, Place&, Locals&);
    void sIncrement(pugi::xml_node, Place&, Locals&);
    void sArray(pugi::xml_node, Place&, Locals&);
    void sArrayAdd(pugi::xml_node, Place&, Locals&);
    void sArraySet(pugi::xml_node, Place&, Locals&);
    void sArrayRemove(pugi::xml_node, Place&, Locals&);
    void sArrayClear(pugi::xml_node, Place&, Locals&);
    void sCall(pugi::xml_node, Place&, Locals&);
    void sReturn(pugi::xml_node, Place&, Locals&);
    void sClone(pugi::xml_node, Place&, Locals&);
    void sDestroy(pugi::xml_node, Place&, Locals&);
    void sGoToLevel(pugi::xml_node, Place&, Locals&);
    void sPrint(pugi::xml_node, Place&, Locals&);

    static const std::map<std::string, StatementFn>& statements();
    std::string assignCode(const Expr::Assignable& target, const std::string& value) const;
    bool knownSound(const Place& place, const std::string& name) const;
    bool knownMaterial(const Place& place, const std::string& name) const;

    const CodeSchema& schema_;
    LmdLuaWriter writer_;
    LmdLuaTranslation out_;
    Declarations game_;
    std::vector<std::unique_ptr<Declarations>> levels_;
    std::unordered_set<std::string> objects_;
    std::unordered_set<std::string> madeObjects_; // newName of every Clone that names its copy plainly
    std::vector<std::string> unknownObjects_;     // of the statements being translated, innermost last
    std::unordered_set<std::string> levelNames_;
    std::unordered_set<const void*> skipped_; // declarations already reported (duplicates, bad names)
    std::unordered_map<const void*, int> nodeIndex_;
    PathCache paths_;
    int temporaries_ = 0;
};

} // namespace Lumenda3D::translator
