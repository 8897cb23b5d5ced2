// The region rules every operation that takes a CRect follows.
#pragma once

#include <algorithm>
#include <optional>
#include <lumora/framework/geometry.h>

namespace lumora::detail {

// An inclusive pixel rectangle inside an image.
struct Region {
    int left = 0;
    int top = 0;
    int right = -1;   // inclusive
    int bottom = -1;  // inclusive
    int Width() const { return right - left + 1; }
    int Height() const { return bottom - top + 1; }
    bool Empty() const { return right < left || bottom < top; }
};

inline bool IsWholeImage(const CRect& rect) {
    return rect.left == -1 && rect.top == -1 && rect.right == -1 && rect.bottom == -1;
}

// (-1, -1, -1, -1) is the whole image; any other rectangle is normalised,
// refused when it lies wholly outside, and clipped. Right and bottom are
// inclusive. An image with no pixels yields an empty whole-image region.
inline std::optional<Region> ClipRect(CRect rect, int width, int height);

inline std::optional<Region> ReadRegion(CRect rect, int width, int height) {
    if (IsWholeImage(rect)) return Region{0, 0, width - 1, height - 1};
    return ClipRect(rect, width, height);
}

// The same rule without the whole-image rectangle: (-1, -1, -1, -1) lies
// outside the image like any other rectangle with right < 0.
inline std::optional<Region> ClipRect(CRect rect, int width, int height) {
    rect.NormalizeRect();
    if (rect.left > width - 1 || rect.right < 0 || rect.top > height - 1 || rect.bottom < 0) return std::nullopt;
    return Region{std::max<int>(rect.left, 0), std::max<int>(rect.top, 0), std::min<int>(rect.right, width - 1),
                  std::min<int>(rect.bottom, height - 1)};
}

// A region read the way the image-operand operations read it: the rectangle
// meets the image rectangle (0, 0, width - 1, height - 1) by the Windows
// intersection rule, where right and bottom are exclusive, so an empty
// intersection (also a rectangle with left == right) is refused; the
// intersection itself is then walked with right and bottom inclusive. The
// operand is anchored at the unclipped top-left corner of the rectangle.
struct AnchoredRegion {
    Region region;
    int originX = 0;  // target column that meets operand column 0
    int originY = 0;  // target row that meets operand row 0
};

inline std::optional<AnchoredRegion> IntersectRegion(const CRect& wanted, int width, int height);

inline std::optional<AnchoredRegion> ReadIntersectedRegion(const CRect& rect, int width, int height) {
    return IntersectRegion(IsWholeImage(rect) ? CRect(0, 0, width - 1, height - 1) : rect, width, height);
}

// The same rule without the whole-image rectangle, and without normalising:
// a reversed rectangle is empty by the Windows rule and refused.
inline std::optional<AnchoredRegion> IntersectRegion(const CRect& wanted, int width, int height) {
    const CRect image(0, 0, width - 1, height - 1);
    CRect met;
    if (!met.IntersectRect(&wanted, &image)) return std::nullopt;
    AnchoredRegion out;
    out.region = Region{met.left, met.top, met.right, met.bottom};
    out.originX = wanted.left;
    out.originY = wanted.top;
    return out;
}

}  // namespace lumora::detail
