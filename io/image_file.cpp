#include "io/image_file.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>

#include "io/formats.h"

namespace lumora::io {
namespace {

using detail::PnmKind;

// Files larger than any image the store can hold plus generous headers are
// refused before they are read into memory.
constexpr std::uintmax_t kMaxFileBytes = std::uintmax_t{1} << 31;

std::vector<std::uint8_t> ReadWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw ImageFileError(path, std::strerror(errno != 0 ? errno : ENOENT));
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    if (size < 0) throw ImageFileError(path, "cannot read the file");
    if (static_cast<std::uintmax_t>(size) > kMaxFileBytes) throw ImageFileError(path, "file is too large");
    in.seekg(0, std::ios::beg);
    std::vector<std::uint8_t> bytes(static_cast<size_t>(size));
    if (size > 0 && !in.read(reinterpret_cast<char*>(bytes.data()), size))
        throw ImageFileError(path, "cannot read the file");
    return bytes;
}

std::string LowerExtension(const std::string& path) {
    const size_t slash = path.find_last_of("/\\");
    const size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
    std::string ext = path.substr(dot);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    return ext;
}

int SampleBytes(const CVxImage& image) { return CVxImageInfo::GetSampleBytes(image.m_nBitsPerSample); }

// Everything the writers rely on, checked once: a created, non-empty image of
// a storable model whose rows really hold width x channels samples. Sample
// arrays check their models themselves.
void CheckWritable(const std::string& path, CVxImage& image, bool sampleArray) {
    if (!image.IsCreated()) throw ImageFileError(path, "the image is not created");
    if (image.m_nWidth < 1 || image.m_nHeight < 1) throw ImageFileError(path, "the image is empty");
    switch (image.m_ColorModel) {
        case CM_GRAY:
        case CM_GRAYA:
        case CM_RGB:
        case CM_RGBA:
        case CM_INDEX:
            break;
        case CM_CMYK:
        case CM_HSI:
        case CM_HLS:
        case CM_HSV:
        case CM_YCbCr:
            if (sampleArray) break;
            throw ImageFileError(path, "a " + std::string(image.m_ColorModel == CM_CMYK ? "CMYK" : "float colour-space") +
                                           " image is stored as .npy" +
                                           (image.m_ColorModel == CM_CMYK ? "" : " or .pfm"));
        default:
            throw ImageFileError(path, "colour model " + std::to_string(static_cast<int>(image.m_ColorModel)) +
                                           " cannot be stored in an image file");
    }
    if (image.m_nChannel != CVxImageInfo::GetChannel(image.m_ColorModel))
        throw ImageFileError(path, "the channel count does not match the colour model");
    if (image.m_nBitsPerSample < 1 || image.m_nBitsPerSample > 32)
        throw ImageFileError(path, std::to_string(image.m_nBitsPerSample) + " bits per sample cannot be stored");
    if (image.m_ColorModel == CM_INDEX && image.m_nBitsPerSample > 8)
        throw ImageFileError(path, "indexed images are stored with at most 8 bits per index");
    const std::int64_t rowBytes = std::int64_t{image.m_nWidth} * image.m_nChannel * SampleBytes(image);
    if (rowBytes > image.m_nBytesPerLine) throw ImageFileError(path, "the image rows are shorter than its width");
}

std::uint8_t FloatToByte(float v) {
    // NaN fails both comparisons and lands on 0.
    if (!(v > 0.0f)) return 0;
    if (v >= 255.0f) return 255;
    return static_cast<std::uint8_t>(v);
}

CVxImage ToEightBit(CVxImage& image) {
    CVxImage out(image.m_ColorModel, 8, image.m_nWidth, image.m_nHeight, 0, nullptr, 255);
    out.GetPalette() = image.GetPalette();
    const int samples = image.m_nWidth * image.m_nChannel;
    for (int y = 0; y < image.m_nHeight; ++y) {
        const float* src = static_cast<const float*>(image.Get2DBuffer()[y]);
        std::uint8_t* dst = static_cast<std::uint8_t*>(out.Get2DBuffer()[y]);
        for (int i = 0; i < samples; ++i) dst[i] = FloatToByte(src[i]);
    }
    return out;
}

// Opens `path`, lets `write` fill it, and removes a partly written file when
// anything fails.
template <class Write>
void WriteFile(const std::string& path, Write&& write) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) throw ImageFileError(path, std::strerror(errno));
    try {
        write(file);
    } catch (...) {
        std::fclose(file);
        std::remove(path.c_str());
        throw;
    }
    const bool flushed = std::fflush(file) == 0 && !std::ferror(file);
    if (std::fclose(file) != 0 || !flushed) {
        const int error = errno;
        std::remove(path.c_str());
        throw ImageFileError(path, std::string("cannot write the file: ") + std::strerror(error));
    }
}

// Float grey and colour images become 8-bit as for every format; the other
// models are ConvertTo's business, which refuses what it cannot store.
void WriteBmpImage(const std::string& path, CVxImage& image) {
    if (!image.IsCreated()) throw ImageFileError(path, "the image is not created");
    if (image.m_nWidth < 1 || image.m_nHeight < 1) throw ImageFileError(path, "the image is empty");
    CVxImage converted;
    CVxImage* source = &image;
    const COLOR_MODEL model = image.m_ColorModel;
    if (image.m_nBitsPerSample > 16 && image.m_nBitsPerSample <= 32 &&
        (model == CM_GRAY || model == CM_GRAYA || model == CM_RGB || model == CM_RGBA) &&
        image.m_nChannel == CVxImageInfo::GetChannel(model)) {
        converted = ToEightBit(image);
        source = &converted;
    }
    const detail::DibBlockPtr block = detail::EncodeBmp(path, *source);
    WriteFile(path, [&](std::FILE* file) { detail::WriteBmp(path, file, block.get()); });
}

std::vector<std::uint8_t> ReadNonEmptyFile(const std::string& path) {
    std::vector<std::uint8_t> bytes = ReadWholeFile(path);
    if (bytes.empty()) throw ImageFileError(path, "the file is empty");
    return bytes;
}

}  // namespace

std::optional<SampleArrayShape> ReadSampleArrayShape(const std::string& path) {
    const std::vector<std::uint8_t> bytes = ReadNonEmptyFile(path);
    if (!detail::IsNpy(bytes) && !detail::IsPfm(bytes)) return std::nullopt;
    return detail::ShapeOfSampleArray(path, bytes);
}

void ReadImage(const std::string& path, CVxImage& out, const ReadOptions& options) {
    const std::vector<std::uint8_t> bytes = ReadNonEmptyFile(path);
    static constexpr std::uint8_t kPngMagic[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    CVxImage image;
    if (bytes.size() >= 8 && std::memcmp(bytes.data(), kPngMagic, 8) == 0) {
        detail::ReadPng(path, bytes, image);
    } else if (bytes.size() >= 2 && bytes[0] == 'P' && bytes[1] >= '1' && bytes[1] <= '7') {
        detail::ReadPnm(path, bytes, image);
    } else if (bytes.size() >= 2 && bytes[0] == 'B' && bytes[1] == 'M') {
        detail::ReadBmp(path, bytes, image);
    } else if (detail::IsNpy(bytes) || detail::IsPfm(bytes)) {
        detail::ReadSampleArray(path, bytes, options, image);
    } else {
        throw ImageFileError(path, "not a PNG, PGM, PPM, BMP, NumPy or PFM file");
    }
    out = std::move(image);
}

void WriteImage(const std::string& path, CVxImage& image) {
    const std::string ext = LowerExtension(path);
    const bool png = ext == ".png";
    if (ext == ".npy" || ext == ".pfm") {
        CheckWritable(path, image, true);
        detail::CheckSampleArrayWritable(path, image, ext == ".pfm");
        WriteFile(path, [&](std::FILE* file) { detail::WriteSampleArray(path, file, image, ext == ".pfm"); });
        return;
    }
    if (ext == ".bmp") {
        WriteBmpImage(path, image);
        return;
    }
    PnmKind kind = PnmKind::Either;
    if (ext == ".pgm")
        kind = PnmKind::Grey;
    else if (ext == ".ppm")
        kind = PnmKind::Colour;
    else if (!png && ext != ".pnm")
        throw ImageFileError(path, "unknown image file extension (use .png, .pgm, .ppm, .pnm, .bmp, .npy or .pfm)");

    CheckWritable(path, image, false);
    CVxImage converted;
    CVxImage* source = &image;
    if (image.m_nBitsPerSample > 16) {
        if (image.m_ColorModel == CM_INDEX) throw ImageFileError(path, "indexed images cannot have float samples");
        converted = ToEightBit(image);
        source = &converted;
    }

    if (png)
        detail::CheckPngWritable(path, *source);
    else
        detail::CheckPnmWritable(path, *source, kind);

    WriteFile(path, [&](std::FILE* file) {
        if (png)
            detail::WritePng(path, file, *source);
        else
            detail::WritePnm(path, file, *source, kind);
    });
}

std::string BmpConversionNote(const CVxImage& image) { return detail::BmpConversionNote(image); }

}  // namespace lumora::io
