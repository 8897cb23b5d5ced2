#include <lumora/misc_processing.h>

#include <cstring>
#include <utility>

#include "../core/region.h"
#include "../core/units.h"

using namespace lumora::detail;

// Crop normalises and clips its rectangle with right and bottom inclusive.
// CopyTo and PasteFrom meet theirs with the image rectangle by the Windows
// rule instead (right and bottom exclusive, no normalising), then walk the
// intersection inclusively: so a rectangle one pixel wide passes Crop and
// is refused by the other two. None of them knows a whole-image rectangle.
//
// Pixels move as opaque units of the target's pixel size; the partner
// images must have the same pixel size and cover the positions used, or
// the call is refused before anything is written.

CVxMiscProcessing::CVxMiscProcessing() = default;

CVxMiscProcessing::CVxMiscProcessing(CVxImage* image) : CVxLumoraBase(image, nullptr) {}

namespace {

// A block of width x height units from (sx, sy) of one row table to (dx, dy)
// of another. memmove: source and destination may be the same image.
template <size_t N>
void MoveBlock(void** from, int sx, int sy, void** to, int dx, int dy, int width, int height) {
    const size_t bytes = static_cast<size_t>(width) * N;
    for (int y = 0; y < height; ++y)
        std::memmove(static_cast<unsigned char*>(to[dy + y]) + static_cast<size_t>(dx) * N,
                     static_cast<const unsigned char*>(from[sy + y]) + static_cast<size_t>(sx) * N, bytes);
}

// The same where the mask byte at (mx + x, my + y) is non-zero.
template <size_t N>
void MoveMasked(void** from, int sx, int sy, void** to, int dx, int dy, int width, int height, void** mask,
                int mx, int my) {
    for (int y = 0; y < height; ++y) {
        const auto* m = static_cast<const unsigned char*>(mask[my + y]) + mx;
        const auto* in = static_cast<const unsigned char*>(from[sy + y]) + static_cast<size_t>(sx) * N;
        auto* out = static_cast<unsigned char*>(to[dy + y]) + static_cast<size_t>(dx) * N;
        for (int x = 0; x < width; ++x)
            if (m[x] != 0) std::memmove(out + static_cast<size_t>(x) * N, in + static_cast<size_t>(x) * N, N);
    }
}

// The region of a CopyTo or PasteFrom on the target and the extent of the
// partner it uses, or nothing when the intersection is empty.
struct Exchange {
    Region region;    // on the target, inclusive
    int partnerX = 0;  // partner position of region.left
    int partnerY = 0;
    int PartnerWidth() const { return partnerX + region.Width(); }
    int PartnerHeight() const { return partnerY + region.Height(); }
};

std::optional<Exchange> ReadExchange(CVxImage& target, const CRect& rect) {
    const auto met = IntersectRegion(rect, target.m_nWidth, target.m_nHeight);
    if (!met) return std::nullopt;
    return Exchange{met->region, met->region.left - met->originX, met->region.top - met->originY};
}

enum class Direction { Out, In };

int CopyBetween(CVxImage* target, CVxImage& partner, const CRect& rect, Direction direction, CVxImage* mask) {
    if (target == nullptr) return FALSE;
    const int unit = ThreeWayUnitBytes(*target);
    if (unit == 0 || !target->IsCreated()) return FALSE;
    const auto ex = ReadExchange(*target, rect);
    if (!ex) return FALSE;
    const int w = ex->region.Width(), h = ex->region.Height();
    if (!PartnerCovers(partner, unit, ex->PartnerWidth(), ex->PartnerHeight())) return FALSE;
    // The mask is read one byte a pixel whatever its model, so any model of
    // 8-bit samples serves.
    if (mask != nullptr && (!mask->IsCreated() || ThreeWaySampleBytes(mask->m_nBitsPerSample) != 1 ||
                            ThreeWayUnitBytes(*mask) == 0 || mask->m_nWidth < ex->PartnerWidth() ||
                            mask->m_nHeight < ex->PartnerHeight() || mask->m_nBytesPerLine < ex->PartnerWidth()))
        return FALSE;
    const Region& r = ex->region;
    return DispatchUnit(*target, ModelChannels(*target), ThreeWaySampleBytes(target->m_nBitsPerSample),
                        [&]<size_t N>() {
                            void** t = target->Get2DBuffer();
                            void** p = partner.Get2DBuffer();
                            if (direction == Direction::Out)
                                MoveBlock<N>(t, r.left, r.top, p, ex->partnerX, ex->partnerY, w, h);
                            else if (mask == nullptr)
                                MoveBlock<N>(p, ex->partnerX, ex->partnerY, t, r.left, r.top, w, h);
                            else
                                MoveMasked<N>(p, ex->partnerX, ex->partnerY, t, r.left, r.top, w, h,
                                              mask->Get2DBuffer(), ex->partnerX, ex->partnerY);
                        })
               ? TRUE
               : FALSE;
}

}  // namespace

int CVxMiscProcessing::Crop(CRect rect) {
    CVxImage* target = m_pImage;
    if (target == nullptr || !target->IsCreated()) return FALSE;
    const int channels = ModelChannels(*target);
    const int sampleBytes = ThreeWaySampleBytes(target->m_nBitsPerSample);
    if (channels < 1 || channels > 4 || !HasPixelBlockFor(*target, channels, sampleBytes)) return FALSE;
    const auto r = ClipRect(rect, target->m_nWidth, target->m_nHeight);
    if (!r) return FALSE;

    // The cut is built beside the target and then takes its place, which
    // leaves the target as recreating it and copying the part into it would.
    CVxImage cut(target->m_ColorModel, target->m_nBitsPerSample, r->Width(), r->Height());
    if (!cut.IsCreated()) return FALSE;
    cut.GetPalette() = target->GetPalette();
    DispatchUnit(*target, channels, sampleBytes, [&]<size_t N>() {
        MoveBlock<N>(target->Get2DBuffer(), r->left, r->top, cut.Get2DBuffer(), 0, 0, r->Width(), r->Height());
    });
    *target = std::move(cut);
    return TRUE;
}

int CVxMiscProcessing::CopyTo(CVxImage& dest, CRect rect) {
    return CopyBetween(m_pImage, dest, rect, Direction::Out, nullptr);
}

int CVxMiscProcessing::PasteFrom(CVxImage& source, CRect rect) {
    return CopyBetween(m_pImage, source, rect, Direction::In, nullptr);
}

int CVxMiscProcessing::PasteFrom(CVxImage& source, CRect rect, CVxImage& mask) {
    return CopyBetween(m_pImage, source, rect, Direction::In, &mask);
}
