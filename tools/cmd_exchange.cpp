// Exchange group: DIB blocks, file formats, icons and the clipboard.
#include <charconv>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "exchange/dib_block.h"
#include "tools/commands.h"

namespace lumora::cli {
namespace {

struct BlockDeleter {
    void operator()(BITMAPINFOHEADER* block) const { CVxDIBConvert::DeleteBitmapInfoHeaderMem(block); }
};
using BlockPtr = std::unique_ptr<BITMAPINFOHEADER, BlockDeleter>;

// The block ConvertTo makes of `image`; CliError naming `path` when it makes none.
BlockPtr ExportBlock(const std::string& path, CVxImage& image) {
    CVxDIBConvert dib(&image);
    BITMAPINFOHEADER* raw = nullptr;
    const int converted = dib.ConvertTo(&raw);
    BlockPtr block(raw);
    if (!converted) throw CliError(path, "ConvertTo refused the image");
    if (!block)
        throw CliError(path, "ConvertTo makes no block for " + ModelName(image.m_ColorModel) + " with " +
                                 std::to_string(image.m_nBitsPerSample) + " bits per sample");
    return block;
}

void PrintDib(const std::string& path) {
    CVxImage image = LoadImageFile(path);
    const BlockPtr block = ExportBlock(path, image);
    const auto h = lumora::detail::DibHeader::Load(reinterpret_cast<const std::uint8_t*>(block.get()));
    const std::uint64_t entries = h.clrUsed;
    std::cout << "file: " << path << '\n'
              << "biSize: " << h.size << '\n'
              << "biWidth: " << h.width << '\n'
              << "biHeight: " << h.height << '\n'
              << "biPlanes: " << h.planes << '\n'
              << "biBitCount: " << h.bitCount << '\n'
              << "biCompression: " << h.compression << '\n'
              << "biSizeImage: " << h.sizeImage << '\n'
              << "biXPelsPerMeter: " << h.xPelsPerMeter << '\n'
              << "biYPelsPerMeter: " << h.yPelsPerMeter << '\n'
              << "biClrUsed: " << h.clrUsed << '\n'
              << "biClrImportant: " << h.clrImportant << '\n'
              << "colour table bytes: " << entries * 4 << '\n'
              << "pixel rows at offset: " << h.size + entries * 4 << " (bottom row first)\n";
}

// `count` integers from 0 to `max`, separated by `separator`; CliError
// naming `option` otherwise.
std::vector<int> ParseList(const std::string& option, const std::string& text, char separator, int count, int max,
                           const std::string& form) {
    std::vector<int> values;
    const char* p = text.data();
    const char* end = p + text.size();
    while (static_cast<int>(values.size()) < count) {
        int v = -1;
        const auto [next, error] = std::from_chars(p, end, v);
        if (error != std::errc() || v < 0 || v > max) break;
        values.push_back(v);
        p = next;
        if (static_cast<int>(values.size()) < count && (p == end || *p++ != separator)) break;
    }
    if (static_cast<int>(values.size()) != count || p != end)
        throw CliError(option, "expected " + form + ", got '" + text + "'");
    return values;
}

struct IconOptions {
    std::string in, out, size = "32x32", background = "255,0,255";
};

void MakeIcon(const IconOptions& o) {
    const std::vector<int> size = ParseList("--size", o.size, 'x', 2, 4096, "WIDTHxHEIGHT from 1 to 4096");
    if (size[0] < 1 || size[1] < 1) throw CliError("--size", "expected WIDTHxHEIGHT from 1 to 4096, got '" + o.size + "'");
    const std::vector<int> rgb = ParseList("--background", o.background, ',', 3, 255, "r,g,b from 0 to 255");
    CVxImage image = LoadImageFile(o.in);
    HICON icon = nullptr;
    CVxDIBConvert dib(&image);
    if (!dib.ConvertTo(icon, CSize(size[0], size[1]), static_cast<DWORD>(rgb[0] | rgb[1] << 8 | rgb[2] << 16)))
        throw CliError(o.in, "no icon for " + ModelName(image.m_ColorModel) + " with " +
                                 std::to_string(image.m_nBitsPerSample) + " bits per sample");
    if (!icon) throw CliError(o.in, "the system made no icon");
    const int saved = SaveLumoraIconFile(icon, o.out.c_str());
    DestroyIcon(icon);
    if (!saved) throw CliError(o.out, "cannot write the icon file");
}

void CopyToClipboard(const std::string& path) {
    CVxImage image = LoadImageFile(path);
    CVxMiscProcessing misc(&image);
    if (!misc.CopyToClipboard(nullptr))
        throw CliError(path, "no DIB block for " + ModelName(image.m_ColorModel) + " with " +
                                 std::to_string(image.m_nBitsPerSample) + " bits per sample");
}

}  // namespace

void ConvertFileFormat(const std::string& in, const std::string& out) {
    CVxImage image = LoadImageFile(in);
    SaveImageFile(out, image);
}

// Option values live in a shared block owned by the subcommand's callback.
void RegisterExchangeCommands(CLI::App& app) {
    struct Options {
        std::string in, out;
    };
    // The colour group's convert (--to MODEL) takes over this form when it
    // is registered first; see ConvertFileFormat.
    const bool taken = !app.get_subcommands([](CLI::App* sub) { return sub->get_name() == "convert"; }).empty();
    if (!taken) {
        auto convert = std::make_shared<Options>();
        auto* convertCmd = app.add_subcommand(
            "convert", "Write IN in the format OUT's extension names (.png, .pgm, .ppm, .pnm, .bmp), pixels unchanged "
                       "where the format holds them");
        convertCmd->add_option("IN", convert->in, "Image file (PNG, PGM, PPM, BMP)")->required();
        convertCmd->add_option("OUT", convert->out, "Output image file")->required();
        convertCmd->callback([convert] { ConvertFileFormat(convert->in, convert->out); });
    }

    auto dib = std::make_shared<Options>();
    auto* dibCmd =
        app.add_subcommand("dib", "Print the header fields of the DIB block the library exports for an image");
    dibCmd->add_option("FILE", dib->in, "Image file (PNG, PGM, PPM, BMP)")->required();
    dibCmd->callback([dib] { PrintDib(dib->in); });

    auto icon = std::make_shared<IconOptions>();
    auto* iconCmd = app.add_subcommand(
        "icon", "Write IN as a .ico icon: drawn upside down, centred when smaller than the icon, shrunk otherwise; "
                "the background colour is transparent");
    iconCmd->add_option("IN", icon->in, "Image file (PNG, PGM, PPM, BMP)")->required();
    iconCmd->add_option("OUT", icon->out, "Icon file (.ico)")->required();
    iconCmd->add_option("--size", icon->size, "Icon size WIDTHxHEIGHT")->capture_default_str();
    iconCmd->add_option("--background", icon->background, "Background colour r,g,b")->capture_default_str();
    iconCmd->callback([icon] { MakeIcon(*icon); });

    auto copy = std::make_shared<Options>();
    auto* copyCmd = app.add_subcommand(
        "copy-to-clipboard", "Put IN on the clipboard as a DIB (Windows) or image/bmp (through wl-copy or xclip, "
                             "when installed and a display is set)");
    copyCmd->add_option("IN", copy->in, "Image file (PNG, PGM, PPM, BMP)")->required();
    copyCmd->callback([copy] { CopyToClipboard(copy->in); });
}

void DemoExchange(CVxImage& scene, DemoSink& sink) {
    // Through a block and back: ConvertFrom keeps the block's row order, so
    // the scene comes back upside down.
    const BlockPtr block = ExportBlock("scene", scene);
    CVxImage back;
    CVxDIBConvert dib(&back);
    if (dib.ConvertFrom(block.get()))
        sink.Save("exchange_block", back, "ConvertTo then ConvertFrom: the block's bottom-up rows, upside down");
    else
        sink.Note("exchange: ConvertFrom refused the scene's block");

    // Through a BMP file, which the reader turns right side up.
    const std::string bmp = (std::filesystem::path(sink.Dir()) / "exchange_scene.bmp").string();
    SaveImageFile(bmp, scene);
    CVxImage read = LoadImageFile(bmp);
    sink.Save("exchange_bmp", read, "the scene written as exchange_scene.bmp and read back");

    HICON icon = nullptr;
    CVxDIBConvert iconMaker(&scene);
    const std::string ico = (std::filesystem::path(sink.Dir()) / "exchange_icon.ico").string();
    if (iconMaker.ConvertTo(icon, CSize(48, 48), 0x00FF00FF) && icon && SaveLumoraIconFile(icon, ico.c_str()))
        sink.Note("exchange_icon.ico  the scene shrunk to a 48 x 48 icon, upside down as the icon form draws it");
    else
        sink.Note("exchange: no icon of the scene");
    if (icon) DestroyIcon(icon);
}

}  // namespace lumora::cli
