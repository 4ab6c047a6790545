// The game package an exported game ships (bin.dat), as the player reads it. Input: the file.
//
// Properties: reading never throws; a refused file has a reason and leaves the output as it was;
// an accepted one written again reads back to the same sections, byte for byte.
#include "FuzzSupport.h"
#include "engine/package/LmdGamePackage.h"

using namespace Lumenda3D;
using namespace Lumenda3D::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    LmdGamePackage package;
    package.documentXml = "untouched";
    std::string error;
    bool ok = false;
    try {
        ok = LmdGamePackage::parse(bytes, package, error);
    } catch (const std::exception& e) {
        fail("reading a package never throws", e.what());
    }
    if (!ok) {
        require(!error.empty(), "a refused package says why");
        require(package.documentXml == "untouched", "a refused package leaves the output as it was");
        return 0;
    }
    LmdGamePackage again;
    require(LmdGamePackage::parse(package.serialize(), again, error), "a package written again reads back", error);
    require(again.documentXml == package.documentXml && again.logicBytecode == package.logicBytecode,
            "the sections read back byte for byte");
    return 0;
}
