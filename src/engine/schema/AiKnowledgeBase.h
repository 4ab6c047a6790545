#pragma once
// What AI agents and the in-editor assistant read about building games here: the rules, the
// command reference, the assets, the edit-operations contract, example games, and the agent
// server's workflow. The texts live in media/knowledge/ (rules.md, assets.md, protocol.md,
// examples.md, mcp.md); the command reference is generated from media/codeSchema.xml when the
// knowledge base loads, so it always matches the schema the editor validates against.
//
// The process-wide instance loads once, at its first use, from LmdPaths::mediaDir(), and is only
// read afterwards: section() is safe on any thread (the agent server's connection threads call it).
#include <map>
#include <string>
#include <vector>

namespace Lumenda3D {

class CodeSchema;

class AiKnowledgeBase {
public:
    // One example game of the "examples" section.
    struct Example {
        std::string title;    // the text after "## "
        std::string summary;  // the first non-empty line after the title, outside the XML
        std::string xml;      // the lines between the "```" fences
        std::string text;     // the example as written, from its title line, without "====" lines
    };

    // Section names: "instructions" (the rules; "rules" is accepted too), "schema", "assets",
    // "protocol", "examples", "mcp". The text of the process-wide knowledge base; "" for an
    // unknown name or a missing file.
    static std::string section(const std::string& name);
    static const AiKnowledgeBase& instance();

    // Loads from a media folder: <mediaDir>/knowledge/*.md and <mediaDir>/codeSchema.xml.
    explicit AiKnowledgeBase(const std::string& mediaDir);

    std::string get(const std::string& name) const;
    // The sections that have text, by knowledge-base name.
    std::vector<std::string> names() const;

    // The command reference in Markdown: categories in palette order, each command with its
    // caption, where it may stand and its attributes (kind, default, allowed values, required),
    // then the commands outside the palette and the key names of keyboard events and send_input.
    static std::string schemaReference(const CodeSchema& schema);

    // Splits an examples text: a line beginning with "## " opens an example, a line that is
    // exactly "```" opens or closes its XML, and inside an example lines beginning with "===="
    // are dropped. Carriage returns at line ends are ignored.
    static std::vector<Example> parseExamples(const std::string& text);

private:
    std::map<std::string, std::string> sections_;
};

} // namespace Lumenda3D
