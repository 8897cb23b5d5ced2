// Histogram peak analysis.
//
// Moving average: every bin of [start, end] becomes the truncated integer
// mean of the bins within `radius` of it that also lie in [start, end]. A
// running sum gives each bin in constant time; the sum is held in 64 bits,
// which equals the 32-bit sum wherever that does not overflow.
//
// Raw extrema scan the smoothed buffer once (twice round in the circular
// model), put each extremum at the middle of its plateau, and stop at the
// first position found again. Valid maxima are the raw maxima merged first
// by distance, then by depth until few enough remain.
#include <lumora/histogram_processing.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

using Density = CVxHistogramDensity;

Density* At(CPtrArray& array, int i) { return static_cast<Density*>(array[i]); }

// Smooths `source` into `target` (both n bins, may be the same buffer).
void MovingAverage(const int* source, int* target, int n, int passes, int radius, int start, int end) {
    if (passes == 0) {
        std::copy_n(source, n, target);
        return;
    }
    if (start < 0) start = 0;
    if (end < 0 || end > n - 1) end = n - 1;
    std::vector<int> scratch(source, source + n);
    if (passes < 0) {
        std::copy_n(scratch.data(), n, target);
        return;
    }
    int* a = scratch.data();
    int* b = target;
    for (int pass = 0; pass < passes; ++pass) {
        // Window [i - radius, i + radius] clipped to [start, end].
        std::int64_t sum = 0;
        int lo = start, hi = start - 1;
        for (int i = start; i <= end; ++i) {
            const int wantLo = std::max(start, i - radius);
            const int wantHi = static_cast<int>(std::min<std::int64_t>(end, std::int64_t{i} + radius));
            while (hi < wantHi) sum += a[++hi];
            while (lo < wantLo) sum -= a[lo++];
            b[i] = static_cast<int>(sum / (hi - lo + 1));
        }
        std::swap(a, b);
    }
    if (a != target) std::copy_n(a, n, target);
}

// Merges `record` into `group` the way both groupings do.
void MergeInto(Density& group, const Density& record) {
    if (group.m_nDensity < record.m_nDensity) {
        group.m_nPos = record.m_nPos;
        group.m_nDensity = record.m_nDensity;
    }
    group.m_nNextPos = record.m_nNextPos;
    group.m_nNextDensity = record.m_nNextDensity;
}

}  // namespace

CVxHistogramDensity::CVxHistogramDensity() : CVxHistogramDensity(-1, -1) {}

CVxHistogramDensity::CVxHistogramDensity(int position, int density)
    : m_nPos(position), m_nDensity(density), m_nPrevPos(-1), m_nPrevDensity(-1), m_nNextPos(-1), m_nNextDensity(-1) {}

CVxHistogramDensity::~CVxHistogramDensity() = default;

int CVxHistogramDensity::GetPrevDensityDiff() { return std::abs(m_nPrevDensity - m_nDensity); }
int CVxHistogramDensity::GetNextDensityDiff() { return std::abs(m_nNextDensity - m_nDensity); }
int CVxHistogramDensity::GetDensityDiff() { return GetPrevDensityDiff() + GetNextDensityDiff(); }

int CVxHistogramDensity::CompareDensity(const void* a, const void* b) {
    return static_cast<const Density*>(b)->m_nDensity - static_cast<const Density*>(a)->m_nDensity;
}

int CVxHistogramDensity::ComparePosition(const void* a, const void* b) {
    return static_cast<const Density*>(b)->m_nPos - static_cast<const Density*>(a)->m_nPos;
}

CVxHistogramProcessing::CVxHistogramProcessing() : CVxHistogramProcessing(nullptr) {}

CVxHistogramProcessing::CVxHistogramProcessing(CVxHistogram* histogram)
    : m_pHistogram(histogram),
      m_nThMinimaPos(-1),
      m_nThPrevMaximaPos(-1),
      m_nThNextMaximaPos(-1),
      m_dMinIntervalRatio(0.1),
      m_nMaxRawMaximaCount(6),
      m_nMaxValidMaximaCount(2) {}

CVxHistogramProcessing::~CVxHistogramProcessing() {
    RemoveHDArray(m_arrMaxima);
    RemoveHDArray(m_arrMinima);
    RemoveHDArray(m_arrValidMaxima);
}

void CVxHistogramProcessing::SetMaxRawMaximaCount(int count) { m_nMaxRawMaximaCount = std::max(count, 1); }
void CVxHistogramProcessing::SetMaxValidMaximaCount(int count) { m_nMaxValidMaximaCount = std::max(count, 1); }

bool CVxHistogramProcessing::Circular() const { return m_pHistogram->m_nCircular != 0; }

int CVxHistogramProcessing::Smooth(int passes, HIST_FLAG flag, int radius, int start, int end) {
    CVxHistogram* h = m_pHistogram;
    if (h == nullptr || flag < HIST_SMOOTHED || flag > HIST_DIFF3 || radius < 0) return FALSE;
    h->CreateBuffer(flag);
    const int n = h->m_nBins;
    if (flag == HIST_SMOOTHED) {
        if (h->m_pBuffer[HIST_RAW] == nullptr || h->m_pBuffer[HIST_SMOOTHED] == nullptr) return FALSE;
        MovingAverage(h->m_pBuffer[HIST_RAW], h->m_pBuffer[HIST_SMOOTHED], n, passes, radius, start, end);
        h->m_nComputed[0] = TRUE;
        return TRUE;
    }
    // Each difference is taken in place in the buffer it names; the first
    // overwrites the smoothed buffer and leaves buffer 2 zero. Kept as is.
    const int below = flag - 1;
    if (!h->m_nComputed[below - 1] && !Smooth(passes, static_cast<HIST_FLAG>(below), radius, start, end))
        return FALSE;
    int* buffer = h->m_pBuffer[flag == HIST_DIFF1 ? HIST_SMOOTHED : flag];
    if (buffer == nullptr) return FALSE;
    const int first = flag == HIST_DIFF1 ? 0 : 1;
    const int last = flag == HIST_DIFF3 ? n - 3 : n - 2;
    for (int i = first; i <= last; ++i)
        buffer[i] = static_cast<int>(static_cast<std::uint32_t>(buffer[i + 1]) - static_cast<std::uint32_t>(buffer[i]));
    h->m_nComputed[flag - 1] = TRUE;
    return TRUE;
}

int CVxHistogramProcessing::SetMaxMinArray() {
    RemoveHDArray(m_arrMaxima);
    RemoveHDArray(m_arrMinima);
    const int n = m_pHistogram->m_nBins;
    const int* h = m_pHistogram->m_pBuffer[HIST_SMOOTHED];
    if (h == nullptr || n <= 1) return 0;
    const bool circular = Circular();
    // Positions already holding a record, for the duplicate stop.
    std::vector<unsigned char> taken(2 * static_cast<size_t>(n), 0);  // maxima, then minima
    auto midpoint = [n](int r, int i) {
        if (r <= i) return r + (i - r) / 2;
        const int p = r + (n - r + i) / 2;
        return p >= n ? p - n : p;
    };
    std::int64_t slope = 0;
    int i = 0, j = 1, r = 0;
    for (std::int64_t steps = 0;;) {
        const std::int64_t d = std::int64_t{h[j]} - h[i];
        if (d < 0 || d >= 1) {
            const bool maximum = d < 0;
            if (maximum ? slope > 0 : slope < 0) {
                const int p = midpoint(r, i);
                unsigned char& seen = taken[(maximum ? 0 : n) + p];
                if (seen) break;
                seen = 1;
                (maximum ? m_arrMaxima : m_arrMinima).Add(new Density(p, h[p]));
            }
            slope = d;
            r = j;
        }
        ++steps, ++i, ++j;
        if (circular) {
            if (i == n) i = 0;
            if (j == n) j = 0;
            if (steps >= 2 * std::int64_t{n}) break;
        } else if (j >= n) {
            break;
        }
    }
    return m_arrMaxima.GetSize();
}

int CVxHistogramProcessing::FindMaximaMinima() {
    CVxHistogram* h = m_pHistogram;
    if (h == nullptr || !h->IsCreated()) return FALSE;
    const int n = h->m_nBins;
    if (!h->m_nComputed[0]) {
        h->CreateBuffer(HIST_SMOOTHED);
        MovingAverage(h->m_pBuffer[HIST_RAW], h->m_pBuffer[HIST_SMOOTHED], n, 1, 2, 0, n - 1);
        h->m_nComputed[0] = TRUE;
    }
    int count = SetMaxMinArray();
    int* smoothed = h->m_pBuffer[HIST_SMOOTHED];
    std::vector<int> before;
    while (count > m_nMaxRawMaximaCount) {
        before.assign(smoothed, smoothed + n);
        MovingAverage(smoothed, smoothed, n, 1, 2, 0, n - 1);
        // A buffer the average no longer changes would repeat the same count forever.
        if (std::equal(before.begin(), before.end(), smoothed)) break;
        count = SetMaxMinArray();
    }
    auto link = [](Density* record, Density* prev, Density* next) {
        if (prev != nullptr) record->m_nPrevPos = prev->m_nPos, record->m_nPrevDensity = prev->m_nDensity;
        if (next != nullptr) record->m_nNextPos = next->m_nPos, record->m_nNextDensity = next->m_nDensity;
    };
    for (int k = 0; k < m_arrMaxima.GetSize(); ++k) {
        Density* m = At(m_arrMaxima, k);
        link(m, GetPrevMinima(m->m_nPos), GetNextMinima(m->m_nPos));
    }
    for (int k = 0; k < m_arrMinima.GetSize(); ++k) {
        Density* m = At(m_arrMinima, k);
        link(m, GetPrevMaxima(m->m_nPos), GetNextMaxima(m->m_nPos));
    }
    SetValidMaxMinArray();
    return TRUE;
}

int CVxHistogramProcessing::SetValidMaxMinArray() {
    RemoveHDArray(m_arrValidMaxima);
    const int count = m_arrMaxima.GetSize();
    if (count == 0) return 0;

    // Highest density first. Equal densities keep their position order (the
    // order of a sort that is not stable is left open).
    std::vector<Density*> sorted(count);
    for (int k = 0; k < count; ++k) sorted[k] = At(m_arrMaxima, k);
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const Density* a, const Density* b) { return Density::CompareDensity(a, b) < 0; });
    for (int k = 0; k < count; ++k) m_arrMaxima[k] = sorted[k];

    if (count <= m_nMaxValidMaximaCount) {
        for (Density* record : sorted) m_arrValidMaxima.Add(new Density(*record));
        return TRUE;
    }

    const int n = m_pHistogram->m_nBins;
    const bool circular = Circular();
    // Truncated, and compared as a double so that any ratio a caller stores is safe.
    const double interval = std::trunc(n * m_dMinIntervalRatio);
    Density* group = nullptr;
    for (int k = 0; k < count; ++k) {
        bool isNear = false;
        if (k > 0 || circular) {
            const Density* before = sorted[k > 0 ? k - 1 : count - 1];
            int distance = std::abs(sorted[k]->m_nPos - before->m_nPos);
            if (circular) distance = std::min(distance, n - distance);
            isNear = distance <= interval;
        }
        if (isNear && group != nullptr) {
            MergeInto(*group, *sorted[k]);
        } else {
            group = new Density(*sorted[k]);
            m_arrValidMaxima.Add(group);
        }
    }

    const std::int64_t peak = m_pHistogram->GetMaxValue(m_pHistogram->m_pBuffer[HIST_RAW], 0, n, nullptr);
    for (int step = 6;; ++step) {
        const std::int64_t threshold = static_cast<std::int64_t>(step / 1000.0 * static_cast<double>(peak));
        CPtrArray groups;
        group = nullptr;
        for (int k = 0; k < m_arrValidMaxima.GetSize(); ++k) {
            Density* record = At(m_arrValidMaxima, k);
            if (record->GetPrevDensityDiff() > threshold || group == nullptr) {
                group = new Density(*record);
                groups.Add(group);
            } else {
                MergeInto(*group, *record);
            }
        }
        const int before = m_arrValidMaxima.GetSize();
        RemoveHDArray(m_arrValidMaxima);
        for (int k = 0; k < groups.GetSize(); ++k) m_arrValidMaxima.Add(groups[k]);
        if (m_arrValidMaxima.GetSize() <= m_nMaxValidMaximaCount) break;
        // Without a positive peak the threshold never grows: nothing more would merge.
        if (peak <= 0 && m_arrValidMaxima.GetSize() == before) break;
    }
    return TRUE;
}

void CVxHistogramProcessing::RemoveHDArray(CPtrArray& array) {
    for (int k = 0; k < array.GetSize(); ++k) delete At(array, k);
    array.RemoveAll();
}

int CVxHistogramProcessing::DeleteAtHDArray(CPtrArray& array, int index) {
    if (index < 0 || index >= array.GetSize()) return FALSE;
    delete At(array, index);
    array.RemoveAt(index);
    return TRUE;
}

CVxHistogramDensity* CVxHistogramProcessing::GetPrevHDArray(CPtrArray& array, int pos) {
    Density* found = nullptr;
    for (int k = 0; k < array.GetSize() && At(array, k)->m_nPos < pos; ++k) found = At(array, k);
    if (found == nullptr && Circular() && array.GetSize() > 0) found = At(array, array.GetSize() - 1);
    return found;
}

CVxHistogramDensity* CVxHistogramProcessing::GetNextHDArray(CPtrArray& array, int pos) {
    Density* found = nullptr;
    for (int k = array.GetSize() - 1; k >= 0 && At(array, k)->m_nPos > pos; --k) found = At(array, k);
    if (found == nullptr && Circular() && array.GetSize() > 0) found = At(array, 0);
    return found;
}

void CVxHistogramProcessing::SaveHistogram(const char* path, HIST_FLAG flag) {
    if (path == nullptr) return;
    std::FILE* file = std::fopen(path, "w");
    if (file == nullptr) return;
    if (m_pHistogram != nullptr)
        if (const int* buffer = m_pHistogram->GetBuffer(flag))
            for (int i = 0; i < m_pHistogram->m_nBins; ++i) std::fprintf(file, "%d\n", buffer[i]);
    std::fclose(file);
}
