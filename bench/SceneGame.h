#pragma once
// A playable game of about `objects` scene objects in one level, for the scene benchmarks: a floor,
// a camera, lights, a grid of boxes, spheres, cylinders and cones in a handful of colours and
// materials (every tenth one a dynamic body that falls onto the floor), and a few 2D texts.
#include <string>

namespace Lumenda3D::bench {

std::string generateSceneGame(int objects);

} // namespace Lumenda3D::bench
