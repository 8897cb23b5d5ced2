// The Windows-style records and helpers the interface is written with.
#include <gtest/gtest.h>

#include <lumora/framework.h>

TEST(Framework, Win32RecordsHaveTheirWindowsSizes) {
    EXPECT_EQ(sizeof(BITMAPINFOHEADER) + sizeof(RGBQUAD) + sizeof(LONG) + sizeof(DWORD), 52u);
    EXPECT_TRUE(static_cast<DWORD>(-1) > 0u);
}

TEST(Framework, RectanglesFollowTheWindowsRules) {
    const struct { CRect a, b, expected; BOOL result; } cases[] = {
        {{0, 0, 10, 10}, {5, 5, 20, 20}, {5, 5, 10, 10}, TRUE},
        {{0, 0, 10, 10}, {10, 0, 20, 10}, {0, 0, 0, 0}, FALSE},  // touching edges do not meet
        {{0, 0, 10, 10}, {3, 3, 3, 8}, {0, 0, 0, 0}, FALSE},     // zero width is empty
        {{-5, -5, 4, 4}, {0, 0, 9, 9}, {0, 0, 4, 4}, TRUE},
    };
    for (const auto& c : cases) {
        CRect out(1, 2, 3, 4);
        EXPECT_EQ(out.IntersectRect(&c.a, &c.b), c.result);
        EXPECT_EQ(out, c.expected);
    }
    CRect r(5, 6, 2, 1);
    EXPECT_TRUE(r.IsRectEmpty());
    r.NormalizeRect();
    EXPECT_EQ(r.Width() * 10 + r.Height(), 35);
    r.OffsetRect(1, -1);
    EXPECT_EQ(r, CRect(3, 0, 6, 5));
}

TEST(Framework, ArraysCheckTheirIndices) {
    CArray<int, int> a;
    a.Add(4);
    EXPECT_EQ(a.Add(6), 1);
    a.InsertAt(1, 5);
    a.SetAt(2, 7);
    a.RemoveAt(0);
    EXPECT_EQ(a.GetCount(), 2);
    EXPECT_EQ(a[0] * 10 + a.GetAt(1), 57);
    EXPECT_THROW(a.GetAt(2), CInvalidArgException);
    EXPECT_THROW(a.ElementAt(-1), CInvalidArgException);
    EXPECT_THROW(a.RemoveAt(5), std::invalid_argument);
    CString s("ab");
    s += "cd";
    CString f;
    f.Format("%d-%s", 7, "x");
    EXPECT_EQ(s + f, "abcd7-x");
}
