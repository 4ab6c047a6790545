#include "SceneGame.h"

#include <cmath>

namespace Lumenda3D::bench {

std::string generateSceneGame(int objects) {
    static const char* const kShapes[] = {"Box", "Sphere", "Cylinder", "Cone"};
    static const char* const kColours[] = {"0xE53935", "0x43A047", "0x1E88E5", "0xFDD835", "0x8E24AA", "0xFB8C00"};
    std::string xml = "<KiteBench3D>\n  <Var name=\"score\" value=\"0\"/>\n"
                      "  <Material name=\"metal\" picture=\"metal.png\"/>\n"
                      "  <Material name=\"crate\" picture=\"crate.png\"/>\n"
                      "  <Level name=\"Crowd\">\n"
                      "    <AmbientLight name=\"Ambient\" color=\"0x505050\"/>\n"
                      "    <DirectionalLight name=\"Sun\"/>\n"
                      "    <Camera name=\"Eye\" y=\"40\" z=\"60\" rotationX=\"-35\" far=\"500\"/>\n"
                      "    <Plane name=\"Floor\" width=\"120\" depth=\"120\"/>\n"
                      "    <Text2D name=\"Hud\" text=\"Score {score}\" x=\"20\" y=\"20\"/>\n"
                      "    <OnUpdate><Increment var=\"score\"/></OnUpdate>\n";
    const int side = int(std::ceil(std::sqrt(double(objects))));
    for (int i = 0; i < objects; ++i) {
        const int row = i / side, col = i % side;
        const std::string n = std::to_string(i);
        xml += "    <";
        xml += kShapes[i % 4];
        xml += " name=\"Thing" + n + "\" x=\"" + std::to_string(col * 3 - side * 3 / 2) + "\" y=\"" +
               (i % 10 == 0 ? "6" : "0.6") + "\" z=\"" + std::to_string(row * 3 - side * 3 / 2) + "\" rotationY=\"" +
               std::to_string(i * 7 % 360) + "\"";
        if (i % 5 == 0)
            xml += std::string(" texture=\"") + (i % 2 ? "metal" : "crate") + "\"";
        else
            xml += std::string(" color=\"") + kColours[i % 6] + "\"";
        if (i % 10 == 0)
            xml += " body=\"dynamic\"";
        xml += "/>\n";
    }
    xml += "  </Level>\n</KiteBench3D>\n";
    return xml;
}

} // namespace Lumenda3D::bench
