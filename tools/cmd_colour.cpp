// Colour group: conversions between colour models and colour spaces, channel
// inversion, exact colour replacement and the HSI shift.
//
// CMYK and the float colour spaces (HSI, HLS, HSV, YCbCr) have no image file
// format: they are written as .npy (or .pfm for the three-float spaces) and
// read back with --model.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "tools/commands.h"

namespace lumora::cli {
namespace {

using Processing = CVxColorProcessing;

std::string Describe(const CVxImage& image) {
    return ModelName(image.m_ColorModel) + " image with " + std::to_string(image.m_nBitsPerSample) +
           " bits per sample";
}

bool Is(const CVxImage& image, COLOR_MODEL model, int minBits, int maxBits) {
    return image.m_ColorModel == model && image.m_nBitsPerSample >= minBits && image.m_nBitsPerSample <= maxBits;
}

// Comma-separated numbers for `option`: between `min` and `max` of them, each
// within [lo, hi]; `expected` describes them in the error.
std::vector<double> ParseList(const std::string& option, const std::string& text, size_t min, size_t max, double lo,
                              double hi, const std::string& expected) {
    std::vector<double> values;
    const char* p = text.c_str();
    for (;;) {
        char* end = nullptr;
        errno = 0;
        const double v = std::strtod(p, &end);
        if (end == p || errno == ERANGE || !(v >= lo && v <= hi) || values.size() == max) break;
        values.push_back(v);
        while (*end == ' ') ++end;
        if (*end == '\0' && values.size() >= min) return values;
        if (*end != ',') break;
        p = end + 1;
    }
    throw CliError(option, "expected " + expected + ", got '" + text + "'");
}

// A destination for a conversion, every byte 0xFF: the conversions that
// leave alpha untouched then leave it opaque.
CVxImage Blank(COLOR_MODEL model, int bits, const CVxImage& like) {
    CVxImage image(model, bits, like.m_nWidth, like.m_nHeight);
    if (!image.IsCreated()) throw CliError("convert", "cannot create the " + ModelName(model) + " result");
    std::memset(image.GetBuffer(), 0xFF, static_cast<size_t>(image.m_nBytesPerLine) * image.m_nHeight);
    return image;
}

// The source as 8-bit RGB or RGBA: as it is when it already is, else through
// the library's dispatcher ConverttoRGB.
CVxImage AsRgb(const std::string& path, CVxImage& image) {
    if (Is(image, CM_RGB, 8, 8) || Is(image, CM_RGBA, 8, 8)) return image;
    CVxImage rgb = Blank(CM_RGB, 8, image);
    if (!Processing::ConverttoRGB(&image, &rgb))
        throw CliError(path, "ConverttoRGB has no conversion for a " + Describe(image));
    return rgb;
}

struct ConvertOptions {
    std::string in, out, to, model, weights = "0.299,0.587,0.114";
    int threshold = 128;
};

// The library call for each --to target, chosen by the source's model.
CVxImage Convert(const ConvertOptions& o, CVxImage& src) {
    const std::vector<double> w = ParseList("--weights", o.weights, 3, 3, -1e6, 1e6, "three weights r,g,b");
    const float wr = static_cast<float>(w[0]), wg = static_cast<float>(w[1]), wb = static_cast<float>(w[2]);
    const bool grey8 = Is(src, CM_GRAY, 1, 8) || Is(src, CM_GRAYA, 1, 8);
    const bool grey16 = Is(src, CM_GRAY, 9, 16) || Is(src, CM_GRAYA, 9, 16);
    const bool alpha = src.m_ColorModel == CM_RGBA || src.m_ColorModel == CM_GRAYA;
    auto refused = [&](const std::string& call) {
        return CliError(o.in, call + " refused the " + Describe(src));
    };

    if (o.to == "rgb" || o.to == "rgba") {
        const bool rgba = o.to == "rgba";
        CVxImage out = Blank(rgba ? CM_RGBA : CM_RGB, 8, src);
        // FALSE with the destination a copy of the source means the image
        // already has the model: nothing needed converting.
        const int ok = rgba ? Processing::ConverttoRGBA(&src, &out) : Processing::ConverttoRGB(&src, &out);
        if (!ok && !Is(src, rgba ? CM_RGBA : CM_RGB, 8, 8))
            throw refused(rgba ? "ConverttoRGBA" : "ConverttoRGB");
        return out;
    }
    if (o.to == "gray" && grey16) {
        CVxImage out = Blank(alpha ? CM_GRAYA : CM_GRAY, 8, src);
        if (!Processing::Gray16toGray(&src, &out)) throw refused("Gray16toGray");
        return out;
    }
    if ((o.to == "gray" && grey8) || (o.to == "gray16" && grey16)) return src;
    if (o.to == "gray16" && grey8) {
        if (src.m_ColorModel == CM_GRAY)
            throw CliError(o.in, "the library's GraytoGray16 takes GrayA sources and refuses plain Gray; "
                                 "convert with --to rgb first, then --to gray16");
        CVxImage out = Blank(CM_GRAYA, 16, src);
        if (!Processing::GraytoGray16(&src, &out)) throw refused("GraytoGray16");
        return out;
    }
    if ((o.to == "gray" || o.to == "gray16") && src.m_ColorModel == CM_BITMAP) {
        CVxImage out = Blank(CM_GRAY, o.to == "gray" ? 8 : 16, src);
        const int ok = o.to == "gray" ? Processing::BitmaptoGray(&src, &out) : Processing::BitmaptoGray16(&src, &out);
        if (!ok) throw refused(o.to == "gray" ? "BitmaptoGray" : "BitmaptoGray16");
        return out;
    }
    if (o.to == "bitmap") {
        CVxImage bitmap = Blank(CM_BITMAP, 8, src);
        int ok = TRUE;
        if (grey8) {
            ok = Processing::GraytoBitmap(&src, &bitmap, o.threshold);
        } else if (grey16) {
            ok = Processing::Gray16toBitmap(&src, &bitmap, o.threshold);
        } else if (src.m_ColorModel == CM_BITMAP) {
            bitmap = src;
        } else {
            CVxImage rgb = AsRgb(o.in, src);
            ok = Processing::RGBtoBitmap(&rgb, &bitmap, o.threshold);
        }
        if (!ok) throw refused("the bitmap conversion");
        // No image file holds a one-bit model: 0/1 become grey 0/255.
        CVxImage grey = Blank(CM_GRAY, 8, src);
        if (!Processing::BitmaptoGray(&bitmap, &grey)) throw refused("BitmaptoGray");
        return grey;
    }

    static const struct {
        const char* to;
        COLOR_MODEL model;
        int bits;
        int (*convert)(CVxImage*, CVxImage*);
    } kSpaces[] = {
        {"rgb16", CM_RGB, 16, &Processing::RGBtoRGB16},  {"cmyk", CM_CMYK, 8, &Processing::RGBtoCMYK},
        {"hsi", CM_HSI, 32, &Processing::RGBtoHSI},      {"hls", CM_HLS, 32, &Processing::RGBtoHLS},
        {"hsv", CM_HSV, 32, &Processing::RGBtoHSV},      {"ycbcr", CM_YCbCr, 32, &Processing::RGBtoYCbCr},
    };
    if (o.to == "gray" || o.to == "gray16") {
        CVxImage rgb = AsRgb(o.in, src);
        const bool rgba = rgb.m_ColorModel == CM_RGBA;
        const bool wide = o.to == "gray16";
        CVxImage out = Blank(rgba ? CM_GRAYA : CM_GRAY, wide ? 16 : 8, src);
        const int ok = wide ? Processing::RGBtoGray16(&rgb, &out, wr, wg, wb) : Processing::RGBtoGray(&rgb, &out, wr, wg, wb);
        if (!ok) throw refused(wide ? "RGBtoGray16" : "RGBtoGray");
        return out;
    }
    for (const auto& space : kSpaces) {
        if (o.to != space.to) continue;
        if (Is(src, space.model, space.bits == 16 ? 9 : space.bits, space.bits)) return src;
        CVxImage rgb = AsRgb(o.in, src);
        const bool rgba = rgb.m_ColorModel == CM_RGBA;
        const COLOR_MODEL model = space.model == CM_RGB && rgba ? CM_RGBA : space.model;
        CVxImage out = Blank(model, space.bits, src);
        if (!space.convert(&rgb, &out)) throw refused("the conversion to " + o.to);
        return out;
    }
    throw CliError("--to", "unknown target '" + o.to + "'");
}

void RunConvert(const ConvertOptions& o) {
    CVxImage src = LoadImageFile(o.in, o.model);
    CVxImage out = o.to.empty() ? src : Convert(o, src);
    SaveImageFile(o.out, out);
}

void RunInvert(const std::string& in, const std::string& out, const std::string& model, int channel) {
    CVxImage image = LoadImageFile(in, model);
    Processing colour(&image);
    // The palette inversion and GrayA's alpha-only inversion answer FALSE
    // after doing their work.
    const bool doneAnyway = image.m_ColorModel == CM_INDEX || (image.m_ColorModel == CM_GRAYA && channel == 2);
    if (!colour.Invert(channel) && !doneAnyway)
        throw CliError(in, "Invert(" + std::to_string(channel) + ") refused the " + Describe(image) +
                               " (0 = every channel, 1.." + std::to_string(image.m_nChannel) + " = one channel)");
    SaveImageFile(out, image);
}

tagVXG4 ParseColour(const std::string& option, const std::string& text) {
    const std::vector<double> values = ParseList(option, text, 1, 4, 0, 255, "1 to 4 whole numbers 0..255, a,b,c,d");
    tagVXG4 colour{};
    for (size_t i = 0; i < values.size(); ++i) {
        if (values[i] != static_cast<int>(values[i])) throw CliError(option, "expected whole numbers, got '" + text + "'");
        colour.v[i] = static_cast<BYTE>(values[i]);
    }
    return colour;
}

void RunReplace(const std::string& in, const std::string& out, const std::string& model, const std::string& from,
                const std::string& to) {
    const tagVXG4 oldColour = ParseColour("--from", from), newColour = ParseColour("--to", to);
    CVxImage image = LoadImageFile(in, model);
    Processing colour(&image);
    // Palette replacement answers FALSE after doing its work.
    if (!colour.ReplaceColor(oldColour, newColour) && image.m_ColorModel != CM_INDEX)
        throw CliError(in, "ReplaceColor refused the " + Describe(image));
    SaveImageFile(out, image);
}

void RunHsiAdjust(const std::string& in, const std::string& out, float dh, float ds, float di) {
    CVxImage image = LoadImageFile(in);
    if (!Is(image, CM_RGB, 1, 8) && !Is(image, CM_RGBA, 1, 8))
        throw CliError(in, "HSIAdjust works on 8-bit RGB and RGBA images, not on a " + Describe(image));
    Processing colour(&image);
    colour.HSIAdjust(dh, ds, di);  // FALSE always, also after the whole pass
    SaveImageFile(out, image);
}

}  // namespace

// Option values live in a shared block owned by the subcommand's callback.
void RegisterColourCommands(CLI::App& app) {
    auto convert = std::make_shared<ConvertOptions>();
    auto* convertCmd = app.add_subcommand(
        "convert", "Convert between colour models and spaces; without --to, only re-save in OUT's format");
    convertCmd->add_option("IN", convert->in, "Input image file")->required();
    convertCmd->add_option("OUT", convert->out, "Output file: .npy for cmyk, .npy or .pfm for hsi/hls/hsv/ycbcr")
        ->required();
    convertCmd
        ->add_option("--to", convert->to,
                     "Target: gray, gray16 (from RGB/RGBA or GrayA), rgb, rgba, rgb16, bitmap (written as grey "
                     "0/255), cmyk, hsi, hls, hsv, ycbcr")
        ->check(CLI::IsMember({"gray", "gray16", "rgb", "rgba", "rgb16", "bitmap", "cmyk", "hsi", "hls", "hsv", "ycbcr"}));
    convertCmd->add_option("--weights", convert->weights, "Grey weights r,g,b for gray and gray16")->capture_default_str();
    convertCmd->add_option("--threshold", convert->threshold, "bitmap: 1 where the luminance or grey is at least N")
        ->capture_default_str();
    AddModelOption(convertCmd, convert->model);
    convertCmd->callback([convert] { RunConvert(*convert); });

    struct Options {
        std::string in, out, model, from, to;
        int channel = 0;
        float dh = 0, ds = 0, di = 0;
    };
    auto invert = std::make_shared<Options>();
    auto* invertCmd = app.add_subcommand("invert", "max - sample on every channel (0) or on channel N-1 (N >= 1)");
    invertCmd->add_option("IN", invert->in, "Input image file")->required();
    invertCmd->add_option("OUT", invert->out, "Output image file")->required();
    invertCmd->add_option("--channel", invert->channel, "0 = all; N = channel N-1 in memory order (1 = blue for RGB)")
        ->capture_default_str();
    AddModelOption(invertCmd, invert->model);
    invertCmd->callback([invert] { RunInvert(invert->in, invert->out, invert->model, invert->channel); });

    auto replace = std::make_shared<Options>();
    auto* replaceCmd = app.add_subcommand(
        "replace-color", "Pixels exactly equal to --from take --to (members in memory order: blue,green,red,alpha for RGB)");
    replaceCmd->add_option("IN", replace->in, "Input image file")->required();
    replaceCmd->add_option("OUT", replace->out, "Output image file")->required();
    replaceCmd->add_option("--from", replace->from, "Old colour a,b,c,d (0..255; missing members are 0)")->required();
    replaceCmd->add_option("--to", replace->to, "New colour a,b,c,d (0..255; missing members are 0)")->required();
    AddModelOption(replaceCmd, replace->model);
    replaceCmd->callback(
        [replace] { RunReplace(replace->in, replace->out, replace->model, replace->from, replace->to); });

    auto hsi = std::make_shared<Options>();
    auto* hsiCmd = app.add_subcommand("hsi-adjust", "Shift hue (degrees), saturation and intensity of an RGB image");
    hsiCmd->add_option("IN", hsi->in, "Input image file (8-bit RGB or RGBA)")->required();
    hsiCmd->add_option("OUT", hsi->out, "Output image file")->required();
    hsiCmd->add_option("--dh", hsi->dh, "Hue shift in degrees")->capture_default_str();
    hsiCmd->add_option("--ds", hsi->ds, "Saturation shift (0..1 scale)")->capture_default_str();
    hsiCmd->add_option("--di", hsi->di, "Intensity shift (0..1 scale)")->capture_default_str();
    hsiCmd->callback([hsi] { RunHsiAdjust(hsi->in, hsi->out, hsi->dh, hsi->ds, hsi->di); });
}

void DemoColour(CVxImage& scene, DemoSink& sink) {
    const auto convert = [&](const char* name, COLOR_MODEL model, int bits, int (*fn)(CVxImage*, CVxImage*),
                             const char* description) {
        CVxImage out = Blank(model, bits, scene);
        if (fn(&scene, &out))
            sink.Save(name, out, description);
        else
            sink.Note(std::string("colour: ") + name + " refused the scene");
    };
    CVxImage grey = Blank(CM_GRAY, 8, scene);
    if (Processing::RGBtoGray(&scene, &grey, 0.299f, 0.587f, 0.114f))
        sink.Save("colour_gray", grey, "RGBtoGray(0.299, 0.587, 0.114)");
    else
        sink.Note("colour: RGBtoGray refused the scene");
    convert("colour_cmyk", CM_CMYK, 8, &Processing::RGBtoCMYK, "RGBtoCMYK: bytes C, M, Y, K (read with --model cmyk)");
    convert("colour_hsi", CM_HSI, 32, &Processing::RGBtoHSI, "RGBtoHSI: floats H, S, I (read with --model hsi)");
    convert("colour_ycbcr", CM_YCbCr, 32, &Processing::RGBtoYCbCr, "RGBtoYCbCr: floats Y, Cb, Cr (--model ycbcr)");

    const CVxImage original = scene;
    const struct {
        const char* name;
        const char* description;
        int (*run)(Processing&);
    } edits[] = {
        {"colour_invert", "Invert(0): every channel", [](Processing& p) { return p.Invert(0); }},
        {"colour_invert_red", "Invert(3): the red channel only", [](Processing& p) { return p.Invert(3); }},
        {"colour_replace", "ReplaceColor: the red block (40,60,200) becomes blue (200,60,40)",
         [](Processing& p) { return p.ReplaceColor(tagVXG4{{40, 60, 200, 0}}, tagVXG4{{200, 60, 40, 0}}); }},
        {"colour_hsi_adjust", "HSIAdjust(120, 0, 0): hue turned by 120 degrees (answers FALSE by design)",
         [](Processing& p) {
             p.HSIAdjust(120.0f, 0.0f, 0.0f);
             return TRUE;
         }},
    };
    for (const auto& edit : edits) {
        scene = original;
        Processing colour(&scene);
        if (edit.run(colour))
            sink.Save(edit.name, scene, edit.description);
        else
            sink.Note(std::string("colour: ") + edit.name + " refused the scene");
    }
}

}  // namespace lumora::cli
