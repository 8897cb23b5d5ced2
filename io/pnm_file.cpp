// Netpbm grey and colour maps: P5/P6 (binary) read and written, P2/P3 (text)
// read. Samples wider than 8 bits are big-endian in binary files. PPM stores
// red, green, blue; the image holds blue, green, red.
#include <cstdint>
#include <cstdio>
#include <string>

#include "io/formats.h"

namespace lumora::io::detail {
namespace {

class PnmParser {
public:
    PnmParser(const std::string& path, const std::vector<std::uint8_t>& bytes) : path_(path), bytes_(bytes) {}

    // Skips whitespace and comments, then reads a decimal number no larger than `limit`.
    unsigned Number(const char* what, unsigned limit) {
        SkipSpace();
        if (pos_ >= bytes_.size()) Fail(std::string("the file ends before the ") + what);
        if (!IsDigit(bytes_[pos_])) Fail(std::string("bad ") + what);
        std::uint64_t value = 0;
        while (pos_ < bytes_.size() && IsDigit(bytes_[pos_])) {
            value = value * 10 + (bytes_[pos_++] - '0');
            if (value > limit) Fail(std::string(what) + " is too large");
        }
        return static_cast<unsigned>(value);
    }

    // The single whitespace byte between the header and binary samples.
    void EndOfHeader() {
        if (pos_ >= bytes_.size() || !IsSpace(bytes_[pos_])) Fail("bad header");
        ++pos_;
    }

    size_t Remaining() const { return bytes_.size() - pos_; }
    const std::uint8_t* Here() const { return bytes_.data() + pos_; }

    [[noreturn]] void Fail(const std::string& reason) const { throw ImageFileError(path_, reason); }

private:
    static bool IsDigit(std::uint8_t c) { return c >= '0' && c <= '9'; }
    static bool IsSpace(std::uint8_t c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

    void SkipSpace() {
        while (pos_ < bytes_.size()) {
            if (IsSpace(bytes_[pos_])) {
                ++pos_;
            } else if (bytes_[pos_] == '#') {
                while (pos_ < bytes_.size() && bytes_[pos_] != '\n' && bytes_[pos_] != '\r') ++pos_;
            } else {
                break;
            }
        }
    }

    const std::string& path_;
    const std::vector<std::uint8_t>& bytes_;
    size_t pos_ = 2;
};

// Memory channel for file channel c of a PPM pixel (red, green, blue -> blue, green, red).
int MemoryChannel(int fileChannel, int channels) { return channels == 3 ? 2 - fileChannel : fileChannel; }

}  // namespace

void ReadPnm(const std::string& path, const std::vector<std::uint8_t>& bytes, CVxImage& out) {
    PnmParser parser(path, bytes);
    if (bytes.size() < 2 || bytes[0] != 'P') parser.Fail("not a PGM or PPM file");
    const char type = static_cast<char>(bytes[1]);
    if (type == '1' || type == '4') parser.Fail("PBM bitmaps are not supported");
    if (type == '7') parser.Fail("PAM files are not supported");
    const bool text = type == '2' || type == '3';
    const int channels = (type == '3' || type == '6') ? 3 : 1;

    const unsigned width = parser.Number("width", 1u << 30);
    const unsigned height = parser.Number("height", 1u << 30);
    const unsigned maxval = parser.Number("maximum value", 65535);
    if (width == 0 || height == 0) parser.Fail("the image is empty");
    if (maxval == 0) parser.Fail("the maximum value is 0");
    const int sampleBytes = maxval > 255 ? 2 : 1;
    const std::uint64_t samples = std::uint64_t{width} * height * channels;
    if (!text) {
        parser.EndOfHeader();
        if (samples * sampleBytes > parser.Remaining()) parser.Fail("the file is truncated");
    } else if (samples * 2 > parser.Remaining() + 1) {
        // Every text sample takes at least a digit and a separator.
        parser.Fail("the file is truncated");
    }

    CVxImage image(channels == 3 ? CM_RGB : CM_GRAY, sampleBytes * 8, static_cast<int>(width),
                   static_cast<int>(height), 0, nullptr, 255);
    if (!image.IsCreated()) parser.Fail("the image is too large");

    const std::uint8_t* data = parser.Here();
    for (unsigned y = 0; y < height; ++y) {
        void* row = image.Get2DBuffer()[y];
        for (unsigned x = 0; x < width; ++x)
            for (int c = 0; c < channels; ++c) {
                unsigned value;
                if (text) {
                    value = parser.Number("sample", 65535);
                    if (value > maxval) parser.Fail("a sample exceeds the maximum value");
                } else if (sampleBytes == 2) {
                    value = (unsigned{data[0]} << 8) | data[1];
                    data += 2;
                } else {
                    value = *data++;
                }
                const size_t i = size_t{x} * channels + MemoryChannel(c, channels);
                if (sampleBytes == 2)
                    static_cast<std::uint16_t*>(row)[i] = static_cast<std::uint16_t>(value);
                else
                    static_cast<std::uint8_t*>(row)[i] = static_cast<std::uint8_t>(value);
            }
    }
    out = std::move(image);
}

void CheckPnmWritable(const std::string& path, CVxImage& image, PnmKind kind) {
    const COLOR_MODEL model = image.m_ColorModel;
    if (kind == PnmKind::Grey && model != CM_GRAY) throw ImageFileError(path, "a PGM file holds grey images only");
    if (kind == PnmKind::Colour && model != CM_RGB) throw ImageFileError(path, "a PPM file holds RGB images only");
    if (model != CM_GRAY && model != CM_RGB)
        throw ImageFileError(path, "PGM/PPM files hold grey and RGB images only (use .png)");
}

void WritePnm(const std::string& path, std::FILE* file, CVxImage& image, PnmKind) {
    const int channels = image.m_nChannel;
    const bool wide = image.m_nBitsPerSample > 8;
    const unsigned maxval = wide ? 65535 : 255;
    if (std::fprintf(file, "P%c\n%d %d\n%u\n", channels == 3 ? '6' : '5', image.m_nWidth, image.m_nHeight, maxval) < 0)
        throw ImageFileError(path, "cannot write the file");
    const int sampleBytes = wide ? 2 : 1;
    std::vector<std::uint8_t> line(static_cast<size_t>(image.m_nWidth) * channels * sampleBytes);
    for (int y = 0; y < image.m_nHeight; ++y) {
        const void* row = image.Get2DBuffer()[y];
        std::uint8_t* out = line.data();
        for (int x = 0; x < image.m_nWidth; ++x)
            for (int c = 0; c < channels; ++c) {
                const size_t i = static_cast<size_t>(x) * channels + MemoryChannel(c, channels);
                if (wide) {
                    const std::uint16_t v = static_cast<const std::uint16_t*>(row)[i];
                    *out++ = static_cast<std::uint8_t>(v >> 8);
                    *out++ = static_cast<std::uint8_t>(v & 0xff);
                } else {
                    *out++ = static_cast<const std::uint8_t*>(row)[i];
                }
            }
        if (std::fwrite(line.data(), 1, line.size(), file) != line.size())
            throw ImageFileError(path, "cannot write the file");
    }
}

}  // namespace lumora::io::detail
