#include "GeneratedGame.h"

namespace Lumenda3D::bench {

std::string generateGame(int nodeCount) {
    std::string xml = "<KiteBench3D>\n";
    int nodes = 1;
    int level = 0;
    while (nodes < nodeCount) {
        xml += "  <Level name=\"Level" + std::to_string(++level) + "\">\n";
        ++nodes;
        for (int i = 0; i < 500 && nodes < nodeCount; ++i) {
            const std::string n = std::to_string(level * 1000 + i);
            switch (i % 4) {
            case 0:
                xml += "    <Box name=\"Crate" + n + "\" x=\"" + std::to_string(i % 37) + ".5\" y=\"0\" z=\"-" +
                       std::to_string(i % 11) + "\" rotationY=\"45\" width=\"1\" height=\"1\" depth=\"1\" friction=\"0.5\" color=\"0x8A5A2B\" body=\"dynamic\" mass=\"2\" />\n";
                nodes += 1;
                break;
            case 1:
                xml += "    <Sphere name=\"Ball" + n + "\" x=\"" + std::to_string(i % 23) +
                       "\" y=\"4\" z=\"2\" radius=\"0.5\" color=\"0x2266CC\" texture=\"Metal" + n +
                       "\" body=\"dynamic\" mass=\"1\" restitution=\"0.3\" />\n"
                       "    <Material name=\"Metal" + n + "\" color=\"0xFFFFFF\" picture=\"metal.png\" />\n";
                nodes += 2;
                break;
            case 2:
                xml += "    <PointLight name=\"Lamp" + n + "\" x=\"" + std::to_string(i % 13) +
                       "\" y=\"6\" z=\"0\" color=\"0xFFEECC\" range=\"20\" intensity=\"0.8\" />\n";
                nodes += 1;
                break;
            default:
                xml += "    <OnKeyDown key=\"Space\">\n      <If left=\"score\" op=\"&gt;\" right=\"" + std::to_string(i) +
                       "\">\n        <Increment var=\"score\" value=\"1\" />\n      </If>\n    </OnKeyDown>\n";
                nodes += 3;
                break;
            }
        }
        xml += "  </Level>\n";
    }
    xml += "</KiteBench3D>\n";
    return xml;
}

} // namespace Lumenda3D::bench
