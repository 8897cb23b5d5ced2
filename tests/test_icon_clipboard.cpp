// Icons and the clipboard, read back through the system where there is one:
// GetIconInfo/GetDIBits and GetClipboardData under Windows (and Wine), the
// library's icon and xclip elsewhere (ctest runs the clipboard test again
// under xvfb-run; without a display it is skipped).
#include <vector>

#if defined(_WIN32)
#include <future>
#include <thread>
#else
#include <cstdlib>
#endif

#include "test_support.h"

using namespace lumora::test;

namespace {

constexpr DWORD kMagenta = 0x00FF00FF;  // COLORREF: red 255, green 0, blue 255

// The icon ConvertTo makes of `image` as 0xAARRGGBB pixels, top row first
// (alpha 0 where transparent); empty when it makes none.
std::vector<std::uint32_t> MakeIcon(CVxImage& image, CSize size, int expect = TRUE) {
    HICON icon = reinterpret_cast<HICON>(&image);  // must be overwritten
    EXPECT_EQ(CVxDIBConvert(&image).ConvertTo(icon, size, kMagenta), expect);
    int width = 0, height = 0;
    std::vector<std::uint32_t> pixels;
    if (!icon || !GetLumoraIconSize(icon, &width, &height)) return pixels;
    EXPECT_TRUE(width == size.cx && height == size.cy);
    pixels.resize(size_t(width) * height);
    EXPECT_TRUE(GetLumoraIconPixels(icon, reinterpret_cast<unsigned char*>(pixels.data()), nullptr));
    DestroyIcon(icon);
    return pixels;
}

// Red, green, blue of image pixel (x, y); grey as three equal bytes.
std::uint32_t ImageColour(CVxImage& image, int x, int y) {
    const auto* p = static_cast<const std::uint8_t*>(image.Get2DBuffer()[y]) + x * image.m_nChannel;
    return image.m_nChannel == 1 ? p[0] * 0x010101u : p[0] | p[1] << 8 | p[2] << 16;
}

}  // namespace

TEST(Icon, SmallImageCentredUnscaledUpsideDownOnTransparentBlack) {
    const struct {
        COLOR_MODEL model;
        int width, height, cx, cy, x, y;
    } cases[] = {{CM_RGB, 16, 16, 32, 32, 8, 8},  {CM_RGB, 5, 7, 32, 32, 13, 12}, {CM_RGB, 40, 10, 32, 32, -4, 11},
                 {CM_GRAY, 16, 16, 20, 32, 2, 8}, {CM_RGBA, 3, 5, 8, 4, 2, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " in " << c.cx << "x" << c.cy);
        CVxImage image(c.model, 8, c.width, c.height, 0, nullptr, 255);
        FillRandom(image, 7, 200);  // never the magenta background
        const std::vector<std::uint32_t> icon = MakeIcon(image, CSize(c.cx, c.cy));
        ASSERT_EQ(icon.size(), size_t(c.cx) * c.cy);
        for (int y = 0; y < c.cy; ++y)
            for (int x = 0; x < c.cx; ++x) {
                const int ix = x - c.x, iy = y - c.y;
                const bool inside = ix >= 0 && ix < c.width && iy >= 0 && iy < c.height;
                ASSERT_EQ(icon[size_t(y) * c.cx + x], inside ? 0xFF000000u | ImageColour(image, ix, c.height - 1 - iy) : 0u)
                    << x << "," << y;
            }
    }
}

TEST(Icon, LargeImageShrinksToTheWholeIconUpsideDown) {
    CVxImage image(CM_RGB, 8, 64, 48, 0, nullptr, 255);
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x) {
            auto* p = static_cast<std::uint8_t*>(image.Get2DBuffer()[y]) + 3 * x;
            p[0] = y < 24 ? 10 : 200, p[1] = 60, p[2] = y < 24 ? 220 : 30;
        }
    const std::vector<std::uint32_t> icon = MakeIcon(image, CSize(32, 32));
    ASSERT_EQ(icon.size(), 32u * 32u);
    // Rows near the seam may blend; the image's bottom is on top.
    for (size_t i = 0; i < icon.size(); ++i) {
        if (i / 32 < 14 || i / 32 > 17) { EXPECT_EQ(icon[i], i / 32 < 14 ? 0xFF1E3CC8u : 0xFFDC3C0Au) << i; }
    }
}

TEST(Icon, RefusalsMakeNoIcon) {
    const struct {
        COLOR_MODEL model;
        int bits;
        CSize size;
        int answer;
    } cases[] = {{CM_GRAYA, 8, {16, 16}, FALSE},   // 2 bytes a pixel under a 32-bit header
                 {CM_GRAYA, 16, {16, 16}, TRUE},   // 4 bytes a pixel: the buffer covers the rows
                 {CM_GRAY, 32, {16, 16}, FALSE},   // no block for float grey
                 {CM_RGB, 8, {0, 16}, FALSE}};
    for (const auto& c : cases) {
        CVxImage image(c.model, c.bits, 8, 8, 0, nullptr, 255);
        FillRandom(image, 3);
        EXPECT_EQ(MakeIcon(image, c.size, c.answer).empty(), !c.answer) << c.model << ", " << c.bits;
    }
}

namespace {

// The block's clipboard bytes (header, table and rows as the header counts
// them) of a 5 x 3 image with a 16-entry palette.
std::vector<std::uint8_t> PaletteImage(CVxImage& image, unsigned seed) {
    image.Create(CM_INDEX, 8, 5, 3, 16, nullptr, 255);
    for (int i = 0; i < 16; ++i) image.GetPalette().GetPalette()[i] = {BYTE(i), BYTE(seed), BYTE(3 * i), BYTE(0)};
    FillRandom(image, seed, 15);
    BITMAPINFOHEADER* block = nullptr;
    CVxDIBConvert(&image).ConvertTo(&block);
    const auto* p = reinterpret_cast<const std::uint8_t*>(block);
    std::vector<std::uint8_t> bytes(p, p + 40 + 64 + block->biSizeImage);
    CVxDIBConvert::DeleteBitmapInfoHeaderMem(block);
    return bytes;
}

// The clipboard's DIB block: CF_DIB, or the image/bmp file behind its
// 14-byte header, which must name where the rows start.
std::vector<std::uint8_t> ClipboardBlock(size_t bytes) {
    std::vector<std::uint8_t> out;
#if defined(_WIN32)
    if (!OpenClipboard(nullptr)) return out;
    if (HANDLE data = GetClipboardData(CF_DIB)) {
        const auto* p = static_cast<const std::uint8_t*>(GlobalLock(data));
        if (p) out.assign(p, p + std::min<size_t>(bytes, GlobalSize(data)));
        GlobalUnlock(data);
    }
    CloseClipboard();
#else
    if (FILE* file = popen("xclip -selection clipboard -t image/bmp -o", "r")) {
        for (int ch; (ch = std::fgetc(file)) != EOF;) out.push_back(static_cast<std::uint8_t>(ch));
        pclose(file);
    }
    if (out.size() != 14 + bytes || out[0] != 'B' || out[1] != 'M' || out[10] != 14 + 40 + 64) return {};
    out.erase(out.begin(), out.begin() + 14);
#endif
    return out;
}

}  // namespace

TEST(Clipboard, CarriesTheBlockAndKeepsItWhenRefusedOrBusy) {
#if !defined(_WIN32)
    if (!std::getenv("DISPLAY") || std::system("command -v xclip >/dev/null") != 0)
        GTEST_SKIP() << "needs an X display and xclip (ctest runs it under xvfb-run when xvfb and xclip are installed)";
#endif
    CVxImage image, second, floatGrey(CM_GRAY, 32, 4, 4, 0, nullptr, 255);
    const std::vector<std::uint8_t> want = PaletteImage(image, 1);
    ASSERT_EQ(CVxMiscProcessing(&image).CopyToClipboard(nullptr), TRUE);
    EXPECT_EQ(ClipboardBlock(want.size()), want);
    EXPECT_EQ(CVxMiscProcessing(&floatGrey).CopyToClipboard(nullptr), FALSE);
    EXPECT_EQ(ClipboardBlock(want.size()), want);
#if defined(_WIN32)
    // A message-only window (it needs no display) of another thread holds the
    // clipboard open: the copy still answers TRUE and changes nothing.
    PaletteImage(second, 2);
    std::promise<void> opened, done;
    std::thread holder([&] {
        HWND window = CreateWindowExA(0, "STATIC", "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
        EXPECT_TRUE(window && OpenClipboard(window));
        opened.set_value();
        done.get_future().wait();
        CloseClipboard();
        DestroyWindow(window);
    });
    opened.get_future().wait();
    EXPECT_EQ(CVxMiscProcessing(&second).CopyToClipboard(nullptr), TRUE);
    done.set_value();
    holder.join();
    EXPECT_EQ(ClipboardBlock(want.size()), want);
#endif
}
