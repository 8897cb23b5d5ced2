// Reading and writing the fields of a DIB block. Shared by the exchange code
// and the BMP files of io/, so that both read one set of layout rules.
//
// Blocks are little-endian whatever the host, and blocks from outside need not
// be aligned: every field goes through a byte-wise load or store.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>

namespace lumora::detail {

template <class T>
T LoadLittle(const std::uint8_t* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    if constexpr (std::endian::native == std::endian::big) {
        auto* b = reinterpret_cast<std::uint8_t*>(&v);
        for (size_t i = 0; i < sizeof v / 2; ++i) std::swap(b[i], b[sizeof v - 1 - i]);
    }
    return v;
}

template <class T>
void StoreLittle(std::uint8_t* p, T v) {
    if constexpr (std::endian::native == std::endian::big) {
        auto* b = reinterpret_cast<std::uint8_t*>(&v);
        for (size_t i = 0; i < sizeof v / 2; ++i) std::swap(b[i], b[sizeof v - 1 - i]);
    }
    std::memcpy(p, &v, sizeof v);
}

inline constexpr std::uint32_t kDibHeaderBytes = 40;
inline constexpr std::uint32_t kDibMaskBytes = 12;
inline constexpr std::uint32_t kBiRgb = 0;
inline constexpr std::uint32_t kBiBitfields = 3;

// The fields of a BITMAPINFOHEADER, at their offsets.
struct DibHeader {
    std::uint32_t size;
    std::int32_t width;
    std::int32_t height;
    std::uint16_t planes;
    std::uint16_t bitCount;
    std::uint32_t compression;
    std::uint32_t sizeImage;
    std::int32_t xPelsPerMeter;
    std::int32_t yPelsPerMeter;
    std::uint32_t clrUsed;
    std::uint32_t clrImportant;

    // Reads the 40 bytes at p.
    static DibHeader Load(const std::uint8_t* p) {
        return {LoadLittle<std::uint32_t>(p),      LoadLittle<std::int32_t>(p + 4),  LoadLittle<std::int32_t>(p + 8),
                LoadLittle<std::uint16_t>(p + 12), LoadLittle<std::uint16_t>(p + 14), LoadLittle<std::uint32_t>(p + 16),
                LoadLittle<std::uint32_t>(p + 20), LoadLittle<std::int32_t>(p + 24), LoadLittle<std::int32_t>(p + 28),
                LoadLittle<std::uint32_t>(p + 32), LoadLittle<std::uint32_t>(p + 36)};
    }
    void Store(std::uint8_t* p) const {
        StoreLittle(p, size);
        StoreLittle(p + 4, width);
        StoreLittle(p + 8, height);
        StoreLittle(p + 12, planes);
        StoreLittle(p + 14, bitCount);
        StoreLittle(p + 16, compression);
        StoreLittle(p + 20, sizeImage);
        StoreLittle(p + 24, xPelsPerMeter);
        StoreLittle(p + 28, yPelsPerMeter);
        StoreLittle(p + 32, clrUsed);
        StoreLittle(p + 36, clrImportant);
    }

    // Entries of the colour table: biClrUsed, or 2^bits when that is 0 and
    // the block has 8 bits per pixel or fewer.
    std::uint64_t Colours() const {
        if (clrUsed != 0) return clrUsed;
        return bitCount <= 8 ? std::uint64_t{1} << bitCount : 0;
    }
};

// Bytes of one row of `bits`-bit pixels, padded to a multiple of four.
constexpr std::uint64_t DibRowBytes(int bits, std::int64_t width) {
    return ((static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(bits) + 31) & ~std::uint64_t{31}) / 8;
}

// One colour field of a BI_BITFIELDS pixel, read into a byte by shifting it
// into the top of the byte (a field wider than 8 bits keeps its top 8).
struct MaskField {
    std::uint32_t mask;
    int shift;
    int width;

    std::uint8_t Byte(std::uint32_t pixel) const {
        const std::uint32_t v = (pixel & mask) >> shift;
        return static_cast<std::uint8_t>(width >= 8 ? v >> (width - 8) : v << (8 - width));
    }
};

// A mask as a field; false unless it is one non-empty run of set bits.
inline bool FieldOf(std::uint32_t mask, MaskField& field) {
    if (mask == 0) return false;
    const int shift = std::countr_zero(mask);
    const int width = std::popcount(mask);
    if ((mask >> shift) != static_cast<std::uint32_t>((std::uint64_t{1} << width) - 1)) return false;
    field = {mask, shift, width};
    return true;
}

// The red, green and blue masks at `masks` as fields; false when they are not
// three disjoint runs of bits inside a `pixelBits`-bit pixel.
inline bool InterpretMasks(const std::uint8_t* masks, int pixelBits, MaskField (&fields)[3]) {
    const std::uint64_t limit = (std::uint64_t{1} << pixelBits) - 1;
    std::uint32_t seen = 0;
    for (int c = 0; c < 3; ++c) {
        const std::uint32_t mask = LoadLittle<std::uint32_t>(masks + 4 * c);
        if (mask > limit || (mask & seen) != 0 || !FieldOf(mask, fields[c])) return false;
        seen |= mask;
    }
    return true;
}

}  // namespace lumora::detail
