#pragma once
// A plain value as the game language writes it in an expression: a number ("3", "-0.5"), true or
// false, or a quoted text ("\"Ann\"" or "'Ann'", with \" or \' for a quote inside). Live edits
// of a variable on a running game take such a value; anything else (a name, a sum) would need the
// whole game to be translated again.
#include <string_view>

#include "engine/logic/LmdScriptValue.h"

namespace Lumenda3D {

class LmdLiteral {
public:
    // False when the text is no plain value; `value` is then untouched.
    static bool parse(std::string_view text, LmdScriptValue& value);
};

} // namespace Lumenda3D
