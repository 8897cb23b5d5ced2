#include <gtest/gtest.h>

#include <lumora/framework.h>

TEST(Framework, Win32RecordsHaveTheirWindowsSizes) {
    EXPECT_EQ(sizeof(BITMAPINFOHEADER), 40u);
    EXPECT_EQ(sizeof(RGBQUAD), 4u);
    EXPECT_EQ(sizeof(LONG), 4u);
    EXPECT_EQ(sizeof(DWORD), 4u);
    EXPECT_TRUE(static_cast<DWORD>(-1) > 0u);
    EXPECT_EQ(TRUE, 1);
    EXPECT_EQ(FALSE, 0);
}

TEST(Framework, IntersectRectFollowsTheWindowsRule) {
    struct Case {
        CRect a, b, expected;
        BOOL result;
    };
    const Case cases[] = {
        {{0, 0, 10, 10}, {5, 5, 20, 20}, {5, 5, 10, 10}, TRUE},
        {{0, 0, 10, 10}, {10, 0, 20, 10}, {0, 0, 0, 0}, FALSE},  // touching edges do not meet
        {{0, 0, 10, 10}, {3, 3, 3, 8}, {0, 0, 0, 0}, FALSE},     // zero width is empty
        {{-5, -5, 4, 4}, {0, 0, 9, 9}, {0, 0, 4, 4}, TRUE},
    };
    for (const Case& c : cases) {
        CRect out(1, 2, 3, 4);
        EXPECT_EQ(out.IntersectRect(&c.a, &c.b), c.result);
        EXPECT_EQ(out, c.expected);
    }
}

TEST(Framework, RectHelpers) {
    CRect r(5, 6, 2, 1);
    EXPECT_TRUE(r.IsRectEmpty());
    r.NormalizeRect();
    EXPECT_EQ(r, CRect(2, 1, 5, 6));
    EXPECT_EQ(r.Width(), 3);
    EXPECT_EQ(r.Height(), 5);
    r.OffsetRect(1, -1);
    const CRect expected(3, 0, 6, 5);
    EXPECT_TRUE(r.EqualRect(&expected));
}

TEST(Framework, ArraysCheckTheirIndices) {
    CArray<int, int> a;
    EXPECT_EQ(a.Add(4), 0);
    EXPECT_EQ(a.Add(6), 1);
    a.InsertAt(1, 5);
    EXPECT_EQ(a.GetSize(), 3);
    EXPECT_EQ(a[1], 5);
    a.SetAt(2, 7);
    EXPECT_EQ(a.GetAt(2), 7);
    a.RemoveAt(0);
    EXPECT_EQ(a.GetCount(), 2);
    EXPECT_THROW(a.GetAt(2), CInvalidArgException);
    EXPECT_THROW(a.ElementAt(-1), CInvalidArgException);
    EXPECT_THROW(a.RemoveAt(5), std::invalid_argument);
    a.SetSize(5);
    EXPECT_EQ(a.GetSize(), 5);
    a.RemoveAll();
    EXPECT_EQ(a.GetSize(), 0);

    CPtrArray p;
    int x = 0;
    p.Add(&x);
    EXPECT_EQ(p[0], &x);
    EXPECT_THROW(p.GetAt(1), CInvalidArgException);
}

TEST(Framework, CStringBasics) {
    CString s("ab");
    s += "cd";
    EXPECT_EQ(s.GetLength(), 4);
    EXPECT_STREQ(static_cast<const char*>(s), "abcd");
    CString f;
    f.Format("%d-%s", 7, "x");
    EXPECT_EQ(f, "7-x");
}
