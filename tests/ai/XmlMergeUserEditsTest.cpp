// The user's concurrent edits found from two snapshots, conflicts with the assistant's changes,
// and the merge of both sides.
#include <gtest/gtest.h>

#include <pugixml.hpp>

#include "services/XmlMerge.h"

namespace Lumenda3D {
namespace {

using json = nlohmann::json;
using UserOp = XmlMerge::UserOp;

const char* const kBase =
    R"(<G id="1"><Level id="2" name="Main"><Box id="3" name="Player" x="0" y="1"/><Sphere id="4" name="Ball" x="2"/>)"
    R"(<Camera id="5" name="Cam"/></Level><Var id="6" name="score" value="0"/></G>)";

std::vector<UserOp> diff(const std::string& base, const std::string& current) {
    pugi::xml_document a, b;
    EXPECT_TRUE(a.load_string(base.c_str()));
    EXPECT_TRUE(b.load_string(current.c_str()));
    return XmlMerge::computeUserDiff(a.first_child(), b.first_child());
}

bool conflicts(const std::vector<UserOp>& ops, const json& changes, std::vector<std::string>& labels) {
    pugi::xml_document base;
    base.load_string(kBase);
    return XmlMerge::detectConflicts(ops, changes, base.first_child(), labels);
}

TEST(XmlMergeUserEdits, DiffFindsAttributeEditsDeletionsAdditionsAndMoves) {
    const std::string current =
        R"(<G id="1" _aiChange="updated"><Level id="2" name="Main"><Sphere id="4" name="Ball" x="2"/>)"
        R"(<Box id="3" name="Player" x="5"/><Coin id="9" name="Coin1"><Spin id="10"/></Coin></Level>)"
        R"(<Var id="6" name="score" value="0"/></G>)";
    const std::vector<UserOp> ops = diff(kBase, current);
    std::vector<std::string> seen;
    for (const UserOp& op : ops)
        seen.push_back(std::to_string(op.kind) + ":" + op.id + ":" + op.name + ":" + op.value + ":" + op.parentId + ":" + op.afterId);
    // The camera went, the player and the ball swapped places (each says where it stands now),
    // the player's x changed and y went, a coin with a child came in; the session mark on the top
    // element is no edit.
    EXPECT_EQ(seen, (std::vector<std::string>{"3:5::::", "5:4:::2:", "1:3:x:5::", "2:3:y:::", "5:3:::2:4", "4:9:::2:3"}));
    EXPECT_EQ(ops[5].xml, R"(<Coin id="9" name="Coin1"><Spin id="10"/></Coin>)");
    EXPECT_TRUE(diff(kBase, kBase).empty());
}

TEST(XmlMergeUserEdits, ConflictsOnlyWhereBothSidesTouchTheSameThings) {
    std::vector<std::string> labels;
    const std::vector<UserOp> setX = {{UserOp::SetAttr, "3", "", "", "x", "5", ""}};
    // Another attribute or another node: no conflict.
    EXPECT_FALSE(conflicts(setX, json::parse(R"([{"op":"update","id":"3","attrs":{"y":"2"}},{"op":"delete","id":"4"}])"), labels));
    EXPECT_TRUE(labels.empty());
    EXPECT_TRUE(conflicts(setX, json::parse(R"([{"op":"update","id":"3","attrs":{"x":9}}])"), labels));
    EXPECT_EQ(labels, std::vector<std::string>{"Box \"Player\": you set \"x\" to \"5\", the assistant sets it to \"9\"."});
    // Replacing or deleting an ancestor takes the user's edit away.
    EXPECT_TRUE(conflicts(setX, json::parse(R"([{"op":"delete","id":"2"}])"), labels));
    EXPECT_EQ(labels, std::vector<std::string>{"Box \"Player\": you changed \"x\", the assistant deletes Level \"Main\"."});

    const std::vector<UserOp> deleteLevel = {{UserOp::Delete, "2", "", "", "", "", ""}};
    EXPECT_TRUE(conflicts(deleteLevel, json::parse(R"([{"op":"insert","parentId":"2","xml":"<Box/>"}])"), labels));
    EXPECT_EQ(labels, std::vector<std::string>{"You deleted Level \"Main\", the assistant adds to Level \"Main\"."});
    EXPECT_FALSE(conflicts(deleteLevel, json::parse(R"([{"op":"update","id":"6","attrs":{"value":"1"}}])"), labels));

    const std::vector<UserOp> add = {{UserOp::Insert, "9", "2", "5", "", "", "<Coin id=\"9\" name=\"Coin1\"/>"}};
    EXPECT_TRUE(conflicts(add, json::parse(R"([{"op":"replace","id":"2","xml":"<Level/>"}])"), labels));
    EXPECT_EQ(labels, std::vector<std::string>{"You added Coin \"Coin1\" to Level \"Main\", the assistant replaces Level \"Main\"."});
}

TEST(XmlMergeUserEdits, MergeKeepsBothSidesAndTheWinnerSettlesConflicts) {
    const std::vector<UserOp> ops = {{UserOp::SetAttr, "3", "", "", "x", "5", ""},
                                     {UserOp::SetAttr, "4", "", "", "x", "7", ""},
                                     {UserOp::Insert, "9", "2", "5", "", "", "<Coin id=\"9\"/>"}};
    const json changes = json::parse(R"([{"op":"update","id":"3","attrs":{"x":"9","z":"1"}},{"op":"delete","id":"5"}])");
    std::string error;
    auto merged = [&](XmlMerge::Winner winner) {
        const std::string xml = XmlMerge::merge(kBase, changes, ops, winner, error);
        EXPECT_TRUE(error.empty()) << error;
        pugi::xml_document doc;
        doc.load_string(xml.c_str());
        return std::make_pair(xml, std::string(doc.find_node([](pugi::xml_node n) { return std::string(n.name()) == "Box"; })
                                                   .attribute("x")
                                                   .value()));
    };
    const auto [assistant, assistantX] = merged(XmlMerge::AssistantWins);
    EXPECT_EQ(assistantX, "9");
    // Non-conflicting edits of both sides stand in every outcome: the ball's x, the coin, the
    // assistant's z and deleted camera (whose place the coin took its "after" from).
    for (const std::string& xml : {assistant, merged(XmlMerge::UserWins).first}) {
        EXPECT_NE(xml.find(R"(<Sphere id="4" name="Ball" x="7")"), std::string::npos) << xml;
        EXPECT_NE(xml.find("<Coin id=\"9\""), std::string::npos) << xml;
        EXPECT_EQ(xml.find("Camera"), std::string::npos) << xml;
    }
    const auto [user, userX] = merged(XmlMerge::UserWins);
    EXPECT_EQ(userX, "5");
    // The assistant's conflicting change is left out whole, its mark with it.
    EXPECT_EQ(user.find("z=\"1\""), std::string::npos) << user;
    EXPECT_NE(assistant.find(R"(<Box id="3" name="Player" x="9" y="1" z="1" _aiChange="updated")"), std::string::npos) << assistant;

    const std::string discarded = XmlMerge::merge(kBase, changes, ops, XmlMerge::DiscardAssistant, error);
    EXPECT_NE(discarded.find("Camera"), std::string::npos);
    EXPECT_EQ(discarded.find("_aiChange"), std::string::npos);

    EXPECT_EQ(XmlMerge::merge("<G", changes, ops, XmlMerge::AssistantWins, error), "");
    EXPECT_EQ(error, "The game as it was when the request left could not be read.");
    EXPECT_EQ(XmlMerge::merge(kBase, json::parse(R"([{"op":"delete","id":"77"}])"), ops, XmlMerge::NoConflict, error), "");
    EXPECT_EQ(error.rfind("None of the assistant's changes could be applied: ", 0), 0u);
}

TEST(XmlMergeUserEdits, AUserAdditionSurvivesANewDocument) {
    const std::vector<UserOp> ops = {{UserOp::Insert, "9", "2", "5", "", "", "<Coin id=\"9\"/>"},
                                     {UserOp::Insert, "10", "77", "", "", "", "<Gem id=\"10\"/>"},
                                     {UserOp::SetAttr, "3", "", "", "x", "5", ""}};
    std::string error;
    EXPECT_EQ(XmlMerge::appendUserAdds(R"(<G><Level id="2" name="New"/></G>)", ops, error),
              R"(<G><Level id="2" name="New"><Coin id="9"/></Level><Gem id="10"/></G>)");
    EXPECT_EQ(XmlMerge::appendUserAdds("not xml", ops, error), "");
    EXPECT_EQ(error, "The assistant's new game could not be read.");
}

} // namespace
} // namespace Lumenda3D

namespace Lumenda3D {
namespace {

TEST(XmlMergeUserEdits, ADocumentLoadedAgainMeanwhileIsNeverNestedInItself) {
    // Undo of a whole-document step reloads the game: every id is new, the top element's too.
    const std::string reloaded =
        R"(<G id="101"><Level id="102" name="Main"><Box id="103" name="Player" x="4" y="1"/></Level></G>)";
    const std::vector<XmlMerge::UserOp> ops = diff(kBase, reloaded);
    for (const XmlMerge::UserOp& op : ops)
        EXPECT_TRUE(op.kind == XmlMerge::UserOp::Delete || (op.kind == XmlMerge::UserOp::Insert && op.parentId == "1"))
            << op.kind << " " << op.id << " " << op.parentId;
    std::vector<std::string> labels;
    const json changes = json::parse(R"([{"op":"update","id":"3","attrs":{"x":"9"}}])");
    EXPECT_TRUE(conflicts(ops, changes, labels));
    std::string error;
    const std::string mine = XmlMerge::merge(kBase, changes, ops, XmlMerge::UserWins, error);
    EXPECT_EQ(mine, R"(<G id="1"><Level id="102" name="Main"><Box id="103" name="Player" x="4" y="1"/></Level></G>)");
    const std::string theirs = XmlMerge::merge(kBase, changes, ops, XmlMerge::AssistantWins, error);
    EXPECT_EQ(theirs.find("id=\"101\""), std::string::npos);
    EXPECT_NE(theirs.find(R"(x="9")"), std::string::npos);
}

} // namespace
} // namespace Lumenda3D
