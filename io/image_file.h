// Reading and writing images as files.
//
// Formats: PNG (through libpng), the binary and text Netpbm grey and
// colour maps (P5/P6 read and written, P2/P3 read) and BMP (through the
// library's own DIB exchange, CVxDIBConvert). The format of a file to read
// comes from its first bytes, never from its name; the format of a file to
// write comes from its extension (.png, .pgm, .ppm, .pnm, .bmp, .npy, .pfm).
//
// What each format stores:
//   PNG   grey, grey+alpha, RGB, RGBA with 8- or 16-bit samples, and indexed
//         images (palette up to 256 entries, 1, 2, 4 or 8 bits per index).
//         Reading: grey with fewer than 8 bits is scaled up to 8 bits; a
//         transparent-colour chunk of a grey or RGB file becomes an alpha
//         channel. An indexed file gives a CM_INDEX image with one byte per
//         index and bits per sample = the file's bit depth; its palette's
//         fourth component is the entry's opacity (255 when the file has no
//         transparency). Writing an indexed image stores palette opacities
//         unless they are all 255 or all 0 (the Windows colour-table
//         convention of a reserved zero component), which both mean opaque.
//   PGM   grey, 8-bit (maxval < 256) or 16-bit (maxval up to 65535, big-endian
//   PPM   samples); PPM holds RGB. Samples are not rescaled by maxval. .pnm
//         picks PGM or PPM from the image.
//   NumPy (.npy) and PFM (.pfm) hold bare sample arrays for the models no
//         image format holds: CMYK (.npy, 8- or 16-bit) and the float colour
//         spaces HSI, HLS, HSV, YCbCr (.npy or .pfm). The files do not record
//         the model, so reading one needs ReadOptions::model; samples come
//         back bit for bit (details in array_file.cpp).
//   BMP   what CVxDIBConvert::ConvertTo makes of the image: 8-bit palette
//         (Index, Gray, Bitmap), 24-bit (RGB and every model converted to
//         RGB) or 32-bit (RGBA, GrayA), bottom row first. Reading takes 1-,
//         4-, 8-, 16-, 24- and 32-bit uncompressed files with any of the
//         40- to 124-byte headers; palette files give CM_INDEX images with
//         the file's colour table as palette (so 8-bit grey comes back as
//         Index with a grey table), 16- and 24-bit files RGB, 32-bit RGBA.
// Float images of other models (17 to 32 bits per sample) are written as 8-bit files: each
// sample is clamped to 0..255 and truncated toward zero (NaN becomes 0).
// Images the formats cannot hold (other colour models, alpha in PNM, more
// than 32 bits per sample) are refused with ImageFileError.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include <lumora/vximage.h>

namespace lumora::io {

// The message is "<path>: <reason>".
class ImageFileError : public std::runtime_error {
public:
    ImageFileError(const std::string& path, const std::string& reason)
        : std::runtime_error(path + ": " + reason), path_(path), reason_(reason) {}
    const std::string& path() const { return path_; }
    const std::string& reason() const { return reason_; }

private:
    std::string path_;
    std::string reason_;
};

// Thrown when a NumPy or PFM file is read without naming its colour model.
class ModelNotRecordedError : public ImageFileError {
public:
    explicit ModelNotRecordedError(const std::string& path)
        : ImageFileError(path, "the file does not record its colour model") {}
};

struct ReadOptions {
    // The colour model of a NumPy or PFM file's samples; ignored for other formats.
    std::optional<COLOR_MODEL> model;
};

// Replaces `out` by the image of the file. On failure `out` is unchanged.
void ReadImage(const std::string& path, CVxImage& out, const ReadOptions& options = {});

// What a NumPy or PFM file holds, readable without a colour model.
struct SampleArrayShape {
    const char* format;  // "NumPy" or "PFM"
    int width, height, channels, bitsPerSample;
    bool floatSamples;
};

// The shape of a NumPy or PFM file; nullopt for a file of another format.
std::optional<SampleArrayShape> ReadSampleArrayShape(const std::string& path);

// Writes `image`; a partly written file is removed when writing fails.
void WriteImage(const std::string& path, CVxImage& image);

// How a BMP file changes `image` to hold it ("16-bit colour model 10 stored
// as 24-bit RGB"); empty when the pixels are stored as they are.
std::string BmpConversionNote(const CVxImage& image);

}  // namespace lumora::io
