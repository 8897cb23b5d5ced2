// Per-format readers and writers behind ReadImage/WriteImage.
#pragma once

#include <bit>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "io/image_file.h"

namespace lumora::io::detail {

// Each reader decodes a whole file held in memory into `out` (a fresh
// image) or throws ImageFileError naming `path`.
void ReadPng(const std::string& path, const std::vector<std::uint8_t>& bytes, CVxImage& out);
void ReadPnm(const std::string& path, const std::vector<std::uint8_t>& bytes, CVxImage& out);
void ReadBmp(const std::string& path, const std::vector<std::uint8_t>& bytes, CVxImage& out);

enum class PnmKind { Grey, Colour, Either };

// Refuse, before any file is opened, an image the format cannot hold.
void CheckPngWritable(const std::string& path, CVxImage& image);
void CheckPnmWritable(const std::string& path, CVxImage& image, PnmKind kind);

// Writers get an image already checked to be created and, for float
// samples, already converted to 8 bits. They write to an open file.
void WritePng(const std::string& path, std::FILE* file, CVxImage& image);
void WritePnm(const std::string& path, std::FILE* file, CVxImage& image, PnmKind kind);

// NumPy and PFM sample arrays (array_file.cpp).
bool IsNpy(const std::vector<std::uint8_t>& bytes);
bool IsPfm(const std::vector<std::uint8_t>& bytes);
SampleArrayShape ShapeOfSampleArray(const std::string& path, const std::vector<std::uint8_t>& bytes);
void ReadSampleArray(const std::string& path, const std::vector<std::uint8_t>& bytes, const ReadOptions& options,
                     CVxImage& out);
void CheckSampleArrayWritable(const std::string& path, CVxImage& image, bool pfm);
void WriteSampleArray(const std::string& path, std::FILE* file, CVxImage& image, bool pfm);
// BMP: the image's exchange block, made before the file is opened, then
// written behind a file header.
struct DibBlockDeleter {
    void operator()(BITMAPINFOHEADER* block) const;
};
using DibBlockPtr = std::unique_ptr<BITMAPINFOHEADER, DibBlockDeleter>;
std::string BmpConversionNote(const CVxImage& image);
DibBlockPtr EncodeBmp(const std::string& path, CVxImage& image);
void WriteBmp(const std::string& path, std::FILE* file, const BITMAPINFOHEADER* block);

inline constexpr bool kLittleEndianHost = std::endian::native == std::endian::little;

}  // namespace lumora::io::detail
