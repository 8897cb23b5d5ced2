// CVxHistogramDensity: one extremum of a histogram with its neighbouring
// extrema of the other kind.
#pragma once

#include <lumora/export.h>

class LUMORA_API CVxHistogramDensity {
public:
    CVxHistogramDensity();
    CVxHistogramDensity(int position, int density);
    CVxHistogramDensity(const CVxHistogramDensity& other) = default;
    CVxHistogramDensity& operator=(const CVxHistogramDensity& other) = default;
    virtual ~CVxHistogramDensity();

    int GetPrevDensityDiff();
    int GetNextDensityDiff();
    int GetDensityDiff();

    // qsort comparators over records; both put the larger value first.
    static int CompareDensity(const void* a, const void* b);
    static int ComparePosition(const void* a, const void* b);

    int m_nPos;
    int m_nDensity;
    int m_nPrevPos;
    int m_nPrevDensity;
    int m_nNextPos;
    int m_nNextDensity;
};
