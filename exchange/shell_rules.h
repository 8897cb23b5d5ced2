// What the icon and the clipboard share on every platform: the block they
// start from, where an image lands in an icon, which pixels the icon reads,
// and how many bytes of a block the clipboard carries. Windows draws with GDI
// and the clipboard API, other systems with the library's own renderer and a
// desktop clipboard tool; both read these rules from here.
#pragma once

#include <lumora/dib_convert.h>

#include <cstdint>
#include <memory>

#include "dib_block.h"

namespace lumora::detail {

struct DibBlockDeleter {
    void operator()(BITMAPINFOHEADER* block) const { CVxDIBConvert::DeleteBitmapInfoHeaderMem(block); }
};
using DibBlockPtr = std::unique_ptr<BITMAPINFOHEADER, DibBlockDeleter>;

// The block CVxDIBConvert::ConvertTo makes of `image`; null when it refuses
// the image or makes no block for it (float grey, LOGL, unknown models).
inline DibBlockPtr ExportBlock(CVxImage* image) {
    BITMAPINFOHEADER* raw = nullptr;
    CVxDIBConvert dib(image);
    if (!dib.ConvertTo(&raw)) return nullptr;
    return DibBlockPtr(raw);
}

inline DibHeader HeaderOf(const BITMAPINFOHEADER* block) {
    return DibHeader::Load(reinterpret_cast<const std::uint8_t*>(block));
}

// Bytes the clipboard carries: header, colour table and rows as the header
// counts them (biSizeImage + biClrUsed x 4 + 40), never more than the block
// holds, since the block's rows have the image store's row length.
inline std::uint64_t ClipboardBytes(const DibHeader& h) {
    return kDibHeaderBytes + std::uint64_t{h.clrUsed} * 4 + h.sizeImage;
}

// Where an image of width x height goes in an icon of size.cx x size.cy.
// Narrower or lower than the icon: unscaled, its top-left corner at
// ((cx - width) / 2, (cy - height) / 2), integer division truncating toward
// zero, so a side longer than the icon's overhangs by the same amount on both
// ends (one more at the far end when the difference is odd) and is clipped
// there. Otherwise the whole image shrinks to the whole icon, aspect ratio
// not kept.
struct IconPlacement {
    bool stretch = false;
    int x = 0;
    int y = 0;
};

inline IconPlacement PlaceIcon(int width, int height, CSize size) {
    if (width < size.cx || height < size.cy) return {false, (size.cx - width) / 2, (size.cy - height) / 2};
    return {true, 0, 0};
}

// Icon sizes outside 1 .. 4096 per side are refused: nothing defines an empty
// icon, and the cap keeps a canvas far inside every allocator's reach.
inline bool IconSizeAccepted(CSize size) { return size.cx >= 1 && size.cy >= 1 && size.cx <= 4096 && size.cy <= 4096; }

// The icon is drawn from the block's header over the image's own pixel
// buffer, not over the block's rows: the buffer is top row first while the
// header says bottom row first, so the icon shows the image upside down, and
// an image whose samples the export converted is read as the header's pixel
// format. The pixels, or null when the buffer is shorter than the header's
// rows (grey with alpha, 8-bit, has 2 bytes a pixel under a 32-bit header).
inline const std::uint8_t* IconBits(CVxImage& image, const DibHeader& h) {
    if (!image.IsCreated() || image.m_nBytesPerLine < 0 || image.m_nHeight < 0) return nullptr;
    const std::uint64_t buffer = std::uint64_t(image.m_nBytesPerLine) * std::uint64_t(image.m_nHeight);
    const std::uint64_t needed = DibRowBytes(h.bitCount, h.width) * std::uint64_t(h.height);
    if (needed > buffer) return nullptr;
    return static_cast<const std::uint8_t*>(image.GetBuffer());
}

}  // namespace lumora::detail
