#include <lumora/point_processing.h>

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <vector>

#include "../core/layout.h"
#include "../core/parallel.h"
#include "../core/pixels.h"

using namespace lumora::detail;

CVxPointProcessing::CVxPointProcessing() = default;

CVxPointProcessing::CVxPointProcessing(CVxImage* image) : CVxLumoraBase(image, nullptr) {}

CVxPointProcessing::~CVxPointProcessing() { RemoveAll(); }

_PP_LOOKUP_TABLE& CVxPointProcessing::GetLookupTable(int index) { return m_LookupTables.ElementAt(index); }

int CVxPointProcessing::GetLookupTableCount() { return m_LookupTables.GetSize(); }

void CVxPointProcessing::RemoveAll() {
    for (int i = 0; i < m_LookupTables.GetSize(); ++i) delete[] m_LookupTables[i].pTable;
    m_LookupTables.RemoveAll();
}

namespace {

// Counts every sample of every channel into counts[c * range + value], with
// range the full range of the sample type. Consecutive samples of one channel
// go to alternating copies of the counters, so that a run of equal values
// does not serialise on one memory location; the copies are summed at the end.
// Rows [y0, y1).
template <class T, int C>
std::vector<std::uint32_t> CountValues(CVxImage& image, int y0, int y1) {
    constexpr int kRange = 1 << (8 * sizeof(T));
    constexpr int kCopies = sizeof(T) == 1 ? (C == 1 ? 4 : 2) : 1;
    std::vector<std::uint32_t> counts(static_cast<size_t>(kCopies) * C * kRange, 0);
    std::uint32_t* const base = counts.data();
    const int width = image.m_nWidth;
    for (int y = y0; y < y1; ++y) {
        const T* row = RowOf<T>(image, y);
        int x = 0;
        if constexpr (kCopies > 1) {
            for (; x + kCopies <= width; x += kCopies, row += kCopies * C)
                for (int k = 0; k < kCopies; ++k)
                    for (int c = 0; c < C; ++c) ++base[(k * C + c) * kRange + row[k * C + c]];
        }
        for (; x < width; ++x, row += C)
            for (int c = 0; c < C; ++c) ++base[c * kRange + row[c]];
    }
    for (int k = 1; k < kCopies; ++k)
        for (int i = 0; i < C * kRange; ++i) base[i] += base[k * C * kRange + i];
    counts.resize(static_cast<size_t>(C) * kRange);
    return counts;
}

// Bands of rows are counted on their own threads and added up; whole-number
// counts add up the same in any order.
template <class T, int C>
std::vector<std::uint32_t> CountValues(CVxImage& image) {
    std::vector<std::uint32_t> total;
    std::mutex adding;
    ParallelRows(0, image.m_nHeight, static_cast<std::int64_t>(image.m_nWidth) * C, [&](int y0, int y1) {
        std::vector<std::uint32_t> part = CountValues<T, C>(image, y0, y1);
        const std::lock_guard<std::mutex> lock(adding);
        if (total.empty())
            total = std::move(part);
        else
            for (size_t i = 0; i < total.size(); ++i) total[i] += part[i];
    });
    if (total.empty()) total.assign(static_cast<size_t>(C) << (8 * sizeof(T)), 0);
    return total;
}

}  // namespace

int CVxPointProcessing::CalLookupTable() {
    RemoveAll();
    if (m_pImage == nullptr) return FALSE;
    CVxImage& image = *m_pImage;
    const int channels = ModelChannels(image);
    if (channels < 1 || channels > 4) return FALSE;
    if (image.m_nBitsPerSample > 16 || image.m_nBitsPerSample < 1) return FALSE;

    const int size = 1 << image.m_nBitsPerSample;
    int result = FALSE;
    DispatchLayout(image, channels, [&]<class T, int C>() {
        if constexpr (!kIsFloatSample<T>) {
            const std::vector<std::uint32_t> counts = CountValues<T, C>(image);
            constexpr int kRange = 1 << (8 * sizeof(T));
            // A sample beyond 2^bits - 1 has no counter of its own; such an
            // image is refused rather than counted into a neighbour's table.
            for (int c = 0; c < C; ++c)
                if (std::any_of(counts.begin() + c * kRange + size, counts.begin() + (c + 1) * kRange,
                                [](std::uint32_t n) { return n != 0; }))
                    return;
            for (int c = 0; c < C; ++c) {
                _PP_LOOKUP_TABLE table{new DWORD[static_cast<size_t>(size)], size};
                std::copy_n(counts.begin() + c * kRange, size, table.pTable);
                m_LookupTables.Add(table);
            }
            result = TRUE;
        }
    });
    return result;
}
