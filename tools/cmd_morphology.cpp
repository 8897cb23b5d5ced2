// Morphology group: erosion, dilation, opening, closing, the 3 x 3 median and
// selective noise removal.
#include <cstdint>
#include <memory>
#include <string>

#include "tools/commands.h"

namespace lumora::cli {
namespace {

enum class Morph { Erode, Dilate, Open, Close };

void RunMorphology(Morph op, const std::string& in, const std::string& out, int radius, const std::string& maskPath) {
    CVxImage image = LoadImageFile(in);
    CVxImage mask;
    CVxMorphologicProcessing morph(&image);
    if (!maskPath.empty()) {
        if (op == Morph::Open || op == Morph::Close)
            throw CliError("--mask", "open and close always work on the whole image");
        mask = LoadImageFile(maskPath);
        if (mask.m_nChannel != 1 || mask.m_nBitsPerSample > 8)
            throw CliError(maskPath, "a mask must be an 8-bit grey image");
        if (mask.m_nWidth < image.m_nWidth || mask.m_nHeight < image.m_nHeight)
            throw CliError(maskPath, "the mask is smaller than " + in);
        morph.SetAOIImage(&mask);
    }
    CVxImage result;
    int ok = FALSE;
    switch (op) {
        case Morph::Erode: ok = morph.Erode(result, radius); break;
        case Morph::Dilate: ok = morph.Dilate(result, radius); break;
        case Morph::Open: ok = morph.Open(result, radius); break;
        case Morph::Close: ok = morph.Close(result, radius); break;
    }
    if (!ok) throw CliError(in, "the image has a layout morphology does not handle");
    SaveImageFile(out, result);
}

void RunMedian(const std::string& in, const std::string& out, bool selective, int threshold) {
    CVxImage image = LoadImageFile(in);
    CVxFilter filter(&image);
    CVxImage result;
    const int ok = selective ? filter.RemoveRandomNoise(result, threshold) : filter.Median(result);
    if (!ok) throw CliError(in, "the image has a layout the median filter does not handle");
    SaveImageFile(out, result);
}

}  // namespace

// Option values live in a shared block owned by the subcommand's callback.
void RegisterMorphologyCommands(CLI::App& app) {
    struct Options {
        std::string in, out, mask;
        int radius = 1;
        int threshold = 0;
    };
    const struct {
        const char* name;
        Morph op;
        const char* help;
    } ops[] = {
        {"erode", Morph::Erode, "Minimum over a (2R+1) square per channel, edges replicated"},
        {"dilate", Morph::Dilate, "Maximum over a (2R+1) square per channel, edges replicated"},
        {"open", Morph::Open, "Erosion then dilation, over the whole image"},
        {"close", Morph::Close, "Dilation then erosion, over the whole image"},
    };
    for (const auto& entry : ops) {
        auto options = std::make_shared<Options>();
        auto* cmd = app.add_subcommand(entry.name, entry.help);
        cmd->add_option("IN", options->in, "Input image file")->required();
        cmd->add_option("OUT", options->out, "Output image file")->required();
        cmd->add_option("--radius", options->radius, "Radius R of the square (side 2R+1)")
            ->required()
            ->check(CLI::Range(0, 1 << 30));
        if (entry.op == Morph::Erode || entry.op == Morph::Dilate)
            cmd->add_option("--mask", options->mask, "8-bit grey mask: pixels where it is 0 keep the input");
        const Morph op = entry.op;
        cmd->callback([options, op] { RunMorphology(op, options->in, options->out, options->radius, options->mask); });
    }

    auto median = std::make_shared<Options>();
    auto* medianCmd = app.add_subcommand("median", "3x3 median of every inner pixel; the border keeps the input");
    medianCmd->add_option("IN", median->in, "Input image file")->required();
    medianCmd->add_option("OUT", median->out, "Output image file")->required();
    medianCmd->callback([median] { RunMedian(median->in, median->out, false, 0); });

    auto denoise = std::make_shared<Options>();
    auto* denoiseCmd = app.add_subcommand(
        "denoise", "3x3 median only where |8 x centre - sum of the 8 neighbours| exceeds the threshold");
    denoiseCmd->add_option("IN", denoise->in, "Input image file")->required();
    denoiseCmd->add_option("OUT", denoise->out, "Output image file")->required();
    denoiseCmd->add_option("--threshold", denoise->threshold, "Response threshold (8-bit: 0..2040; negative = all)")
        ->required();
    denoiseCmd->callback([denoise] { RunMedian(denoise->in, denoise->out, true, denoise->threshold); });
}

void DemoMorphology(CVxImage& scene, DemoSink& sink) {
    CVxMorphologicProcessing morph(&scene);
    const struct {
        const char* name;
        int (CVxMorphologicProcessing::*op)(CVxImage&, int);
        const char* description;
    } ops[] = {
        {"morph_erode3", &CVxMorphologicProcessing::Erode, "Erode(3): minimum over 7x7, dark shapes grow"},
        {"morph_dilate3", &CVxMorphologicProcessing::Dilate, "Dilate(3): maximum over 7x7, light shapes grow"},
        {"morph_open3", &CVxMorphologicProcessing::Open, "Open(3): light details narrower than 7 pixels vanish"},
        {"morph_close3", &CVxMorphologicProcessing::Close, "Close(3): dark details narrower than 7 pixels vanish"},
    };
    for (const auto& entry : ops) {
        CVxImage result;
        if ((morph.*entry.op)(result, 3))
            sink.Save(entry.name, result, entry.description);
        else
            sink.Note(std::string("morphology: ") + entry.name + " refused the scene");
    }

    // Salt-and-pepper noise from a fixed LCG, then the two median filters.
    CVxImage noisy = scene;
    std::uint32_t state = 777;
    for (int y = 0; y < noisy.m_nHeight; ++y) {
        auto* row = static_cast<unsigned char*>(noisy.Get2DBuffer()[y]);
        for (int x = 0; x < noisy.m_nWidth; ++x) {
            state = state * 1664525u + 1013904223u;
            if ((state >> 24) < 8)
                for (int c = 0; c < 3; ++c) row[x * 3 + c] = (state >> 16) & 1 ? 255 : 0;
        }
    }
    sink.Save("morph_noisy", noisy, "the scene with 3% salt-and-pepper pixels (input of the two filters below)");
    CVxFilter filter(&noisy);
    CVxImage median, cleaned;
    if (filter.Median(median))
        sink.Save("morph_median", median, "Median: 3x3 median, noise gone, fine detail softened");
    else
        sink.Note("morphology: Median refused the scene");
    if (filter.RemoveRandomNoise(cleaned, 300))
        sink.Save("morph_denoise300", cleaned, "RemoveRandomNoise(300): only pixels standing out are replaced");
    else
        sink.Note("morphology: RemoveRandomNoise refused the scene");
}

}  // namespace lumora::cli
