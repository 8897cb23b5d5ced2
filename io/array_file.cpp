// Bare sample arrays: NumPy .npy files and PFM (portable float map) files.
//
// Neither records a colour model, so a reader is told which model the
// samples belong to. The models they carry here are the ones no image file
// format holds: CMYK (8- or 16-bit samples) and the float colour spaces HSI,
// HLS, HSV and YCbCr (three 32-bit floats). Samples are stored in memory
// order (H, S, I for HSI; C, M, Y, K for CMYK), so reading a file back
// restores every sample bit for bit.
//
// NumPy: format version 1.0 written (1.0 to 3.0 read), C order, shape
// (height, width, channels) or (height, width) for one channel, element
// types '<f4', '|u1' (also read as '<u1') and '<u2'.
// PFM: "PF" (three channels) or "Pf" (one), width, height, then a scale
// whose sign gives the byte order (negative: little-endian); rows run from
// the bottom of the image to the top. Written with scale -1.0.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "io/formats.h"

namespace lumora::io::detail {
namespace {

constexpr char kNpyMagic[] = "\x93NUMPY";
constexpr size_t kNpyMagicBytes = 6;

enum class Element { U8, U16, F32 };

int ElementBytes(Element e) { return e == Element::U8 ? 1 : e == Element::U16 ? 2 : 4; }

// A parsed file: its shape, element type and where its samples start.
struct SampleArray {
    const char* format = "";
    Element element = Element::F32;
    int height = 0, width = 0, channels = 0;
    bool bigEndian = false;
    bool bottomUp = false;
    const std::uint8_t* data = nullptr;
};

[[noreturn]] void Fail(const std::string& path, const std::string& reason) { throw ImageFileError(path, reason); }

// The text after "'key':" in a NumPy header dictionary, with spaces skipped.
size_t FindValue(const std::string& path, const std::string& header, const char* key) {
    const size_t at = header.find(std::string("'") + key + "'");
    if (at == std::string::npos) Fail(path, std::string("the NumPy header has no '") + key + "'");
    size_t pos = header.find(':', at);
    if (pos == std::string::npos) Fail(path, "bad NumPy header");
    ++pos;
    while (pos < header.size() && header[pos] == ' ') ++pos;
    return pos;
}

SampleArray ParseNpy(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    if (bytes.size() < 10) Fail(path, "the file is truncated");
    const int major = bytes[6];
    if (major < 1 || major > 3) Fail(path, "NumPy format version " + std::to_string(major) + " is not supported");
    size_t headerLength = bytes[8] | (size_t{bytes[9]} << 8);
    size_t start = 10;
    if (major >= 2) {
        if (bytes.size() < 12) Fail(path, "the file is truncated");
        headerLength |= (size_t{bytes[10]} << 16) | (size_t{bytes[11]} << 24);
        start = 12;
    }
    if (headerLength > bytes.size() - start) Fail(path, "the file is truncated");
    const std::string header(reinterpret_cast<const char*>(bytes.data() + start), headerLength);

    SampleArray array;
    array.format = "NumPy";
    size_t pos = FindValue(path, header, "descr");
    const size_t close = header.find(header[pos], pos + 1);
    if ((header[pos] != '\'' && header[pos] != '"') || close == std::string::npos) Fail(path, "bad NumPy element type");
    const std::string descr = header.substr(pos + 1, close - pos - 1);
    if (descr == "<f4")
        array.element = Element::F32;
    else if (descr == "|u1" || descr == "<u1")
        array.element = Element::U8;
    else if (descr == "<u2")
        array.element = Element::U16;
    else
        Fail(path, "NumPy element type '" + descr + "' is not supported (use <f4, |u1 or <u2)");

    pos = FindValue(path, header, "fortran_order");
    if (header.compare(pos, 5, "False") != 0) Fail(path, "Fortran-ordered NumPy arrays are not supported");

    pos = FindValue(path, header, "shape");
    if (header[pos] != '(') Fail(path, "bad NumPy shape");
    std::vector<long long> shape;
    ++pos;
    for (;;) {
        while (pos < header.size() && (header[pos] == ' ' || header[pos] == ',')) ++pos;
        if (pos >= header.size()) Fail(path, "bad NumPy shape");
        if (header[pos] == ')') break;
        char* end = nullptr;
        const long long n = std::strtoll(header.c_str() + pos, &end, 10);
        if (end == header.c_str() + pos || n < 0 || n > (1 << 24)) Fail(path, "bad NumPy shape");
        shape.push_back(n);
        pos = static_cast<size_t>(end - header.c_str());
    }
    if (shape.size() != 2 && shape.size() != 3)
        Fail(path, "a NumPy image is height x width or height x width x channels, not " +
                       std::to_string(shape.size()) + "-dimensional");
    array.height = static_cast<int>(shape[0]);
    array.width = static_cast<int>(shape[1]);
    array.channels = shape.size() == 3 ? static_cast<int>(shape[2]) : 1;
    if (array.channels < 1 || array.channels > 4)
        Fail(path, "a NumPy image has 1 to 4 channels, not " + std::to_string(array.channels));
    array.data = bytes.data() + start + headerLength;
    return array;
}

SampleArray ParsePfm(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    SampleArray array;
    array.format = "PFM";
    array.channels = bytes[1] == 'F' ? 3 : 1;
    array.bottomUp = true;
    size_t pos = 2;
    // Three whitespace-separated fields, then exactly one whitespace byte.
    std::string fields[3];
    for (std::string& field : fields) {
        while (pos < bytes.size() && std::strchr(" \t\r\n", bytes[pos]) != nullptr) ++pos;
        while (pos < bytes.size() && std::strchr(" \t\r\n", bytes[pos]) == nullptr && field.size() < 32)
            field += static_cast<char>(bytes[pos++]);
        if (field.empty()) Fail(path, "the file ends inside the PFM header");
    }
    if (pos >= bytes.size() || std::strchr(" \t\r\n", bytes[pos]) == nullptr) Fail(path, "bad PFM header");
    ++pos;
    char* end = nullptr;
    const long width = std::strtol(fields[0].c_str(), &end, 10);
    const bool widthOk = *end == '\0';
    const long height = std::strtol(fields[1].c_str(), &end, 10);
    const bool heightOk = *end == '\0';
    const double scale = std::strtod(fields[2].c_str(), &end);
    if (!widthOk || !heightOk || *end != '\0' || width < 0 || height < 0 || width > (1 << 24) || height > (1 << 24) ||
        scale == 0.0 || scale != scale)
        Fail(path, "bad PFM header");
    array.width = static_cast<int>(width);
    array.height = static_cast<int>(height);
    array.bigEndian = scale > 0.0;
    array.data = bytes.data() + pos;
    return array;
}

SampleArray ParseSampleArray(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    SampleArray array = IsNpy(bytes) ? ParseNpy(path, bytes) : ParsePfm(path, bytes);
    const std::uint64_t need = std::uint64_t(array.width) * array.height * array.channels * ElementBytes(array.element);
    if (need > static_cast<std::uint64_t>(bytes.data() + bytes.size() - array.data)) Fail(path, "the file is truncated");
    return array;
}

// The sample type and channel count a model's file must have.
struct ArrayModel {
    COLOR_MODEL model;
    const char* name;
};
constexpr ArrayModel kArrayModels[] = {
    {CM_CMYK, "CMYK"}, {CM_HSI, "HSI"}, {CM_HLS, "HLS"}, {CM_HSV, "HSV"}, {CM_YCbCr, "YCbCr"},
};

const ArrayModel* FindArrayModel(COLOR_MODEL model) {
    for (const ArrayModel& m : kArrayModels)
        if (m.model == model) return &m;
    return nullptr;
}

bool IsFloatModel(COLOR_MODEL model) { return model != CM_CMYK; }

// Copies `count` samples of `size` bytes, reversing each one's bytes when
// the file's byte order is not the host's.
void CopySamples(std::uint8_t* dst, const std::uint8_t* src, size_t count, int size, bool swap) {
    if (!swap) {
        std::memcpy(dst, src, count * size);
        return;
    }
    for (size_t i = 0; i < count; ++i, src += size, dst += size) std::reverse_copy(src, src + size, dst);
}

void Put(std::vector<std::uint8_t>& out, const std::string& text) { out.insert(out.end(), text.begin(), text.end()); }

}  // namespace

bool IsNpy(const std::vector<std::uint8_t>& bytes) {
    return bytes.size() >= kNpyMagicBytes && std::memcmp(bytes.data(), kNpyMagic, kNpyMagicBytes) == 0;
}

bool IsPfm(const std::vector<std::uint8_t>& bytes) {
    return bytes.size() >= 3 && bytes[0] == 'P' && (bytes[1] == 'F' || bytes[1] == 'f') &&
           std::strchr(" \t\r\n", bytes[2]) != nullptr;
}

SampleArrayShape ShapeOfSampleArray(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    const SampleArray array = ParseSampleArray(path, bytes);
    return {array.format, array.width, array.height, array.channels, ElementBytes(array.element) * 8,
            array.element == Element::F32};
}

void ReadSampleArray(const std::string& path, const std::vector<std::uint8_t>& bytes, const ReadOptions& options,
                     CVxImage& out) {
    const SampleArray array = ParseSampleArray(path, bytes);
    if (!options.model) throw ModelNotRecordedError(path);
    const ArrayModel* model = FindArrayModel(*options.model);
    if (model == nullptr)
        Fail(path, "NumPy and PFM files are read as CMYK, HSI, HLS, HSV or YCbCr images only");
    const int channels = CVxImageInfo::GetChannel(model->model);
    const bool wantFloat = IsFloatModel(model->model);
    if (array.channels != channels || wantFloat != (array.element == Element::F32))
        Fail(path, "the file has " + std::to_string(array.channels) +
                       (array.element == Element::F32 ? " float" : array.element == Element::U8 ? " 8-bit" : " 16-bit") +
                       " channels; " + model->name + " takes " + std::to_string(channels) +
                       (wantFloat ? " float channels" : " 8- or 16-bit channels"));
    const int size = ElementBytes(array.element);
    CVxImage image(model->model, size * 8, array.width, array.height, 0, nullptr, 255);
    if (!image.IsCreated()) Fail(path, "the image is too large");
    const size_t rowSamples = size_t(array.width) * channels;
    const bool swap = size > 1 && array.bigEndian == kLittleEndianHost;
    for (int y = 0; y < array.height; ++y) {
        const int fileRow = array.bottomUp ? array.height - 1 - y : y;
        CopySamples(static_cast<std::uint8_t*>(image.Get2DBuffer()[y]), array.data + fileRow * rowSamples * size,
                    rowSamples, size, swap);
    }
    out = std::move(image);
}

void CheckSampleArrayWritable(const std::string& path, CVxImage& image, bool pfm) {
    const ArrayModel* model = FindArrayModel(image.m_ColorModel);
    if (model == nullptr)
        Fail(path, pfm ? "PFM files hold HSI, HLS, HSV and YCbCr images only"
                       : "NumPy files hold CMYK, HSI, HLS, HSV and YCbCr images only");
    const bool isFloat = image.m_nBitsPerSample > 16;
    if (IsFloatModel(model->model) ? image.m_nBitsPerSample != 32 : isFloat)
        Fail(path, std::string("a ") + model->name + " image with " + std::to_string(image.m_nBitsPerSample) +
                       " bits per sample cannot be stored");
    if (pfm && model->model == CM_CMYK) Fail(path, "PFM files hold three float channels; write CMYK as .npy");
}

void WriteSampleArray(const std::string& path, std::FILE* file, CVxImage& image, bool pfm) {
    const int size = CVxImageInfo::GetSampleBytes(image.m_nBitsPerSample);
    const int channels = image.m_nChannel;
    std::vector<std::uint8_t> head;
    if (pfm) {
        Put(head, "PF\n" + std::to_string(image.m_nWidth) + " " + std::to_string(image.m_nHeight) + "\n-1.0\n");
    } else {
        const char* descr = size == 4 ? "<f4" : size == 2 ? "<u2" : "|u1";
        std::string dict = std::string("{'descr': '") + descr + "', 'fortran_order': False, 'shape': (" +
                           std::to_string(image.m_nHeight) + ", " + std::to_string(image.m_nWidth) + ", " +
                           std::to_string(channels) + "), }";
        // Magic, version and length take 10 bytes; the header ends in a
        // newline and pads the whole preamble to a multiple of 64.
        dict.append(63 - (10 + dict.size()) % 64, ' ');
        dict += '\n';
        Put(head, std::string(kNpyMagic, kNpyMagicBytes));
        head.insert(head.end(), {1, 0, static_cast<std::uint8_t>(dict.size() & 0xff),
                                 static_cast<std::uint8_t>(dict.size() >> 8)});
        Put(head, dict);
    }
    if (std::fwrite(head.data(), 1, head.size(), file) != head.size()) Fail(path, "cannot write the file");
    const size_t rowSamples = size_t(image.m_nWidth) * channels;
    std::vector<std::uint8_t> line(rowSamples * size);
    for (int y = 0; y < image.m_nHeight; ++y) {
        const int row = pfm ? image.m_nHeight - 1 - y : y;
        CopySamples(line.data(), static_cast<const std::uint8_t*>(image.Get2DBuffer()[row]), rowSamples, size,
                    !kLittleEndianHost);
        if (std::fwrite(line.data(), 1, line.size(), file) != line.size()) Fail(path, "cannot write the file");
    }
}

}  // namespace lumora::io::detail
