#include <climits>
#include <cmath>
#include <limits>

#include "test_support.h"

using namespace lumora::test;

namespace {

enum class Op { Add, Sub, Mul };

// x86 truncating conversion: NaN and out-of-range values give INT_MIN.
long long Trunc32(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0)) return INT_MIN;
    return static_cast<long long>(v);
}

// The value a sample p becomes, written straight from the rules: integer
// constants on integer samples at their true value, everything else in
// double precision; ADD caps above, SUB floors below, MUL clamps both ways.
double Expected(Op op, bool floatConstant, long long ci, float cf, double p, int bits) {
    const bool floatSample = bits > 16;
    auto store8 = [&](long long s) { return static_cast<double>(s & 0xFF); };
    if (!floatConstant && !floatSample) {
        const long long v = static_cast<long long>(p);
        switch (op) {
            case Op::Add: return store8(std::min(v + ci, 255LL));
            case Op::Sub: return store8(std::max(v - ci, 0LL));
            case Op::Mul: return static_cast<double>(std::clamp(v * ci, 0LL, 255LL));
        }
    }
    const double c = floatConstant ? cf : static_cast<double>(ci);
    double s = 0;
    switch (op) {
        case Op::Add:
            s = p + c;
            if (floatConstant ? !(s <= 255) : s > 255) s = 255;
            return store8(Trunc32(s));
        case Op::Sub:
            s = p - c;
            if (s < 0) s = 0;
            return store8(Trunc32(s));
        case Op::Mul:
            s = p * c + 0.5;
            s = s > 255 ? 255 : s < 0 ? 0 : s;
            if (floatSample) return static_cast<float>(Trunc32(s));
            return static_cast<double>(static_cast<unsigned char>(Trunc32(s)));
    }
    return -1;
}

int RunOp(CVxArithmeticProcessing& a, Op op, bool floatConstant, long long ci, float cf, CRect rect) {
    if (floatConstant) {
        switch (op) {
            case Op::Add: return a.ADD(cf, rect);
            case Op::Sub: return a.SUB(cf, rect);
            case Op::Mul: return a.MUL(cf, rect);
        }
    }
    const int v = static_cast<int>(ci);
    switch (op) {
        case Op::Add: return a.ADD(v, rect);
        case Op::Sub: return a.SUB(v, rect);
        case Op::Mul: return a.MUL(v, rect);
    }
    return -1;
}

bool Processed(Layout l) { return l.channels != 2 && !(l.bits == 32 && l.channels > 1); }

}  // namespace

// ---------------------------------------------------------------------------

class ConstantArithmetic : public testing::TestWithParam<Layout> {};

TEST_P(ConstantArithmetic, EverySampleOfTheRegionFollowsTheRule) {
    const Layout layout = GetParam();
    const int ints[] = {-300, -20, -1, 0, 1, 7, 200, 255, 300, 70000, INT_MIN, INT_MAX};
    const float floats[] = {-20.5f, -0.25f, 0.0f, 0.5f, 0.7f, 2.7f, 254.5f, 300.0f, -1e10f, 1e10f};
    const CRect rect(2, 1, 8, 4);  // inclusive: 7 x 4 pixels
    for (Op op : {Op::Add, Op::Sub, Op::Mul})
        for (bool floatConstant : {false, true})
            for (int n = 0; n < 12; ++n) {
                if (floatConstant && n >= 10) continue;
                const long long ci = ints[n];
                const float cf = floatConstant ? floats[n] : 0.0f;
                CVxImage image = MakeImage(layout, 11, 6);
                FillRandom(image, 17 + n, layout.bits == 32 ? 600.0 : -1);
                const CVxImage before(image);
                CVxArithmeticProcessing arithmetic(&image);
                ASSERT_TRUE(RunOp(arithmetic, op, floatConstant, ci, cf, rect));
                CVxImage& old = const_cast<CVxImage&>(before);
                for (int y = 0; y < 6; ++y)
                    for (int x = 0; x < 11; ++x)
                        for (int c = 0; c < layout.channels; ++c) {
                            const bool inside = x >= 2 && x <= 8 && y >= 1 && y <= 4 && Processed(layout);
                            const double p = Sample(old, x, y, c);
                            const double want = inside ? Expected(op, floatConstant, ci, cf, p, layout.bits) : p;
                            ASSERT_EQ(Sample(image, x, y, c), want)
                                << "op " << int(op) << (floatConstant ? " float " : " int ") << (floatConstant ? cf : ci)
                                << " at (" << x << ", " << y << ") channel " << c << " from " << p;
                        }
            }
}

TEST_P(ConstantArithmetic, RegionWhollyOutsideIsRefusedUnchanged) {
    CVxImage image = MakeImage(GetParam(), 6, 4);
    FillRandom(image, 3);
    const CVxImage before(image);
    CVxArithmeticProcessing arithmetic(&image);
    EXPECT_FALSE(arithmetic.ADD(5, CRect(6, 0, 9, 3)));
    EXPECT_FALSE(arithmetic.SUB(5.0f, CRect(0, -5, 5, -1)));
    EXPECT_FALSE(arithmetic.MUL(2, CRect(0, 4, 5, 4)));
    EXPECT_TRUE(SamePixels(image, const_cast<CVxImage&>(before)));
}

INSTANTIATE_TEST_SUITE_P(AllLayouts, ConstantArithmetic, testing::ValuesIn(AllLayouts()), LayoutName);

TEST(ConstantArithmetic, NamedCases) {
    struct Case {
        int bits;
        double sample;
        Op op;
        bool floatConstant;
        long long ci;
        float cf;
        double stored;
    };
    const Case cases[] = {
        {8, 10, Op::Add, false, -20, 0, 246},     // a negative sum wraps: no lower bound
        {8, 10, Op::Sub, false, 20, 0, 0},        // SUB floors
        {8, 10, Op::Add, false, 300, 0, 255},
        {16, 1000, Op::Add, false, 1, 0, 255},    // 16-bit samples stay on the 8-bit scale
        {16, 1000, Op::Sub, false, 1, 0, 231},    // no upper bound: low 8 bits of 999
        {16, 1000, Op::Mul, false, 1, 0, 255},
        {8, 200, Op::Mul, false, 2, 0, 255},
        {8, 3, Op::Mul, true, 0, 0.5f, 2},        // 1.5 + 0.5 truncated
        {8, 5, Op::Mul, true, 0, 0.7f, 3},        // 3.49999994 + 0.5 stays below 4 in double
        {32, 0.99999994, Op::Add, true, 0, 1.0f, 1},  // the double sum stays below 2
        {32, 10.7, Op::Add, false, -20, 0, 247},  // -9.3 truncates to -9, low 8 bits
        {32, 1000.5, Op::Sub, true, 0, 0.25f, 232},
        {8, 1, Op::Add, false, INT_MAX, 0, 255},  // overflowing sums are taken at their true value
        {8, 10, Op::Add, false, INT_MIN, 0, 10},
        {8, 10, Op::Sub, false, INT_MIN, 0, 10},
        {8, 1, Op::Mul, false, INT_MAX, 0, 255},
        {8, 1, Op::Mul, false, INT_MIN, 0, 0},
        {8, 9, Op::Add, true, 0, std::numeric_limits<float>::quiet_NaN(), 255},  // not <= 255
        {8, 9, Op::Sub, true, 0, std::numeric_limits<float>::quiet_NaN(), 0},    // NaN truncates to INT_MIN
    };
    for (const Case& c : cases) {
        CVxImage image(CM_GRAY, c.bits, 1, 1);
        SetSample(image, 0, 0, 0, c.sample);
        CVxArithmeticProcessing arithmetic(&image);
        ASSERT_TRUE(RunOp(arithmetic, c.op, c.floatConstant, c.ci, c.cf, CRect(-1, -1, -1, -1)));
        EXPECT_EQ(Sample(image, 0, 0, 0), c.stored) << c.bits << "-bit " << c.sample << " op " << int(c.op) << " "
                                                   << (c.floatConstant ? c.cf : c.ci);
    }
}

// 8-bit samples with a float constant take fast forms that are checked
// against the exact answer; sweep constants so every form and the table
// fallback meet all 256 sample values.
TEST(ConstantArithmetic, EightBitFloatConstantsMatchTheRuleForEveryValue) {
    CVxImage image(CM_GRAY, 8, 256, 1);
    for (Op op : {Op::Add, Op::Sub, Op::Mul})
        for (int step = -400; step <= 1200; ++step) {
            const float c = op == Op::Mul ? static_cast<float>(step) * 0.01f + 0.003f * (step % 7)
                                          : static_cast<float>(step) * 0.37f - 120.0f;
            for (int p = 0; p < 256; ++p) SetSample(image, p, 0, 0, p);
            CVxArithmeticProcessing arithmetic(&image);
            ASSERT_TRUE(RunOp(arithmetic, op, true, 0, c, CRect(-1, -1, -1, -1)));
            for (int p = 0; p < 256; ++p)
                ASSERT_EQ(Sample(image, p, 0, 0), Expected(op, true, 0, c, p, 8)) << "op " << int(op) << " c " << c;
        }
}

// Integer constants on integer samples take whole-vector forms that differ
// by the constant's sign and size; every sample value meets every constant
// near the edges of those forms, on rows long enough for the vector loop and
// with a ragged tail.
TEST(ConstantArithmetic, IntegerConstantsMatchTheRuleForEveryValueOnLongRows) {
    std::vector<long long> constants;
    for (long long c = -530; c <= 530; ++c) constants.push_back(c);
    for (long long c : {-65537LL, -65536LL, -65535LL, -65281LL, 65535LL, 65536LL, 70000LL, 1LL << 20,
                        static_cast<long long>(INT_MIN), static_cast<long long>(INT_MAX)})
        constants.push_back(c);
    for (int bits : {8, 16})
        for (int channels : {1, 3, 4}) {
            // Every 8-bit value in every channel of every row; 16-bit rows add
            // values above the 8-bit scale and values at the top of the range.
            const int width = 263;
            CVxImage image = MakeImage(Layout{channels, bits}, width, 2);
            CVxImage start = MakeImage(Layout{channels, bits}, width, 2);
            for (int y = 0; y < 2; ++y)
                for (int x = 0; x < width; ++x)
                    for (int c = 0; c < channels; ++c) {
                        const int v = (x + 37 * c + 101 * y) % 256;
                        SetSample(start, x, y, c, bits == 8 ? v : (y == 0 ? v + 256 * (x % 3) : 65535 - v));
                    }
            for (Op op : {Op::Add, Op::Sub})
                for (long long ci : constants) {
                    image = start;
                    CVxArithmeticProcessing arithmetic(&image);
                    ASSERT_TRUE(RunOp(arithmetic, op, false, ci, 0.0f, CRect(-1, -1, -1, -1)));
                    for (int y = 0; y < 2; ++y)
                        for (int x = 0; x < width; ++x)
                            for (int c = 0; c < channels; ++c) {
                                const double p = Sample(start, x, y, c);
                                ASSERT_EQ(Sample(image, x, y, c), Expected(op, false, ci, 0.0f, p, bits))
                                    << bits << "-bit " << channels << "ch op " << int(op) << " c " << ci << " p " << p
                                    << " at " << x << "," << y;
                            }
                }
        }
}

TEST(ConstantArithmetic, RegionRulesAndRefusals) {
    CVxImage image(CM_GRAY, 8, 8, 8);
    std::memset(image.GetBuffer(), 0, static_cast<size_t>(image.m_nImageSize));
    CVxArithmeticProcessing arithmetic(&image);
    auto count = [&](int value) {
        int n = 0;
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 8; ++x) n += Sample(image, x, y, 0) == value;
        return n;
    };
    ASSERT_TRUE(arithmetic.ADD(1, CRect(5, 5, 2, 2)));  // normalised: 4 x 4
    EXPECT_EQ(count(1), 16);
    ASSERT_TRUE(arithmetic.ADD(1, CRect(7, 0, 7, 7)));  // one column
    EXPECT_EQ(Sample(image, 7, 7, 0), 1);
    ASSERT_TRUE(arithmetic.ADD(1, CRect(-10, -10, 0, 0)));  // clipped to the corner
    EXPECT_EQ(Sample(image, 0, 0, 0), 1);
    ASSERT_TRUE(arithmetic.ADD(10, CRect(-1, -1, -1, -1)));  // whole image, last row and column too
    EXPECT_EQ(Sample(image, 7, 7, 0), 11);
    EXPECT_EQ(Sample(image, 0, 7, 0), 10);

    CVxArithmeticProcessing unbound;
    EXPECT_FALSE(unbound.ADD(1));
    CVxImage notCreated;
    CVxArithmeticProcessing empty(&notCreated);
    EXPECT_FALSE(empty.MUL(2.0f));
}

TEST(Brightness, RoutesThroughSubtractionUpToZero) {
    CVxImage image(CM_RGB, 8, 3, 1);
    const unsigned char start[] = {0, 3, 10, 128, 250, 255, 1, 2, 4};
    auto reset = [&] { std::memcpy(image.GetBuffer(), start, 9); };
    auto at = [&](int i) { return static_cast<unsigned char*>(image.GetBuffer())[i]; };
    CVxBrightnessProcessing brightness(&image);

    reset();
    ASSERT_TRUE(brightness.Brightness(0));
    EXPECT_EQ(std::memcmp(image.GetBuffer(), start, 9), 0);
    ASSERT_TRUE(brightness.Brightness(-5));
    EXPECT_EQ(at(0), 0);
    EXPECT_EQ(at(1), 0);
    EXPECT_EQ(at(2), 5);
    reset();
    ASSERT_TRUE(brightness.Brightness(10));
    EXPECT_EQ(at(3), 138);
    EXPECT_EQ(at(4), 255);
    reset();
    ASSERT_TRUE(brightness.Brightness(INT_MIN));  // subtracts 2^31: everything floors at 0
    for (int i = 0; i < 9; ++i) EXPECT_EQ(at(i), 0);

    CVxBrightnessProcessing unbound;
    EXPECT_FALSE(unbound.Brightness(3));
}

// ---------------------------------------------------------------------------

class OperandArithmetic : public testing::TestWithParam<Layout> {};

TEST_P(OperandArithmetic, DivideAndOrPixelByPixel) {
    const Layout layout = GetParam();
    for (bool divide : {true, false}) {
        CVxImage image = MakeImage(layout, 9, 7), operand = MakeImage(layout, 9, 7);
        FillRandom(image, 1, layout.bits == 32 ? 300.0 : -1);
        FillRandom(operand, 2, layout.bits == 32 ? 300.0 : -1);
        SetSample(operand, 0, 0, 0, 0);  // a zero operand divides by 1
        CVxImage before(image);
        CVxArithmeticProcessing arithmetic(&image);
        ASSERT_TRUE(divide ? arithmetic.DIV(operand) : arithmetic.OR(operand));
        for (int y = 0; y < 7; ++y)
            for (int x = 0; x < 9; ++x)
                for (int c = 0; c < layout.channels; ++c) {
                    const double t = Sample(before, x, y, c), o = Sample(operand, x, y, c);
                    double want = t;
                    if (divide)
                        want = layout.bits == 32 ? static_cast<float>(o / 255.0 * t)
                                                 : std::floor(t / (o + 1));
                    else if (layout.bits != 32)
                        want = static_cast<double>(static_cast<long long>(t) | static_cast<long long>(o));
                    ASSERT_EQ(Sample(image, x, y, c), want) << (divide ? "DIV" : "OR") << " at " << x << "," << y;
                }
    }
}

TEST_P(OperandArithmetic, OperandIsAnchoredAtTheUnclippedCorner) {
    const Layout layout = GetParam();
    if (layout.bits == 32) GTEST_SKIP() << "OR leaves float samples alone";
    CVxImage image = MakeImage(layout, 6, 5), operand = MakeImage(layout, 6, 6);
    std::memset(image.GetBuffer(), 0, static_cast<size_t>(image.m_nImageSize));
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 6; ++x)
            for (int c = 0; c < layout.channels; ++c) SetSample(operand, x, y, c, 1 + x + 10 * y);
    CVxArithmeticProcessing arithmetic(&image);
    // Rectangle (-2, 1)-(3, 4): the intersection is columns 0..3 (inclusive)
    // and rows 1..4; target (x, y) meets operand (x + 2, y - 1), and columns
    // whose operand column would be 6 or more are not reached.
    ASSERT_TRUE(arithmetic.OR(operand, CRect(-2, 1, 3, 4)));
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 6; ++x) {
            const bool inside = x <= 3 && y >= 1 && x + 2 < 6;
            EXPECT_EQ(Sample(image, x, y, 0), inside ? 1 + (x + 2) + 10 * (y - 1) : 0) << x << "," << y;
        }

    // A smaller operand stops the walk at its own width and height.
    CVxImage target = MakeImage(layout, 6, 5), small = MakeImage(layout, 2, 3);
    std::memset(target.GetBuffer(), 0, static_cast<size_t>(target.m_nImageSize));
    std::memset(small.GetBuffer(), 0, static_cast<size_t>(small.m_nImageSize));
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 2; ++x) SetSample(small, x, y, 0, 1);
    CVxArithmeticProcessing withSmall(&target);
    ASSERT_TRUE(withSmall.OR(small));
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 6; ++x) EXPECT_EQ(Sample(target, x, y, 0), x < 2 && y < 3 ? 1 : 0) << x << "," << y;
}

TEST_P(OperandArithmetic, EmptyIntersectionsAndForeignOperandsAreRefused) {
    const Layout layout = GetParam();
    CVxImage image = MakeImage(layout, 5, 4), operand = MakeImage(layout, 5, 4);
    FillRandom(image, 8);
    FillRandom(operand, 9);
    const CVxImage before(image);
    CVxArithmeticProcessing arithmetic(&image);
    EXPECT_FALSE(arithmetic.DIV(operand, CRect(2, 0, 2, 3)));  // one column: empty by the intersection rule
    EXPECT_FALSE(arithmetic.OR(operand, CRect(0, 1, 4, 1)));
    EXPECT_FALSE(arithmetic.DIV(operand, CRect(5, 0, 9, 3)));

    const Layout other{layout.channels == 1 ? 3 : 1, layout.bits};
    CVxImage wrongChannels = MakeImage(other, 5, 4);
    CVxImage wrongType = MakeImage({layout.channels, layout.bits == 8 ? 16 : 8}, 5, 4);
    CVxImage notCreated;
    EXPECT_FALSE(arithmetic.DIV(wrongChannels));
    EXPECT_FALSE(arithmetic.OR(wrongType));
    EXPECT_FALSE(arithmetic.DIV(notCreated));
    EXPECT_TRUE(SamePixels(image, const_cast<CVxImage&>(before)));

    // One pixel wide or one row high: the image rectangle itself is empty.
    for (auto [w, h] : {std::pair{1, 4}, std::pair{5, 1}}) {
        CVxImage thin = MakeImage(layout, w, h), thinOperand = MakeImage(layout, w, h);
        CVxArithmeticProcessing onThin(&thin);
        EXPECT_FALSE(onThin.DIV(thinOperand));
        EXPECT_FALSE(onThin.OR(thinOperand));
    }
}

TEST_P(OperandArithmetic, InertMembersAnswerTrueAndChangeNothing) {
    CVxImage image = MakeImage(GetParam(), 4, 3), operand = MakeImage(GetParam(), 4, 3);
    FillRandom(image, 4);
    FillRandom(operand, 5);
    const CVxImage before(image);
    CVxArithmeticProcessing arithmetic(&image);
    EXPECT_TRUE(arithmetic.AND(operand));
    EXPECT_TRUE(arithmetic.NOT(operand));
    EXPECT_TRUE(arithmetic.XOR(operand));
    EXPECT_TRUE(arithmetic.DIV(7));
    EXPECT_TRUE(arithmetic.DIV(0.5f));
    EXPECT_TRUE(SamePixels(image, const_cast<CVxImage&>(before)));
}

INSTANTIATE_TEST_SUITE_P(AllLayouts, OperandArithmetic, testing::ValuesIn(AllLayouts()), LayoutName);
