// CPoint, CSize and CRect as the application framework spells them. The
// rectangle rules (intersection, emptiness) follow the Windows functions of
// the same names: right and bottom are exclusive there, unlike the inclusive
// regions the processing classes read.
#pragma once

#include <algorithm>
#include <lumora/framework/win32.h>

struct CPoint {
    LONG x = 0;
    LONG y = 0;
    constexpr CPoint() = default;
    constexpr CPoint(LONG x_, LONG y_) : x(x_), y(y_) {}
    friend constexpr bool operator==(const CPoint&, const CPoint&) = default;
};

struct CSize {
    LONG cx = 0;
    LONG cy = 0;
    constexpr CSize() = default;
    constexpr CSize(LONG cx_, LONG cy_) : cx(cx_), cy(cy_) {}
    friend constexpr bool operator==(const CSize&, const CSize&) = default;
};

struct CRect {
    LONG left = 0;
    LONG top = 0;
    LONG right = 0;
    LONG bottom = 0;

    constexpr CRect() = default;
    constexpr CRect(LONG l, LONG t, LONG r, LONG b) : left(l), top(t), right(r), bottom(b) {}
    constexpr CRect(CPoint topLeft, CSize size)
        : left(topLeft.x), top(topLeft.y), right(topLeft.x + size.cx), bottom(topLeft.y + size.cy) {}

    constexpr LONG Width() const { return right - left; }
    constexpr LONG Height() const { return bottom - top; }
    constexpr CSize Size() const { return CSize(Width(), Height()); }
    constexpr CPoint TopLeft() const { return CPoint(left, top); }
    constexpr CPoint BottomRight() const { return CPoint(right, bottom); }

    // Windows rule: empty when the width or the height is not positive.
    constexpr BOOL IsRectEmpty() const { return (right <= left || bottom <= top) ? TRUE : FALSE; }
    constexpr BOOL IsRectNull() const { return (left == 0 && top == 0 && right == 0 && bottom == 0) ? TRUE : FALSE; }

    constexpr void SetRect(LONG l, LONG t, LONG r, LONG b) { left = l, top = t, right = r, bottom = b; }
    constexpr void SetRectEmpty() { SetRect(0, 0, 0, 0); }

    constexpr void NormalizeRect() {
        if (left > right) std::swap(left, right);
        if (top > bottom) std::swap(top, bottom);
    }

    // The larger left/top and the smaller right/bottom; an empty result is
    // stored as (0, 0, 0, 0) and reported with FALSE.
    constexpr BOOL IntersectRect(const CRect* a, const CRect* b) {
        const CRect r(std::max(a->left, b->left), std::max(a->top, b->top), std::min(a->right, b->right),
                      std::min(a->bottom, b->bottom));
        if (r.IsRectEmpty()) {
            SetRectEmpty();
            return FALSE;
        }
        *this = r;
        return TRUE;
    }

    constexpr void OffsetRect(LONG x, LONG y) {
        left += x, right += x;
        top += y, bottom += y;
    }
    constexpr void OffsetRect(CPoint p) { OffsetRect(p.x, p.y); }

    constexpr BOOL EqualRect(const CRect* other) const { return (*this == *other) ? TRUE : FALSE; }
    constexpr BOOL PtInRect(CPoint p) const {
        return (p.x >= left && p.x < right && p.y >= top && p.y < bottom) ? TRUE : FALSE;
    }

    friend constexpr bool operator==(const CRect&, const CRect&) = default;
};
