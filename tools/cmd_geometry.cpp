// Geometry group: crop, copy and paste, flip, shift, resize and zoom.
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "tools/commands.h"

namespace lumora::cli {
namespace {

using G = CVxGeometryProcessing;

// `count` integers separated by `separator` ("3,4", "640x480").
std::vector<long> ParseInts(const std::string& text, char separator, int count, const std::string& option,
                            const std::string& shape) {
    std::vector<long> values;
    const char* p = text.c_str();
    for (int i = 0; i < count; ++i) {
        char* end = nullptr;
        errno = 0;
        const long v = std::strtol(p, &end, 10);
        if (end == p || errno == ERANGE || v < INT_MIN || v > INT_MAX)
            throw CliError(option, "expected " + shape + ", got '" + text + "'");
        values.push_back(v);
        p = end;
        if (i < count - 1 && *p++ != separator) throw CliError(option, "expected " + shape + ", got '" + text + "'");
    }
    if (*p != '\0') throw CliError(option, "expected " + shape + ", got '" + text + "'");
    return values;
}

CPoint ParsePoint(const std::string& text, const std::string& option) {
    const auto v = ParseInts(text, ',', 2, option, "x,y");
    return CPoint(static_cast<LONG>(v[0]), static_cast<LONG>(v[1]));
}

CSize ParseSize(const std::string& text, const std::string& option) {
    const auto v = ParseInts(text, 'x', 2, option, "WxH");
    if (v[0] < 1 || v[1] < 1) throw CliError(option, "width and height must be positive, got '" + text + "'");
    return CSize(static_cast<LONG>(v[0]), static_cast<LONG>(v[1]));
}

// An image of `like`'s layout and palette, all samples zero.
CVxImage BlankLike(CVxImage& like, int width, int height, const std::string& subject) {
    CVxImage out(like.m_ColorModel, like.m_nBitsPerSample, width, height);
    if (!out.IsCreated()) throw CliError(subject, "cannot make a " + std::to_string(width) + "x" +
                                                      std::to_string(height) + " image of its layout");
    std::memset(out.GetBuffer(), 0, static_cast<size_t>(out.m_nImageSize));
    out.GetPalette() = like.GetPalette();
    return out;
}

void RunCrop(const std::string& in, const std::string& out, const std::string& rectText) {
    CVxImage image = LoadImageFile(in);
    if (!CVxMiscProcessing(&image).Crop(ParseRect(rectText)))
        throw CliError(in, "the rectangle " + rectText + " misses the image");
    SaveImageFile(out, image);
}

void RunCopy(const std::string& in, const std::string& out, const std::string& rectText) {
    CVxImage image = LoadImageFile(in);
    const CRect rect = ParseRect(rectText);
    CVxImage dest = BlankLike(image, rect.right - rect.left + 1, rect.bottom - rect.top + 1, in);
    if (!CVxMiscProcessing(&image).CopyTo(dest, rect))
        throw CliError(in, "the rectangle " + rectText +
                               " does not meet the image in at least two columns and two rows");
    SaveImageFile(out, dest);
}

void RunPaste(const std::string& in, const std::string& sourcePath, const std::string& out, const std::string& at,
              const std::string& maskPath) {
    CVxImage image = LoadImageFile(in);
    CVxImage source = LoadImageFile(sourcePath);
    if (source.m_nChannel != image.m_nChannel ||
        CVxImageInfo::GetSampleBytes(source.m_nBitsPerSample) != CVxImageInfo::GetSampleBytes(image.m_nBitsPerSample))
        throw CliError(sourcePath, "has another pixel layout than " + in);
    const CPoint p = ParsePoint(at, "--at");
    const CRect rect(p.x, p.y, p.x + source.m_nWidth - 1, p.y + source.m_nHeight - 1);
    CVxMiscProcessing misc(&image);
    int ok = FALSE;
    if (maskPath.empty()) {
        ok = misc.PasteFrom(source, rect);
    } else {
        CVxImage mask = LoadImageFile(maskPath);
        if (mask.m_nChannel != 1 || mask.m_nBitsPerSample > 8)
            throw CliError(maskPath, "a mask must be an 8-bit grey image");
        if (mask.m_nWidth < source.m_nWidth || mask.m_nHeight < source.m_nHeight)
            throw CliError(maskPath, "the mask is smaller than " + sourcePath);
        ok = misc.PasteFrom(source, rect, mask);
    }
    if (!ok) throw CliError(sourcePath, "placed at " + at + " it does not cover two columns and two rows of " + in);
    SaveImageFile(out, image);
}

void RunFlip(const std::string& in, const std::string& out, const std::string& how) {
    CVxImage image = LoadImageFile(in);
    const G::FLIP_FLAG flag = how == "vertical" ? G::FLIP_VERTICAL : how == "horizontal" ? G::FLIP_HORIZONTAL : G::FLIP_BOTH;
    if (!G(&image).Flip(flag)) throw CliError(in, "flip takes 1 to 8, 16 or 32 bits a sample");
    SaveImageFile(out, image);
}

void RunShift(const std::string& in, const std::string& out, int dx, int dy, const std::string& background) {
    CVxImage image = LoadImageFile(in);
    const auto v = ParseInts(background, ',', 4, "--background", "a,b,c,d (0..255 each)");
    tagVXG4 colour{};
    for (int i = 0; i < 4; ++i) {
        if (v[i] < 0 || v[i] > 255) throw CliError("--background", "each value must be 0..255, got '" + background + "'");
        colour.v[i] = static_cast<BYTE>(v[i]);
    }
    G geometry(&image);
    geometry.SetBackColor(colour);
    // A shift that leaves less than two columns or rows of the old content
    // answers FALSE after filling: the result, all background, is still the
    // image shifted that far.
    geometry.Shift(CPoint(dx, dy));
    SaveImageFile(out, image);
}

void RunResize(const std::string& in, const std::string& out, const std::string& size, const std::string& method,
               float scale) {
    CVxImage image = LoadImageFile(in);
    G geometry(&image);
    CVxImage dest;
    if (!size.empty()) {
        const CSize s = ParseSize(size, "--size");
        if (method == "bilinear" && image.m_ColorModel != CM_INDEX) {
            if (image.m_nBitsPerSample > 16) throw CliError(in, "bilinear resizing takes 8- and 16-bit samples only");
            // Bilinear answers FALSE after writing every pixel.
            geometry.Resize(s.cx, s.cy, dest, G::INTERPOLATION_BILINEAR);
            if (!dest.IsCreated()) throw CliError(in, "cannot make a " + size + " image of its layout");
        } else if (!geometry.Resize(s.cx, s.cy, dest, G::INTERPOLATION_NEAREST) || !dest.IsCreated()) {
            throw CliError(in, "cannot resize it to " + size);
        }
    } else {
        if (!(scale > 0) || !std::isfinite(scale)) throw CliError("--scale", "must be a positive number");
        if (!geometry.Resize(scale, dest) || !dest.IsCreated())
            throw CliError(in, "scaled by " + std::to_string(scale) + " it has no pixels");
    }
    SaveImageFile(out, dest);
}

void RunZoom(const std::string& in, const std::string& out, float scale, const std::string& phase,
             const std::string& size) {
    CVxImage image = LoadImageFile(in);
    if (!(scale > 0) || !std::isfinite(scale)) throw CliError("--scale", "must be a positive number");
    const CSize s = ParseSize(size, "--size");
    CVxImage dest = BlankLike(image, s.cx, s.cy, in);
    if (!G(&image).ResizeEx(scale, ParsePoint(phase, "--phase"), dest))
        throw CliError(in, "the image has a layout zoom does not handle");
    SaveImageFile(out, dest);
}

void AddInOut(CLI::App* cmd, std::string& in, std::string& out) {
    cmd->add_option("IN", in, "Input image file (PNG, PGM, PPM)")->required();
    cmd->add_option("OUT", out, "Output image file (.png, .pgm, .ppm, .pnm)")->required();
}

}  // namespace

void RegisterGeometryCommands(CLI::App& app) {
    struct Options {
        std::string in, source, out, rect, at, mask, how, background = "0,0,0,0", size, method = "nearest", phase = "0,0";
        int dx = 0, dy = 0;
        float scale = 0;
    };
    auto o = std::make_shared<Options>();

    auto* crop = app.add_subcommand("crop", "Cut the image down to a rectangle (normalised, clipped, edges inclusive)");
    AddInOut(crop, o->in, o->out);
    crop->add_option("--rect", o->rect, "l,t,r,b with right and bottom inclusive")->required();
    crop->callback([o] { RunCrop(o->in, o->out, o->rect); });

    auto* copy = app.add_subcommand(
        "copy", "Copy a rectangle into a new image of its size; parts outside the input stay black");
    AddInOut(copy, o->in, o->out);
    copy->add_option("--rect", o->rect, "l,t,r,b with right and bottom inclusive")->required();
    copy->callback([o] { RunCopy(o->in, o->out, o->rect); });

    auto* paste = app.add_subcommand("paste", "Paste SOURCE into the image with its top-left corner at x,y");
    paste->add_option("IN", o->in, "Input image file (PNG, PGM, PPM)")->required();
    paste->add_option("SOURCE", o->source, "Image to paste: same channels and sample width as IN")->required();
    paste->add_option("OUT", o->out, "Output image file (.png, .pgm, .ppm, .pnm)")->required();
    paste->add_option("--at", o->at, "x,y of SOURCE's top-left pixel in IN (may be negative)")->required();
    paste->add_option("--mask", o->mask, "8-bit grey mask in SOURCE's coordinates: paste only where non-zero");
    paste->callback([o] { RunPaste(o->in, o->source, o->out, o->at, o->mask); });

    auto* flip = app.add_subcommand("flip", "Mirror the image");
    flip->add_option("HOW", o->how, "vertical (top becomes bottom), horizontal or both")
        ->required()
        ->check(CLI::IsMember({"vertical", "horizontal", "both"}));
    AddInOut(flip, o->in, o->out);
    flip->callback([o] { RunFlip(o->in, o->out, o->how); });

    auto* shift = app.add_subcommand("shift", "Move the content; uncovered pixels take the background colour");
    AddInOut(shift, o->in, o->out);
    shift->add_option("--dx", o->dx, "Columns to the right (negative: left)");
    shift->add_option("--dy", o->dy, "Rows down (negative: up)");
    shift->add_option("--background", o->background, "One byte a channel, a,b,c,d in memory order (b,g,r,a)")
        ->capture_default_str();
    shift->callback([o] { RunShift(o->in, o->out, o->dx, o->dy, o->background); });

    auto* resize = app.add_subcommand("resize", "Scale to a size (--size) or by a factor (--scale, nearest)");
    AddInOut(resize, o->in, o->out);
    auto* size = resize->add_option("--size", o->size, "WxH of the result");
    auto* scale = resize->add_option("--scale", o->scale, "Factor; the size is rounded, indices are truncated");
    size->excludes(scale);
    resize->add_option("--method", o->method, "nearest or bilinear (with --size; palette images are always nearest)")
        ->check(CLI::IsMember({"nearest", "bilinear"}))
        ->capture_default_str()
        ->needs(size);
    resize->callback([o, size, scale] {
        if (size->count() == 0 && scale->count() == 0) throw CliError("resize", "give --size WxH or --scale F");
        RunResize(o->in, o->out, o->size, o->method, o->scale);
    });

    auto* zoom = app.add_subcommand("zoom", "Nearest zoom into a WxH view scrolled to a phase point");
    AddInOut(zoom, o->in, o->out);
    zoom->add_option("--scale", o->scale, "Zoom factor")->required();
    zoom->add_option("--phase", o->phase, "x,y of the view in zoomed coordinates")->capture_default_str();
    zoom->add_option("--size", o->size, "WxH of the view")->required();
    zoom->callback([o] { RunZoom(o->in, o->out, o->scale, o->phase, o->size); });
}

void DemoGeometry(CVxImage& scene, DemoSink& sink) {
    const struct {
        const char* name;
        G::FLIP_FLAG flag;
        const char* description;
    } flips[] = {
        {"geometry_flip_vertical", G::FLIP_VERTICAL, "Flip(FLIP_VERTICAL): top becomes bottom"},
        {"geometry_flip_both", G::FLIP_BOTH, "Flip(FLIP_BOTH): turned by 180 degrees"},
    };
    for (const auto& entry : flips) {
        CVxImage image(scene);
        if (G(&image).Flip(entry.flag)) sink.Save(entry.name, image, entry.description);
        else sink.Note(std::string("geometry: ") + entry.name + " refused the scene");
    }

    CVxImage shifted(scene);
    G shifter(&shifted);
    shifter.SetBackColor(tagVXG3{{200, 120, 40}});
    shifter.Shift(CPoint(80, -60));
    sink.Save("geometry_shift", shifted, "Shift(80, -60) over a blue background");

    CVxImage half, bilinear, zoomed(scene.m_ColorModel, scene.m_nBitsPerSample, 320, 240);
    G geometry(&scene);
    if (geometry.Resize(0.5f, half)) sink.Save("geometry_half", half, "Resize(0.5): nearest, every other pixel");
    geometry.Resize(960, 720, bilinear, G::INTERPOLATION_BILINEAR);  // FALSE after success, as always
    if (bilinear.IsCreated()) sink.Save("geometry_bilinear", bilinear, "Resize(960, 720, BILINEAR): truncating bilinear");
    if (geometry.ResizeEx(4.0f, CPoint(600, 400), zoomed))
        sink.Save("geometry_zoom", zoomed, "ResizeEx(4, (600, 400)) into 320x240: a zoomed corner");

    CVxImage cut(scene);
    if (CVxMiscProcessing(&cut).Crop(CRect(400, 300, 100, 100)))
        sink.Save("geometry_crop", cut, "Crop((400,300,100,100)): normalised to 301x201");
    CVxImage pasted(scene);
    if (CVxMiscProcessing(&pasted).PasteFrom(half, CRect(-100, 200, 219, 439)))
        sink.Save("geometry_paste", pasted, "PasteFrom the half-size scene at (-100, 200), clipped");
}

}  // namespace lumora::cli
