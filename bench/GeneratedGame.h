#pragma once
// A generated game of a given number of nodes for benchmarks: levels full of objects with
// materials, physics values and logic, about 100 bytes of XML per node.
#include <string>

namespace Lumenda3D::bench {

std::string generateGame(int nodeCount);

} // namespace Lumenda3D::bench
