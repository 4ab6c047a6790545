#include "engine/package/LmdPackagedLogic.h"

namespace Lumenda3D {
namespace {

std::string& stored() {
    static std::string bytecode;
    return bytecode;
}

} // namespace

void LmdPackagedLogic::set(std::string bytecode) { stored() = std::move(bytecode); }

const std::string& LmdPackagedLogic::get() { return stored(); }

} // namespace Lumenda3D
