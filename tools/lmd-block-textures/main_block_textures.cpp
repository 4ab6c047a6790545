// Draws the block editor's images into media/blocks: the frame's fill and border pieces (white,
// tinted when drawn) and one icon per palette category (a white glyph with a dark outline, so that
// it reads on every block colour). The images are committed; run this again after changing it:
//   build/lmd-block-textures media/blocks
// Shapes are signed distance functions, sampled 4 x 4 per pixel for smooth edges. Icons are drawn
// at twice their natural size, so that they stay sharp at a DPI scale of 2.
#include <lodepng.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace {

struct P {
    float x, y;
};

using Sdf = std::function<float(P)>;  // negative inside

float segment(P p, P a, P b, float r) {
    const float bx = b.x - a.x, by = b.y - a.y, px = p.x - a.x, py = p.y - a.y;
    const float t = std::clamp((px * bx + py * by) / (bx * bx + by * by), 0.0f, 1.0f);
    return std::hypot(px - bx * t, py - by * t) - r;
}

float circle(P p, P c, float r) {
    return std::hypot(p.x - c.x, p.y - c.y) - r;
}

float roundBox(P p, P c, P half, float r) {
    const float qx = std::fabs(p.x - c.x) - half.x + r, qy = std::fabs(p.y - c.y) - half.y + r;
    return std::hypot(std::max(qx, 0.0f), std::max(qy, 0.0f)) + std::min(std::max(qx, qy), 0.0f) - r;
}

float polygon(P p, const std::vector<P>& v) {
    float d = 1e9f;
    bool inside = false;
    for (size_t i = 0, j = v.size() - 1; i < v.size(); j = i++) {
        d = std::min(d, segment(p, v[j], v[i], 0.0f));
        if ((v[i].y > p.y) != (v[j].y > p.y) && p.x < (v[j].x - v[i].x) * (p.y - v[i].y) / (v[j].y - v[i].y) + v[i].x)
            inside = !inside;
    }
    return inside ? -d : d;
}

float lines(P p, const std::vector<std::pair<P, P>>& s, float w) {
    float d = 1e9f;
    for (const auto& e : s)
        d = std::min(d, segment(p, e.first, e.second, w));
    return d;
}

float coverage(const Sdf& f, int x, int y, float grow) {
    int hits = 0;
    for (int sy = 0; sy < 4; ++sy)
        for (int sx = 0; sx < 4; ++sx)
            if (f(P{x + (sx + 0.5f) / 4.0f, y + (sy + 0.5f) / 4.0f}) - grow < 0.0f)
                ++hits;
    return hits / 16.0f;
}

bool write(const std::string& path, int w, int h, const std::vector<unsigned char>& rgba) {
    if (lodepng::encode(path, rgba, w, h) != 0) {
        std::fprintf(stderr, "cannot write %s\n", path.c_str());
        return false;
    }
    return true;
}

// A white shape (fill) or white ring (border) on transparency, for the nine-piece frame.
bool frame(const std::string& path, bool border) {
    const int size = 64;
    const float radius = 16.0f;
    std::vector<unsigned char> rgba(size * size * 4, 255);
    const Sdf box = [&](P p) { return roundBox(p, P{32, 32}, P{32, 32}, radius); };
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            float a = coverage(box, x, y, 0.0f);
            if (border)
                a -= coverage(box, x, y, -3.0f);  // a ring 3 pixels wide along the edge
            rgba[(y * size + x) * 4 + 3] = static_cast<unsigned char>(std::lround(std::clamp(a, 0.0f, 1.0f) * 255));
        }
    return write(path, size, size, rgba);
}

// A white glyph with a dark outline, 40 x 40 pixels (natural size 20 x 20).
bool icon(const std::string& path, const Sdf& glyph) {
    const int size = 40;
    std::vector<unsigned char> rgba(size * size * 4, 0);
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            const float inner = coverage(glyph, x, y, 0.0f);
            const float outer = coverage(glyph, x, y, 2.5f);
            const float alpha = std::max(inner, outer * 0.9f);
            const float white = alpha > 0.0f ? inner / alpha : 0.0f;
            unsigned char* px = &rgba[(y * size + x) * 4];
            px[0] = px[1] = px[2] = static_cast<unsigned char>(std::lround(40 + white * 215));
            px[3] = static_cast<unsigned char>(std::lround(alpha * 255));
        }
    return write(path, size, size, rgba);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <media/blocks folder>\n", argv[0]);
        return 2;
    }
    const std::string dir = argv[1];
    bool ok = frame(dir + "/block_fill.png", false) && frame(dir + "/block_border.png", true);
    const float w = 2.2f;  // stroke half width
    struct Icon {
        const char* file;
        Sdf glyph;
    };
    const std::vector<Icon> icons = {
        {"scene.png", [&](P p) {
             return std::min(std::fabs(roundBox(p, P{20, 20}, P{14, 12}, 3)) - w,
                             polygon(p, {{9, 28}, {17, 16}, {22, 22}, {26, 18}, {31, 28}}));
         }},
        {"models3d.png", [&](P p) {
             return lines(p, {{{20, 6}, {33, 13}}, {{33, 13}, {33, 27}}, {{33, 27}, {20, 34}}, {{20, 34}, {7, 27}},
                              {{7, 27}, {7, 13}}, {{7, 13}, {20, 6}}, {{7, 13}, {20, 20}}, {{33, 13}, {20, 20}},
                              {{20, 20}, {20, 34}}},
                          w);
         }},
        {"models2d.png", [&](P p) {
             return std::min(std::fabs(roundBox(p, P{15, 15}, P{9, 9}, 1)) - w, circle(p, P{26, 26}, 8));
         }},
        {"light.png", [&](P p) {
             float d = circle(p, P{20, 20}, 7);
             for (int i = 0; i < 8; ++i) {
                 const float a = i * 3.14159265f / 4.0f;
                 d = std::min(d, segment(p, P{20 + 11 * std::cos(a), 20 + 11 * std::sin(a)},
                                         P{20 + 16 * std::cos(a), 20 + 16 * std::sin(a)}, 1.8f));
             }
             return d;
         }},
        {"looks.png", [&](P p) {
             const float eye = std::max(circle(p, P{20, 30}, 17), circle(p, P{20, 10}, 17));
             return std::min(std::fabs(eye) - 1.8f, circle(p, P{20, 20}, 4.5f));
         }},
        {"motion.png", [&](P p) {
             return std::min(segment(p, P{6, 20}, P{24, 20}, w), polygon(p, {{22, 10}, {35, 20}, {22, 30}}));
         }},
        {"sound.png", [&](P p) {
             const float speaker = polygon(p, {{6, 15}, {12, 15}, {20, 8}, {20, 32}, {12, 25}, {6, 25}});
             const float wave1 = std::max(std::fabs(circle(p, P{20, 20}, 7)) - 1.6f, 22 - p.x);
             const float wave2 = std::max(std::fabs(circle(p, P{20, 20}, 13)) - 1.6f, 24 - p.x);
             return std::min({speaker, wave1, wave2});
         }},
        {"events.png", [&](P p) { return polygon(p, {{23, 4}, {9, 23}, {19, 23}, {15, 36}, {31, 16}, {21, 16}, {27, 4}}); }},
        {"logic.png", [&](P p) {
             return std::min(std::fabs(polygon(p, {{20, 5}, {35, 20}, {20, 35}, {5, 20}})) - w, circle(p, P{20, 20}, 3.5f));
         }},
        {"variables.png", [&](P p) {
             return std::min(std::fabs(roundBox(p, P{20, 20}, P{14, 14}, 4)) - w,
                             lines(p, {{{14, 14}, {26, 26}}, {{26, 14}, {14, 26}}}, w));
         }},
        {"functions.png", [&](P p) {
             const float left = std::max(std::fabs(circle(p, P{24, 20}, 14)) - w, p.x - 16);
             const float right = std::max(std::fabs(circle(p, P{16, 20}, 14)) - w, 24 - p.x);
             return std::min({left, right, circle(p, P{20, 20}, 3)});
         }},
        {"game.png", [&](P p) {
             const float pad = std::fabs(roundBox(p, P{20, 21}, P{15, 9}, 6)) - w;
             return std::min({pad, lines(p, {{{11, 21}, {17, 21}}, {{14, 18}, {14, 24}}}, 1.6f),
                              circle(p, P{25, 19}, 2.2f), circle(p, P{29, 23}, 2.2f)});
         }},
    };
    for (const Icon& entry : icons)
        ok = icon(dir + "/icons/" + entry.file, entry.glyph) && ok;
    return ok ? 0 : 1;
}
