// Hand-built DIB blocks for the exchange and BMP tests, written field by
// field, independently of the library's own block code.
#pragma once

#include <cstdint>
#include <vector>

#include <lumora/lumora.h>

namespace lumora::test {

inline void Put(std::vector<std::uint8_t>& out, std::uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

struct BlockSpec {
    int bits;
    int width;
    int height;
    std::uint32_t clrUsed = 0;
    std::uint32_t compression = 0;
    std::vector<std::uint8_t> table;  // colour table or masks, behind the header
    std::vector<std::uint8_t> rows;   // pixel rows as stored
    std::uint32_t size = 40;          // biSize; the header is padded with zeros to it
};

inline std::vector<std::uint8_t> MakeBlock(const BlockSpec& s) {
    std::vector<std::uint8_t> out;
    Put(out, s.size, 4);
    Put(out, static_cast<std::uint32_t>(s.width), 4);
    Put(out, static_cast<std::uint32_t>(s.height), 4);
    Put(out, 1, 2);
    Put(out, static_cast<std::uint32_t>(s.bits), 2);
    Put(out, s.compression, 4);
    Put(out, s.rows.size(), 4);
    Put(out, 0, 8);
    Put(out, s.clrUsed, 4);
    Put(out, 0, 4);
    out.resize(s.size, 0);
    out.insert(out.end(), s.table.begin(), s.table.end());
    out.insert(out.end(), s.rows.begin(), s.rows.end());
    return out;
}

inline BITMAPINFOHEADER* AsBlock(std::vector<std::uint8_t>& bytes) {
    return reinterpret_cast<BITMAPINFOHEADER*>(bytes.data());
}

// Pixel (x, y) of a palette image as blue, green, red through its palette,
// or the first three samples of a colour image.
inline std::uint32_t ColourAt(CVxImage& image, int x, int y) {
    const auto* row = static_cast<const std::uint8_t*>(image.Get2DBuffer()[y]);
    const std::uint8_t* px = row + x * image.m_nChannel;
    if (image.m_ColorModel == CM_INDEX) px = &image.GetPalette().GetPalette()[row[x]].blue;
    return px[0] | px[1] << 8 | px[2] << 16;
}

}  // namespace lumora::test
