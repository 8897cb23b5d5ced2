// PNG through libpng.
//
// libpng reports errors by calling an error function that must not return.
// Ours records the message and longjmps back to the setjmp of the function
// that drives libpng. Those driving functions hold no object with a
// destructor, so the jump skips nothing that needs cleaning up; the libpng
// structures themselves are owned by a guard in the calling frame, which the
// jump never crosses.
#include <png.h>

#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "io/formats.h"

namespace lumora::io::detail {
namespace {

// A PNG row expands to at most this many bytes per compressed byte (deflate's
// best ratio is about 1032:1). A header that promises more pixels than the
// file could decode to is refused before the pixel block is allocated.
constexpr std::uint64_t kMaxInflateRatio = 1100;

struct PngContext {
    char message[256] = {};
    // Reading: the file in memory.
    const std::uint8_t* data = nullptr;
    size_t size = 0;
    size_t pos = 0;
    // Writing: palette and transparency storage that must outlive png_write_info.
    png_color palette[256] = {};
    png_byte alpha[256] = {};
};

[[noreturn]] void OnPngError(png_structp png, png_const_charp message) {
    auto* context = static_cast<PngContext*>(png_get_error_ptr(png));
    std::snprintf(context->message, sizeof context->message, "%s", message ? message : "libpng error");
    png_longjmp(png, 1);
}

void OnPngWarning(png_structp, png_const_charp) {}

void ReadFromMemory(png_structp png, png_bytep out, png_size_t count) {
    auto* context = static_cast<PngContext*>(png_get_io_ptr(png));
    if (count > context->size - context->pos) png_error(png, "the file is truncated");
    std::memcpy(out, context->data + context->pos, count);
    context->pos += count;
}

struct ReadGuard {
    png_structp png = nullptr;
    png_infop info = nullptr;
    ~ReadGuard() { png_destroy_read_struct(&png, info ? &info : nullptr, nullptr); }
};

struct WriteGuard {
    png_structp png = nullptr;
    png_infop info = nullptr;
    ~WriteGuard() { png_destroy_write_struct(&png, info ? &info : nullptr); }
};

// Decodes into `image`; false with context.message set on any error.
bool DecodePng(PngContext& context, png_structp png, png_infop info, CVxImage& image) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_set_read_fn(png, &context, ReadFromMemory);
    png_read_info(png, info);

    png_uint_32 width = 0, height = 0;
    int depth = 0, colourType = 0, interlace = 0;
    png_get_IHDR(png, info, &width, &height, &depth, &colourType, &interlace, nullptr, nullptr);

    COLOR_MODEL model = CM_GRAY;
    int bits = depth;
    int paletteSize = 0;
    const bool hasTransparency = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
    switch (colourType) {
        case PNG_COLOR_TYPE_PALETTE:
            model = CM_INDEX;
            png_set_packing(png);
            {
                png_colorp entries = nullptr;
                if (png_get_PLTE(png, info, &entries, &paletteSize) == 0) png_error(png, "the palette is missing");
            }
            break;
        case PNG_COLOR_TYPE_GRAY:
            model = hasTransparency ? CM_GRAYA : CM_GRAY;
            if (depth < 8) {
                png_set_expand_gray_1_2_4_to_8(png);
                bits = 8;
            }
            break;
        case PNG_COLOR_TYPE_GRAY_ALPHA:
            model = CM_GRAYA;
            break;
        case PNG_COLOR_TYPE_RGB:
            model = hasTransparency ? CM_RGBA : CM_RGB;
            png_set_bgr(png);
            break;
        case PNG_COLOR_TYPE_RGB_ALPHA:
            model = CM_RGBA;
            png_set_bgr(png);
            break;
        default:
            png_error(png, "unknown PNG colour type");
    }
    if (hasTransparency && colourType != PNG_COLOR_TYPE_PALETTE) png_set_tRNS_to_alpha(png);
    if (depth == 16 && kLittleEndianHost) png_set_swap(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);

    const int channels = CVxImageInfo::GetChannel(model);
    const int sampleBytes = depth == 16 ? 2 : 1;
    if (png_get_channels(png, info) != channels ||
        png_get_rowbytes(png, info) != png_size_t{width} * static_cast<png_size_t>(channels * sampleBytes))
        png_error(png, "unsupported PNG layout");
    const std::uint64_t pixelBytes = (std::uint64_t{width} * channels * sampleBytes + 1) * height;
    if (pixelBytes > kMaxInflateRatio * context.size + (1u << 20)) png_error(png, "the file is truncated or corrupt");

    image.Create(model, bits, static_cast<int>(width), static_cast<int>(height), paletteSize, nullptr, 255);
    if (!image.IsCreated()) png_error(png, "the image is too large");

    if (model == CM_INDEX) {
        png_colorp entries = nullptr;
        int count = 0;
        png_get_PLTE(png, info, &entries, &count);
        png_bytep alpha = nullptr;
        int alphaCount = 0;
        if (hasTransparency) png_get_tRNS(png, info, &alpha, &alphaCount, nullptr);
        tagRGBA* table = image.GetPalette().GetPalette();
        for (int i = 0; i < count && i < paletteSize; ++i) {
            table[i].blue = entries[i].blue;
            table[i].green = entries[i].green;
            table[i].red = entries[i].red;
            table[i].alpha = (alpha != nullptr && i < alphaCount) ? alpha[i] : 255;
        }
    }
    png_read_image(png, reinterpret_cast<png_bytepp>(image.Get2DBuffer()));
    png_read_end(png, nullptr);
    return true;
}

int PngDepthFor(CVxImage& image) {
    if (image.m_ColorModel == CM_INDEX) {
        const int paletteSize = image.GetPalette().GetPaletteNum();
        for (int bits : {1, 2, 4})
            if (image.m_nBitsPerSample <= bits && paletteSize <= (1 << bits)) return bits;
        return 8;
    }
    return image.m_nBitsPerSample > 8 ? 16 : 8;
}

bool EncodePng(PngContext& context, png_structp png, png_infop info, std::FILE* file, CVxImage& image) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_init_io(png, file);

    const int depth = PngDepthFor(image);
    int colourType = PNG_COLOR_TYPE_GRAY;
    switch (image.m_ColorModel) {
        case CM_GRAYA: colourType = PNG_COLOR_TYPE_GRAY_ALPHA; break;
        case CM_RGB: colourType = PNG_COLOR_TYPE_RGB; break;
        case CM_RGBA: colourType = PNG_COLOR_TYPE_RGB_ALPHA; break;
        case CM_INDEX: colourType = PNG_COLOR_TYPE_PALETTE; break;
        default: break;
    }
    png_set_IHDR(png, info, static_cast<png_uint_32>(image.m_nWidth), static_cast<png_uint_32>(image.m_nHeight), depth,
                 colourType, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (image.m_ColorModel == CM_INDEX) {
        const int count = image.GetPalette().GetPaletteNum();
        const tagRGBA* table = image.GetPalette().GetPalette();
        bool allOpaque = true, allZero = true;
        for (int i = 0; i < count; ++i) {
            context.palette[i] = png_color{table[i].red, table[i].green, table[i].blue};
            context.alpha[i] = table[i].alpha;
            allOpaque = allOpaque && table[i].alpha == 255;
            allZero = allZero && table[i].alpha == 0;
        }
        png_set_PLTE(png, info, context.palette, count);
        if (!allOpaque && !allZero) {
            // Trailing opaque entries need not be stored.
            int stored = count;
            while (stored > 0 && context.alpha[stored - 1] == 255) --stored;
            png_set_tRNS(png, info, context.alpha, stored, nullptr);
        }
    }
    png_write_info(png, info);
    if (image.m_ColorModel == CM_RGB || image.m_ColorModel == CM_RGBA) png_set_bgr(png);
    if (depth == 16 && kLittleEndianHost) png_set_swap(png);
    if (depth < 8) png_set_packing(png);
    png_write_image(png, reinterpret_cast<png_bytepp>(image.Get2DBuffer()));
    png_write_end(png, nullptr);
    return true;
}

}  // namespace

void ReadPng(const std::string& path, const std::vector<std::uint8_t>& bytes, CVxImage& out) {
    PngContext context;
    context.data = bytes.data();
    context.size = bytes.size();
    ReadGuard guard;
    guard.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &context, OnPngError, OnPngWarning);
    if (guard.png == nullptr) throw ImageFileError(path, "cannot start the PNG decoder");
    guard.info = png_create_info_struct(guard.png);
    if (guard.info == nullptr) throw ImageFileError(path, "cannot start the PNG decoder");
    if (!DecodePng(context, guard.png, guard.info, out)) {
        out.Remove();
        throw ImageFileError(path, std::string("corrupt PNG: ") + context.message);
    }
}

void CheckPngWritable(const std::string& path, CVxImage& image) {
    if (image.m_ColorModel != CM_INDEX) return;
    const int count = image.GetPalette().GetPaletteNum();
    if (count < 1 || count > 256) throw ImageFileError(path, "an indexed image needs a palette of 1 to 256 entries");
    for (int y = 0; y < image.m_nHeight; ++y) {
        const auto* row = static_cast<const std::uint8_t*>(image.Get2DBuffer()[y]);
        for (int x = 0; x < image.m_nWidth; ++x)
            if (row[x] >= count)
                throw ImageFileError(path, "pixel (" + std::to_string(x) + ", " + std::to_string(y) +
                                               ") has index " + std::to_string(row[x]) + " beyond the palette");
    }
}

void WritePng(const std::string& path, std::FILE* file, CVxImage& image) {
    PngContext context;
    WriteGuard guard;
    guard.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &context, OnPngError, OnPngWarning);
    if (guard.png == nullptr) throw ImageFileError(path, "cannot start the PNG encoder");
    guard.info = png_create_info_struct(guard.png);
    if (guard.info == nullptr) throw ImageFileError(path, "cannot start the PNG encoder");
    if (!EncodePng(context, guard.png, guard.info, file, image))
        throw ImageFileError(path, std::string("cannot write PNG: ") + context.message);
}

}  // namespace lumora::io::detail
