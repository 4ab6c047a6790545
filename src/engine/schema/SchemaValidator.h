#pragma once
// Checks a game document against the command schema and says, in one readable sentence per
// finding, what is wrong and what would be right. The sentences are read by people and by AI
// agents, and the agent tools compare them byte for byte between two versions of a document to
// find what an edit introduced, so each names its element by a stable handle: the `id` attribute
// when present, else `name`, else the element's path.
#include <string>
#include <string_view>
#include <vector>

#include <pugixml.hpp>

#include "engine/schema/CodeSchema.h"

namespace Lumenda3D {

class SchemaValidator {
public:
    static constexpr int kDefaultMaxViolations = 12;

    // Validates the tree under `root` (the game's root element, or the XML document holding it)
    // and returns at most `maxViolations` findings, in document order. Finds: a root element
    // other than KiteBench3D, unknown elements, attributes their command does not define (the
    // attributes shared by all nodes are always allowed), required attributes that are missing
    // or empty, values outside a list, text where a number, whole number, boolean or colour
    // belongs, and elements standing where their command's `parents` rule does not allow.
    // An unloaded schema validates nothing.
    static std::vector<std::string> validate(const pugi::xml_node& root, const CodeSchema& schema,
                                             int maxViolations = kDefaultMaxViolations);

    // Empty when `value` suits the attribute definition; otherwise the problem as the end of a
    // sentence, e.g. "is 'heavy', which is not a number; write a decimal number such as 2 or 0.5".
    // An empty value always suits here: whether one is allowed is the `required` rule's affair.
    static std::string checkValue(const CodeSchema::AttributeDef& definition, std::string_view value);

    // The definition of an attribute that every node may carry (id, guidId, name, x, ...), or
    // null when `name` is not one of them.
    static const CodeSchema::AttributeDef* findSharedAttribute(std::string_view name);
};

} // namespace Lumenda3D
