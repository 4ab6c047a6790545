#include "engine/logic/LmdLiteral.h"

#include <string>

#include "base/LmdValueParser.h"

namespace Lumenda3D {

bool LmdLiteral::parse(std::string_view text, LmdScriptValue& value) {
    text = LmdValueParser::trim(text);
    if (text == "true" || text == "false") {
        value = LmdScriptValue::ofBoolean(text == "true");
        return true;
    }
    if (text.size() >= 2 && (text.front() == '"' || text.front() == '\'') && text.back() == text.front()) {
        const char quote = text.front();
        std::string out;
        for (size_t i = 1; i + 1 < text.size(); ++i) {
            char c = text[i];
            if (c == '\\' && i + 2 < text.size()) {
                c = text[++i];
            } else if (c == quote) {
                return false; // a quote that ends the text early: two texts, or an expression
            }
            out += c;
        }
        value = LmdScriptValue::ofText(std::move(out));
        return true;
    }
    double number = 0.0;
    if (!text.empty() && LmdValueParser::parseNumber(text, number)) {
        value = LmdScriptValue::ofNumber(number);
        return true;
    }
    return false;
}

} // namespace Lumenda3D
