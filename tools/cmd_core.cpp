// Core group: image description, value counts, colour planes.
#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>

#include "io/image_file.h"
#include "tools/commands.h"

namespace lumora::cli {
namespace {

void PrintInfo(const std::string& path, const std::string& model) {
    // NumPy and PFM files hold samples without a model: without --model the
    // file's own shape is all there is to report.
    const std::optional<io::SampleArrayShape> shape = io::ReadSampleArrayShape(path);
    if (shape && model.empty()) {
        std::cout << "file: " << path << '\n'
                  << "format: " << shape->format << '\n'
                  << "model: not recorded (read it with --model cmyk|hsi|hls|hsv|ycbcr)\n"
                  << "channels: " << shape->channels << '\n'
                  << "bits per sample: " << shape->bitsPerSample << (shape->floatSamples ? " (float)" : "") << '\n'
                  << "width: " << shape->width << '\n'
                  << "height: " << shape->height << '\n';
        return;
    }
    CVxImage image = LoadImageFile(path, model);
    std::cout << "file: " << path << '\n';
    if (shape) std::cout << "format: " << shape->format << '\n';
    std::cout << "model: " << ModelName(image.m_ColorModel) << " (" << static_cast<int>(image.m_ColorModel) << ")\n"
              << "channels: " << image.m_nChannel << '\n'
              << "bits per sample: " << image.m_nBitsPerSample << '\n'
              << "width: " << image.m_nWidth << '\n'
              << "height: " << image.m_nHeight << '\n'
              << "palette entries: " << image.GetPalette().GetPaletteNum() << '\n';
}

// Runs CalLookupTable, turning a refusal into a message about the file.
void CountValues(const std::string& path, CVxImage& image, CVxPointProcessing& counts) {
    if (image.m_nBitsPerSample > 16)
        throw CliError(path, "value counts need 8- or 16-bit samples; this image has float samples");
    if (!counts.CalLookupTable()) throw CliError(path, "the value counts could not be computed for this image");
}

void PrintCounts(const std::string& path, int channel) {
    CVxImage image = LoadImageFile(path);
    CVxPointProcessing counts(&image);
    CountValues(path, image, counts);
    const int tables = counts.GetLookupTableCount();
    if (channel >= tables)
        throw CliError("--channel", std::to_string(channel) + " is not a channel of " + path + " (it has " +
                                        std::to_string(tables) + ")");
    for (int c = 0; c < tables; ++c) {
        if (channel >= 0 && c != channel) continue;
        const _PP_LOOKUP_TABLE& table = counts.GetLookupTable(c);
        std::cout << "# channel " << c << " (" << ChannelName(image, c) << "): value count\n";
        for (int v = 0; v < table.nSize; ++v)
            if (table.pTable[v] != 0) std::cout << v << ' ' << table.pTable[v] << '\n';
    }
}

void WritePlanes(const std::string& path, const std::string& prefix) {
    CVxImage image = LoadImageFile(path);
    CVxLumoraBase base(&image);
    if (image.m_nChannel < 2) throw CliError(path, "the image has one channel; there are no planes to split");
    for (int c = 0; c < image.m_nChannel; ++c) {
        CVxImage plane;
        if (!base.GetPlane(c, plane)) throw CliError(path, "channel " + std::to_string(c) + " could not be extracted");
        const std::string out = prefix + std::to_string(c) + ".png";
        SaveImageFile(out, plane);
        std::cout << out << "  channel " << c << " (" << ChannelName(image, c) << ")\n";
    }
}

// A bar chart of one channel's value counts: 256 columns, tallest bar = full height.
CVxImage CountsChart(CVxPointProcessing& counts, int height) {
    const int tables = counts.GetLookupTableCount();
    CVxImage chart(CM_RGB, 8, 256, height * tables);
    for (int y = 0; y < chart.m_nHeight; ++y) {
        auto* row = static_cast<std::uint8_t*>(chart.Get2DBuffer()[y]);
        std::fill(row, row + 256 * 3, std::uint8_t{255});
    }
    for (int c = 0; c < tables; ++c) {
        const _PP_LOOKUP_TABLE& table = counts.GetLookupTable(c);
        DWORD peak = 1;
        for (int v = 0; v < table.nSize; ++v) peak = std::max(peak, table.pTable[v]);
        for (int v = 0; v < 256 && v < table.nSize; ++v) {
            const int bar = static_cast<int>(static_cast<std::uint64_t>(table.pTable[v]) * (height - 1) / peak);
            for (int k = 0; k < bar; ++k) {
                auto* px = static_cast<std::uint8_t*>(chart.Get2DBuffer()[(c + 1) * height - 1 - k]) + v * 3;
                // Bars take the colour of their channel (memory order blue, green, red).
                px[0] = px[1] = px[2] = 60;
                if (tables == 3) px[c] = 220;
            }
        }
    }
    return chart;
}

}  // namespace

// Option values live in a shared block owned by the subcommand's callback,
// so nothing outlives the App and nothing is global.
void RegisterCoreCommands(CLI::App& app) {
    struct Options {
        std::string file;
        std::string prefix;
        std::string model;
        int channel = -1;
    };

    auto info = std::make_shared<Options>();
    auto* infoCmd = app.add_subcommand("info", "Print an image file's colour model, channels, bits, size and palette size");
    infoCmd->add_option("FILE", info->file, "Image file (PNG, PGM, PPM, NumPy .npy, PFM)")->required();
    AddModelOption(infoCmd, info->model);
    infoCmd->callback([info] { PrintInfo(info->file, info->model); });

    auto counts = std::make_shared<Options>();
    auto* countsCmd =
        app.add_subcommand("counts", "Print per-channel value counts: one \"value count\" line per value that occurs");
    countsCmd->add_option("FILE", counts->file, "Image file with 8- or 16-bit samples")->required();
    countsCmd->add_option("--channel", counts->channel, "Only this channel (0 = first in memory order: blue for RGB)")
        ->check(CLI::NonNegativeNumber);
    countsCmd->callback([counts] { PrintCounts(counts->file, counts->channel); });

    auto planes = std::make_shared<Options>();
    auto* planesCmd = app.add_subcommand("planes", "Write each channel of an image as PREFIX<N>.png (N from 0, memory order)");
    planesCmd->add_option("FILE", planes->file, "Image file with two or more channels")->required();
    planesCmd->add_option("PREFIX", planes->prefix, "Output path prefix, e.g. out/plane")->required();
    planesCmd->callback([planes] { WritePlanes(planes->file, planes->prefix); });
}

void DemoCore(CVxImage& scene, DemoSink& sink) {
    CVxLumoraBase base(&scene);
    for (int c = 0; c < 3; ++c) {
        CVxImage plane;
        if (base.GetPlane(c, plane))
            sink.Save("core_plane" + std::to_string(c), plane, "GetPlane(" + std::to_string(c) + "): the " +
                                                                   ChannelName(scene, c) + " channel as a grey image");
        else
            sink.Note("core: GetPlane(" + std::to_string(c) + ") refused the scene");
    }
    CVxPointProcessing counts(&scene);
    if (counts.CalLookupTable()) {
        CVxImage chart = CountsChart(counts, 100);
        sink.Save("core_counts", chart, "CalLookupTable: value counts of blue, green, red as bar charts");
    } else {
        sink.Note("core: CalLookupTable refused the scene");
    }
}

}  // namespace lumora::cli
