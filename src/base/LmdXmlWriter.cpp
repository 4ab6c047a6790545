#include "base/LmdXmlWriter.h"

#include <algorithm>
#include <cstring>

namespace Lumenda3D {
namespace {

// Characters that need an entity: in attribute values also the quote and the white space that
// the parser would otherwise fold into spaces.
struct EscapeTables {
    bool attr[256];
    bool text[256];
    EscapeTables() {
        for (int c = 0; c < 256; ++c) {
            attr[c] = c < 32 || c == '&' || c == '<' || c == '>' || c == '"';
            text[c] = (c < 32 && c != '\t' && c != '\n') || c == '&' || c == '<' || c == '>';
        }
    }
};
const EscapeTables kEscapes;

// Appends into a std::string through a raw pointer: std::string's own append checks and
// bookkeeping per call cost more than the copying itself for the many tiny pieces of XML.
class Out {
public:
    explicit Out(std::string& target) : s_(target), len_(target.size()) {
        s_.resize(std::max(s_.capacity(), len_ + 4096));
        data_ = &s_[0];
    }
    ~Out() { s_.resize(len_); }
    void append(const char* p, size_t n) {
        if (len_ + n > s_.size())
            grow(n);
        std::memcpy(data_ + len_, p, n);
        len_ += n;
    }
    void append(const char* p) { append(p, std::strlen(p)); }
    void push_back(char c) {
        if (len_ + 1 > s_.size())
            grow(1);
        data_[len_++] = c;
    }
    void append(size_t n, char c) {
        if (len_ + n > s_.size())
            grow(n);
        std::memset(data_ + len_, c, n);
        len_ += n;
    }

private:
    void grow(size_t n) {
        s_.resize(std::max(s_.size() * 2, len_ + n + 4096));
        data_ = &s_[0];
    }
    std::string& s_;
    size_t len_;
    char* data_ = nullptr;
};

void appendEscaped(Out& out, const char* s, const bool* table) {
    // Most values need no entity at all: find the first character that does, append the run
    // before it in one piece, and repeat.
    for (;;) {
        const char* p = s;
        while (*p && !table[static_cast<unsigned char>(*p)])
            ++p;
        out.append(s, static_cast<size_t>(p - s));
        const unsigned char c = static_cast<unsigned char>(*p);
        if (c == 0)
            return;
        switch (c) {
        case '&': out.append("&amp;", 5); break;
        case '<': out.append("&lt;", 4); break;
        case '>': out.append("&gt;", 4); break;
        case '"': out.append("&quot;", 6); break;
        default: {
            char buf[8];
            int n = 0;
            buf[n++] = '&';
            buf[n++] = '#';
            if (c >= 10)
                buf[n++] = static_cast<char>('0' + c / 10);
            buf[n++] = static_cast<char>('0' + c % 10);
            buf[n++] = ';';
            out.append(buf, static_cast<size_t>(n));
        }
        }
        s = p + 1;
    }
}

// Text of nothing but white space is dropped by the parser unless it is written as character
// references, which the parser keeps.
bool isBlank(const char* s) {
    for (; *s; ++s) {
        if (*s != ' ' && *s != '\t' && *s != '\n' && *s != '\r')
            return false;
    }
    return true;
}

void appendBlank(Out& out, const char* s) {
    for (; *s; ++s) {
        switch (*s) {
        case ' ': out.append("&#32;", 5); break;
        case '\t': out.append("&#9;", 4); break;
        case '\n': out.append("&#10;", 5); break;
        default: out.append("&#13;", 5); break;
        }
    }
}

void appendIndent(Out& out, int depth) { out.append(static_cast<size_t>(depth) * 2, ' '); }

// A text node without text (the parser leaves one for a reference to character 0) writes
// nothing and reads back as nothing, so it counts as no child at all.
bool isEmptyText(const pugi::xml_node& node) { return node.type() == pugi::node_pcdata && !*node.value(); }

bool hasTextChild(const pugi::xml_node& node) {
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
        if ((child.type() == pugi::node_pcdata && !isEmptyText(child)) || child.type() == pugi::node_cdata)
            return true;
    return false;
}

bool hasWrittenChild(const pugi::xml_node& node) {
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
        if (!isEmptyText(child))
            return true;
    return false;
}

void appendCdata(Out& out, const char* value) {
    // "]]>" cannot stand inside a CDATA section: split it across two sections.
    out.append("<![CDATA[");
    const char* p = value;
    while (const char* end = std::strstr(p, "]]>")) {
        out.append(p, static_cast<size_t>(end - p) + 2);
        out.append("]]><![CDATA[");
        p = end + 2;
    }
    out.append(p);
    out.append("]]>");
}

void writeNode(Out& out, const pugi::xml_node& node, const LmdXmlWriteOptions& o, int depth, bool pretty);

void writeChildren(Out& out, const pugi::xml_node& node, const LmdXmlWriteOptions& o, int depth, bool pretty) {
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
        writeNode(out, child, o, depth, pretty);
}

void writeNode(Out& out, const pugi::xml_node& node, const LmdXmlWriteOptions& o, int depth, bool pretty) {
    switch (node.type()) {
    case pugi::node_document:
        writeChildren(out, node, o, depth, pretty);
        return;
    case pugi::node_element: {
        if (pretty)
            appendIndent(out, depth);
        out.push_back('<');
        out.append(node.name());
        for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute()) {
            if (!LmdXmlWriter::isWritten(a, o))
                continue;
            out.push_back(' ');
            out.append(a.name());
            out.append("=\"");
            appendEscaped(out, a.value(), kEscapes.attr);
            out.push_back('"');
        }
        if (!hasWrittenChild(node)) {
            out.append(" />");
            if (pretty)
                out.push_back('\n');
            return;
        }
        out.push_back('>');
        // Elements holding text are written inline so that no white space is added to the text.
        bool childPretty = pretty && !hasTextChild(node);
        if (childPretty)
            out.push_back('\n');
        writeChildren(out, node, o, depth + 1, childPretty);
        if (childPretty)
            appendIndent(out, depth);
        out.append("</");
        out.append(node.name());
        out.push_back('>');
        if (pretty)
            out.push_back('\n');
        return;
    }
    case pugi::node_pcdata:
        if (isBlank(node.value()))
            appendBlank(out, node.value());
        else
            appendEscaped(out, node.value(), kEscapes.text);
        return;
    case pugi::node_cdata:
        appendCdata(out, node.value());
        return;
    case pugi::node_comment:
        if (pretty)
            appendIndent(out, depth);
        out.append("<!--");
        out.append(node.value());
        out.append("-->");
        if (pretty)
            out.push_back('\n');
        return;
    case pugi::node_pi:
    case pugi::node_declaration:
        if (pretty)
            appendIndent(out, depth);
        out.append("<?");
        out.append(node.name());
        if (node.type() == pugi::node_declaration) {
            for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute()) {
                out.push_back(' ');
                out.append(a.name());
                out.append("=\"");
                appendEscaped(out, a.value(), kEscapes.attr);
                out.push_back('"');
            }
        } else if (*node.value()) {
            out.push_back(' ');
            out.append(node.value());
        }
        out.append("?>");
        if (pretty)
            out.push_back('\n');
        return;
    case pugi::node_doctype:
        out.append("<!DOCTYPE ");
        out.append(node.value());
        out.append(">");
        if (pretty)
            out.push_back('\n');
        return;
    default:
        return;
    }
}

} // namespace

bool LmdXmlWriter::isWritten(const pugi::xml_attribute& attribute, const LmdXmlWriteOptions& options) {
    const char* name = attribute.name();
    if (!options.withIds && name[0] == 'i' && name[1] == 'd' && name[2] == 0)
        return false;
    if (!options.withSessionMarks && name[0] == '_' && std::strcmp(name, "_aiChange") == 0)
        return false;
    return true;
}

void LmdXmlWriter::append(std::string& target, const pugi::xml_node& node, const LmdXmlWriteOptions& options) {
    Out out(target);
    writeNode(out, node, options, 0, options.indent);
}

std::string LmdXmlWriter::toString(const pugi::xml_node& node, const LmdXmlWriteOptions& options) {
    std::string out;
    append(out, node, options);
    return out;
}

} // namespace Lumenda3D
