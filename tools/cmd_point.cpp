// Point group: arithmetic with a constant or a second image, brightness, the
// contrast and gamma tables, thresholds and cuts.
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "tools/commands.h"

namespace lumora::cli {
namespace {

// ---- arguments --------------------------------------------------------------

// A constant as the user wrote it. Written with a decimal point or an exponent
// it is a float and picks the float overload ("2" and "2.0" are different
// calls: MUL(2) and MUL(2.0f)), otherwise an int.
struct Constant {
    bool isFloat = false;
    int i = 0;
    float f = 0.0f;
    std::string text;
};

Constant ParseConstant(const std::string& option, const std::string& text) {
    Constant c;
    c.text = text;
    const bool looksFloat = text.find_first_of(".eE") != std::string::npos;
    char* end = nullptr;
    errno = 0;
    if (looksFloat) {
        c.isFloat = true;
        c.f = std::strtof(text.c_str(), &end);
        if (end == text.c_str() || *end != '\0' || errno == ERANGE || !std::isfinite(c.f))
            throw CliError(option, "expected a number, got '" + text + "'");
    } else {
        const long v = std::strtol(text.c_str(), &end, 10);
        if (end == text.c_str() || *end != '\0' || errno == ERANGE || v < INT_MIN || v > INT_MAX)
            throw CliError(option, "expected an integer (int range) or a number with a decimal point, got '" + text + "'");
        c.i = static_cast<int>(v);
    }
    return c;
}

std::string Describe(const std::string& path, const CVxImage& image) {
    return path + " (" + std::to_string(image.m_nWidth) + "x" + std::to_string(image.m_nHeight) + " " +
           ModelName(image.m_ColorModel) + ", " + std::to_string(image.m_nBitsPerSample) + "-bit)";
}

// A FALSE from the library, reported as "<command>: <call> refused <file ...>[: hint]".
[[noreturn]] void Refused(const std::string& command, const std::string& call, const std::string& path,
                          const CVxImage& image, const std::string& hint) {
    throw CliError(command, call + " refused " + Describe(path, image) + (hint.empty() ? "" : ": " + hint));
}

std::string RegionHint(const std::string& rect) {
    if (rect == "-1,-1,-1,-1") return "";
    return "check that the region " + rect + " lies on the image";
}

// ---- arithmetic ---------------------------------------------------------------

struct ArithmeticOptions {
    std::string in, operand, out, value, rect;
};

enum class ConstantOp { Add, Sub, Mul };

void RunConstant(const char* command, const char* name, ConstantOp op, const ArithmeticOptions& o) {
    const Constant c = ParseConstant("--value", o.value);
    const CRect rect = ParseRect(o.rect);
    CVxImage image = LoadImageFile(o.in);
    CVxArithmeticProcessing arithmetic(&image);
    int ok = FALSE;
    switch (op) {
        case ConstantOp::Add: ok = c.isFloat ? arithmetic.ADD(c.f, rect) : arithmetic.ADD(c.i, rect); break;
        case ConstantOp::Sub: ok = c.isFloat ? arithmetic.SUB(c.f, rect) : arithmetic.SUB(c.i, rect); break;
        case ConstantOp::Mul: ok = c.isFloat ? arithmetic.MUL(c.f, rect) : arithmetic.MUL(c.i, rect); break;
    }
    const std::string call = std::string(name) + "(" + c.text + (c.isFloat ? "f" : "") + ")";
    if (!ok) Refused(command, call, o.in, image, RegionHint(o.rect));
    SaveImageFile(o.out, image);
}

enum class OperandOp { Div, Or };

void RunOperand(const char* command, const char* name, OperandOp op, const ArithmeticOptions& o) {
    const CRect rect = ParseRect(o.rect);
    CVxImage image = LoadImageFile(o.in);
    CVxImage operand = LoadImageFile(o.operand);
    CVxArithmeticProcessing arithmetic(&image);
    const int ok = op == OperandOp::Div ? arithmetic.DIV(operand, rect) : arithmetic.OR(operand, rect);
    if (!ok) {
        std::string hint;
        if (operand.m_nChannel != image.m_nChannel || operand.m_nBitsPerSample != image.m_nBitsPerSample)
            hint = "the operand " + Describe(o.operand, operand) + " must have the same channels and sample width";
        else if (image.m_nWidth < 2 || image.m_nHeight < 2)
            hint = "an image one pixel wide or high has an empty image rectangle";
        else
            hint = o.rect == "-1,-1,-1,-1" ? "" : "the region " + o.rect + " must overlap the image by a column and a row";
        Refused(command, name, o.in, image, hint);
    }
    SaveImageFile(o.out, image);
}

// ---- brightness, contrast, gamma ----------------------------------------------

struct BrightnessOptions {
    std::string in, out;
    int value = 0;
};

void RunBrightness(const BrightnessOptions& o) {
    CVxImage image = LoadImageFile(o.in);
    CVxBrightnessProcessing brightness(&image);
    if (!brightness.Brightness(o.value))
        Refused("brightness", "Brightness(" + std::to_string(o.value) + ")", o.in, image, "");
    SaveImageFile(o.out, image);
}

struct TableOptions {
    std::string in, out, rect;
    float coefficient = 1.5f;
    int size = 0;  // 0: one entry per value of the image's sample width
    bool noTable = false;
};

// Contrast and gamma share the steps: coefficient, table, apply.
template <class Processing>
void RunTable(const char* command, const char* name, int (Processing::*apply)(CRect), const TableOptions& o) {
    const CRect rect = ParseRect(o.rect);
    CVxImage image = LoadImageFile(o.in);
    Processing processing(&image);
    const int size = o.size > 0 ? o.size : image.m_nBitsPerSample <= 8 ? 256 : 65536;
    if (!o.noTable) {
        processing.SetCoefficient(o.coefficient);
        processing.CreateVectorTable(size);
    }
    if (!(processing.*apply)(rect)) {
        std::string hint;
        if (o.noTable)
            hint = "no table was built (--no-table)";
        else if (o.rect != "-1,-1,-1,-1")
            hint = RegionHint(o.rect) + ", and that --size " + std::to_string(size) + " covers every sample value";
        else
            hint = "a sample value has no entry in the table of " + std::to_string(size) + " (raise --size)";
        Refused(command, name, o.in, image, hint);
    }
    SaveImageFile(o.out, image);
}

// ---- threshold, cut -------------------------------------------------------------

struct ThresholdOptions {
    std::string in, out;
    int level = 128;
    bool lower = false;
};

void RunThreshold(bool cut, const ThresholdOptions& o) {
    CVxImage image = LoadImageFile(o.in);
    CVxThresholdProcessing threshold(&image);
    CVxImage result;
    const std::string level = std::to_string(o.level);
    const int ok = cut ? threshold.Cut(result, o.level, o.lower ? 0 : 1) : threshold.Threshold(result, o.level);
    if (!ok) {
        const std::string hint = image.m_nChannel != 1 ? "it needs a one-channel image; this one has " +
                                                             std::to_string(image.m_nChannel) +
                                                             " (split it with 'lumora planes')"
                                                       : "";
        Refused(cut ? "cut" : "threshold",
                cut ? "Cut(" + level + ", " + (o.lower ? "0" : "1") + ")" : "Threshold(" + level + ")", o.in, image, hint);
    }
    SaveImageFile(o.out, result);
}

// ---- registration -----------------------------------------------------------------

void AddInOut(CLI::App* cmd, std::string& in, std::string& out) {
    cmd->add_option("IN", in, "Input image file (PNG, PGM, PPM)")->required();
    cmd->add_option("OUT", out, "Output image file (.png, .pgm, .ppm, .pnm)")->required();
}

void AddConstantCommand(CLI::App& app, const char* command, const char* name, ConstantOp op, const char* what) {
    auto o = std::make_shared<ArithmeticOptions>();
    auto* cmd = app.add_subcommand(command, what);
    AddInOut(cmd, o->in, o->out);
    cmd->add_option("--value", o->value,
                    "The constant: with a decimal point or exponent (2.0, 5e-1) the float overload, else the int one")
        ->required();
    AddRectOption(cmd, o->rect);
    cmd->callback([o, command, name, op] { RunConstant(command, name, op, *o); });
}

void AddOperandCommand(CLI::App& app, const char* command, const char* name, OperandOp op, const char* what) {
    auto o = std::make_shared<ArithmeticOptions>();
    auto* cmd = app.add_subcommand(command, what);
    cmd->add_option("IN", o->in, "Input image file (PNG, PGM, PPM)")->required();
    cmd->add_option("OPERAND", o->operand, "Second image: same channels and sample width as IN")->required();
    cmd->add_option("OUT", o->out, "Output image file (.png, .pgm, .ppm, .pnm)")->required();
    AddRectOption(cmd, o->rect);
    cmd->callback([o, command, name, op] { RunOperand(command, name, op, *o); });
}

template <class Processing>
void AddTableCommand(CLI::App& app, const char* command, const char* name, int (Processing::*apply)(CRect),
                     const char* what, const char* formula) {
    auto o = std::make_shared<TableOptions>();
    auto* cmd = app.add_subcommand(command, what);
    AddInOut(cmd, o->in, o->out);
    auto* coefficient = cmd->add_option("--coefficient", o->coefficient, formula)->capture_default_str();
    cmd->add_option("--size", o->size, "Table entries (default 256 for 8-bit images, 65536 for 16-bit)")
        ->check(CLI::Range(1, 65536));
    AddRectOption(cmd, o->rect);
    cmd->add_flag("--no-table", o->noTable,
                  "Apply without building the table first: shows the library's warning (in the language chosen "
                  "with 'lumora --language eng|kor') on standard error and fails")
        ->excludes(coefficient);
    cmd->callback([o, command, name, apply] { RunTable<Processing>(command, name, apply, *o); });
}

void AddThresholdCommand(CLI::App& app, bool cut) {
    auto o = std::make_shared<ThresholdOptions>();
    auto* cmd = app.add_subcommand(
        cut ? "cut" : "threshold",
        cut ? "Keep samples at least --level and set the rest to 0, or with --lower keep samples at most --level and "
              "set the rest to all ones (one-channel images)"
            : "255 where a sample is at least --level, 0 elsewhere (one-channel images)");
    AddInOut(cmd, o->in, o->out);
    cmd->add_option("--level", o->level, "The level")->required();
    if (cut) cmd->add_flag("--lower", o->lower, "Keep the samples at most --level instead");
    cmd->callback([o, cut] { RunThreshold(cut, *o); });
}

// ---- demo helpers -------------------------------------------------------------------

// An RGB image of the scene's size whose every sample is fn(x, y).
template <class Fn>
CVxImage Pattern(const CVxImage& like, Fn fn) {
    CVxImage image(CM_RGB, 8, like.m_nWidth, like.m_nHeight);
    for (int y = 0; y < image.m_nHeight; ++y) {
        auto* row = static_cast<std::uint8_t*>(image.Get2DBuffer()[y]);
        for (int x = 0; x < image.m_nWidth; ++x)
            row[3 * x] = row[3 * x + 1] = row[3 * x + 2] = static_cast<std::uint8_t>(fn(x, y));
    }
    return image;
}

}  // namespace

void RegisterPointCommands(CLI::App& app) {
    AddConstantCommand(app, "add", "ADD", ConstantOp::Add,
                       "Add a constant to every sample of a region: the sum is capped at 255 (never floored), "
                       "its low 8 bits stored");
    AddConstantCommand(app, "sub", "SUB", ConstantOp::Sub,
                       "Subtract a constant from every sample of a region: floored at 0 (never capped), "
                       "its low 8 bits stored");
    AddConstantCommand(app, "mul", "MUL", ConstantOp::Mul,
                       "Multiply every sample of a region by a constant: rounded and clamped to 0..255");
    AddOperandCommand(app, "div", "DIV", OperandOp::Div,
                      "Divide by a second image plus one (integer samples) over a region; OPERAND is "
                      "anchored at the region's top-left corner");
    AddOperandCommand(app, "or", "OR", OperandOp::Or,
                      "Bitwise OR with a second image over a region (8- and 16-bit samples); OPERAND is "
                      "anchored at the region's top-left corner");

    auto bright = std::make_shared<BrightnessOptions>();
    auto* brightCmd = app.add_subcommand(
        "brightness", "Brighten (value > 0, capped at 255) or darken (value <= 0, floored at 0) the whole image");
    AddInOut(brightCmd, bright->in, bright->out);
    brightCmd->add_option("--value", bright->value, "Amount to add; zero or negative subtracts its magnitude")->required();
    brightCmd->callback([bright] { RunBrightness(*bright); });

    AddTableCommand<CVxContrastProcessing>(
        app, "contrast", "Contrast", &CVxContrastProcessing::Contrast,
        "Remap a region through a linear table: entry i = trunc(i x K + 0.5), within 0..size-1",
        "K of the table entry i = trunc(i x K + 0.5)");
    AddTableCommand<CVxGammaProcessing>(
        app, "gamma", "Gamma", &CVxGammaProcessing::Gamma,
        "Remap a region through a power table: entry i = trunc(i^K), within 0..size-1 (not normalised: K < 1 "
        "darkens)",
        "K of the table entry i = trunc(i^K)");

    AddThresholdCommand(app, false);
    AddThresholdCommand(app, true);
}

void DemoPoint(CVxImage& scene, DemoSink& sink) {
    const CVxImage original(scene);
    const int w = scene.m_nWidth, h = scene.m_nHeight;
    // The middle of the scene, right and bottom inclusive.
    const CRect middle(w / 4, h / 4, w * 3 / 4 - 1, h * 3 / 4 - 1);
    const std::string middleText = std::to_string(w / 4) + "," + std::to_string(h / 4) + "," +
                                   std::to_string(w * 3 / 4 - 1) + "," + std::to_string(h * 3 / 4 - 1);
    auto note = [&sink](const std::string& call) { sink.Note("point: " + call + " refused the scene"); };

    {
        CVxImage image(original);
        CVxBrightnessProcessing brightness(&image);
        if (brightness.Brightness(50))
            sink.Save("point_brightness", image, "Brightness(50): every sample +50, capped at 255");
        else
            note("Brightness(50)");
    }
    {
        CVxImage image(original);
        CVxContrastProcessing contrast(&image);
        contrast.SetCoefficient(1.4f);
        contrast.CreateVectorTable(256);
        if (contrast.Contrast())
            sink.Save("point_contrast", image, "Contrast, K = 1.4, 256 entries: i -> trunc(1.4 i + 0.5), capped at 255");
        else
            note("Contrast");
    }
    {
        CVxImage image(original);
        CVxGammaProcessing gamma(&image);
        gamma.SetCoefficient(0.95f);
        gamma.CreateVectorTable(256);
        if (gamma.Gamma())
            sink.Save("point_gamma", image, "Gamma, K = 0.95, 256 entries: i -> trunc(i^0.95), not normalised, so darker");
        else
            note("Gamma");
    }

    CVxImage grey;
    CVxLumoraBase base(&scene);
    if (!base.GetPlane(1, grey)) {
        note("GetPlane(1)");
    } else {
        CVxThresholdProcessing threshold(&grey);
        CVxImage result;
        if (threshold.Threshold(result, 150))
            sink.Save("point_threshold", result, "Threshold(150) of the green plane: 255 where at least 150, else 0");
        else
            note("Threshold(150)");
        if (threshold.Cut(result, 150, 1))
            sink.Save("point_cut_upper", result, "Cut(150, 1) of the green plane: samples at least 150 kept, the rest 0");
        else
            note("Cut(150, 1)");
        if (threshold.Cut(result, 100, 0))
            sink.Save("point_cut_lower", result, "Cut(100, 0) of the green plane: samples at most 100 kept, the rest 255");
        else
            note("Cut(100, 0)");
    }

    struct ConstantCase {
        const char* name;
        const char* description;
        int (*run)(CVxArithmeticProcessing&, const CRect&);
    };
    const ConstantCase constants[] = {
        {"point_add", "ADD(60) in the middle region: +60, capped at 255",
         [](CVxArithmeticProcessing& a, const CRect& r) { return a.ADD(60, r); }},
        {"point_sub", "SUB(100) in the middle region: -100, floored at 0",
         [](CVxArithmeticProcessing& a, const CRect& r) { return a.SUB(100, r); }},
        {"point_mul", "MUL(0.5f) in the middle region: halved and rounded",
         [](CVxArithmeticProcessing& a, const CRect& r) { return a.MUL(0.5f, r); }},
    };
    for (const ConstantCase& c : constants) {
        CVxImage image(original);
        CVxArithmeticProcessing arithmetic(&image);
        if (c.run(arithmetic, middle))
            sink.Save(c.name, image, std::string(c.description) + " (" + middleText + ")");
        else
            note(c.name);
    }

    {
        // Steps 0, 1, 2, 3 from left to right: the scene over 1, 2, 3, 4.
        CVxImage steps = Pattern(original, [w](int x, int) { return x * 4 / w; });
        CVxImage image(original);
        CVxArithmeticProcessing arithmetic(&image);
        if (arithmetic.DIV(steps))
            sink.Save("point_div", image, "DIV by four vertical bands 0..3: the scene over 1, 2, 3, 4 from left to right");
        else
            note("DIV");
    }
    {
        // A grid of 0x40 lines every 16 pixels, ORed into the middle region
        // from its top-left corner.
        CVxImage grid = Pattern(original, [](int x, int y) { return x % 16 == 0 || y % 16 == 0 ? 0x40 : 0; });
        CVxImage image(original);
        CVxArithmeticProcessing arithmetic(&image);
        if (arithmetic.OR(grid, middle))
            sink.Save("point_or", image, "OR with a grid of 0x40 lines, in the middle region (" + middleText + ")");
        else
            note("OR");
    }
}

}  // namespace lumora::cli
