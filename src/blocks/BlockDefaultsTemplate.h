#pragma once
// The starting content of a new block beyond the schema's defaults: for some block types a small
// XML file, media/blocks/templates/<block name>.xml, whose single root element's attributes and
// child elements are copied into every new block of that type. Each file is read at most once per
// process; a missing file is normal (most types have none) and a malformed one is logged once.
#include <string>

#include <pugixml.hpp>

namespace Lumenda3D {

class BlockDefaultsTemplate {
public:
    // The template's root element for the block type, empty when there is none.
    static pugi::xml_node getTemplateRoot(const std::string& blockName);
    // The folder the files are read from (media/blocks/templates unless set, for tests).
    static void setFolder(const std::string& folder);
    // Forgets what was read (tests).
    static void clearCache();
    // How many files were read from disk so far (tests: a failed file is not read twice).
    static int filesRead();
};

} // namespace Lumenda3D
