// Icons and the clipboard, read back through the system where there is one:
// GetIconInfo/GetDIBits and GetClipboardData under Windows (and Wine), the
// library's icon and xclip under a private Xvfb elsewhere.
#include <memory>
#include <string>
#include <vector>

#if defined(_WIN32)
#include <future>
#include <thread>
#else
#include <csignal>
#include <fcntl.h>
#include <cstdlib>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
extern char** environ;
#endif

#include "test_support.h"

using namespace lumora::test;

namespace {

constexpr DWORD kMagenta = 0x00FF00FF;  // COLORREF: red 255, green 0, blue 255

struct IconRead {
    int width = 0, height = 0;
    std::vector<std::uint8_t> bgra, mask;
};

IconRead MakeIcon(CVxImage& image, CSize size, int expect = TRUE) {
    HICON icon = reinterpret_cast<HICON>(&image);  // must be overwritten
    EXPECT_EQ(CVxDIBConvert(&image).ConvertTo(icon, size, kMagenta), expect);
    IconRead read;
    if (icon && GetLumoraIconSize(icon, &read.width, &read.height)) {
        read.bgra.resize(size_t(read.width) * read.height * 4);
        read.mask.resize(size_t(read.width) * read.height);
        EXPECT_TRUE(GetLumoraIconPixels(icon, read.bgra.data(), read.mask.data()));
        DestroyIcon(icon);
    } else {
        EXPECT_EQ(icon, nullptr);
    }
    return read;
}

// Blue, green, red of image pixel (x, y); grey as three equal bytes.
std::uint32_t ImageColour(CVxImage& image, int x, int y) {
    const auto* p = static_cast<const std::uint8_t*>(image.Get2DBuffer()[y]) + x * image.m_nChannel;
    return image.m_nChannel == 1 ? p[0] * 0x010101u : p[0] | p[1] << 8 | p[2] << 16;
}

std::uint32_t IconColour(const IconRead& icon, int x, int y) {
    const std::uint8_t* p = &icon.bgra[(size_t(y) * icon.width + x) * 4];
    return p[0] | p[1] << 8 | p[2] << 16 | std::uint32_t(p[3]) << 24;
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
        const IconRead icon = MakeIcon(image, CSize(c.cx, c.cy));
        ASSERT_EQ(icon.width, c.cx);
        ASSERT_EQ(icon.height, c.cy);
        for (int y = 0; y < c.cy; ++y)
            for (int x = 0; x < c.cx; ++x) {
                const int ix = x - c.x, iy = y - c.y;
                const bool inside = ix >= 0 && ix < c.width && iy >= 0 && iy < c.height;
                ASSERT_EQ(icon.mask[size_t(y) * c.cx + x], inside ? 0 : 1) << x << "," << y;
                ASSERT_EQ(IconColour(icon, x, y), inside ? 0xFF000000u | ImageColour(image, ix, c.height - 1 - iy) : 0u)
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
    const IconRead icon = MakeIcon(image, CSize(32, 32));
    ASSERT_EQ(icon.width, 32);
    ASSERT_EQ(icon.height, 32);
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x) {
            EXPECT_EQ(icon.mask[size_t(y) * 32 + x], 0);
            // Rows near the seam may blend; the image's bottom is on top.
            if (y < 14 || y > 17) {
                EXPECT_EQ(IconColour(icon, x, y), y < 14 ? 0xFF1E3CC8u : 0xFFDC3C0Au) << x << "," << y;
            }
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
        const IconRead icon = MakeIcon(image, c.size, c.answer);
        EXPECT_EQ(icon.width, c.answer ? 16 : 0) << c.model << ", " << c.bits;
    }
}

TEST(Clipboard, NoBlockIsRefusedAndPasteDoesNothing) {
    CVxImage image(CM_GRAY, 32, 4, 4, 0, nullptr, 255);
    CVxMiscProcessing misc(&image);
    EXPECT_EQ(misc.CopyToClipboard(nullptr), FALSE);
    EXPECT_EQ(misc.PasteFromClipboard(nullptr), TRUE);
}

namespace {

struct Freed {
    void operator()(BITMAPINFOHEADER* b) const { CVxDIBConvert::DeleteBitmapInfoHeaderMem(b); }
};

// The block's clipboard bytes: header, table and rows as the header counts them.
std::vector<std::uint8_t> ClipboardBlock(CVxImage& image) {
    BITMAPINFOHEADER* raw = nullptr;
    CVxDIBConvert(&image).ConvertTo(&raw);
    const std::unique_ptr<BITMAPINFOHEADER, Freed> block(raw);
    const auto* p = reinterpret_cast<const std::uint8_t*>(raw);
    return {p, p + 40 + raw->biClrUsed * 4 + raw->biSizeImage};
}

CVxImage PaletteImage(unsigned seed) {
    CVxImage image(CM_INDEX, 8, 5, 3, 0, nullptr, 255);
    image.GetPalette().SetPaletteNum(16);
    for (int i = 0; i < 16; ++i) image.GetPalette().GetPalette()[i] = {BYTE(i), BYTE(seed), BYTE(3 * i), BYTE(0)};
    FillRandom(image, seed, 15);
    return image;
}

}  // namespace

#if defined(_WIN32)

std::vector<std::uint8_t> ClipboardDib() {
    std::vector<std::uint8_t> out;
    if (!OpenClipboard(nullptr)) return out;
    if (HANDLE data = GetClipboardData(CF_DIB)) {
        const auto* p = static_cast<const std::uint8_t*>(GlobalLock(data));
        if (p) out.assign(p, p + GlobalSize(data));
        GlobalUnlock(data);
    }
    CloseClipboard();
    return out;
}

TEST(Clipboard, CarriesTheBlockAsCfDibAndLeavesABusyClipboardAlone) {
    CVxImage first = PaletteImage(1), second = PaletteImage(2);
    const std::vector<std::uint8_t> want = ClipboardBlock(first);
    ASSERT_EQ(CVxMiscProcessing(&first).CopyToClipboard(nullptr), TRUE);
    std::vector<std::uint8_t> got = ClipboardDib();
    ASSERT_GE(got.size(), want.size());
    got.resize(want.size());
    EXPECT_EQ(got, want);

    std::promise<void> opened, done;
    // Another thread's window holds the clipboard open (a message-only
    // window: it needs no display).
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
    got = ClipboardDib();
    got.resize(want.size());
    EXPECT_EQ(got, want);
}

#else

// Starts a private Xvfb and answers its display name; empty when it fails.
std::string StartXvfb(pid_t& pid) {
    int fds[2];
    if (pipe(fds) != 0) return {};
    const std::string fd = std::to_string(fds[1]);
    const char* argv[] = {"Xvfb", "-displayfd", fd.c_str(), "-nolisten", "tcp", nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    const int rc = posix_spawnp(&pid, "Xvfb", &actions, nullptr, const_cast<char**>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    std::string number;
    char ch;
    while (rc == 0 && read(fds[0], &ch, 1) == 1 && ch != '\n') number += ch;
    close(fds[0]);
    return rc == 0 && !number.empty() ? ":" + number : std::string();
}

TEST(Clipboard, CarriesTheBlockBehindABmpHeaderAsImageBmp) {
    if (std::system("command -v Xvfb >/dev/null && command -v xclip >/dev/null") != 0)
        GTEST_SKIP() << "needs Xvfb and xclip (Debian packages xvfb, xclip)";
    pid_t xvfb = 0;
    const std::string display = StartXvfb(xvfb);
    ASSERT_FALSE(display.empty()) << "Xvfb did not start";
    const char* before = std::getenv("DISPLAY");
    const std::string saved = before ? before : "";
    setenv("DISPLAY", display.c_str(), 1);
    unsetenv("WAYLAND_DISPLAY");
    CVxImage image = PaletteImage(5);
    const std::vector<std::uint8_t> want = ClipboardBlock(image);
    EXPECT_EQ(CVxMiscProcessing(&image).CopyToClipboard(nullptr), TRUE);
    std::vector<std::uint8_t> got;
    if (FILE* out = popen("xclip -selection clipboard -t image/bmp -o", "r")) {
        for (int ch; (ch = std::fgetc(out)) != EOF;) got.push_back(static_cast<std::uint8_t>(ch));
        pclose(out);
    }
    kill(xvfb, SIGTERM);
    waitpid(xvfb, nullptr, 0);
    if (saved.empty()) unsetenv("DISPLAY");
    else setenv("DISPLAY", saved.c_str(), 1);
    ASSERT_EQ(got.size(), 14 + want.size());
    EXPECT_EQ(std::string(got.begin(), got.begin() + 2), "BM");
    EXPECT_EQ(got[10], 14 + 40 + 64);  // pixel rows behind the 16-entry table
    EXPECT_TRUE(std::equal(want.begin(), want.end(), got.begin() + 14));
}

#endif
