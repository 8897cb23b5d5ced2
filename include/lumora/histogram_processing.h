// CVxHistogramProcessing: smoothing, differences, extrema and dominant peaks
// of a CVxHistogram.
#pragma once

#include <lumora/export.h>
#include <lumora/framework.h>
#include <lumora/histogram.h>
#include <lumora/histogram_density.h>

// The three arrays hold CVxHistogramDensity records the object owns.
class LUMORA_API CVxHistogramProcessing {
public:
    CVxHistogramProcessing();
    explicit CVxHistogramProcessing(CVxHistogram* histogram);
    virtual ~CVxHistogramProcessing();
    CVxHistogramProcessing(const CVxHistogramProcessing&) = delete;
    CVxHistogramProcessing& operator=(const CVxHistogramProcessing&) = delete;

    void SetHistogram(CVxHistogram* histogram) { m_pHistogram = histogram; }
    CVxHistogram* GetHistogram() { return m_pHistogram; }
    void SetMinIntervalRatio(double ratio) { m_dMinIntervalRatio = ratio; }
    // Values below 1 become 1.
    void SetMaxRawMaximaCount(int count);
    void SetMaxValidMaximaCount(int count);

    // Moving average of buffer 0 into buffer 1 (HIST_SMOOTHED), or the
    // in-place difference of the named buffer (HIST_DIFF1..3). FALSE for
    // HIST_RAW, a negative radius, or a histogram without the buffers.
    int Smooth(int passes, HIST_FLAG flag, int radius, int start, int end);
    // Raw extrema, their links and the valid maxima. FALSE without a
    // created histogram.
    int FindMaximaMinima();

    CPtrArray& GetMaximaArray() { return m_arrMaxima; }
    CPtrArray& GetMinimaArray() { return m_arrMinima; }
    CPtrArray& GetValidMaximaArray() { return m_arrValidMaxima; }
    int GetThMinimaPos() { return m_nThMinimaPos; }
    int GetThPrevMaximaPos() { return m_nThPrevMaximaPos; }
    int GetThNextMaximaPos() { return m_nThNextMaximaPos; }

    // One "%d\n" line per bin of the buffer (an empty file when it is
    // absent). A path that cannot be opened writes nothing.
    void SaveHistogram(const char* path, HIST_FLAG flag);

protected:
    int SetMaxMinArray();
    int SetValidMaxMinArray();
    void RemoveHDArray(CPtrArray& array);
    int DeleteAtHDArray(CPtrArray& array, int index);
    CVxHistogramDensity* GetPrevHDArray(CPtrArray& array, int pos);
    CVxHistogramDensity* GetNextHDArray(CPtrArray& array, int pos);
    CVxHistogramDensity* GetPrevMaxima(int pos) { return GetPrevHDArray(m_arrMaxima, pos); }
    CVxHistogramDensity* GetNextMaxima(int pos) { return GetNextHDArray(m_arrMaxima, pos); }
    CVxHistogramDensity* GetPrevMinima(int pos) { return GetPrevHDArray(m_arrMinima, pos); }
    CVxHistogramDensity* GetNextMinima(int pos) { return GetNextHDArray(m_arrMinima, pos); }

private:
    bool Circular() const;

    CVxHistogram* m_pHistogram;
    CPtrArray m_arrMaxima;
    CPtrArray m_arrMinima;
    CPtrArray m_arrValidMaxima;
    int m_nThMinimaPos;
    int m_nThPrevMaximaPos;
    int m_nThNextMaximaPos;
    double m_dMinIntervalRatio;
    int m_nMaxRawMaximaCount;
    int m_nMaxValidMaximaCount;
};
