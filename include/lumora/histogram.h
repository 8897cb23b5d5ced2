// CVxHistogram: integer bins counted from one channel of an image, plus the
// smoothed histogram and its differences that CVxHistogramProcessing derives.
#pragma once

#include <lumora/export.h>
#include <lumora/imagestore.h>

// Selects one of a histogram's five buffers.
enum HIST_FLAG { HIST_RAW = 0, HIST_SMOOTHED = 1, HIST_DIFF1 = 2, HIST_DIFF2 = 3, HIST_DIFF3 = 4 };

// A plain value object: it holds no image. Positions outside the bins are
// answered with 0 (GetValue) or ignored (the setters), never read or written.
class LUMORA_API CVxHistogram {
public:
    CVxHistogram();
    explicit CVxHistogram(int bins);
    CVxHistogram(CVxHistogram& other);
    CVxHistogram(CVxImage& image, int channel);
    virtual ~CVxHistogram();

    const CVxHistogram& operator=(CVxHistogram& other);

    // Zeroes every field without releasing anything (for constructors).
    void Initialize();
    // Releases the five buffers; the computed-markers are deliberately kept.
    void Remove();
    int IsCreated() { return m_pBuffer[HIST_RAW] != nullptr ? TRUE : FALSE; }

    int GetCircularModel() { return m_nCircular; }
    void SetCircularModel(int circular) { m_nCircular = circular; }
    int GetSize() { return m_nBins; }

    void Create(int bins);
    // 2^(significant bits of `channel`) bins, then SetHistogram. FALSE, with
    // the histogram left empty, for float samples or a channel the image
    // does not have.
    int Create(CVxImage& image, int channel);
    // Allocates the buffer of `flag` if absent. For HIST_DIFF3 the test looks
    // at buffer 0, so buffer 4 is made only while buffer 0 is absent.
    void CreateBuffer(HIST_FLAG flag);

    int* GetBuffer(HIST_FLAG flag);
    // Copies the bin count of values into an existing buffer; nothing else.
    void SetBuffer(int* values, HIST_FLAG flag);

    // -1 for an unknown flag, 0 for an absent buffer or a position off the bins.
    int GetValue(int pos, HIST_FLAG flag);
    void SetValue(int pos, int value, HIST_FLAG flag);
    void AddValue(int pos, int value, HIST_FLAG flag);
    // Subtracts, then sets a positive bin to 0: afterwards a bin is never positive.
    void SubValue(int pos, int value, HIST_FLAG flag);

    int GetHighValidPosition(HIST_FLAG flag);
    int GetLowValidPosition(HIST_FLAG flag);
    // Range start <= i < end; start below 0 becomes 0, end below 0 or past the
    // bins becomes the bin count. The maximum starts from 0 at `start`.
    int GetMaxValue(int* pos, int start, int end, HIST_FLAG flag);
    // Always 2147483647 at `start`.
    int GetMinValue(int* pos, int start, int end, HIST_FLAG flag);
    // The range's sum divided by the whole bin count.
    double GetMeanValue(int start, int end, HIST_FLAG flag);

    // Adds one to bin[sample] for every pixel of `channel` (ignored for one
    // channel). Samples at or above the bin count are skipped. Not cleared
    // first: repeated calls accumulate.
    int SetHistogram(CVxImage& image, int channel);

protected:
    int GetHighValidPosition(int* buffer);
    int GetLowValidPosition(int* buffer);
    int GetMaxValue(int* buffer, int start, int end, int* pos);
    int GetMinValue(int* buffer, int start, int end, int* pos);
    double GetMeanValue(int* buffer, int start, int end);

private:
    friend class CVxHistogramProcessing;
    int* Bin(int pos, HIST_FLAG flag);

    int* m_pBuffer[5];
    int m_nCircular;
    int m_nBins;
    // Set when buffer 1..4 has been derived (index 0 is buffer 1).
    int m_nComputed[4];
};
