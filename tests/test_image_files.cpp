#include <png.h>
#include <zlib.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

#include "io/image_file.h"
#include "reference_exchange.h"
#include "test_support.h"

using namespace lumora::test;
using lumora::io::ImageFileError;
using lumora::io::ReadImage;
using lumora::io::WriteImage;
namespace fs = std::filesystem;

namespace {

// A file path of its own for every test, removed afterwards.
class TempFile {
public:
    explicit TempFile(const std::string& extension) {
        const auto* info = testing::UnitTest::GetInstance()->current_test_info();
        std::string name = std::string(info->test_suite_name()) + "_" + info->name();
        for (char& c : name)
            if (c == '/') c = '_';
        path_ = (fs::path(testing::TempDir()) / ("lumora_" + name + "_" + std::to_string(counter_++) + extension))
                    .string();
        fs::remove(path_);
    }
    ~TempFile() { fs::remove(path_); }
    const std::string& path() const { return path_; }

    std::vector<std::uint8_t> Bytes() const {
        std::ifstream in(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    void SetBytes(const std::vector<std::uint8_t>& bytes) const {
        std::ofstream out(path_, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    void SetText(const std::string& text) const { SetBytes({text.begin(), text.end()}); }

private:
    std::string path_;
    static inline int counter_ = 0;
};

// Expects `fn` to throw ImageFileError naming `path`.
template <class Fn>
void ExpectFileError(const std::string& path, Fn&& fn, const std::string& reasonPart = "") {
    try {
        fn();
        ADD_FAILURE() << "no ImageFileError for " << path;
    } catch (const ImageFileError& e) {
        EXPECT_EQ(e.path(), path);
        EXPECT_EQ(std::string(e.what()).rfind(path + ": ", 0), 0u) << e.what();
        if (!reasonPart.empty()) {
            EXPECT_NE(e.reason().find(reasonPart), std::string::npos) << e.reason();
        }
    }
}

std::vector<Layout> IntegerLayouts() {
    std::vector<Layout> out;
    for (const Layout& l : AllLayouts())
        if (l.bits <= 16) out.push_back(l);
    return out;
}

}  // namespace

// ---------------------------------------------------------------------------
// Round trips

class PngRoundTrip : public testing::TestWithParam<Layout> {};

TEST_P(PngRoundTrip, KeepsEverySampleAndTheLayout) {
    CVxImage image = MakeImage(GetParam(), 13, 7);  // odd width: rows carry padding
    FillRandom(image, 5);
    TempFile file(".png");
    WriteImage(file.path(), image);
    CVxImage back;
    ReadImage(file.path(), back);
    EXPECT_EQ(back.m_ColorModel, image.m_ColorModel);
    EXPECT_TRUE(SamePixels(back, image));
}

INSTANTIATE_TEST_SUITE_P(Layouts, PngRoundTrip, testing::ValuesIn(IntegerLayouts()), LayoutName);

class PnmRoundTrip : public testing::TestWithParam<Layout> {};

TEST_P(PnmRoundTrip, KeepsEverySampleAndTheLayout) {
    CVxImage image = MakeImage(GetParam(), 11, 6);
    FillRandom(image, 8);
    TempFile file(GetParam().channels == 1 ? ".pgm" : ".ppm");
    WriteImage(file.path(), image);
    CVxImage back;
    ReadImage(file.path(), back);
    EXPECT_EQ(back.m_ColorModel, image.m_ColorModel);
    EXPECT_TRUE(SamePixels(back, image));
}

INSTANTIATE_TEST_SUITE_P(Layouts, PnmRoundTrip, testing::Values(Layout{1, 8}, Layout{1, 16}, Layout{3, 8}, Layout{3, 16}),
                         LayoutName);

class FloatImagesAreWrittenAsEightBit : public testing::TestWithParam<std::string> {};

TEST_P(FloatImagesAreWrittenAsEightBit, ClampedAndTruncated) {
    const float in[] = {-5.0f, 0.9f, 1.5f, 254.99f, 255.0f, 300.0f, std::numeric_limits<float>::quiet_NaN(), 77.7f};
    const int expected[] = {0, 0, 1, 254, 255, 255, 0, 77};
    CVxImage image(CM_GRAY, 32, 8, 1);
    for (int x = 0; x < 8; ++x) SetSample(image, x, 0, 0, in[x]);
    TempFile file(GetParam());
    WriteImage(file.path(), image);
    CVxImage back;
    ReadImage(file.path(), back);
    ASSERT_EQ(back.m_nBitsPerSample, 8);
    for (int x = 0; x < 8; ++x) EXPECT_EQ(Sample(back, x, 0, 0), expected[x]) << "x=" << x;
}

INSTANTIATE_TEST_SUITE_P(Formats, FloatImagesAreWrittenAsEightBit, testing::Values(".png", ".pgm"));

// The image holds blue, green, red; the files hold red, green, blue. Read
// the PNG back with libpng itself so that a swap on both sides can't hide.
TEST(ImageFileChannelOrder, PngStoresRedGreenBlue) {
    CVxImage image(CM_RGBA, 8, 1, 1);
    auto* px = static_cast<std::uint8_t*>(image.Get2DBuffer()[0]);
    px[0] = 10, px[1] = 20, px[2] = 30, px[3] = 40;
    TempFile file(".png");
    WriteImage(file.path(), image);

    png_image decoded{};
    decoded.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&decoded, file.path().c_str()));
    decoded.format = PNG_FORMAT_RGBA;
    std::uint8_t rgba[4] = {};
    ASSERT_TRUE(png_image_finish_read(&decoded, nullptr, rgba, 0, nullptr));
    EXPECT_EQ(rgba[0], 30);
    EXPECT_EQ(rgba[1], 20);
    EXPECT_EQ(rgba[2], 10);
    EXPECT_EQ(rgba[3], 40);
}

TEST(ImageFileChannelOrder, PpmStoresRedGreenBlueAndWideSamplesBigEndian) {
    CVxImage image(CM_RGB, 16, 1, 1);
    auto* px = static_cast<std::uint16_t*>(image.Get2DBuffer()[0]);
    px[0] = 0x0102, px[1] = 0x0304, px[2] = 0x0506;
    TempFile file(".ppm");
    WriteImage(file.path(), image);
    const std::vector<std::uint8_t> bytes = file.Bytes();
    const std::string header = "P6\n1 1\n65535\n";
    ASSERT_EQ(bytes.size(), header.size() + 6);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + header.size()), header);
    EXPECT_EQ(std::vector<std::uint8_t>(bytes.begin() + header.size(), bytes.end()),
              (std::vector<std::uint8_t>{5, 6, 3, 4, 1, 2}));
}

TEST(PnmReading, ToleratesCommentsAndReadsTextFiles) {
    TempFile grey(".pgm");
    grey.SetText("P2\n# a comment\n3 2 # trailing\n# another\n300\n0 1 2\n299 300 7\n");
    CVxImage image;
    ReadImage(grey.path(), image);
    ASSERT_EQ(image.m_ColorModel, CM_GRAY);
    EXPECT_EQ(image.m_nBitsPerSample, 16);
    EXPECT_EQ(Sample(image, 0, 1, 0), 299);
    EXPECT_EQ(Sample(image, 2, 1, 0), 7);

    TempFile colour(".ppm");
    colour.SetText("P3 2 1 255 1 2 3 4 5 6");
    ReadImage(colour.path(), image);
    ASSERT_EQ(image.m_ColorModel, CM_RGB);
    EXPECT_EQ(Sample(image, 1, 0, 0), 6);  // blue
    EXPECT_EQ(Sample(image, 1, 0, 2), 4);  // red

    TempFile binary(".pgm");
    binary.SetText("P5\n#c\n2 1\n#c\n255\nAB");
    ReadImage(binary.path(), image);
    EXPECT_EQ(Sample(image, 0, 0, 0), 'A');
    EXPECT_EQ(Sample(image, 1, 0, 0), 'B');
}

// ---------------------------------------------------------------------------
// Indexed images

class PaletteRoundTrip : public testing::TestWithParam<int> {};

TEST_P(PaletteRoundTrip, KeepsIndicesPaletteAndBits) {
    const int bits = GetParam();
    const int entries = (1 << bits) - (bits > 1 ? 1 : 0);  // not always a full palette
    CVxImage image(CM_INDEX, bits, 9, 5, entries);
    for (int i = 0; i < entries; ++i) {
        tagRGBA* e = image.GetPalette().GetPaletteItem(i);
        *e = tagRGBA{static_cast<BYTE>(i * 3), static_cast<BYTE>(255 - i), static_cast<BYTE>(i * 7 + 1),
                     static_cast<BYTE>(i % 3 == 0 ? 128 : 255)};
    }
    FillRandom(image, 3, entries - 1);
    TempFile file(".png");
    WriteImage(file.path(), image);
    CVxImage back;
    ReadImage(file.path(), back);
    ASSERT_EQ(back.m_ColorModel, CM_INDEX);
    EXPECT_EQ(back.m_nBitsPerSample, bits);
    EXPECT_TRUE(SamePixels(back, image));
    ASSERT_EQ(back.GetPalette().GetPaletteNum(), entries);
    for (int i = 0; i < entries; ++i) {
        const tagRGBA a = *image.GetPalette().GetPaletteItem(i), b = *back.GetPalette().GetPaletteItem(i);
        EXPECT_EQ(std::make_tuple(a.blue, a.green, a.red, a.alpha), std::make_tuple(b.blue, b.green, b.red, b.alpha))
            << "entry " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(BitDepths, PaletteRoundTrip, testing::Values(1, 2, 4, 8));

TEST(PaletteWriting, AllZeroFourthComponentsMeanOpaque) {
    CVxImage image(CM_INDEX, 8, 4, 1, 256);
    image.GetPalette().SetGrayPalette();
    FillRandom(image, 1);
    TempFile file(".png");
    WriteImage(file.path(), image);
    CVxImage back;
    ReadImage(file.path(), back);
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(back.GetPalette().GetPaletteItem(i)->alpha, 255);
        EXPECT_EQ(back.GetPalette().GetPaletteItem(i)->red, image.GetPalette().GetPaletteItem(i)->red);
    }
}

// ---------------------------------------------------------------------------
// Refusals

using Bytes = std::vector<std::uint8_t>;

Bytes Text(const std::string& s) { return {s.begin(), s.end()}; }

// Each case derives its file from a valid PNG made in the test itself (ctest
// runs tests in parallel processes, so nothing is shared on disk).
struct BadFile {
    const char* name;
    const char* extension;
    Bytes (*make)(const Bytes& validPng);
};

Bytes Cut(const Bytes& png, size_t n) { return Bytes(png.begin(), png.begin() + static_cast<long>(n)); }

Bytes FlipByte(const Bytes& png, size_t at) {
    Bytes out = png;
    out[at] ^= 0x55;
    return out;
}

// A valid header promising 60000 x 60000 pixels, followed by nothing.
Bytes HugeHeader(const Bytes& png) {
    Bytes out = Cut(png, 33);
    for (int i : {16, 20}) out[i] = 0, out[i + 1] = 0, out[i + 2] = 0xea, out[i + 3] = 0x60;
    const uLong crc = crc32(0, out.data() + 12, 17);
    for (int i = 0; i < 4; ++i) out[29 + i] = static_cast<std::uint8_t>(crc >> (24 - 8 * i));
    return out;
}

const BadFile kBadFiles[] = {
    {"Empty", ".png", [](const Bytes&) { return Bytes{}; }},
    {"Garbage", ".png", [](const Bytes&) { return Text("hello, this is not an image"); }},
    {"PngSignatureOnly", ".png", [](const Bytes& p) { return Cut(p, 8); }},
    {"PngCutInHeader", ".png", [](const Bytes& p) { return Cut(p, 20); }},
    {"PngCutAfterHeader", ".png", [](const Bytes& p) { return Cut(p, 33); }},
    {"PngCutInPixels", ".png", [](const Bytes& p) { return Cut(p, p.size() / 2); }},
    {"PngCutBeforeEnd", ".png", [](const Bytes& p) { return Cut(p, p.size() - 12); }},
    {"PngCorruptPixels", ".png", [](const Bytes& p) { return FlipByte(p, p.size() / 2); }},
    {"PngBadHeaderChecksum", ".png", [](const Bytes& p) { return FlipByte(p, 29); }},
    {"PngHugeHeaderNoData", ".png", HugeHeader},
    {"PnmTruncated", ".pgm", [](const Bytes&) { return Text("P5\n4 4\n255\nabc"); }},
    {"PnmNoHeaderEnd", ".pgm", [](const Bytes&) { return Text("P5\n4 4\n255"); }},
    {"PnmZeroWidth", ".pgm", [](const Bytes&) { return Text("P5\n0 4\n255\n"); }},
    {"PnmZeroMaxval", ".pgm", [](const Bytes&) { return Text("P5\n1 1\n0\nA"); }},
    {"PnmMaxvalTooLarge", ".pgm", [](const Bytes&) { return Text("P5\n1 1\n65536\nAA"); }},
    {"PnmHugeDimensions", ".ppm", [](const Bytes&) { return Text("P6\n1073741824 1073741824\n255\nxyz"); }},
    {"PnmLetterInHeader", ".pgm", [](const Bytes&) { return Text("P5\n4 x\n255\n"); }},
    {"PnmTextSampleAboveMaxval", ".pgm", [](const Bytes&) { return Text("P2 2 1 10 3 11"); }},
    {"PnmTextTooFewSamples", ".pgm", [](const Bytes&) { return Text("P2 3 1 10 3 4"); }},
    {"Pbm", ".pbm", [](const Bytes&) { return Text("P4\n8 1\n\xff"); }},
};

class UnreadableFiles : public testing::TestWithParam<BadFile> {};

TEST_P(UnreadableFiles, RaiseImageFileErrorAndLeaveTheImageAlone) {
    Bytes validPng;
    {
        CVxImage source(CM_RGB, 8, 40, 30);
        FillRandom(source, 9);
        TempFile png(".png");
        WriteImage(png.path(), source);
        validPng = png.Bytes();
        ASSERT_GT(validPng.size(), 100u);
    }
    TempFile file(GetParam().extension);
    file.SetBytes(GetParam().make(validPng));
    CVxImage image(CM_GRAY, 8, 3, 2);
    ExpectFileError(file.path(), [&] { ReadImage(file.path(), image); });
    EXPECT_EQ(image.m_nWidth, 3);
    EXPECT_EQ(image.m_ColorModel, CM_GRAY);
}

INSTANTIATE_TEST_SUITE_P(Cases, UnreadableFiles, testing::ValuesIn(kBadFiles),
                         [](const testing::TestParamInfo<BadFile>& info) { return std::string(info.param.name); });

TEST(UnreadableFiles, MissingFileNamesTheFile) {
    const std::string path = (fs::path(testing::TempDir()) / "lumora_no_such_file.png").string();
    CVxImage image;
    ExpectFileError(path, [&] { ReadImage(path, image); }, "No such file");
}

struct UnwritableCase {
    const char* name;
    const char* extension;
    COLOR_MODEL model;
    int bits;
    int paletteSize;
    const char* reason;
};

class UnwritableImages : public testing::TestWithParam<UnwritableCase> {};

TEST_P(UnwritableImages, RaiseImageFileErrorAndLeaveNoFile) {
    const UnwritableCase& c = GetParam();
    CVxImage image(c.model, c.bits, 4, 3, c.paletteSize);
    if (c.model == CM_INDEX) FillRandom(image, 2, 255);
    TempFile file(c.extension);
    file.SetText("previous content");
    ExpectFileError(file.path(), [&] { WriteImage(file.path(), image); }, c.reason);
    // A refusal found before writing keeps whatever was there.
    EXPECT_EQ(file.Bytes(), Text("previous content"));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, UnwritableImages,
    testing::Values(UnwritableCase{"Cmyk", ".png", CM_CMYK, 8, 0, "colour model 12"},
                    UnwritableCase{"Hsi", ".png", CM_HSI, 32, 0, "colour model 13"},
                    UnwritableCase{"TooManyBits", ".png", CM_GRAY, 40, 0, "40 bits"},
                    UnwritableCase{"UnknownExtension", ".jpg", CM_GRAY, 8, 0, "extension"},
                    UnwritableCase{"NoExtension", "", CM_GRAY, 8, 0, "extension"},
                    UnwritableCase{"RgbAsPgm", ".pgm", CM_RGB, 8, 0, "PGM"},
                    UnwritableCase{"GreyAsPpm", ".ppm", CM_GRAY, 8, 0, "PPM"},
                    UnwritableCase{"AlphaAsPnm", ".pnm", CM_RGBA, 8, 0, "grey and RGB"},
                    UnwritableCase{"IndexAsPnm", ".pnm", CM_INDEX, 8, 256, "grey and RGB"},
                    UnwritableCase{"IndexWithoutPalette", ".png", CM_INDEX, 8, 0, "palette"},
                    UnwritableCase{"IndexBeyondPalette", ".png", CM_INDEX, 8, 4, "beyond the palette"}),
    [](const testing::TestParamInfo<UnwritableCase>& info) { return std::string(info.param.name); });

TEST(UnwritableImages, NotCreatedImageAndMissingFolder) {
    CVxImage empty;
    TempFile file(".png");
    ExpectFileError(file.path(), [&] { WriteImage(file.path(), empty); }, "not created");
    CVxImage image(CM_GRAY, 8, 2, 2);
    const std::string path = (fs::path(testing::TempDir()) / "lumora_no_such_dir" / "x.png").string();
    ExpectFileError(path, [&] { WriteImage(path, image); });
}

TEST(ImageFileFormat, ComesFromTheContentWhenReading) {
    CVxImage image(CM_GRAY, 8, 5, 5);
    FillRandom(image, 4);
    TempFile file(".png");
    WriteImage(file.path(), image);
    TempFile renamed(".ppm");
    fs::copy_file(file.path(), renamed.path());
    CVxImage back;
    ReadImage(renamed.path(), back);
    EXPECT_TRUE(SamePixels(back, image));
}

// ---------------------------------------------------------------------------
// BMP files, checked against an independent decoder and encoder (Debian's
// python3-pil through /usr/bin/python3).

namespace {

bool HavePil() { return std::system("/usr/bin/python3 -c 'import PIL' >/dev/null 2>&1") == 0; }

// Runs `script` with the arguments; true when it exits 0.
bool RunPython(const std::string& script, const std::string& args) {
    TempFile file(".py");
    file.SetText(script);
    return std::system(("/usr/bin/python3 " + file.path() + " " + args).c_str()) == 0;
}

// n pairs of temporary files, a .bmp and its reference, and their paths as
// one argument string.
std::string FilePairs(size_t n, const std::string& reference, std::vector<std::unique_ptr<TempFile>>& files) {
    std::string args;
    for (size_t i = 0; i < 2 * n; ++i) {
        files.push_back(std::make_unique<TempFile>(i % 2 ? reference : ".bmp"));
        args += files.back()->path() + " ";
    }
    return args;
}

CVxImage PaletteImage(int bits, int width, int height, int entries, unsigned seed) {
    CVxImage image(CM_INDEX, bits, width, height, entries);
    FillRandom(image, seed, entries - 1);
    for (int i = 0; i < entries; ++i)
        image.GetPalette().GetPalette()[i] = {BYTE(7 * i), BYTE(255 - 3 * i), BYTE(11 * i), 0};
    return image;
}

}  // namespace

TEST(BmpFiles, LibraryFilesRoundTripByteForByteAndOpenInPil) {
    if (!HavePil()) GTEST_SKIP() << "no python3-pil";
    CVxImage grey = MakeImage({1, 8}, 3, 4);
    FillRandom(grey, 21);
    CVxImage images[] = {MakeImage({3, 8}, 5, 3), MakeImage({4, 8}, 2, 3), PaletteImage(8, 5, 3, 16, 22),
                         PaletteImage(1, 9, 3, 2, 23), grey};
    FillRandom(images[0], 24);
    FillRandom(images[1], 25);
    std::vector<std::unique_ptr<TempFile>> files;
    const std::string args = FilePairs(std::size(images), ".png", files);
    for (size_t i = 0; i < std::size(images); ++i) {
        CVxImage& image = images[i];
        WriteImage(files[2 * i]->path(), image);
        WriteImage(files[2 * i + 1]->path(), image);

        // Grey comes back as a palette image with a grey table.
        CVxImage back;
        ReadImage(files[2 * i]->path(), back);
        EXPECT_EQ(back.m_ColorModel, image.m_ColorModel == CM_GRAY ? CM_INDEX : image.m_ColorModel);
        TempFile again(".bmp");
        WriteImage(again.path(), back);
        EXPECT_EQ(again.Bytes(), files[2 * i]->Bytes()) << "model " << image.m_ColorModel;
    }
    // Each BMP equals its PNG in PIL's eyes (colour only: PIL reads 32-bit
    // BI_RGB files without alpha).
    EXPECT_TRUE(RunPython(R"(
import sys, numpy as np
from PIL import Image
a = sys.argv[1:]
for bmp, png in zip(a[::2], a[1::2]):
    x = np.asarray(Image.open(bmp).convert('RGB')); y = np.asarray(Image.open(png).convert('RGB'))
    if x.shape != y.shape or (x != y).any(): sys.exit(bmp + ' differs from ' + png)
)", args));
}

TEST(BmpFiles, PilFilesOpenWithEqualPixels) {
    if (!HavePil()) GTEST_SKIP() << "no python3-pil";
    std::vector<std::unique_ptr<TempFile>> files;
    const std::string args = FilePairs(5, ".ppm", files);
    // PIL writes 1-, 8-bit palette, 8-bit grey and 24-bit files; it has no
    // 4-bit writer, so that file is assembled here and decoded by PIL. Every
    // file's PIL decoding goes beside it as a PPM.
    ASSERT_TRUE(RunPython(R"(
import sys, struct, numpy as np
from PIL import Image
a = sys.argv[1:]
rng = np.random.default_rng(5)
Image.fromarray(rng.integers(0, 2, (5, 13), dtype=np.uint8) * 255, 'L').convert('1').save(a[0])
rows = rng.integers(0, 256, (3, 4), dtype=np.uint8).tobytes()
table = bytes(v for i in range(16) for v in (i, 255 - i, 16 * i, 0))
info = struct.pack('<IiiHHIIiiII', 40, 7, 3, 1, 4, 0, len(rows), 0, 0, 16, 0)
open(a[2], 'wb').write(b'BM' + struct.pack('<IHHI', 14 + 40 + 64 + len(rows), 0, 0, 118) + info + table + rows)
p = Image.fromarray(rng.integers(0, 200, (4, 6), dtype=np.uint8), 'P')
p.putpalette(list(rng.integers(0, 256, 600)))
p.save(a[4])
Image.fromarray(rng.integers(0, 256, (3, 5), dtype=np.uint8), 'L').save(a[6])
Image.fromarray(rng.integers(0, 256, (4, 7, 3), dtype=np.uint8), 'RGB').save(a[8])
for bmp, ppm in zip(a[::2], a[1::2]):
    Image.open(bmp).convert('RGB').save(ppm)
)", args));
    for (size_t i = 0; i < files.size(); i += 2) {
        CVxImage bmp, ppm;
        ReadImage(files[i]->path(), bmp);
        ReadImage(files[i + 1]->path(), ppm);
        ASSERT_EQ(bmp.m_nWidth, ppm.m_nWidth);
        ASSERT_EQ(bmp.m_nHeight, ppm.m_nHeight);
        for (int y = 0; y < bmp.m_nHeight; ++y)
            for (int x = 0; x < bmp.m_nWidth; ++x)
                ASSERT_EQ(ColourAt(bmp, x, y), ColourAt(ppm, x, y)) << files[i]->path() << " " << x << ", " << y;
    }
}

TEST(BmpFiles, HeaderVariantsGapsTopDownRowsAndMaskedPixelsReadAlike) {
    // Two rows of two pixels; top row first here, in blue, green, red order.
    const std::vector<std::uint8_t> top = {1, 2, 3, 4, 5, 6, 0, 0}, bottom = {7, 8, 9, 10, 11, 12, 0, 0};
    auto concat = [](std::vector<std::uint8_t> a, const std::vector<std::uint8_t>& b) {
        a.insert(a.end(), b.begin(), b.end());
        return a;
    };
    auto file = [&](std::vector<std::uint8_t> block, std::uint32_t pixelsAt, std::uint32_t gap) {
        std::vector<std::uint8_t> out = {'B', 'M'};
        Put(out, 14 + block.size() + gap, 4);
        Put(out, 0, 4);
        Put(out, 14 + pixelsAt + gap, 4);
        block.insert(block.begin() + pixelsAt, gap, 0xEE);
        return concat(out, block);
    };
    BlockSpec v5{24, 2, -2, 0, 0, {}, concat(top, bottom), 124};
    // 32 bits with masks naming the bytes red, green, blue, unused.
    std::vector<std::uint8_t> masks, masked;
    Put(masks, 0xFF, 4), Put(masks, 0xFF00, 4), Put(masks, 0xFF0000, 4);
    for (const auto* row : {&bottom, &top})
        for (int x = 0; x < 6; x += 3) masked.insert(masked.end(), {(*row)[x + 2], (*row)[x + 1], (*row)[x], 9});
    const std::vector<std::uint8_t> variants[] = {
        file(MakeBlock({24, 2, 2, 0, 0, {}, concat(bottom, top)}), 40, 6),
        file(MakeBlock(v5), 124, 0),
        file(MakeBlock({32, 2, 2, 0, 3, masks, masked}), 52, 3),
    };
    for (const std::vector<std::uint8_t>& bytes : variants) {
        TempFile path(".bmp");
        path.SetBytes(bytes);
        CVxImage image;
        ReadImage(path.path(), image);
        ASSERT_EQ(image.m_nHeight, 2);
        EXPECT_EQ(ColourAt(image, 1, 0), 0x060504u);
        EXPECT_EQ(ColourAt(image, 0, 1), 0x090807u);
        if (image.m_ColorModel == CM_RGBA) EXPECT_EQ(Sample(image, 0, 0, 3), 255);
    }
}
