// Icons from images.
//
// Both systems follow shell_rules.h: the block of the image, its header over
// the image's own rows (so the picture is upside down), drawn unscaled and
// centred on a background-filled canvas when the image is narrower or lower
// than the icon, shrunk to the whole canvas otherwise; then every pixel of
// the background colour becomes transparent and black, as the Windows image
// list's masked add leaves it.
//
// Windows draws with GDI on a bitmap compatible with the screen and makes
// the icon through the module's image list, re-created for every icon and
// kept until the next (it holds the last icon's picture). The two image-list
// calls are looked up by name in the loaded comctl32; when that or any other
// system call fails the answer is still TRUE, with a null icon, and every
// GDI object made on the way is deleted.
//
// Elsewhere the library renders the picture itself. An 8-bit pixel is its
// colour-table entry (black past the table's end), 24- and 32-bit pixels
// their blue, green and red bytes (the alpha byte is not drawn, as GDI does
// not blend here). Shrinking gives icon pixel (i, j) the mean of the image
// pixels from (i * width / cx, j * height / cy) up to, not including,
// ((i + 1) * width / cx, (j + 1) * height / cy), each channel rounded half
// up; each such rectangle holds at least one pixel, since shrinking happens
// only when the image is at least as wide and high as the icon.
#include <lumora/dib_convert.h>
#include <lumora/icon.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <vector>

#if defined(_WIN32)
#include <commctrl.h>
#endif

#include "shell_rules.h"

using namespace lumora::detail;

#if !defined(_WIN32)
// The library-owned icon: pixels top row first.
struct HICON__ {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> bgra;  // 4 bytes a pixel, alpha 0 where transparent
    std::vector<std::uint8_t> mask;  // 1 where transparent
};
#endif

namespace {

#if defined(_WIN32)

// The module's image list; destroyed with the library.
struct ModuleImageList {
    HIMAGELIST list = nullptr;
    ~ModuleImageList() {
        if (list) ImageList_Destroy(list);
    }
} theImageList;

constexpr UINT kImageListFlags = 255;

using AddMaskedFn = int(WINAPI*)(HIMAGELIST, HBITMAP, COLORREF);
using GetIconFn = HICON(WINAPI*)(HIMAGELIST, int, UINT);

template <class Fn>
Fn LookUp(HMODULE module, const char* name) {
    if (!module) return nullptr;
    return reinterpret_cast<Fn>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

// Makes the image list's icon of `bitmap`, `background` as mask colour.
HICON IconFromBitmap(HBITMAP bitmap, CSize size, COLORREF background) {
    if (theImageList.list) ImageList_Destroy(theImageList.list);
    theImageList.list = ImageList_Create(size.cx, size.cy, kImageListFlags, 1, 1);
    const HMODULE comctl = GetModuleHandleA("comctl32.dll");
    const auto addMasked = LookUp<AddMaskedFn>(comctl, "ImageList_AddMasked");
    const auto getIcon = LookUp<GetIconFn>(comctl, "ImageList_GetIcon");
    if (!theImageList.list || !addMasked || !getIcon) return nullptr;
    if (addMasked(theImageList.list, bitmap, background) != 0) return nullptr;
    return getIcon(theImageList.list, 0, 0);
}

HICON RenderIcon(const BITMAPINFOHEADER* block, const DibHeader& h, const std::uint8_t* bits,
                 const IconPlacement& place, CSize size, DWORD background) {
    const auto* info = reinterpret_cast<const BITMAPINFO*>(block);
    HDC screen = GetDC(nullptr);
    if (!screen) return nullptr;
    HDC memory = CreateCompatibleDC(screen);
    HBITMAP bitmap = CreateCompatibleBitmap(screen, size.cx, size.cy);
    ReleaseDC(nullptr, screen);
    HICON icon = nullptr;
    if (memory && bitmap) {
        const HGDIOBJ previous = SelectObject(memory, bitmap);
        // The framework's solid fill: an opaque empty text run, no brush.
        const RECT all{0, 0, size.cx, size.cy};
        SetBkColor(memory, background);
        ExtTextOutA(memory, 0, 0, ETO_OPAQUE, &all, nullptr, 0, nullptr);
        if (!place.stretch) {
            SetDIBitsToDevice(memory, place.x, place.y, static_cast<DWORD>(h.width), static_cast<DWORD>(h.height), 0,
                              0, 0, static_cast<UINT>(h.height), bits, info, DIB_RGB_COLORS);
        } else {
            SetStretchBltMode(memory, HALFTONE);
            StretchDIBits(memory, 0, 0, size.cx, size.cy, 0, 0, h.width, h.height, bits, info, DIB_RGB_COLORS,
                          SRCCOPY);
        }
        SelectObject(memory, previous);
        icon = IconFromBitmap(bitmap, size, background);
    }
    if (bitmap) DeleteObject(bitmap);
    if (memory) DeleteDC(memory);
    return icon;
}

// The colour and mask bitmaps of an icon, deleted with this object.
struct IconBitmaps {
    ICONINFO info{};
    BITMAP colour{};
    bool valid = false;
    explicit IconBitmaps(HICON icon) {
        if (!icon || !GetIconInfo(icon, &info)) return;
        valid = info.hbmColor && GetObject(info.hbmColor, sizeof colour, &colour) == sizeof colour;
    }
    ~IconBitmaps() {
        if (info.hbmColor) DeleteObject(info.hbmColor);
        if (info.hbmMask) DeleteObject(info.hbmMask);
    }
    // The bitmap's rows as 32-bit pixels, top row first.
    bool Read(HBITMAP bitmap, std::vector<std::uint8_t>& out) const {
        BITMAPINFO format{};
        format.bmiHeader = {sizeof(BITMAPINFOHEADER), colour.bmWidth, -colour.bmHeight, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
        out.assign(static_cast<size_t>(colour.bmWidth) * static_cast<size_t>(colour.bmHeight) * 4, 0);
        HDC screen = GetDC(nullptr);
        if (!screen) return false;
        const int rows = GetDIBits(screen, bitmap, 0, static_cast<UINT>(colour.bmHeight), out.data(), &format,
                                   DIB_RGB_COLORS);
        ReleaseDC(nullptr, screen);
        return rows == colour.bmHeight;
    }
};

#else

// The picture a block header describes over `bits`, as GDI reads it: rows
// bottom up. At(x, y) is pixel (x, y) from the top, as 0x00RRGGBB.
struct DibPicture {
    const DibHeader& header;
    const std::uint8_t* table;
    const std::uint8_t* bits;
    std::uint64_t rowBytes;

    std::uint32_t At(int x, int y) const {
        const std::uint8_t* row = bits + static_cast<std::uint64_t>(header.height - 1 - y) * rowBytes;
        const std::uint8_t* p;
        if (header.bitCount == 8) {
            if (row[x] >= header.clrUsed) return 0;
            p = table + 4 * row[x];
        } else {
            p = row + static_cast<size_t>(x) * (header.bitCount / 8);
        }
        return std::uint32_t{p[2]} << 16 | std::uint32_t{p[1]} << 8 | p[0];
    }
};

void DrawUnscaled(const DibPicture& picture, const IconPlacement& place, CSize size, std::vector<std::uint32_t>& canvas) {
    const int x0 = std::max(place.x, 0), x1 = std::min<std::int64_t>(std::int64_t{place.x} + picture.header.width, size.cx);
    const int y0 = std::max(place.y, 0), y1 = std::min<std::int64_t>(std::int64_t{place.y} + picture.header.height, size.cy);
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x) canvas[static_cast<size_t>(y) * size.cx + x] = picture.At(x - place.x, y - place.y);
}

void DrawShrunk(const DibPicture& picture, CSize size, std::vector<std::uint32_t>& canvas) {
    const std::int64_t width = picture.header.width, height = picture.header.height;
    for (int j = 0; j < size.cy; ++j) {
        const int top = static_cast<int>(j * height / size.cy), bottom = static_cast<int>((j + 1) * height / size.cy);
        for (int i = 0; i < size.cx; ++i) {
            const int left = static_cast<int>(i * width / size.cx), right = static_cast<int>((i + 1) * width / size.cx);
            std::uint64_t sum[3] = {0, 0, 0};
            for (int y = top; y < bottom; ++y)
                for (int x = left; x < right; ++x) {
                    const std::uint32_t p = picture.At(x, y);
                    for (int c = 0; c < 3; ++c) sum[c] += p >> (8 * c) & 0xFF;
                }
            const std::uint64_t n = std::uint64_t(bottom - top) * std::uint64_t(right - left);
            std::uint32_t mean = 0;
            for (int c = 0; c < 3; ++c) mean |= static_cast<std::uint32_t>((sum[c] + n / 2) / n) << (8 * c);
            canvas[static_cast<size_t>(j) * size.cx + i] = mean;
        }
    }
}

HICON RenderIcon(const BITMAPINFOHEADER* block, const DibHeader& h, const std::uint8_t* bits,
                 const IconPlacement& place, CSize size, DWORD background) {
    // COLORREF is 0x00BBGGRR; the top byte (a palette selector on Windows) is not used.
    const std::uint32_t fill = (background & 0xFF) << 16 | (background & 0xFF00) | (background >> 16 & 0xFF);
    const size_t pixels = static_cast<size_t>(size.cx) * static_cast<size_t>(size.cy);
    std::vector<std::uint32_t> canvas(pixels, fill);
    const DibPicture picture{h, reinterpret_cast<const std::uint8_t*>(block) + kDibHeaderBytes, bits,
                             DibRowBytes(h.bitCount, h.width)};
    if (place.stretch) DrawShrunk(picture, size, canvas);
    else DrawUnscaled(picture, place, size, canvas);

    auto* icon = new HICON__{size.cx, size.cy, std::vector<std::uint8_t>(pixels * 4, 0), std::vector<std::uint8_t>(pixels, 0)};
    for (size_t i = 0; i < pixels; ++i) {
        if (canvas[i] == fill) {
            icon->mask[i] = 1;
            continue;
        }
        for (int c = 0; c < 3; ++c) icon->bgra[4 * i + c] = static_cast<std::uint8_t>(canvas[i] >> (8 * c));
        icon->bgra[4 * i + 3] = 255;
    }
    return icon;
}

#endif

// The .ico file: directory, one entry, then a 32-bit BMP image of twice the
// icon's height (colour rows, then the 1-bit AND mask), both bottom row first.
std::vector<std::uint8_t> IcoFile(int width, int height, const std::vector<std::uint8_t>& bgra,
                                  const std::vector<std::uint8_t>& mask) {
    constexpr std::uint32_t kDirectoryBytes = 6 + 16;
    const auto w = static_cast<size_t>(width), hgt = static_cast<size_t>(height);
    const size_t maskRow = DibRowBytes(1, width);
    const size_t imageBytes = kDibHeaderBytes + w * 4 * hgt + maskRow * hgt;
    std::vector<std::uint8_t> file(kDirectoryBytes + imageBytes, 0);
    std::uint8_t* p = file.data();
    StoreLittle<std::uint16_t>(p + 2, 1);  // type: icon
    StoreLittle<std::uint16_t>(p + 4, 1);  // one image
    p[6] = static_cast<std::uint8_t>(width >= 256 ? 0 : width);
    p[7] = static_cast<std::uint8_t>(height >= 256 ? 0 : height);
    StoreLittle<std::uint16_t>(p + 10, 1);
    StoreLittle<std::uint16_t>(p + 12, 32);
    StoreLittle(p + 14, static_cast<std::uint32_t>(imageBytes));
    StoreLittle(p + 18, kDirectoryBytes);

    DibHeader header{};
    header.size = kDibHeaderBytes;
    header.width = width;
    header.height = 2 * height;
    header.planes = 1;
    header.bitCount = 32;
    header.sizeImage = static_cast<std::uint32_t>(imageBytes - kDibHeaderBytes);
    header.Store(p + kDirectoryBytes);
    std::uint8_t* colour = p + kDirectoryBytes + kDibHeaderBytes;
    std::uint8_t* andMask = colour + w * 4 * hgt;
    for (size_t y = 0; y < hgt; ++y) {
        const size_t from = (hgt - 1 - y) * w;
        std::memcpy(colour + y * w * 4, bgra.data() + from * 4, w * 4);
        for (size_t x = 0; x < w; ++x)
            if (mask[from + x]) andMask[y * maskRow + x / 8] |= static_cast<std::uint8_t>(0x80 >> (x % 8));
    }
    return file;
}

}  // namespace

int CVxDIBConvert::ConvertTo(HICON& icon, CSize size, DWORD background) {
    icon = nullptr;
    if (m_pImage == nullptr || !IconSizeAccepted(size)) return FALSE;
    const DibBlockPtr block = ExportBlock(m_pImage);
    if (!block) return FALSE;
    const DibHeader header = HeaderOf(block.get());
    const std::uint8_t* bits = IconBits(*m_pImage, header);
    if (!bits) return FALSE;
    icon = RenderIcon(block.get(), header, bits, PlaceIcon(header.width, header.height, size), size, background);
    return TRUE;
}

#if !defined(_WIN32)
BOOL DestroyIcon(HICON icon) {
    if (!icon) return FALSE;
    delete icon;
    return TRUE;
}
#endif

int GetLumoraIconSize(HICON icon, int* width, int* height) {
    int w = 0, h = 0;
#if defined(_WIN32)
    const IconBitmaps bitmaps(icon);
    if (!bitmaps.valid) return FALSE;
    w = bitmaps.colour.bmWidth;
    h = bitmaps.colour.bmHeight;
#else
    if (!icon) return FALSE;
    w = icon->width;
    h = icon->height;
#endif
    if (width) *width = w;
    if (height) *height = h;
    return TRUE;
}

int GetLumoraIconPixels(HICON icon, unsigned char* bgra, unsigned char* mask) {
#if defined(_WIN32)
    const IconBitmaps bitmaps(icon);
    std::vector<std::uint8_t> colour, andMask;
    if (!bitmaps.valid || !bitmaps.Read(bitmaps.info.hbmColor, colour) || !bitmaps.Read(bitmaps.info.hbmMask, andMask))
        return FALSE;
    const size_t pixels = colour.size() / 4;
    for (size_t i = 0; i < pixels; ++i) {
        const bool transparent = (andMask[4 * i] | andMask[4 * i + 1] | andMask[4 * i + 2]) != 0;
        if (bgra) {
            std::memcpy(bgra + 4 * i, colour.data() + 4 * i, 3);
            bgra[4 * i + 3] = transparent ? 0 : 255;
        }
        if (mask) mask[i] = transparent ? 1 : 0;
    }
#else
    if (!icon) return FALSE;
    if (bgra) std::memcpy(bgra, icon->bgra.data(), icon->bgra.size());
    if (mask) std::memcpy(mask, icon->mask.data(), icon->mask.size());
#endif
    return TRUE;
}

int SaveLumoraIconFile(HICON icon, const char* path) {
    int width = 0, height = 0;
    if (path == nullptr || !GetLumoraIconSize(icon, &width, &height)) return FALSE;
    std::vector<std::uint8_t> bgra(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    std::vector<std::uint8_t> mask(bgra.size() / 4);
    if (!GetLumoraIconPixels(icon, bgra.data(), mask.data())) return FALSE;
    const std::vector<std::uint8_t> file = IcoFile(width, height, bgra, mask);
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
    return out.good() ? TRUE : FALSE;
}
