#include "base/XmlUtils.h"

#include "base/LmdXmlWriter.h"

namespace Lumenda3D {
namespace {

LmdXmlWriteOptions exactCopy() {
    LmdXmlWriteOptions options;
    options.withIds = true;
    options.withSessionMarks = true;
    options.indent = false;
    return options;
}

} // namespace

std::string XmlUtils::getXmlNodeString(const pugi::xml_node& node) {
    if (!node)
        return std::string();
    return LmdXmlWriter::toString(node, exactCopy());
}

std::string XmlUtils::getXmlString(const pugi::xml_document& document) {
    return LmdXmlWriter::toString(document, exactCopy());
}

} // namespace Lumenda3D
