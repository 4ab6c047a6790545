#pragma once
// Writes a small animated glTF model for tests: an "arm" ribbon two units tall in the XY plane,
// skinned to two bones, "Root" at the origin and its child "Tip" one unit up. The lower four
// vertices follow Root, the top two follow Tip. Two animations:
//   "Bend"    1 s: Root turns 90 degrees about +Z (Tip swings from (0, 1, 0) to (-1, 0, 0))
//   "Stretch" 0.5 s: Tip moves from (0, 1, 0) to (0, 2, 0) in Root's frame
// Everything, the binary buffer included (as a base64 data URI), is in the one .gltf file.
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace Lumenda3D::test {

class AnimatedModelFile {
public:
    static constexpr float kBendSeconds = 1.0f;
    static constexpr float kStretchSeconds = 0.5f;

    static void write(const std::filesystem::path& path) {
        AnimatedModelFile file;
        std::ofstream(path, std::ios::binary) << file.json();
    }

private:
    struct View {
        size_t offset, length;
    };

    std::vector<unsigned char> mBytes;
    std::vector<View> mViews;

    template <typename T>
    int add(const std::vector<T>& values) {
        while (mBytes.size() % 4)
            mBytes.push_back(0);
        const size_t offset = mBytes.size();
        mBytes.resize(offset + values.size() * sizeof(T));
        std::memcpy(mBytes.data() + offset, values.data(), values.size() * sizeof(T));
        mViews.push_back({offset, values.size() * sizeof(T)});
        return int(mViews.size()) - 1;
    }

    static std::string base64(const std::vector<unsigned char>& bytes) {
        static const char* const alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        std::string out;
        for (size_t i = 0; i < bytes.size(); i += 3) {
            const unsigned n = (unsigned(bytes[i]) << 16) | (i + 1 < bytes.size() ? unsigned(bytes[i + 1]) << 8 : 0u) |
                               (i + 2 < bytes.size() ? unsigned(bytes[i + 2]) : 0u);
            out += alphabet[(n >> 18) & 63];
            out += alphabet[(n >> 12) & 63];
            out += i + 1 < bytes.size() ? alphabet[(n >> 6) & 63] : '=';
            out += i + 2 < bytes.size() ? alphabet[n & 63] : '=';
        }
        return out;
    }

    std::string json() {
        const std::vector<float> positions = {-0.1f, 0, 0, 0.1f, 0, 0, -0.1f, 1, 0, 0.1f, 1, 0, -0.1f, 2, 0, 0.1f, 2, 0};
        const std::vector<float> normals = {0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1};
        const std::vector<std::uint8_t> joints = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                                  0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
        std::vector<float> weights;
        for (int v = 0; v < 6; ++v)
            weights.insert(weights.end(), {1, 0, 0, 0});
        const std::vector<std::uint16_t> indices = {0, 1, 3, 0, 3, 2, 2, 3, 5, 2, 5, 4};
        // Column-major: Root's inverse bind is the identity, Tip's moves one unit down.
        const std::vector<float> inverseBinds = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1,
                                                 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, -1, 0, 1};
        const std::vector<float> bendTimes = {0, kBendSeconds};
        const std::vector<float> bendTurns = {0, 0, 0, 1, 0, 0, 0.70710678f, 0.70710678f};
        const std::vector<float> stretchTimes = {0, kStretchSeconds};
        const std::vector<float> stretchMoves = {0, 1, 0, 0, 2, 0};
        const int vPositions = add(positions), vNormals = add(normals), vJoints = add(joints),
                  vWeights = add(weights), vIndices = add(indices), vBinds = add(inverseBinds),
                  vBendTimes = add(bendTimes), vBendTurns = add(bendTurns), vStretchTimes = add(stretchTimes),
                  vStretchMoves = add(stretchMoves);

        std::string views;
        for (const View& view : mViews)
            views += std::string(views.empty() ? "" : ",") + R"({"buffer":0,"byteOffset":)" +
                     std::to_string(view.offset) + R"(,"byteLength":)" + std::to_string(view.length) + "}";
        auto accessor = [](int view, int type, int count, const char* kind, const std::string& extra = "") {
            return R"({"bufferView":)" + std::to_string(view) + R"(,"componentType":)" + std::to_string(type) +
                   R"(,"count":)" + std::to_string(count) + R"(,"type":")" + kind + "\"" + extra + "}";
        };
        const int kFloat = 5126, kUnsignedByte = 5121, kUnsignedShort = 5123;
        const std::string accessors =
            accessor(vPositions, kFloat, 6, "VEC3", R"(,"min":[-0.1,0,0],"max":[0.1,2,0])") + "," +
            accessor(vNormals, kFloat, 6, "VEC3") + "," + accessor(vJoints, kUnsignedByte, 6, "VEC4") + "," +
            accessor(vWeights, kFloat, 6, "VEC4") + "," + accessor(vIndices, kUnsignedShort, 12, "SCALAR") + "," +
            accessor(vBinds, kFloat, 2, "MAT4") + "," +
            accessor(vBendTimes, kFloat, 2, "SCALAR", R"(,"min":[0],"max":[1])") + "," +
            accessor(vBendTurns, kFloat, 2, "VEC4") + "," +
            accessor(vStretchTimes, kFloat, 2, "SCALAR", R"(,"min":[0],"max":[0.5])") + "," +
            accessor(vStretchMoves, kFloat, 2, "VEC3");
        return R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0,1]}],
"nodes":[{"name":"Arm","mesh":0,"skin":0},{"name":"Root","children":[2]},{"name":"Tip","translation":[0,1,0]}],
"meshes":[{"name":"ArmMesh","primitives":[{"attributes":{"POSITION":0,"NORMAL":1,"JOINTS_0":2,"WEIGHTS_0":3},"indices":4}]}],
"skins":[{"joints":[1,2],"inverseBindMatrices":5}],
"animations":[
 {"name":"Bend","channels":[{"sampler":0,"target":{"node":1,"path":"rotation"}}],"samplers":[{"input":6,"output":7}]},
 {"name":"Stretch","channels":[{"sampler":0,"target":{"node":2,"path":"translation"}}],"samplers":[{"input":8,"output":9}]}],
"accessors":[)" + accessors + R"(],
"bufferViews":[)" + views + R"(],
"buffers":[{"byteLength":)" + std::to_string(mBytes.size()) +
               R"(,"uri":"data:application/octet-stream;base64,)" + base64(mBytes) + R"("}]})";
    }
};

} // namespace Lumenda3D::test
