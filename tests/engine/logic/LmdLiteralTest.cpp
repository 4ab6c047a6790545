// Plain values as live edits give them to a running variable.
#include "engine/logic/LmdLiteral.h"

#include <gtest/gtest.h>

namespace Lumenda3D {
namespace {

TEST(LmdLiteral, NumbersBooleansAndQuotedTextsAreValuesOtherTextIsNot) {
    LmdScriptValue value;
    ASSERT_TRUE(LmdLiteral::parse(" -2.5 ", value));
    EXPECT_EQ(value, LmdScriptValue::ofNumber(-2.5));
    ASSERT_TRUE(LmdLiteral::parse("false", value));
    EXPECT_EQ(value, LmdScriptValue::ofBoolean(false));
    ASSERT_TRUE(LmdLiteral::parse("'it\\'s'", value));
    EXPECT_EQ(value, LmdScriptValue::ofText("it's"));
    ASSERT_TRUE(LmdLiteral::parse("\"\"", value));
    EXPECT_EQ(value, LmdScriptValue::ofText(""));

    value = LmdScriptValue::ofNumber(7);
    for (const char* expression : {"score + 1", "score", "'a' .. 'b'", "'a' + 'b'", "\"open", "", "True", "1e999"})
        EXPECT_FALSE(LmdLiteral::parse(expression, value)) << expression;
    EXPECT_EQ(value, LmdScriptValue::ofNumber(7)); // untouched by a refusal
}

} // namespace
} // namespace Lumenda3D
