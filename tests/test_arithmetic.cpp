// Constant and operand arithmetic against the per-sample rules.
#include <climits>
#include <cmath>
#include <limits>

#include "reference_point.h"
#include "test_support.h"

using namespace lumora::test;

namespace {

const CRect kWhole(-1, -1, -1, -1);

int RunOp(CVxArithmeticProcessing& a, Op op, bool floatConstant, long long ci, float cf, CRect rect = kWhole) {
    const int v = static_cast<int>(ci);
    if (op == Op::Add) return floatConstant ? a.ADD(cf, rect) : a.ADD(v, rect);
    if (op == Op::Sub) return floatConstant ? a.SUB(cf, rect) : a.SUB(v, rect);
    return floatConstant ? a.MUL(cf, rect) : a.MUL(v, rect);
}

// Every sample of `image` is rule(sample of `before`) where inside(x, y), else unchanged.
template <class Rule, class Inside>
void ExpectRule(CVxImage& image, CVxImage& before, Rule rule, Inside inside, const std::string& what) {
    ForEachSample(image, [&](int x, int y, int c) {
        const double p = Sample(before, x, y, c);
        ASSERT_EQ(Sample(image, x, y, c), inside(x, y) ? rule(p) : p) << what << " at " << x << "," << y << "/" << c;
    });
}

bool Everywhere(int, int) { return true; }

}  // namespace

class ConstantArithmetic : public testing::TestWithParam<Layout> {};

TEST_P(ConstantArithmetic, EverySampleOfTheRegionFollowsTheRule) {
    const Layout layout = GetParam();
    const bool processed = layout.channels != 2 && !(layout.bits == 32 && layout.channels > 1);
    const long long ints[] = {-300, -20, -1, 0, 1, 7, 200, 255, 300, 70000, INT_MIN, INT_MAX};
    const float floats[] = {-20.5f, -0.25f, 0.0f, 0.5f, 0.7f, 2.7f, 254.5f, 300.0f, -1e10f, 1e10f};
    for (Op op : {Op::Add, Op::Sub, Op::Mul})
        for (int n = 0; n < 22; ++n) {
            const bool isFloat = n >= 12;
            const long long ci = isFloat ? 0 : ints[n];
            const float cf = isFloat ? floats[n - 12] : 0.0f;
            CVxImage image = MakeImage(layout, 11, 6);
            FillRandom(image, 17 + n, layout.bits == 32 ? 600.0 : -1);
            CVxImage before(image);
            CVxArithmeticProcessing arithmetic(&image);
            ASSERT_TRUE(RunOp(arithmetic, op, isFloat, ci, cf, CRect(2, 1, 8, 4)));
            ExpectRule(image, before, [&](double p) { return ConstantRule(op, isFloat, ci, cf, p, layout.bits); },
                       [&](int x, int y) { return processed && x >= 2 && x <= 8 && y >= 1 && y <= 4; },
                       "op " + std::to_string(int(op)) + " constant " + std::to_string(isFloat ? cf : ci));
        }
    CVxImage image = MakeImage(layout, 6, 4);
    CVxArithmeticProcessing arithmetic(&image);
    EXPECT_FALSE(arithmetic.ADD(5, CRect(6, 0, 9, 3)));  // wholly outside
    EXPECT_FALSE(arithmetic.MUL(2, CRect(0, 4, 5, 4)));
}

LUMORA_ALL_LAYOUTS(ConstantArithmetic);

TEST(ConstantArithmetic, NamedCases) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const struct {
        int bits;
        double sample;
        Op op;
        bool floatConstant;
        long long ci;
        float cf;
        double stored;
    } cases[] = {
        {8, 10, Op::Add, false, -20, 0, 246},         // a negative sum wraps: no lower bound
        {16, 1000, Op::Add, false, 1, 0, 255},        // 16-bit samples stay on the 8-bit scale
        {16, 1000, Op::Sub, false, 1, 0, 231},        // no upper bound: low 8 bits of 999
        {8, 5, Op::Mul, true, 0, 0.7f, 3},            // 3.49999994 + 0.5 stays below 4 in double
        {32, 0.99999994, Op::Add, true, 0, 1.0f, 1},  // the double sum stays below 2
        {32, 10.7, Op::Add, false, -20, 0, 247},      // -9.3 truncates to -9, low 8 bits
        {8, 1, Op::Add, false, INT_MAX, 0, 255},      // overflowing sums are taken at their true value
        {8, 10, Op::Sub, false, INT_MIN, 0, 10},
        {8, 1, Op::Mul, false, INT_MIN, 0, 0},
        {8, 9, Op::Add, true, 0, nan, 255},           // not <= 255
        {8, 9, Op::Sub, true, 0, nan, 0},             // NaN truncates to INT_MIN
    };
    for (const auto& c : cases) {
        CVxImage image(CM_GRAY, c.bits, 1, 1);
        SetSample(image, 0, 0, 0, c.sample);
        CVxArithmeticProcessing arithmetic(&image);
        ASSERT_TRUE(RunOp(arithmetic, c.op, c.floatConstant, c.ci, c.cf));
        EXPECT_EQ(Sample(image, 0, 0, 0), c.stored) << c.bits << "-bit " << c.sample << " op " << int(c.op);
    }
    CVxArithmeticProcessing unbound;
    EXPECT_FALSE(unbound.ADD(1));
}

// Integer samples take fast forms: whole-vector ones that differ by the sign
// and size of an integer constant, and for 8-bit samples with a float
// constant forms matched against the exact table, or the table itself. Every
// sample value meets constants near the edges of those forms, on rows long
// enough for the vector loop and with a ragged tail.
TEST(ConstantArithmetic, FastFormsMatchTheRuleForEveryValueOnLongRows) {
    std::vector<long long> ints = {-65537, -65536, -65535, -65281, 65535, 65536, 70000, 1 << 20, INT_MIN, INT_MAX};
    for (long long c = -530; c <= 530; ++c) ints.push_back(c);
    for (int bits : {8, 16})
        for (int channels : {1, 3}) {
            CVxImage start = MakeImage(Layout{channels, bits}, 263, 2), image;
            ForEachSample(start, [&](int x, int y, int c) {
                const int v = (x + 37 * c + 101 * y) % 256;
                SetSample(start, x, y, c, bits == 8 ? v : (y == 0 ? v + 256 * (x % 3) : 65535 - v));
            });
            for (Op op : {Op::Add, Op::Sub, Op::Mul})
                for (size_t n = 0; n < ints.size() + (bits == 8 ? 1601 : 0); ++n) {
                    const bool isFloat = n >= ints.size();
                    const long long ci = isFloat ? 0 : ints[n];
                    const int step = static_cast<int>(n - ints.size()) - 400;
                    const float cf = !isFloat ? 0.0f
                                     : op == Op::Mul ? static_cast<float>(step) * 0.01f + 0.003f * (step % 7)
                                                     : static_cast<float>(step) * 0.37f - 120.0f;
                    image = start;
                    CVxArithmeticProcessing arithmetic(&image);
                    ASSERT_TRUE(RunOp(arithmetic, op, isFloat, ci, cf));
                    ExpectRule(image, start, [&](double p) { return ConstantRule(op, isFloat, ci, cf, p, bits); },
                               Everywhere, std::to_string(bits) + "-bit constant " + std::to_string(isFloat ? cf : ci));
                }
        }
}

TEST(Brightness, AddsOrSubtractsDownToZero) {
    const unsigned char start[] = {0, 3, 10, 128, 250, 255};
    const struct {
        int value;
        unsigned char want[6];
    } cases[] = {{0, {0, 3, 10, 128, 250, 255}}, {-5, {0, 0, 5, 123, 245, 250}}, {10, {10, 13, 20, 138, 255, 255}},
                 {INT_MIN, {0, 0, 0, 0, 0, 0}}};
    for (const auto& c : cases) {
        CVxImage image(CM_GRAY, 8, 6, 1);
        std::memcpy(image.GetBuffer(), start, 6);
        ASSERT_TRUE(CVxBrightnessProcessing(&image).Brightness(c.value));
        EXPECT_EQ(std::memcmp(image.GetBuffer(), c.want, 6), 0) << c.value;
    }
    EXPECT_FALSE(CVxBrightnessProcessing().Brightness(3));
    // Zero goes through SUB, which has no upper clamp: a 16-bit 1000 keeps its low byte instead of ADD's 255.
    CVxImage wide(CM_GRAY, 16, 1, 1);
    static_cast<std::uint16_t*>(wide.GetBuffer())[0] = 1000;
    ASSERT_TRUE(CVxBrightnessProcessing(&wide).Brightness(0));
    EXPECT_EQ(static_cast<std::uint16_t*>(wide.GetBuffer())[0], 1000 & 0xFF);
}

class OperandArithmetic : public testing::TestWithParam<Layout> {};

TEST_P(OperandArithmetic, DivideAndOrPixelByPixelFromTheUnclippedCorner) {
    const Layout layout = GetParam();
    const bool isFloat = layout.bits == 32;
    // The rectangle (-2, 1)-(6, 4) meets the 9 x 7 image in columns 0..6,
    // rows 1..4; target (x, y) meets operand (x + 2, y - 1) while it lasts.
    for (bool divide : {true, false})
        for (auto [operandWidth, operandHeight] : {std::pair{9, 7}, std::pair{6, 3}}) {
            CVxImage image = MakeImage(layout, 9, 7), operand = MakeImage(layout, operandWidth, operandHeight);
            FillRandom(image, 1, isFloat ? 300.0 : -1);
            FillRandom(operand, 2, isFloat ? 300.0 : -1);
            SetSample(operand, 2, 0, 0, 0);  // a zero operand divides by 1
            CVxImage before(image);
            CVxArithmeticProcessing arithmetic(&image);
            ASSERT_TRUE(divide ? arithmetic.DIV(operand, CRect(-2, 1, 6, 4)) : arithmetic.OR(operand, CRect(-2, 1, 6, 4)));
            ForEachSample(image, [&](int x, int y, int c) {
                const double t = Sample(before, x, y, c);
                double want = t;
                if (x <= 6 && y >= 1 && y <= 4 && x + 2 < operandWidth && y - 1 < operandHeight && (divide || !isFloat)) {
                    const double o = Sample(operand, x + 2, y - 1, c);
                    want = !divide ? static_cast<double>(static_cast<long long>(t) | static_cast<long long>(o))
                           : isFloat ? static_cast<float>(o / 255.0 * t)
                                     : std::floor(t / (o + 1));
                }
                ASSERT_EQ(Sample(image, x, y, c), want) << (divide ? "DIV" : "OR") << " at " << x << "," << y;
            });
        }
}

TEST_P(OperandArithmetic, EmptyIntersectionsAndForeignOperandsAreRefused) {
    const Layout layout = GetParam();
    CVxImage image = MakeImage(layout, 5, 4), operand = MakeImage(layout, 5, 4);
    FillRandom(image, 8);
    const CVxImage before(image);
    CVxArithmeticProcessing arithmetic(&image);
    EXPECT_FALSE(arithmetic.DIV(operand, CRect(2, 0, 2, 3)));  // one column: empty by the intersection rule
    EXPECT_FALSE(arithmetic.OR(operand, CRect(0, 1, 4, 1)));
    CVxImage wrongChannels = MakeImage({layout.channels == 1 ? 3 : 1, layout.bits}, 5, 4);
    CVxImage wrongType = MakeImage({layout.channels, layout.bits == 8 ? 16 : 8}, 5, 4), notCreated;
    EXPECT_FALSE(arithmetic.DIV(wrongChannels));
    EXPECT_FALSE(arithmetic.OR(wrongType));
    EXPECT_FALSE(arithmetic.DIV(notCreated));
    // The members kept for compatibility answer TRUE and change nothing.
    EXPECT_TRUE(arithmetic.AND(operand) && arithmetic.NOT(operand) && arithmetic.XOR(operand) && arithmetic.DIV(7) &&
                arithmetic.DIV(0.5f));
    EXPECT_TRUE(SamePixels(image, before));
}

LUMORA_ALL_LAYOUTS(OperandArithmetic);
