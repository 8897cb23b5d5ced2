// Exchange group: DIB blocks and file formats.
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

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
}

}  // namespace lumora::cli
