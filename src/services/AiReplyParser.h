#pragma once
// Reads what a language model answered into the assistant's reply: one JSON object with a
// top-level "reply" string (shown to the user) and a "changes" array of edit operations (see
// XmlMerge.h). The text is outside input: it may be prose, half a JSON object, megabytes long or
// not UTF-8 at all. Anything that can't be read that way is rejected with a plain reason and
// becomes the assistant's "model_malformed" error; nothing here throws.
//
// Leniency that models need in practice: white space around the object, one Markdown code fence
// around it ("```json ... ```"), and prose before or after the object when the text between the
// first "{" and the last "}" is the object. A missing "changes" means no changes.
#include <cstddef>
#include <string>

#include <nlohmann/json.hpp>

namespace Lumenda3D {

class AiReplyParser {
public:
    // Longer model texts are refused unread: no reply of the assistant needs them, and parsing
    // them would hold the main thread.
    static constexpr std::size_t kMaxReplyBytes = 4 * 1024 * 1024;

    struct Result {
        bool ok = false;
        std::string reply;                             // the "reply" text
        nlohmann::json changes = nlohmann::json::array();   // always an array
        std::string reason;                            // why it was refused; empty when ok
    };

    static Result parse(const std::string& text);

    // Whether `text` is well-formed UTF-8 (no overlong forms, no surrogates, nothing above U+10FFFF).
    static bool isValidUtf8(const std::string& text);
};

} // namespace Lumenda3D
