// BMP files: a 14-byte file header ("BM", file size, two reserved words, the
// offset of the pixels) followed by a DIB block, read and written through
// CVxDIBConvert so that files and the library's exchange blocks agree.
//
// Reading. The exchange code reads the 40-byte header form with the colour
// table or masks directly behind it and, for 32 bits, the pixels at offset 40.
// Real files vary, so a file that is not in that form is rewritten into it
// first: V2 to V5 headers (52 to 124 bytes) cut to 40, gaps before the pixels
// (bfOffBits) closed, top-down rows put bottom-up, and 32-bit BI_BITFIELDS
// pixels repacked as blue, green, red, alpha bytes (each field shifted into
// the top of its byte; alpha 255 when the file has no alpha mask). The
// exchange code leaves the bottom row first, so the rows are turned right
// side up afterwards, and the colour table becomes the palette of 1-, 4- and
// 8-bit images, which the exchange code does not carry. Compressed files
// (RLE, JPEG, PNG inside BMP) and OS/2 headers are refused.
//
// Writing: the block of ConvertTo behind a file header, so a file in that
// form reads back to an image that writes the same bytes.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include <lumora/dib_convert.h>

#include "exchange/dib_block.h"
#include "io/formats.h"

namespace lumora::io::detail {
namespace {

using lumora::detail::DibHeader;
using lumora::detail::DibRowBytes;
using lumora::detail::LoadLittle;
using lumora::detail::MaskField;
using lumora::detail::StoreLittle;
using lumora::detail::kBiBitfields;
using lumora::detail::kBiRgb;
using lumora::detail::kDibHeaderBytes;
using lumora::detail::kDibMaskBytes;

constexpr size_t kFileHeaderBytes = 14;

// The header sizes of BITMAPINFOHEADER and its V2, V3, V4 and V5 successors.
bool KnownHeaderSize(std::uint32_t size) {
    return size == 40 || size == 52 || size == 56 || size == 108 || size == 124;
}

// A file decoded as far as the layout of its parts.
struct BmpLayout {
    DibHeader header{};
    const std::uint8_t* info = nullptr;    // the info header
    const std::uint8_t* table = nullptr;   // colour table (8 bits or fewer)
    const std::uint8_t* pixels = nullptr;  // first stored row
    std::uint64_t colours = 0;
    std::uint64_t rowBytes = 0;
    std::uint32_t height = 0;  // rows, whatever the sign
    bool topDown = false;
};

BmpLayout ReadLayout(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    auto fail = [&](const std::string& reason) { throw ImageFileError(path, reason); };
    const size_t size = bytes.size();
    if (size < kFileHeaderBytes + kDibHeaderBytes) fail("the BMP headers are truncated");
    const std::uint32_t pixelOffset = LoadLittle<std::uint32_t>(bytes.data() + 10);

    BmpLayout f;
    f.info = bytes.data() + kFileHeaderBytes;
    f.header = DibHeader::Load(f.info);
    const DibHeader& h = f.header;
    if (!KnownHeaderSize(h.size)) fail("unsupported BMP header of " + std::to_string(h.size) + " bytes");
    if (kFileHeaderBytes + h.size > size) fail("the BMP headers are truncated");
    const int bits = h.bitCount;
    if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32)
        fail(std::to_string(bits) + " bits per pixel is not a BMP pixel size this reader knows");
    const bool masked = bits == 16 || bits == 32;
    if (h.compression != kBiRgb && !(masked && h.compression == kBiBitfields))
        fail("compressed BMP files are not supported");
    if (h.width <= 0 || h.height == 0 || h.height == INT32_MIN) fail("the image is empty or its size is invalid");

    f.topDown = h.height < 0;
    f.height = f.topDown ? static_cast<std::uint32_t>(-h.height) : static_cast<std::uint32_t>(h.height);
    f.rowBytes = DibRowBytes(bits, h.width);
    // Masks of a 40-byte header follow it; longer headers hold them at the
    // same place, inside the header.
    std::uint64_t tableStart = kFileHeaderBytes + h.size;
    if (h.compression == kBiBitfields && h.size == kDibHeaderBytes) tableStart += kDibMaskBytes;
    if (bits <= 8) {
        f.colours = h.Colours();
        if (f.colours > (std::uint64_t{1} << bits))
            fail(std::to_string(f.colours) + " colours is more than " + std::to_string(bits) + " bits can index");
        if (tableStart + f.colours * 4 > size) fail("the colour table is truncated");
        f.table = bytes.data() + tableStart;
        tableStart += f.colours * 4;
    }
    if (pixelOffset < tableStart || pixelOffset > size) fail("the pixel offset points outside the pixel data");
    if (f.rowBytes > (size - pixelOffset) / f.height) fail("the pixel data is truncated");
    f.pixels = bytes.data() + pixelOffset;
    return f;
}

// Whether the file's block is already what the exchange code reads.
bool InExchangeForm(const BmpLayout& f) {
    const DibHeader& h = f.header;
    if (h.size != kDibHeaderBytes || f.topDown) return false;
    if (h.bitCount == 32) return h.compression == kBiRgb && f.pixels == f.info + kDibHeaderBytes;
    const std::uint64_t after = h.compression == kBiBitfields ? kDibMaskBytes : h.Colours() * 4;
    return f.pixels == f.info + kDibHeaderBytes + after;
}

// 32-bit pixels through the file's masks into blue, green, red, alpha bytes.
void RepackMasked32(const std::string& path, const BmpLayout& f, std::uint8_t* out) {
    MaskField fields[3];
    if (!lumora::detail::InterpretMasks(f.info + kDibHeaderBytes, 32, fields))
        throw ImageFileError(path, "the colour masks cannot be read");
    MaskField alpha{0, 0, 0};
    const bool hasAlpha = f.header.size >= 56 && lumora::detail::FieldOf(LoadLittle<std::uint32_t>(f.info + 52), alpha);
    const size_t pixels = static_cast<size_t>(f.header.width) * f.height;
    for (size_t i = 0; i < pixels; ++i) {
        const std::uint32_t p = LoadLittle<std::uint32_t>(f.pixels + 4 * i);
        out[4 * i + 0] = fields[2].Byte(p);
        out[4 * i + 1] = fields[1].Byte(p);
        out[4 * i + 2] = fields[0].Byte(p);
        out[4 * i + 3] = hasAlpha ? alpha.Byte(p) : 255;
    }
}

// The file's block rewritten into the exchange form. Rows stay in file order
// with a positive height; the caller knows whether that order is top-down.
std::vector<std::uint8_t> ExchangeForm(const std::string& path, const BmpLayout& f) {
    DibHeader h = f.header;
    const bool masks16 = h.bitCount == 16 && h.compression == kBiBitfields;
    const std::uint64_t extra = masks16 ? kDibMaskBytes : f.colours * 4;
    const size_t pixelBytes = static_cast<size_t>(f.rowBytes * f.height);
    std::vector<std::uint8_t> block(kDibHeaderBytes + extra + pixelBytes);
    h.size = kDibHeaderBytes;
    h.height = static_cast<std::int32_t>(f.height);
    h.clrUsed = h.bitCount <= 8 ? static_cast<std::uint32_t>(f.colours) : 0;
    if (h.bitCount == 32) h.compression = kBiRgb;
    h.Store(block.data());
    if (masks16) std::memcpy(block.data() + kDibHeaderBytes, f.info + kDibHeaderBytes, kDibMaskBytes);
    if (f.table) std::memcpy(block.data() + kDibHeaderBytes, f.table, static_cast<size_t>(extra));
    std::uint8_t* out = block.data() + kDibHeaderBytes + extra;
    if (h.bitCount == 32 && f.header.compression == kBiBitfields)
        RepackMasked32(path, f, out);
    else if (pixelBytes > 0)
        std::memcpy(out, f.pixels, pixelBytes);
    return block;
}

void FlipRows(CVxImage& image) {
    void** rows = image.Get2DBuffer();
    const size_t length = static_cast<size_t>(image.m_nBytesPerLine);
    for (int top = 0, bottom = image.m_nHeight - 1; top < bottom; ++top, --bottom)
        std::swap_ranges(static_cast<std::uint8_t*>(rows[top]), static_cast<std::uint8_t*>(rows[top]) + length,
                         static_cast<std::uint8_t*>(rows[bottom]));
}

}  // namespace

void ReadBmp(const std::string& path, const std::vector<std::uint8_t>& bytes, CVxImage& out) {
    const BmpLayout f = ReadLayout(path, bytes);
    std::vector<std::uint8_t> rewritten;
    const std::uint8_t* block = f.info;
    size_t blockBytes = bytes.size() - kFileHeaderBytes;
    if (!InExchangeForm(f)) {
        rewritten = ExchangeForm(path, f);
        block = rewritten.data();
        blockBytes = rewritten.size();
    }
    CVxDIBConvert exchange(&out);
    if (!exchange.ConvertFrom(reinterpret_cast<BITMAPINFOHEADER*>(const_cast<std::uint8_t*>(block)), blockBytes) ||
        !out.IsCreated())
        throw ImageFileError(path, "the bitmap does not fit the file or is too large");
    if (!f.topDown) FlipRows(out);
    if (f.table) {
        out.GetPalette().SetPaletteNum(static_cast<int>(f.colours));
        std::memcpy(out.GetPalette().GetPalette(), f.table, static_cast<size_t>(f.colours) * 4);
    }
}

void DibBlockDeleter::operator()(BITMAPINFOHEADER* block) const { CVxDIBConvert::DeleteBitmapInfoHeaderMem(block); }

std::string BmpConversionNote(const CVxImage& image) {
    const int bits = image.m_nBitsPerSample;
    switch (image.m_ColorModel) {
        case CM_BITMAP:
        case CM_GRAY:
        case CM_INDEX:
            if (bits <= 8) return {};
            break;
        case CM_RGB:
        case CM_RGBA:
            if (bits == 8) return {};
            break;
        default:
            break;
    }
    const bool alpha = image.m_ColorModel == CM_RGBA || image.m_ColorModel == CM_GRAYA;
    const bool grey = image.m_ColorModel == CM_GRAY;
    return std::to_string(bits) + "-bit colour model " + std::to_string(static_cast<int>(image.m_ColorModel)) +
           " stored as " + (grey ? "8-bit grey" : alpha ? "32-bit RGBA" : "24-bit RGB");
}

DibBlockPtr EncodeBmp(const std::string& path, CVxImage& image) {
    if (image.m_ColorModel == CM_INDEX &&
        (image.GetPalette().GetPaletteNum() < 1 || image.GetPalette().GetPaletteNum() > 256))
        throw ImageFileError(path, "a BMP palette holds 1 to 256 colours; the image has " +
                                       std::to_string(image.GetPalette().GetPaletteNum()));
    BITMAPINFOHEADER* raw = nullptr;
    CVxDIBConvert exchange(&image);
    const int converted = exchange.ConvertTo(&raw);
    DibBlockPtr block(raw);
    if (!converted) throw ImageFileError(path, "the image could not be converted to a bitmap");
    if (!block)
        throw ImageFileError(path, "colour model " + std::to_string(static_cast<int>(image.m_ColorModel)) + " with " +
                                       std::to_string(image.m_nBitsPerSample) + " bits per sample has no BMP form");
    return block;
}

void WriteBmp(const std::string& path, std::FILE* file, const BITMAPINFOHEADER* block) {
    const DibHeader h = DibHeader::Load(reinterpret_cast<const std::uint8_t*>(block));
    const std::uint64_t blockBytes = std::uint64_t{h.size} + std::uint64_t{h.clrUsed} * 4 + h.sizeImage;
    if (kFileHeaderBytes + blockBytes > UINT32_MAX) throw ImageFileError(path, "the image is too large for BMP");
    std::uint8_t header[kFileHeaderBytes] = {'B', 'M'};
    StoreLittle(header + 2, static_cast<std::uint32_t>(kFileHeaderBytes + blockBytes));
    StoreLittle(header + 10, static_cast<std::uint32_t>(kFileHeaderBytes + h.size + std::uint64_t{h.clrUsed} * 4));
    if (std::fwrite(header, 1, sizeof header, file) != sizeof header ||
        std::fwrite(block, 1, static_cast<size_t>(blockBytes), file) != blockBytes)
        throw ImageFileError(path, "cannot write the file");
}

}  // namespace lumora::io::detail
