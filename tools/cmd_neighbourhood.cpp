// Neighbourhood group: convolution with a given kernel, blur, sharpen and
// the Prewitt, Sobel and Laplacian edge detectors.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

#include "tools/commands.h"

namespace lumora::cli {
namespace {

struct KernelText {
    int width = 0;
    int height = 0;
    std::vector<double> values;
};

// Rows separated by ';' or new lines, entries by ',' or white space.
KernelText ParseKernel(const std::string& text, const std::string& subject) {
    KernelText kernel;
    std::string normalised = text;
    for (char& ch : normalised)
        if (ch == ';') ch = '\n';
    std::istringstream rows(normalised);
    std::string line;
    while (std::getline(rows, line)) {
        for (char& ch : line)
            if (ch == ',') ch = ' ';
        std::istringstream entries(line);
        std::vector<double> row;
        std::string entry;
        while (entries >> entry) {
            try {
                size_t used = 0;
                row.push_back(std::stod(entry, &used));
                if (used != entry.size()) throw std::invalid_argument(entry);
            } catch (const std::exception&) {
                throw CliError(subject, "\"" + entry + "\" is not a number");
            }
        }
        if (row.empty()) continue;
        if (kernel.height > 0 && static_cast<int>(row.size()) != kernel.width)
            throw CliError(subject, "row " + std::to_string(kernel.height + 1) + " has " + std::to_string(row.size()) +
                                        " entries, the first row " + std::to_string(kernel.width));
        kernel.width = static_cast<int>(row.size());
        ++kernel.height;
        kernel.values.insert(kernel.values.end(), row.begin(), row.end());
    }
    if (kernel.height == 0) throw CliError(subject, "the kernel has no entries");
    return kernel;
}

// --kernel names a file when one exists by that name, else it is the kernel itself.
KernelText ReadKernel(const std::string& argument) {
    std::error_code ec;
    if (std::filesystem::is_regular_file(argument, ec)) {
        std::ifstream in(argument);
        if (!in) throw CliError(argument, "cannot be read");
        std::stringstream text;
        text << in.rdbuf();
        return ParseKernel(text.str(), argument);
    }
    return ParseKernel(argument, "--kernel");
}

// The area-of-interest mask: an 8-bit grey image of the input's size.
std::unique_ptr<CVxImage> LoadMask(const std::string& path, const CVxImage& image) {
    if (path.empty()) return nullptr;
    auto mask = std::make_unique<CVxImage>(LoadImageFile(path));
    if (mask->m_nChannel != 1 || mask->m_nBitsPerSample > 8)
        throw CliError(path, "a mask must be an 8-bit grey image (0 = leave the pixel alone)");
    if (mask->m_nWidth != image.m_nWidth || mask->m_nHeight != image.m_nHeight)
        throw CliError(path, "the mask is " + std::to_string(mask->m_nWidth) + "x" + std::to_string(mask->m_nHeight) +
                                 ", the image " + std::to_string(image.m_nWidth) + "x" +
                                 std::to_string(image.m_nHeight));
    return mask;
}

struct Options {
    std::string in, out, mask, kernel, border = "extend", direction;
    double divisor = 1, offset = 0;
    bool abs = false, floatKernel = false;
};

void Convolve(const Options& o) {
    CVxImage image = LoadImageFile(o.in);
    const KernelText k = ReadKernel(o.kernel);
    const CONVOLUTION_FLAG flag = o.border == "create" ? CONVOLUTION_CREATE
                                  : o.border == "inner" ? CONVOLUTION_INNER
                                                        : CONVOLUTION_EXTEND;
    auto mask = LoadMask(o.mask, image);
    CVxConvolution conv(&image);
    conv.SetAOIImage(mask.get());
    CVxImage dest;
    int result;
    const CSize size(k.width, k.height);
    if (o.floatKernel) {
        if (o.divisor == 0) throw CliError("--divisor", "must not be 0");
        std::vector<float> weights(k.values.begin(), k.values.end());
        const auto d = static_cast<float>(o.divisor), off = static_cast<float>(o.offset);
        result = o.abs ? conv.ConvolveABS(weights.data(), size, dest, d, off, flag)
                       : conv.Convolve(weights.data(), size, dest, d, off, flag);
    } else {
        std::vector<int> weights;
        for (double v : k.values) {
            if (v != std::trunc(v) || std::abs(v) > 2147483647.0)
                throw CliError("--kernel", "entries of an integer kernel must be whole numbers (use --float)");
            weights.push_back(static_cast<int>(v));
        }
        for (auto [name, v] : {std::pair{"--divisor", o.divisor}, std::pair{"--offset", o.offset}})
            if (v != std::trunc(v) || std::abs(v) > 2147483647.0)
                throw CliError(name, "must be a whole number for an integer kernel (use --float)");
        if (o.divisor == 0) throw CliError("--divisor", "must not be 0");
        const int d = static_cast<int>(o.divisor), off = static_cast<int>(o.offset);
        result = o.abs ? conv.ConvolveABS(weights.data(), size, dest, d, off, flag)
                       : conv.Convolve(weights.data(), size, dest, d, off, flag);
    }
    if (!result) throw CliError(o.in, "the convolution refused this image");
    SaveImageFile(o.out, dest);
}

template <class Op>
void RunFilter(const Options& o, const std::string& name, Op op) {
    CVxImage image = LoadImageFile(o.in);
    auto mask = LoadMask(o.mask, image);
    CVxImage dest;
    if (!op(image, mask.get(), dest)) throw CliError(o.in, name + " refused this image");
    SaveImageFile(o.out, dest);
}

int Direction(const std::string& text) {
    return text == "diagonal" ? 0 : text == "horizontal" ? 1 : 2;
}

CLI::App* AddInOut(CLI::App& app, const char* name, const char* help, Options& o) {
    auto* cmd = app.add_subcommand(name, help);
    cmd->add_option("IN", o.in, "Input image file")->required();
    cmd->add_option("OUT", o.out, "Output image file (.png, .pgm, .ppm)")->required();
    return cmd;
}

void AddMaskOption(CLI::App* cmd, Options& o) {
    cmd->add_option("--mask", o.mask, "8-bit grey mask of the image's size: pixels where it is 0 keep their value");
}

}  // namespace

void RegisterNeighbourhoodCommands(CLI::App& app) {
    auto conv = std::make_shared<Options>();
    auto* convCmd = AddInOut(app, "convolve", "Correlate the image with a kernel: v = sum / divisor + offset, clamped", *conv);
    convCmd->add_option("--kernel", conv->kernel, "Kernel file, or rows inline: \"a,b,c;d,e,f;g,h,i\"")->required();
    convCmd->add_option("--divisor", conv->divisor, "Every sum is divided by this")->capture_default_str();
    convCmd->add_option("--offset", conv->offset, "Added after the division")->capture_default_str();
    convCmd->add_option("--border", conv->border, "Border pixels: create|inner (keep the input) or extend (repeat edges)")
        ->check(CLI::IsMember({"create", "inner", "extend"}))
        ->capture_default_str();
    convCmd->add_flag("--abs", conv->abs, "Absolute rule: a negative offset + q becomes offset - q");
    convCmd->add_flag("--float", conv->floatKernel, "Single-precision kernel, divisor and offset (else integers)");
    AddMaskOption(convCmd, *conv);
    convCmd->callback([conv] { Convolve(*conv); });

    auto blur = std::make_shared<Options>();
    auto* blurCmd = AddInOut(app, "blur", "3x3 blur (0.75 centre, 0.03125 around), edges repeated", *blur);
    AddMaskOption(blurCmd, *blur);
    blurCmd->callback([blur] {
        RunFilter(*blur, "blur", [](CVxImage& image, CVxImage* mask, CVxImage& dest) {
            CVxFilter filter(&image);
            filter.SetAOIImage(mask);
            return filter.Blur(dest);
        });
    });

    auto sharpen = std::make_shared<Options>();
    AddInOut(app, "sharpen", "3x3 sharpen (1.8 centre, -0.1 around) over the whole image", *sharpen)->callback([sharpen] {
        RunFilter(*sharpen, "sharpen", [](CVxImage& image, CVxImage*, CVxImage& dest) {
            return CVxFilter(&image).Sharpen(dest);
        });
    });

    for (const char* name : {"prewitt", "sobel"}) {
        auto o = std::make_shared<Options>();
        const bool sobel = std::string(name) == "sobel";
        auto* cmd = AddInOut(app, name,
                             sobel ? "Sobel gradient magnitude |sum / divisor|, edges repeated"
                                   : "Prewitt gradient magnitude |sum|, edges repeated",
                             *o);
        cmd->add_option("--direction", o->direction,
                        "diagonal, horizontal (edges along rows) or vertical (edges along columns)")
            ->check(CLI::IsMember({"diagonal", "horizontal", "vertical"}))
            ->required();
        AddMaskOption(cmd, *o);
        cmd->callback([o, sobel] {
            RunFilter(*o, sobel ? "sobel" : "prewitt", [&](CVxImage& image, CVxImage* mask, CVxImage& dest) {
                CVxEdgeDetection edges(&image);
                edges.SetAOIImage(mask);
                const int d = Direction(o->direction);
                return sobel ? edges.Sobel3(dest, static_cast<SOBEL_FLAG>(d))
                             : edges.Prewitt(dest, static_cast<PREWITT_FLAG>(d));
            });
        });
    }

    auto lap = std::make_shared<Options>();
    AddInOut(app, "laplacian", "3x3 Laplacian (8 x centre - neighbours) / 8, clamped to 0..255; border 0", *lap)
        ->callback([lap] {
            RunFilter(*lap, "laplacian", [](CVxImage& image, CVxImage*, CVxImage& dest) {
                return CVxEdgeDetection(&image).Laplacian3(dest);
            });
        });
}

void DemoNeighbourhood(CVxImage& scene, DemoSink& sink) {
    auto save = [&](const std::string& name, int result, CVxImage& image, const std::string& what) {
        if (result)
            sink.Save(name, image, what);
        else
            sink.Note("neighbourhood: " + what + " refused the scene");
    };
    CVxFilter filter(&scene);
    CVxEdgeDetection edges(&scene);
    CVxImage out;
    save("nb_blur", filter.Blur(out), out, "Blur: 3x3, 0.75 centre and 0.03125 around");
    save("nb_sharpen", filter.Sharpen(out), out, "Sharpen: 3x3, 1.8 centre and -0.1 around");

    // The area of interest: blur only inside a centred disc.
    CVxImage mask(CM_GRAY, 8, scene.m_nWidth, scene.m_nHeight);
    const int cx = scene.m_nWidth / 2, cy = scene.m_nHeight / 2, r = std::min(cx, cy) / 2;
    for (int y = 0; y < mask.m_nHeight; ++y)
        for (int x = 0; x < mask.m_nWidth; ++x)
            static_cast<std::uint8_t*>(mask.Get2DBuffer()[y])[x] =
                (x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r ? 255 : 0;
    CVxImage blurred(scene);
    CVxFilter strong(&blurred);
    strong.SetAOIImage(&mask);
    int ok = TRUE;
    for (int pass = 0; pass < 8 && ok; ++pass) ok = strong.Blur(out), blurred = out;
    save("nb_blur_mask", ok, out, "Blur eight times inside a centred disc mask (the AOI); outside untouched");

    save("nb_sobel_horizontal", edges.Sobel3(out, SOBEL_HORIZONTAL), out, "Sobel3 horizontal edges");
    save("nb_sobel_vertical", edges.Sobel3(out, SOBEL_VERTICAL), out, "Sobel3 vertical edges");
    save("nb_prewitt_diagonal", edges.Prewitt(out, PREWITT_DIAGONAL), out, "Prewitt diagonal edges");
    save("nb_laplacian", edges.Laplacian3(out), out, "Laplacian3: (8 x centre - neighbours) / 8, clamped");

    int emboss[9] = {-1, -1, 0, -1, 0, 1, 0, 1, 1};
    CVxConvolution conv(&scene);
    save("nb_emboss", conv.Convolve(emboss, CSize(3, 3), out, 1, 128, CONVOLUTION_EXTEND), out,
         "Convolve: emboss kernel -1,-1,0;-1,0,1;0,1,1 with offset 128");
}

}  // namespace lumora::cli
