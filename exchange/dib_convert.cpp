// Images to and from DIB blocks.
//
// Export. A block is one new[] array of 40 + entries x 4 + the image's row
// length x height bytes: header, colour table, then the image's rows from the
// last to the first, each copied whole at the image's own row length (the
// image store pads rows to four bytes, as a DIB does, so the two agree for
// 8-, 24- and 32-bit rows). Models without such rows go through an 8-bit
// image of the colour routines first; the colour table is a grey ramp for
// grey and one-bit images and the palette for palette images.
//
// Import. The rows start at header size + entries x 4, or at header size + 12
// for BI_BITFIELDS, except for 32 bits, whose rows are read at offset 40
// whatever the header says. Rows are copied in block order. 8-, 24- and
// 32-bit rows are the image's rows byte for byte; 1- and 4-bit indices are
// widened to one byte each, unchanged; 16-bit pixels are widened to 24-bit
// rows: BI_RGB as 5-5-5 with each 5-bit value v becoming v << 3 | v >> 2 (the
// bit replication GDI applies), BI_BITFIELDS through the block's masks with
// each field shifted into the top of its byte. On Windows the 1-, 4-bit and
// 16-bit BI_RGB blocks are drawn through GDI instead. That gives the same
// 16-bit bytes; 1- and 4-bit indices come out of GDI's colour matching, so
// they are the same where the table's colours are distinct (a repeated colour
// gives its first index), and the image has the 256 colours of GDI's copy.
//
// Every block is planned before the target is touched: the plan either reads
// the block, refuses it, or finds nothing to do. A target of the planned shape
// is written in place; any other is built apart and moved into the target
// once complete.
#include <lumora/color_processing.h>
#include <lumora/dib_convert.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#if defined(_WIN32)
#include <algorithm>
#include <vector>
#endif

#include "../core/layout.h"
#include "../module/resources.h"
#include "dib_block.h"

using namespace lumora::detail;

namespace {

constexpr char kStrangeMasksText[] =
    "These DWORD masks look strange!\n\nI'm going to substitute a halftone palette.";
constexpr char kStrangeMasksCaption[] = "Problem?";

constexpr std::uint64_t kMaxImageBytes = std::numeric_limits<std::int32_t>::max();

// ---------------------------------------------------------------------------
// Export

enum class Outcome { Done, NothingToDo, Refused };

// What goes into the block: the image whose rows are copied (the target or
// an 8-bit copy of it), the block's bits per pixel and its colour table.
struct ExportPlan {
    CVxImage* rows = nullptr;
    int bits = 0;
    CVxPalette table;
    CVxImage converted;
};

using ColourConversion = int (*)(CVxImage*, CVxImage*);

Outcome PlanExport(CVxImage& image, ExportPlan& plan) {
    const int b = image.m_nBitsPerSample;
    if (b < 1) return Outcome::Refused;
    auto direct = [&](int bits) {
        plan.rows = &image;
        plan.bits = bits;
        return Outcome::Done;
    };
    auto through = [&](COLOR_MODEL model, ColourConversion convert, int bits) {
        plan.converted.Create(model, 8, image.m_nWidth, image.m_nHeight, 0, nullptr, 255);
        if (!plan.converted.IsCreated()) return Outcome::Refused;
        // The conversions leave alpha as they find it: zero, not whatever
        // the allocation held.
        if (plan.converted.m_nImageSize > 0) std::memset(plan.converted.GetBuffer(), 0, plan.converted.m_nImageSize);
        if (!convert(&image, &plan.converted)) return Outcome::Refused;
        plan.rows = &plan.converted;
        plan.bits = bits;
        return Outcome::Done;
    };
    auto greyTable = [&](int entries) {
        plan.table.SetPaletteNum(entries);
        plan.table.SetGrayPalette();
    };

    switch (image.m_ColorModel) {
        case CM_BITMAP:
            if (b > 8) return Outcome::NothingToDo;
            greyTable(1 << b);
            return direct(8);
        case CM_GRAY:
            if (b <= 8) {
                greyTable(1 << b);
                return direct(8);
            }
            if (b > 16) return Outcome::NothingToDo;
            greyTable(256);
            return through(CM_GRAY, &CVxColorProcessing::Gray16toGray, 8);
        case CM_INDEX:
            if (b > 8) return Outcome::NothingToDo;
            plan.table = image.GetPalette();
            return direct(8);
        case CM_GRAYA:
            if (b > 16) return Outcome::NothingToDo;
            return through(CM_RGBA, &CVxColorProcessing::ConverttoRGBA, 32);
        case CM_RGB:
        case CM_RGBA: {
            const int bits = image.m_ColorModel == CM_RGBA ? 32 : 24;
            if (b == 8) return direct(bits);
            if (b < 8) return through(image.m_ColorModel, &CVxColorProcessing::RGB2BtoRGB, bits);
            if (b <= 16) return through(image.m_ColorModel, &CVxColorProcessing::RGB16toRGB, bits);
            return Outcome::NothingToDo;
        }
        default:
            // CMYK (12) to LOGLUV (22) go through 8-bit RGB; LOGL, the
            // reserved numbers 5 to 9 and anything from 23 on have no block.
            if (image.m_ColorModel >= CM_CMYK && image.m_ColorModel <= CM_LOGLUV)
                return through(CM_RGB, &CVxColorProcessing::ConverttoRGB, 24);
            return Outcome::NothingToDo;
    }
}

BITMAPINFOHEADER* BuildBlock(ExportPlan& plan) {
    CVxImage& image = *plan.rows;
    const size_t rowLength = static_cast<size_t>(image.m_nBytesPerLine);
    const size_t height = static_cast<size_t>(image.m_nHeight);
    const size_t entries = static_cast<size_t>(plan.table.GetPaletteNum());
    auto* block = new std::uint8_t[kDibHeaderBytes + entries * 4 + rowLength * height];

    DibHeader header{};
    header.size = kDibHeaderBytes;
    header.width = image.m_nWidth;
    header.height = image.m_nHeight;
    header.planes = 1;
    header.bitCount = static_cast<std::uint16_t>(plan.bits);
    header.compression = kBiRgb;
    header.sizeImage = static_cast<std::uint32_t>(DibRowBytes(plan.bits, image.m_nWidth) * height);
    header.clrUsed = static_cast<std::uint32_t>(entries);
    header.Store(block);
    if (entries > 0) std::memcpy(block + kDibHeaderBytes, plan.table.GetPalette(), entries * 4);

    std::uint8_t* out = block + kDibHeaderBytes + entries * 4;
    void** rows = image.Get2DBuffer();
    for (size_t y = 0; y < height; ++y) std::memcpy(out + y * rowLength, rows[height - 1 - y], rowLength);
    return reinterpret_cast<BITMAPINFOHEADER*>(block);
}

// ---------------------------------------------------------------------------
// Import

struct ImportPlan {
    DibHeader header{};
    const std::uint8_t* block = nullptr;
    const std::uint8_t* pixels = nullptr;
    std::uint64_t rowBytes = 0;
    COLOR_MODEL model = CM_INDEX;
    int bits = 8;
    int paletteSize = 0;
};

// `bytes` is the length of the block, or empty when the caller vouches for it.
Outcome PlanImport(const std::uint8_t* block, std::optional<size_t> bytes, ImportPlan& plan) {
    if (bytes && *bytes < kDibHeaderBytes) return Outcome::Refused;
    const DibHeader h = DibHeader::Load(block);
    if (bytes && (h.size < kDibHeaderBytes || h.size > *bytes)) return Outcome::Refused;
    switch (h.bitCount) {
        case 1:
        case 4:
        case 8:
            plan.model = CM_INDEX;
            plan.bits = h.bitCount;
            break;
        case 16:
            if (h.compression != kBiRgb && h.compression != kBiBitfields) return Outcome::Refused;
            [[fallthrough]];
        case 24:
            plan.model = CM_RGB;
            break;
        case 32:
            plan.model = CM_RGBA;
            break;
        default:
            return Outcome::NothingToDo;
    }
    if (h.width < 0 || h.height < 0) return Outcome::Refused;
    const std::uint64_t colours = h.Colours();
    if (colours > static_cast<std::uint64_t>(std::numeric_limits<int>::max())) return Outcome::Refused;

    // The image store's limit bounds every product below well inside 64 bits.
    const std::uint64_t channels = static_cast<std::uint64_t>(CVxImageInfo::GetChannel(plan.model));
    const std::uint64_t imageRow = (static_cast<std::uint64_t>(h.width) * channels + 3) & ~std::uint64_t{3};
    if (imageRow * static_cast<std::uint64_t>(h.height) > kMaxImageBytes) return Outcome::Refused;

    const std::uint64_t start = h.bitCount == 32 ? kDibHeaderBytes
                                : h.compression == kBiBitfields ? std::uint64_t{h.size} + kDibMaskBytes
                                                                : std::uint64_t{h.size} + colours * 4;
    plan.rowBytes = DibRowBytes(h.bitCount, h.width);
    // A block from outside is held to at least 4 bytes per row, the shortest
    // row of any width above 0: without it a 40-byte block of width 0 could
    // ask for 2^31 rows, whose row table alone is 16 GiB.
    const std::uint64_t heldRow = std::max<std::uint64_t>(plan.rowBytes, 4);
    if (bytes && start + heldRow * static_cast<std::uint64_t>(h.height) > *bytes) return Outcome::Refused;
    // The colour count sizes the palette of 1- to 8-bit images, so its table
    // must be in the block even where BI_BITFIELDS puts the rows elsewhere.
    if (bytes && h.bitCount <= 8 && std::uint64_t{h.size} + colours * 4 > *bytes) return Outcome::Refused;

    plan.header = h;
    plan.block = block;
    plan.pixels = block + start;
    plan.paletteSize = h.bitCount <= 8 ? static_cast<int>(colours) : 0;
    return Outcome::Done;
}

const std::uint8_t* SourceRow(const ImportPlan& plan, int y) {
    return plan.pixels + static_cast<size_t>(y) * static_cast<size_t>(plan.rowBytes);
}

void ClearPadding(CVxImage& image, std::uint8_t* row, int used) {
    std::memset(row + used, 0, static_cast<size_t>(image.m_nBytesPerLine - used));
}

void WidenIndices(const ImportPlan& plan, CVxImage& image) {
    const int width = image.m_nWidth;
    for (int y = 0; y < image.m_nHeight; ++y) {
        const std::uint8_t* src = SourceRow(plan, y);
        auto* dst = static_cast<std::uint8_t*>(image.Get2DBuffer()[y]);
        if (plan.header.bitCount == 1) {
            for (int x = 0; x < width; ++x) dst[x] = (src[x >> 3] >> (7 - (x & 7))) & 1;
        } else {
            for (int x = 0; x < width; ++x) dst[x] = (x & 1) ? src[x >> 1] & 0x0F : src[x >> 1] >> 4;
        }
        ClearPadding(image, dst, width);
    }
}

// Widens 16-bit pixels to blue, green, red bytes; channel(pixel, c) gives
// channel c in that order.
template <class Channel>
void Widen16(const ImportPlan& plan, CVxImage& image, Channel channel) {
    const int width = image.m_nWidth;
    for (int y = 0; y < image.m_nHeight; ++y) {
        const std::uint8_t* src = SourceRow(plan, y);
        auto* dst = static_cast<std::uint8_t*>(image.Get2DBuffer()[y]);
        for (int x = 0; x < width; ++x) {
            const std::uint32_t pixel = LoadLittle<std::uint16_t>(src + 2 * x);
            for (int c = 0; c < 3; ++c) dst[3 * x + c] = channel(pixel, c);
        }
        ClearPadding(image, dst, 3 * width);
    }
}

// 5-5-5 with bit replication: blue in bits 0-4, green 5-9, red 10-14.
std::uint8_t Channel555(std::uint32_t pixel, int c) {
    const std::uint32_t v = (pixel >> (5 * c)) & 0x1F;
    return static_cast<std::uint8_t>(v << 3 | v >> 2);
}

// The nearest level of the 6 x 6 x 6 halftone cube.
std::uint8_t HalftoneLevel(std::uint8_t v) { return static_cast<std::uint8_t>((v + 25) / 51 * 51); }

#if defined(_WIN32)
// Draws the block through GDI into a bottom-up DIB of `outBits` (8 or 24)
// bits per pixel: a DIB section made from the block with its palette selected
// and realised, and a copy taken with GetDIBits. Gives the copy's rows, which
// have the image store's row length, and its colour count.
bool DrawThroughGdi(const ImportPlan& plan, int outBits, std::vector<std::uint8_t>& rows, int& colours) {
    const DibHeader& h = plan.header;
    struct {
        BITMAPINFOHEADER header;
        RGBQUAD table[256];
    } copy{};
    copy.header = {sizeof(BITMAPINFOHEADER), h.width, h.height, 1, static_cast<WORD>(outBits), BI_RGB, 0, 0, 0, 0, 0};
    rows.assign(static_cast<size_t>(DibRowBytes(outBits, h.width)) * static_cast<size_t>(h.height), 0);

    HDC screen = GetDC(nullptr);
    HDC dc = CreateCompatibleDC(screen);
    void* sectionBits = nullptr;
    const auto* info = reinterpret_cast<const BITMAPINFO*>(plan.block);
    HBITMAP section = CreateDIBSection(dc, info, DIB_RGB_COLORS, &sectionBits, nullptr, 0);
    bool drawn = false;
    if (section && sectionBits) {
        std::memcpy(sectionBits, plan.pixels, static_cast<size_t>(plan.rowBytes) * static_cast<size_t>(h.height));
        HPALETTE palette = nullptr;
        HPALETTE previous = nullptr;
        if (h.bitCount <= 8) {
            const int n = std::min(plan.paletteSize, 256);
            std::vector<std::uint8_t> logical(sizeof(LOGPALETTE) + sizeof(PALETTEENTRY) * n);
            auto* lp = reinterpret_cast<LOGPALETTE*>(logical.data());
            lp->palVersion = 0x300;
            lp->palNumEntries = static_cast<WORD>(n);
            const auto* table = reinterpret_cast<const RGBQUAD*>(plan.block + h.size);
            for (int i = 0; i < n; ++i) lp->palPalEntry[i] = {table[i].rgbRed, table[i].rgbGreen, table[i].rgbBlue, 0};
            palette = CreatePalette(lp);
            previous = SelectPalette(dc, palette, FALSE);
            RealizePalette(dc);
        }
        // Indices of the copy are those of the selected palette: with RGB
        // colours GDI would match every pixel against its default table.
        const UINT usage = outBits == 8 ? DIB_PAL_COLORS : DIB_RGB_COLORS;
        drawn = GetDIBits(dc, section, 0, static_cast<UINT>(h.height), rows.data(),
                          reinterpret_cast<BITMAPINFO*>(&copy), usage) == h.height;
        if (palette) {
            SelectPalette(dc, previous, FALSE);
            DeleteObject(palette);
        }
        DeleteObject(section);
    }
    DeleteDC(dc);
    ReleaseDC(nullptr, screen);
    colours = copy.header.biClrUsed != 0 ? static_cast<int>(copy.header.biClrUsed) : 256;
    return drawn;
}
#endif

// Fills `image` (already created as the plan says) from the block.
bool ReadPixels(const ImportPlan& plan, CVxImage& image) {
    const size_t bytes = static_cast<size_t>(plan.rowBytes) * static_cast<size_t>(plan.header.height);
    switch (plan.header.bitCount) {
        case 8:
        case 24:
        case 32:
            // The block's rows and the image's rows have the same length.
            if (bytes > 0) std::memcpy(image.GetBuffer(), plan.pixels, bytes);
            return true;
        case 1:
        case 4:
            WidenIndices(plan, image);
            return true;
        default:
            break;
    }
    if (plan.header.compression == kBiRgb) {
        Widen16(plan, image, Channel555);
        return true;
    }
    MaskField fields[3];
    if (InterpretMasks(plan.block + plan.header.size, 16, fields)) {
        // Masks are red, green, blue; the image's bytes blue, green, red.
        Widen16(plan, image, [&](std::uint32_t pixel, int c) { return fields[2 - c].Byte(pixel); });
        return true;
    }
    ShowUnownedMessage(kStrangeMasksText, kStrangeMasksCaption, MB_OK | MB_ICONINFORMATION);
    Widen16(plan, image, [](std::uint32_t pixel, int c) { return HalftoneLevel(Channel555(pixel, c)); });
    return true;
}

// Whether `image` is already what Create would make for the plan.
bool HasShape(CVxImage& image, const ImportPlan& plan) {
    const int channels = CVxImageInfo::GetChannel(plan.model);
    const std::int64_t row = (std::int64_t{plan.header.width} * channels + 3) & ~std::int64_t{3};
    return image.IsCreated() && image.m_ColorModel == plan.model && image.m_nBitsPerSample == plan.bits &&
           image.m_nChannel == channels && image.m_nWidth == plan.header.width &&
           image.m_nHeight == plan.header.height && image.m_nBytesPerLine == row &&
           image.m_nImageSize == row * plan.header.height;
}

int ConvertFromBlock(CVxImage* target, const std::uint8_t* block, std::optional<size_t> bytes) {
    if (target == nullptr || block == nullptr) return FALSE;
    ImportPlan plan;
    switch (PlanImport(block, bytes, plan)) {
        case Outcome::Refused: return FALSE;
        case Outcome::NothingToDo: return TRUE;
        case Outcome::Done: break;
    }
    CVxImage image;
#if defined(_WIN32)
    if (plan.header.bitCount < 8 || (plan.header.bitCount == 16 && plan.header.compression == kBiRgb)) {
        std::vector<std::uint8_t> rows;
        int colours = 0;
        const int outBits = plan.header.bitCount < 8 ? 8 : 24;
        if (!DrawThroughGdi(plan, outBits, rows, colours)) return FALSE;
        image.Create(plan.model, plan.bits, plan.header.width, plan.header.height, outBits == 8 ? colours : 0,
                     nullptr, 255);
        if (!image.IsCreated()) return FALSE;
        if (!rows.empty()) std::memcpy(image.GetBuffer(), rows.data(), rows.size());
        *target = std::move(image);
        return TRUE;
    }
#endif
    if (HasShape(*target, plan)) {
        // What Create would give, without a new pixel block: once planned,
        // reading cannot fail, so the target is not left half written.
        target->GetPalette().SetPaletteNum(plan.paletteSize);
        int bits[4] = {plan.bits, plan.bits, plan.bits, plan.bits};
        target->SetBitsPerSampleEx(bits);
        return ReadPixels(plan, *target) ? TRUE : FALSE;
    }
    image.Create(plan.model, plan.bits, plan.header.width, plan.header.height, plan.paletteSize, nullptr, 255);
    if (!image.IsCreated() || !ReadPixels(plan, image)) return FALSE;
    *target = std::move(image);
    return TRUE;
}

}  // namespace

CVxDIBConvert::CVxDIBConvert() = default;

CVxDIBConvert::CVxDIBConvert(CVxImage* image) : CVxLumoraBase(image, nullptr) {}

int CVxDIBConvert::ConvertTo(BITMAPINFOHEADER** block) {
    if (block == nullptr) return FALSE;
    *block = nullptr;
    if (m_pImage == nullptr || !m_pImage->IsCreated()) return FALSE;
    ExportPlan plan;
    switch (PlanExport(*m_pImage, plan)) {
        case Outcome::Refused: return FALSE;
        case Outcome::NothingToDo: return TRUE;
        case Outcome::Done: break;
    }
    if (!HasPixelBlockFor(*plan.rows, plan.bits / 8, 1)) return FALSE;
    *block = BuildBlock(plan);
    return TRUE;
}

int CVxDIBConvert::ConvertFrom(BITMAPINFOHEADER* block) {
    return ConvertFromBlock(m_pImage, reinterpret_cast<const std::uint8_t*>(block), std::nullopt);
}

int CVxDIBConvert::ConvertFrom(BITMAPINFOHEADER* block, size_t bytes) {
    return ConvertFromBlock(m_pImage, reinterpret_cast<const std::uint8_t*>(block), bytes);
}

int CVxDIBConvert::DeleteBitmapInfoHeaderMem(BITMAPINFOHEADER* block) {
    delete[] reinterpret_cast<std::uint8_t*>(block);
    return TRUE;
}
