#include <lumora/histogram.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "../core/layout.h"

using namespace lumora::detail;

namespace {

bool KnownFlag(int flag) { return flag >= HIST_RAW && flag <= HIST_DIFF3; }

// Counts channel `channel` of every pixel into bins[0..binCount). 8-bit
// samples with at least 256 bins need no bound test, and four partial tables
// keep runs of equal samples from waiting on one counter.
template <class T, int C>
void CountSamples(CVxImage& image, int channel, int* bins, int binCount) {
    const int width = image.m_nWidth;
    void** rows = image.Get2DBuffer();
    if constexpr (sizeof(T) == 1) {
        if (binCount >= 256) {
            std::vector<std::uint32_t> parts(4 * 256, 0);
            std::uint32_t* p = parts.data();
            for (int y = 0; y < image.m_nHeight; ++y) {
                const T* row = static_cast<const T*>(rows[y]) + channel;
                int x = 0;
                for (; x + 4 <= width; x += 4) {
                    ++p[row[(x + 0) * C]];
                    ++p[256 + row[(x + 1) * C]];
                    ++p[512 + row[(x + 2) * C]];
                    ++p[768 + row[(x + 3) * C]];
                }
                for (; x < width; ++x) ++p[row[x * C]];
            }
            for (int v = 0; v < 256; ++v)
                bins[v] = static_cast<int>(static_cast<std::uint32_t>(bins[v]) + p[v] + p[256 + v] + p[512 + v] +
                                           p[768 + v]);
            return;
        }
    }
    for (int y = 0; y < image.m_nHeight; ++y) {
        const T* row = static_cast<const T*>(rows[y]) + channel;
        for (int x = 0; x < width; ++x) {
            const int v = row[x * C];
            if (v < binCount) bins[v] = static_cast<int>(static_cast<std::uint32_t>(bins[v]) + 1u);
        }
    }
}

}  // namespace

CVxHistogram::CVxHistogram() { Initialize(); }

CVxHistogram::CVxHistogram(int bins) {
    Initialize();
    Create(bins);
}

CVxHistogram::CVxHistogram(CVxHistogram& other) {
    Initialize();
    *this = other;
}

CVxHistogram::CVxHistogram(CVxImage& image, int channel) {
    Initialize();
    Create(image, channel);
}

CVxHistogram::~CVxHistogram() { Remove(); }

void CVxHistogram::Initialize() {
    std::fill(std::begin(m_pBuffer), std::end(m_pBuffer), nullptr);
    m_nCircular = 0;
    m_nBins = 0;
    std::fill(std::begin(m_nComputed), std::end(m_nComputed), 0);
}

void CVxHistogram::Remove() {
    for (int*& buffer : m_pBuffer) {
        delete[] buffer;
        buffer = nullptr;
    }
    m_nBins = 0;
}

const CVxHistogram& CVxHistogram::operator=(CVxHistogram& other) {
    if (&other == this) return *this;
    Remove();
    if (other.m_nBins == 0 || other.m_pBuffer[HIST_RAW] == nullptr) return *this;
    Create(other.m_nBins);
    std::copy_n(other.m_pBuffer[HIST_RAW], m_nBins, m_pBuffer[HIST_RAW]);
    return *this;
}

void CVxHistogram::Create(int bins) {
    Remove();
    m_nBins = std::max(bins, 0);
    m_pBuffer[HIST_RAW] = new int[static_cast<size_t>(m_nBins)]();
}

int CVxHistogram::Create(CVxImage& image, int channel) {
    Remove();
    const int channels = image.m_nChannel;
    if (!image.IsCreated() || channels < 1 || channels > 4 || channel < 0 || channel >= channels) return FALSE;
    if (SampleKindOf(image.m_nBitsPerSample) != SampleKind::U8 &&
        SampleKindOf(image.m_nBitsPerSample) != SampleKind::U16)
        return FALSE;
    const int bits = image.m_pBitsPerSampleEx != nullptr ? image.m_pBitsPerSampleEx[channel] : image.m_nBitsPerSample;
    if (bits < 1 || bits > 16) return FALSE;
    Create(1 << bits);
    return SetHistogram(image, channel);
}

void CVxHistogram::CreateBuffer(HIST_FLAG flag) {
    if (!KnownFlag(flag)) return;
    if (flag == HIST_DIFF3) {
        // The existence test reads buffer 0, as the original does.
        if (m_pBuffer[HIST_RAW] != nullptr) return;
        delete[] m_pBuffer[HIST_DIFF3];
    } else if (m_pBuffer[flag] != nullptr) {
        return;
    }
    m_pBuffer[flag] = new int[static_cast<size_t>(m_nBins)]();
}

int* CVxHistogram::GetBuffer(HIST_FLAG flag) { return KnownFlag(flag) ? m_pBuffer[flag] : nullptr; }

void CVxHistogram::SetBuffer(int* values, HIST_FLAG flag) {
    int* buffer = GetBuffer(flag);
    if (buffer == nullptr || values == nullptr) return;
    std::copy_n(values, m_nBins, buffer);
}

int* CVxHistogram::Bin(int pos, HIST_FLAG flag) {
    int* buffer = GetBuffer(flag);
    return buffer != nullptr && pos >= 0 && pos < m_nBins ? buffer + pos : nullptr;
}

int CVxHistogram::GetValue(int pos, HIST_FLAG flag) {
    if (!KnownFlag(flag)) return -1;
    const int* bin = Bin(pos, flag);
    return bin != nullptr ? *bin : 0;
}

void CVxHistogram::SetValue(int pos, int value, HIST_FLAG flag) {
    if (int* bin = Bin(pos, flag)) *bin = value;
}

void CVxHistogram::AddValue(int pos, int value, HIST_FLAG flag) {
    if (int* bin = Bin(pos, flag)) *bin = static_cast<int>(static_cast<std::uint32_t>(*bin) + static_cast<std::uint32_t>(value));
}

void CVxHistogram::SubValue(int pos, int value, HIST_FLAG flag) {
    int* bin = Bin(pos, flag);
    if (bin == nullptr) return;
    *bin = static_cast<int>(static_cast<std::uint32_t>(*bin) - static_cast<std::uint32_t>(value));
    if (*bin > 0) *bin = 0;
}

int CVxHistogram::GetHighValidPosition(int* buffer) {
    if (buffer == nullptr) return -1;
    for (int i = m_nBins - 1; i >= 0; --i)
        if (buffer[i] != 0) return i;
    return -1;
}

int CVxHistogram::GetLowValidPosition(int* buffer) {
    if (buffer == nullptr) return -1;
    for (int i = 0; i < m_nBins; ++i)
        if (buffer[i] != 0) return i;
    return -1;
}

int CVxHistogram::GetHighValidPosition(HIST_FLAG flag) { return GetHighValidPosition(GetBuffer(flag)); }
int CVxHistogram::GetLowValidPosition(HIST_FLAG flag) { return GetLowValidPosition(GetBuffer(flag)); }

// The buffer forms keep to the bins whatever range they are given.
int CVxHistogram::GetMaxValue(int* buffer, int start, int end, int* pos) {
    int best = 0, at = start;
    if (buffer != nullptr)
        for (int i = std::max(start, 0); i < std::min(end, m_nBins); ++i)
            if (buffer[i] > best) best = buffer[i], at = i;
    if (pos != nullptr) *pos = at;
    return best;
}

// The search starts from INT_MAX and takes only a greater bin, which never
// exists, so the answer is fixed; kept as the original behaves.
int CVxHistogram::GetMinValue(int* /*buffer*/, int start, int /*end*/, int* pos) {
    if (pos != nullptr) *pos = start;
    return 2147483647;
}

double CVxHistogram::GetMeanValue(int* buffer, int start, int end) {
    if (buffer == nullptr || m_nBins == 0) return 0.0;
    std::int64_t sum = 0;
    for (int i = std::max(start, 0); i < std::min(end, m_nBins); ++i) sum += buffer[i];
    return static_cast<double>(sum) / m_nBins;
}

namespace {
void ClampRange(int& start, int& end, int bins) {
    if (start < 0) start = 0;
    if (end < 0 || end > bins) end = bins;
}
}  // namespace

int CVxHistogram::GetMaxValue(int* pos, int start, int end, HIST_FLAG flag) {
    ClampRange(start, end, m_nBins);
    return GetMaxValue(GetBuffer(flag), start, end, pos);
}

int CVxHistogram::GetMinValue(int* pos, int start, int end, HIST_FLAG flag) {
    ClampRange(start, end, m_nBins);
    return GetMinValue(GetBuffer(flag), start, end, pos);
}

double CVxHistogram::GetMeanValue(int start, int end, HIST_FLAG flag) {
    ClampRange(start, end, m_nBins);
    return GetMeanValue(GetBuffer(flag), start, end);
}

int CVxHistogram::SetHistogram(CVxImage& image, int channel) {
    const int channels = image.m_nChannel;
    if (channels < 1 || channels > 4 || m_pBuffer[HIST_RAW] == nullptr) return FALSE;
    if (channels == 1) channel = 0;
    if (channel < 0 || channel >= channels) return FALSE;
    int result = FALSE;
    DispatchLayout(image, channels, [&]<class T, int C>() {
        if constexpr (!kIsFloatSample<T>) {
            CountSamples<T, C>(image, channel, m_pBuffer[HIST_RAW], m_nBins);
            result = TRUE;
        }
    });
    return result;
}
