// Series group: the mean of a series of frames and flat-field (shading)
// correction against a blank image.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/commands.h"

namespace lumora::cli {
namespace {

std::string Shape(const CVxImage& image) {
    return std::to_string(image.m_nWidth) + "x" + std::to_string(image.m_nHeight) + " " +
           ModelName(image.m_ColorModel) + " " + std::to_string(image.m_nBitsPerSample) + "-bit";
}

bool SameShape(const CVxImage& a, const CVxImage& b) { return Shape(a) == Shape(b); }

void RunAverage(const std::string& out, const std::vector<std::string>& paths) {
    std::vector<CVxImage> frames;
    frames.reserve(paths.size());
    CVxImageArray array;
    for (const std::string& path : paths) {
        frames.push_back(LoadImageFile(path));
        // The library reads every frame as the first one: a frame of another
        // shape would be averaged as garbage, so it is refused here.
        if (!SameShape(frames.back(), frames.front()))
            throw CliError(path, "is " + Shape(frames.back()) + ", the first frame is " + Shape(frames.front()));
        array.Add(&frames.back());
    }
    CVxAveraging averaging(&array);
    CVxImage result;
    if (!averaging.Averaging(result, 0))
        throw CliError(paths.front(), "averaging takes 8-bit or 16-bit grey, RGB or RGBA frames");
    SaveImageFile(out, result);
}

void RunShading(const std::string& blankPath, const std::string& in, const std::string& out) {
    CVxImage image = LoadImageFile(in);
    CVxImage blank = LoadImageFile(blankPath);
    const int channels = CVxImageInfo::GetChannel(image.m_ColorModel);
    // A two-channel image would come back unchanged: say so instead.
    if (channels != 1 && channels != 3 && channels != 4)
        throw CliError(in, "shading correction takes grey, RGB or RGBA images");
    if (!SameShape(image, blank)) throw CliError(blankPath, "is " + Shape(blank) + ", " + in + " is " + Shape(image));
    CLMRShadingCorrect shading(&image);
    shading.SetBlankImage(&blank);
    if (!shading.ShadingCorrect()) throw CliError(in, "the image has a layout shading correction does not handle");
    SaveImageFile(out, image);
}

}  // namespace

void RegisterSeriesCommands(CLI::App& app) {
    struct Options {
        std::string out, blank, in;
        std::vector<std::string> frames;
    };
    auto average = std::make_shared<Options>();
    auto* averageCmd = app.add_subcommand(
        "average", "Truncated mean of the frames, sample by sample; the last row and column are 0");
    averageCmd->add_option("OUT", average->out, "Output image file")->required();
    averageCmd->add_option("FRAME", average->frames, "Frames of one size and layout (at least two)")
        ->required()
        ->expected(2, -1);
    averageCmd->callback([average] { RunAverage(average->out, average->frames); });

    auto shading = std::make_shared<Options>();
    auto* shadingCmd = app.add_subcommand(
        "shading", "Flat-field correction: IN x (BLANK's channel mean) / BLANK; 16-bit results keep their low byte");
    shadingCmd->add_option("--blank", shading->blank, "Blank image: the empty field under the same light")
        ->required();
    shadingCmd->add_option("IN", shading->in, "Input image file")->required();
    shadingCmd->add_option("OUT", shading->out, "Output image file")->required();
    shadingCmd->callback([shading] { RunShading(shading->blank, shading->in, shading->out); });
}

void DemoSeries(CVxImage& scene, DemoSink& sink) {
    // Eight frames of the scene with strong noise from a fixed LCG.
    constexpr int kFrames = 8;
    std::vector<CVxImage> frames(kFrames, scene);
    CVxImageArray array;
    std::uint32_t state = 4242;
    for (CVxImage& frame : frames) {
        for (int y = 0; y < frame.m_nHeight; ++y) {
            auto* row = static_cast<std::uint8_t*>(frame.Get2DBuffer()[y]);
            for (int i = 0; i < frame.m_nWidth * 3; ++i) {
                state = state * 1664525u + 1013904223u;
                row[i] = static_cast<std::uint8_t>(std::clamp(row[i] + static_cast<int>(state >> 26) - 32, 0, 255));
            }
        }
        array.Add(&frame);
    }
    sink.Save("series_noisy", frames[0], "one of 8 frames of the scene with noise of -32..31 per sample");
    CVxAveraging averaging(&array);
    CVxImage mean;
    if (averaging.Averaging(mean, 0))
        sink.Save("series_average", mean, "Averaging(0): mean of the 8 frames, noise down; last row and column 0");
    else
        sink.Note("series: Averaging refused the frames");

    // Vignetting: light falling to 45% at the corners, on an even grey blank
    // and on the scene, then the scene corrected against its blank.
    CVxImage blank = scene, vignetted = scene;
    const double cx = (scene.m_nWidth - 1) / 2.0, cy = (scene.m_nHeight - 1) / 2.0;
    for (int y = 0; y < scene.m_nHeight; ++y) {
        auto* b = static_cast<std::uint8_t*>(blank.Get2DBuffer()[y]);
        auto* v = static_cast<std::uint8_t*>(vignetted.Get2DBuffer()[y]);
        for (int x = 0; x < scene.m_nWidth; ++x) {
            const double r2 = ((x - cx) * (x - cx) + (y - cy) * (y - cy)) / (cx * cx + cy * cy);
            const double light = 1.0 - 0.55 * r2;
            for (int c = 0; c < 3; ++c) {
                b[x * 3 + c] = static_cast<std::uint8_t>(std::lround(200 * light));
                v[x * 3 + c] = static_cast<std::uint8_t>(std::lround(v[x * 3 + c] * light));
            }
        }
    }
    sink.Save("shading_blank", blank, "the blank: an even grey field under the vignetting light");
    sink.Save("shading_vignetted", vignetted, "the scene under the same light");
    CLMRShadingCorrect shading(&vignetted);
    shading.SetBlankImage(&blank);
    if (shading.ShadingCorrect())
        sink.Save("shading_corrected", vignetted, "ShadingCorrect: the vignetted scene x blank mean / blank");
    else
        sink.Note("series: ShadingCorrect refused the scene");
}

}  // namespace lumora::cli
