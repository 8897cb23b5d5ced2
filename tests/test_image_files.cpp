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

using Bytes = std::vector<std::uint8_t>;

Bytes Text(const std::string& s) { return {s.begin(), s.end()}; }

// A file path of its own for every file of a test, removed afterwards.
struct TempFile {
    explicit TempFile(const std::string& extension) {
        static int counter = 0;
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        std::string name = std::string(test->test_suite_name()) + "_" + test->name() + "_" + std::to_string(counter++);
        std::replace(name.begin(), name.end(), '/', '_');
        path_ = (fs::path(testing::TempDir()) / ("lumora_" + name + extension)).string();
        fs::remove(path_);
    }
    ~TempFile() { fs::remove(path_); }
    const std::string& path() const { return path_; }
    Bytes Read() const {
        std::ifstream in(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    void Write(const Bytes& bytes) const {
        std::ofstream(path_, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    }
    std::string path_;
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

}  // namespace

// Round trips

class ImageFileRoundTrip : public testing::TestWithParam<Layout> {};

TEST_P(ImageFileRoundTrip, KeepsEverySampleAndTheLayout) {
    const Layout layout = GetParam();
    CVxImage image = MakeImage(layout, 13, 7), back;  // odd width: rows carry padding
    FillRandom(image, 5);
    // Float images are written as 8-bit samples, clamped and truncated.
    const float in[] = {-5.0f, 0.9f, 1.5f, 254.99f, 255.0f, 300.0f, std::numeric_limits<float>::quiet_NaN(), 77.7f};
    const double eightBit[] = {0, 0, 1, 254, 255, 255, 0, 77};
    if (layout.bits == 32) ForEachSample(image, [&](int x, int y, int c) { SetSample(image, x, y, c, in[(x + y + c) % 8]); });
    for (const std::string extension : {".png", ".pgm", ".ppm"}) {
        if (extension != ".png" && layout.channels != (extension == ".pgm" ? 1 : 3)) continue;
        TempFile file(extension);
        WriteImage(file.path(), image);
        ReadImage(file.path(), back);
        EXPECT_EQ(back.m_ColorModel, image.m_ColorModel) << extension;
        if (layout.bits == 32)
            ForEachSample(back, [&](int x, int y, int c) { ASSERT_EQ(Sample(back, x, y, c), eightBit[(x + y + c) % 8]); });
        else
            EXPECT_TRUE(SamePixels(back, image)) << extension;
    }
}

LUMORA_ALL_LAYOUTS(ImageFileRoundTrip);

// The image holds blue, green, red; the files hold red, green, blue. The PNG
// is read back with libpng itself so that a swap on both sides can't hide.
TEST(ImageFileChannelOrder, FilesStoreRedGreenBlueAndWideSamplesBigEndian) {
    CVxImage image(CM_RGBA, 8, 1, 1), wide(CM_RGB, 16, 1, 1);
    const std::uint8_t bgra[4] = {10, 20, 30, 40};
    const std::uint16_t bgr[3] = {0x0102, 0x0304, 0x0506};
    std::memcpy(image.GetBuffer(), bgra, 4);
    std::memcpy(wide.GetBuffer(), bgr, 6);
    TempFile png(".png"), ppm(".ppm");
    WriteImage(png.path(), image);
    WriteImage(ppm.path(), wide);
    png_image decoded{};
    decoded.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&decoded, png.path().c_str()));
    decoded.format = PNG_FORMAT_RGBA;
    std::uint8_t rgba[4] = {};
    ASSERT_TRUE(png_image_finish_read(&decoded, nullptr, rgba, 0, nullptr));
    EXPECT_EQ(Bytes(rgba, rgba + 4), (Bytes{30, 20, 10, 40}));
    EXPECT_EQ(ppm.Read(), Text(std::string("P6\n1 1\n65535\n\5\6\3\4\1\2", 19)));
}

TEST(PnmReading, ToleratesCommentsAndReadsTextFiles) {
    const struct { const char* extension; const char* text; int bits; double samples[4]; } cases[] = {
        {".pgm", "P2\n# a comment\n3 2 # trailing\n# another\n300\n0 1 2\n299 300 7\n", 16, {0, 1, 2, 299}},
        {".ppm", "P3 2 1 255 1 2 3 4 5 6", 8, {3, 2, 1, 6}},  // blue, green, red
        {".pgm", "P5\n#c\n2 1\n#c\n255\nAB", 8, {'A', 'B'}},
    };
    for (const auto& c : cases) {
        TempFile file(c.extension);
        file.Write(Text(c.text));
        CVxImage image;
        ReadImage(file.path(), image);
        EXPECT_EQ(image.m_nBitsPerSample, c.bits) << c.text;
        const int C = image.m_nChannel, W = image.m_nWidth;
        for (int i = 0; i < 4 && i < W * image.m_nHeight * C; ++i)
            EXPECT_EQ(Sample(image, i / C % W, i / C / W, i % C), c.samples[i]) << c.text << " sample " << i;
    }
}

// ---------------------------------------------------------------------------
// Indexed images

// Indices, palette and bits survive; a palette whose fourth components are
// all zero is written opaque.
TEST(PaletteRoundTrip, KeepsIndicesPaletteAndBits) {
    for (int bits : {1, 2, 4, 8, 0}) {
        const int entries = bits == 0 ? 256 : (1 << bits) - (bits > 1 ? 1 : 0);  // not always a full palette
        CVxImage image(CM_INDEX, bits == 0 ? 8 : bits, 9, 5, entries), back;
        for (int i = 0; i < entries; ++i)
            *image.GetPalette().GetPaletteItem(i) = tagRGBA{BYTE(i * 3), BYTE(255 - i), BYTE(i * 7 + 1),
                                                            BYTE(bits == 0 ? 0 : i % 3 == 0 ? 128 : 255)};
        FillRandom(image, 3, entries - 1);
        TempFile file(".png");
        WriteImage(file.path(), image);
        ReadImage(file.path(), back);
        ASSERT_EQ(back.m_ColorModel, CM_INDEX);
        EXPECT_EQ(back.m_nBitsPerSample, image.m_nBitsPerSample);
        EXPECT_TRUE(SamePixels(back, image));
        ASSERT_EQ(back.GetPalette().GetPaletteNum(), entries);
        for (int i = 0; i < entries; ++i) {
            tagRGBA want = *image.GetPalette().GetPaletteItem(i);
            if (bits == 0) want.alpha = 255;
            EXPECT_EQ(std::memcmp(&want, back.GetPalette().GetPaletteItem(i), sizeof want), 0) << bits << " entry " << i;
        }
    }
}

// ---------------------------------------------------------------------------
// Refusals

// Each case derives its file from a valid PNG made in the test itself (ctest
// runs tests in parallel processes, so nothing is shared on disk).
struct BadFile { const char* name; const char* extension; Bytes (*make)(const Bytes& validPng); };

Bytes Cut(const Bytes& png, size_t n) { return Bytes(png.begin(), png.begin() + static_cast<long>(n)); }

Bytes FlipByte(Bytes png, size_t at) { return png[at] ^= 0x55, png; }

// A NumPy 1.0 file: magic, version, header length, then `dict` and `data`.
Bytes Npy(const std::string& dict, size_t dataBytes) {
    Bytes out = Text(std::string("\x93NUMPY\x01\x00", 8) + std::string(1, char(dict.size())) + '\0' + dict);
    out.resize(out.size() + dataBytes, 0);
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
    {"NpyTruncated", ".npy", [](const Bytes&) { return Npy("{'descr': '<f4', 'fortran_order': False, 'shape': (2, 2, 3), }\n", 47); }},
    {"NpyDoubles", ".npy", [](const Bytes&) { return Npy("{'descr': '<f8', 'fortran_order': False, 'shape': (1, 1, 3), }\n", 24); }},
    {"NpyFortranOrder", ".npy", [](const Bytes&) { return Npy("{'descr': '|u1', 'fortran_order': True, 'shape': (1, 1, 4), }\n", 4); }},
    {"PfmTruncated", ".pfm", [](const Bytes&) { return Text("PF\n2 1\n-1.0\n" + std::string(23, 'x')); }},
};

class UnreadableFiles : public testing::TestWithParam<BadFile> {};

TEST_P(UnreadableFiles, RaiseImageFileErrorAndLeaveTheImageAlone) {
    Bytes validPng;
    {
        CVxImage source(CM_RGB, 8, 40, 30);
        FillRandom(source, 9);
        TempFile png(".png");
        WriteImage(png.path(), source);
        validPng = png.Read();
        ASSERT_GT(validPng.size(), 100u);
    }
    TempFile file(GetParam().extension);
    file.Write(GetParam().make(validPng));
    CVxImage image(CM_GRAY, 8, 3, 2);
    ExpectFileError(file.path(), [&] { ReadImage(file.path(), image); });
    EXPECT_EQ(image.m_nWidth, 3);
    EXPECT_EQ(image.m_ColorModel, CM_GRAY);
}

INSTANTIATE_TEST_SUITE_P(Cases, UnreadableFiles, testing::ValuesIn(kBadFiles),
                         [](const testing::TestParamInfo<BadFile>& info) { return std::string(info.param.name); });

struct UnwritableCase { const char* name; const char* extension; COLOR_MODEL model; int bits, paletteSize; const char* reason; };

class UnwritableImages : public testing::TestWithParam<UnwritableCase> {};

TEST_P(UnwritableImages, RaiseImageFileErrorAndLeaveNoFile) {
    const UnwritableCase& c = GetParam();
    CVxImage image(c.model, c.bits, 4, 3, c.paletteSize);
    if (c.model == CM_INDEX) FillRandom(image, 2, 255);
    TempFile file(c.extension);
    file.Write(Text("previous content"));
    ExpectFileError(file.path(), [&] { WriteImage(file.path(), image); }, c.reason);
    // A refusal found before writing keeps whatever was there.
    EXPECT_EQ(file.Read(), Text("previous content"));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, UnwritableImages,
    testing::Values(UnwritableCase{"Cmyk", ".png", CM_CMYK, 8, 0, "stored as .npy"},
                    UnwritableCase{"Hsi", ".png", CM_HSI, 32, 0, "stored as .npy or .pfm"},
                    UnwritableCase{"GreyAsNpy", ".npy", CM_GRAY, 8, 0, "NumPy files hold"},
                    UnwritableCase{"CmykAsPfm", ".pfm", CM_CMYK, 8, 0, "write CMYK as .npy"},
                    UnwritableCase{"ByteHsiAsNpy", ".npy", CM_HSI, 8, 0, "8 bits per sample"},
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

TEST(ImageFileErrors, NameTheFile) {
    CVxImage empty, image(CM_GRAY, 8, 2, 2);
    const std::string missing = (fs::path(testing::TempDir()) / "lumora_no_such_file.png").string();
    ExpectFileError(missing, [&] { ReadImage(missing, image); }, "No such file");
    TempFile file(".png");
    ExpectFileError(file.path(), [&] { WriteImage(file.path(), empty); }, "not created");
    const std::string path = (fs::path(testing::TempDir()) / "lumora_no_such_dir" / "x.png").string();
    ExpectFileError(path, [&] { WriteImage(path, image); });
}

TEST(ImageFileFormat, ComesFromTheContentWhenReading) {
    CVxImage image(CM_GRAY, 8, 5, 5), back;
    FillRandom(image, 4);
    TempFile file(".png"), renamed(".ppm");
    WriteImage(file.path(), image);
    fs::copy_file(file.path(), renamed.path());
    ReadImage(renamed.path(), back);
    EXPECT_TRUE(SamePixels(back, image));
}

// ---------------------------------------------------------------------------
// NumPy and PFM sample arrays

struct ArrayCase {
    const char* name;
    const char* extension;
    COLOR_MODEL model;
    int bits;
};

class SampleArrayRoundTrip : public testing::TestWithParam<ArrayCase> {};

TEST_P(SampleArrayRoundTrip, RestoresEverySampleWithTheModelNamed) {
    const ArrayCase& c = GetParam();
    CVxImage image(c.model, c.bits, 7, 5);
    FillRandom(image, 21, c.bits == 32 ? 360 : -1);
    if (c.bits == 32) SetSample(image, 0, 0, 1, -0.25);
    TempFile file(c.extension);
    WriteImage(file.path(), image);
    CVxImage back;
    ExpectFileError(file.path(), [&] { ReadImage(file.path(), back); }, "does not record its colour model");
    ReadImage(file.path(), back, {c.model});
    EXPECT_EQ(back.m_ColorModel, c.model);
    EXPECT_TRUE(SamePixels(back, image));
    const auto shape = lumora::io::ReadSampleArrayShape(file.path());
    ASSERT_TRUE(shape.has_value());
    EXPECT_EQ(shape->channels, back.m_nChannel);
    EXPECT_EQ(shape->bitsPerSample, c.bits);
}

INSTANTIATE_TEST_SUITE_P(Cases, SampleArrayRoundTrip,
                         testing::Values(ArrayCase{"HsiNpy", ".npy", CM_HSI, 32}, ArrayCase{"YCbCrPfm", ".pfm", CM_YCbCr, 32},
                                         ArrayCase{"CmykNpy", ".npy", CM_CMYK, 8}, ArrayCase{"Cmyk16Npy", ".npy", CM_CMYK, 16}),
                         [](const testing::TestParamInfo<ArrayCase>& info) { return std::string(info.param.name); });

// Files as other programs write them: NumPy's own header, and a PFM whose
// rows run bottom to top, big-endian (positive scale).
TEST(SampleArrayReading, ReadsForeignFilesInTheirOwnOrder) {
    TempFile npy(".npy");
    Bytes bytes = Npy("{'descr': '<f4', 'fortran_order': False, 'shape': (2, 1, 3), }\n", 0);
    for (std::uint8_t v = 1; v <= 6; ++v) bytes.insert(bytes.end(), {0, 0, std::uint8_t(0x80 + v), 0x40});
    npy.Write(bytes);
    CVxImage image;
    ReadImage(npy.path(), image, {CM_HLS});
    EXPECT_EQ(Sample(image, 0, 1, 0), 4.125);  // little-endian 0x40840000, the fourth float
    EXPECT_EQ(Sample(image, 0, 0, 2), 4.09375);  // 0x40830000, the third

    TempFile pfm(".pfm");
    bytes = Text("PF\n1 2\n1.0\n");
    for (std::uint8_t high : {0x40, 0x3f})  // big-endian 2.0f (bottom row, stored first), then 0.5f
        for (int c = 0; c < 3; ++c) bytes.insert(bytes.end(), {high, 0, 0, 0});
    pfm.Write(bytes);
    ReadImage(pfm.path(), image, {CM_HSI});
    EXPECT_EQ(Sample(image, 0, 0, 0), 0.5);
    EXPECT_EQ(Sample(image, 0, 1, 2), 2.0);
    ExpectFileError(pfm.path(), [&] { ReadImage(pfm.path(), image, {CM_CMYK}); }, "CMYK takes 4");
}

// BMP files, checked against an independent decoder and encoder (Debian's
// python3-pil through /usr/bin/python3).

namespace {

// Under Wine std::system has no way to the build machine's Python.
#if defined(_WIN32)
bool HavePil() { return false; }
#else
bool HavePil() { return std::system("/usr/bin/python3 -c 'import PIL' >/dev/null 2>&1") == 0; }
#endif

// Runs `script` with the arguments; true when it exits 0.
bool RunPython(const std::string& script, const std::string& args) {
    TempFile file(".py");
    file.Write(Text(script));
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
    if (!HavePil()) GTEST_SKIP() << "no python3-pil (nor Linux programs under Wine)";
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
        EXPECT_EQ(again.Read(), files[2 * i]->Read()) << "model " << image.m_ColorModel;
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
    if (!HavePil()) GTEST_SKIP() << "no python3-pil (nor Linux programs under Wine)";
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
        path.Write(bytes);
        CVxImage image;
        ReadImage(path.path(), image);
        ASSERT_EQ(image.m_nHeight, 2);
        EXPECT_EQ(ColourAt(image, 1, 0), 0x060504u);
        EXPECT_EQ(ColourAt(image, 0, 1), 0x090807u);
        if (image.m_ColorModel == CM_RGBA) {
            EXPECT_EQ(Sample(image, 0, 0, 3), 255);
        }
    }
}
