// The demo: a procedural sample scene and every group's demonstration.
#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>

#include "tools/commands.h"

namespace lumora::cli {
namespace {

struct Bgr {
    std::uint8_t b, g, r;
};

class Canvas {
public:
    explicit Canvas(CVxImage& image) : image_(image) {}

    void Set(int x, int y, Bgr c) {
        if (x < 0 || y < 0 || x >= image_.m_nWidth || y >= image_.m_nHeight) return;
        auto* px = static_cast<std::uint8_t*>(image_.Get2DBuffer()[y]) + 3 * x;
        px[0] = c.b, px[1] = c.g, px[2] = c.r;
    }
    void Rect(int l, int t, int r, int b, Bgr c) {
        for (int y = t; y <= b; ++y)
            for (int x = l; x <= r; ++x) Set(x, y, c);
    }
    void Disc(int cx, int cy, int radius, Bgr c) {
        for (int y = cy - radius; y <= cy + radius; ++y)
            for (int x = cx - radius; x <= cx + radius; ++x)
                if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= radius * radius) Set(x, y, c);
    }
    void Ring(int cx, int cy, int radius, int thickness, Bgr c) {
        const int inner = radius - thickness;
        for (int y = cy - radius; y <= cy + radius; ++y)
            for (int x = cx - radius; x <= cx + radius; ++x) {
                const int d = (x - cx) * (x - cx) + (y - cy) * (y - cy);
                if (d <= radius * radius && d > inner * inner) Set(x, y, c);
            }
    }
    // Bresenham, `thickness` pixels square.
    void Line(int x0, int y0, int x1, int y1, int thickness, Bgr c) {
        const int dx = std::abs(x1 - x0), dy = -std::abs(y1 - y0);
        const int sx = x0 < x1 ? 1 : -1, sy = y0 < y1 ? 1 : -1;
        int err = dx + dy;
        for (;;) {
            Rect(x0 - thickness / 2, y0 - thickness / 2, x0 + (thickness - 1) / 2, y0 + (thickness - 1) / 2, c);
            if (x0 == x1 && y0 == y1) break;
            const int e2 = 2 * err;
            if (e2 >= dy) err += dy, x0 += sx;
            if (e2 <= dx) err += dx, y0 += sy;
        }
    }

private:
    CVxImage& image_;
};

void RunDemo(const std::string& dir) {
    DemoSink sink(dir);
    const CVxImage scene = MakeDemoScene();
    CVxImage copy(scene);
    sink.Save("scene", copy, "the sample scene: 640x480 RGB, 8-bit");

    // Each group works on its own copy, so in-place operations of one group
    // never change what the next one sees.
    struct Group {
        const char* name;
        void (*run)(CVxImage&, DemoSink&);
    };
    const Group groups[] = {
        {"core", DemoCore},
        {"point", DemoPoint},
        {"neighbourhood", DemoNeighbourhood},
        {"morphology", DemoMorphology},
        {"colour", DemoColour},
        {"geometry", DemoGeometry},
        {"analysis", DemoAnalysis},
        {"series", DemoSeries},
        {"exchange", DemoExchange},
    };
    for (const Group& group : groups) {
        copy = scene;
        group.run(copy, sink);
    }
    std::cout << "lumora demo: " << sink.ImageCount() << " images in " << sink.Dir() << '\n';
    for (const std::string& line : sink.Lines()) std::cout << "  " << line << '\n';
}

}  // namespace

CVxImage MakeDemoScene(int width, int height) {
    CVxImage image(CM_RGB, 8, width, height);
    Canvas canvas(image);
    // A light diagonal gradient with mild deterministic noise (a fixed LCG).
    std::uint32_t state = 12345;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            state = state * 1664525u + 1013904223u;
            const int noise = static_cast<int>(state >> 28) - 8;  // -8..7
            const int base = 170 + 60 * (x + y) / std::max(1, width + height - 2);
            auto clamp = [](int v) { return static_cast<std::uint8_t>(std::clamp(v, 0, 255)); };
            canvas.Set(x, y, {clamp(base + 10 + noise), clamp(base + noise), clamp(base - 10 + noise)});
        }
    const int w = width, h = height;
    canvas.Rect(w / 16, h / 12, w * 5 / 16, h * 5 / 12, {40, 60, 200});         // red block
    canvas.Rect(w * 11 / 16, h * 7 / 12, w * 15 / 16, h * 11 / 12, {180, 90, 30});  // blue block
    canvas.Rect(w * 6 / 16, h * 8 / 12, w * 9 / 16, h * 9 / 12, {20, 20, 20});     // dark bar
    canvas.Disc(w * 3 / 4, h / 4, std::min(w, h) / 7, {60, 190, 70});              // green disc
    canvas.Disc(w / 4, h * 3 / 4, std::min(w, h) / 10, {30, 200, 230});            // yellow disc
    canvas.Ring(w / 2, h / 2, std::min(w, h) / 5, 6, {120, 40, 120});              // purple ring
    canvas.Line(0, h - 1, w - 1, 0, 3, {10, 10, 10});                               // diagonal
    canvas.Line(w / 16, h / 2, w * 15 / 16, h / 2, 1, {250, 250, 250});             // horizontal
    canvas.Line(w * 5 / 8, h / 16, w * 5 / 8, h * 15 / 16, 2, {0, 0, 0});           // vertical
    return image;
}

void RegisterDemoCommand(CLI::App& app) {
    auto dir = std::make_shared<std::string>("lumora-demo");
    auto* demo = app.add_subcommand("demo", "Build a sample scene, run every operation group on it and save the results");
    demo->add_option("DIR", *dir, "Output folder (created if missing)")->capture_default_str();
    demo->callback([dir] { RunDemo(*dir); });
}

}  // namespace lumora::cli
