#include "base/LmdVersion.h"

#ifndef LMD_VERSION
#error "LMD_VERSION comes from the project version in CMakeLists.txt"
#endif

namespace Lumenda3D::LmdVersion {

const char* text() { return LMD_VERSION; }
const char* productName() { return "Lumenda3D"; }

} // namespace Lumenda3D::LmdVersion
