// Contrast and gamma: the same table machine with two formulas. The classes
// share the table build, the apply step and the missing-table warning.
#include <lumora/contrast_processing.h>
#include <lumora/gamma_processing.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "../core/layout.h"
#include "../module/resources.h"
#include "point_support.h"

using namespace lumora::detail;

namespace {

enum class TableFormula { Linear, Power };

// Entries are clamped to 0..size-1. Out-of-range values convert the way the
// processor's truncating conversion does (to INT32_MIN), so they end at 0.
int* BuildVectorTable(TableFormula formula, float k, int size) {
    int* table = new int[static_cast<size_t>(std::max(size, 0))];
    for (int i = 0; i < size; ++i) {
        std::int32_t entry;
        if (formula == TableFormula::Linear) {
            // The product rounded once to single precision, then +0.5 in double.
            const auto t = static_cast<float>(static_cast<double>(i) * static_cast<double>(k));
            entry = TruncToInt32(static_cast<double>(t) + 0.5);
        } else {
            // Not normalised to the table range: with k = 1.5 entry 100 is 1000.
            const auto t = static_cast<float>(std::pow(static_cast<double>(i), static_cast<double>(k)));
            entry = TruncToInt32(static_cast<double>(t));
        }
        if (entry > size - 1) entry = size - 1;
        if (entry < 0) entry = 0;
        table[i] = entry;
    }
    return table;
}

void ShowMissingTableWarning() {
    const CString text = LoadResourceString(kIdsCallSetCoefficientFirst);
    ShowLumoraMessage(text, MB_OK | MB_ICONEXCLAMATION);
}

// The largest sample of the region, to prove every lookup stays in the table.
template <class T, int C>
int LargestSample(CVxImage& image, const Region& region) {
    T largest = 0;
    ForEachRegionRow<T, C>(image, region, [&largest](T* row, int count) {
        T m = largest;
        for (int i = 0; i < count; ++i) m = std::max(m, row[i]);
        largest = m;
    });
    return largest;
}

// Each sample s becomes table[s] in the sample's own width. The caller is
// meant to build a table covering every sample value; when some sample of
// the region has no entry the call is refused before anything is written.
template <class T, int C>
bool RemapRegion(CVxImage& image, const Region& region, const int* table, int size) {
    constexpr int kRange = 1 << (8 * sizeof(T));
    if (size < kRange && LargestSample<T, C>(image, region) >= size) return false;
    if constexpr (sizeof(T) == 1) {
        std::array<std::uint8_t, 256> lut{};
        for (int s = 0; s < std::min(size, 256); ++s) lut[static_cast<size_t>(s)] = static_cast<std::uint8_t>(table[s]);
        LookUpRegion<T, C>(image, region, lut.data());
    } else {
        MapRegion<T, C>(image, region, [table](T s) { return static_cast<T>(table[s]); });
    }
    return true;
}

int ApplyVectorTable(CVxImage* image, const int* table, int size, CRect rect) {
    if (image == nullptr || table == nullptr || size == 0) {
        ShowMissingTableWarning();
        return FALSE;
    }
    if (!image->IsCreated()) return FALSE;
    const auto region = ReadRegion(rect, image->m_nWidth, image->m_nHeight);
    if (!region) return FALSE;
    const int channels = ModelChannels(*image);
    if (channels < 1 || channels > 4) return FALSE;
    // Float samples and two channels have no routine: TRUE, unchanged.
    const SampleKind kind = SampleKindOf(image->m_nBitsPerSample);
    if (kind == SampleKind::F32 || kind == SampleKind::None || channels == 2) return TRUE;
    bool remapped = false;
    DispatchLayout(*image, channels, [&]<class T, int C>() {
        if constexpr (!kIsFloatSample<T> && C != 2) remapped = RemapRegion<T, C>(image[0], *region, table, size);
    });
    return remapped ? TRUE : FALSE;
}

}  // namespace

// ---------------------------------------------------------------------------

CVxContrastProcessing::CVxContrastProcessing() : m_fCoefficient(1.5f), m_pVectorTable(nullptr), m_nVectorTableSize(0) {}

CVxContrastProcessing::CVxContrastProcessing(CVxImage* image)
    : CVxPointProcessing(image), m_fCoefficient(1.5f), m_pVectorTable(nullptr), m_nVectorTableSize(0) {}

CVxContrastProcessing::~CVxContrastProcessing() { delete[] m_pVectorTable; }

// A new coefficient takes effect at the next CreateVectorTable only.
int CVxContrastProcessing::SetCoefficient(float coefficient) {
    m_fCoefficient = coefficient;
    if (m_nVectorTableSize == 0) CreateVectorTable(0);
    return TRUE;
}

float CVxContrastProcessing::GetCoefficient() { return m_fCoefficient; }

int CVxContrastProcessing::CreateVectorTable(int size) {
    delete[] m_pVectorTable;
    m_pVectorTable = nullptr;
    m_pVectorTable = BuildVectorTable(TableFormula::Linear, m_fCoefficient, size);
    m_nVectorTableSize = size;
    return TRUE;
}

int CVxContrastProcessing::Contrast(CRect rect) {
    return ApplyVectorTable(m_pImage, m_pVectorTable, m_nVectorTableSize, rect);
}

int CVxContrastProcessing::AutoContrast() { return FALSE; }

// ---------------------------------------------------------------------------

CVxGammaProcessing::CVxGammaProcessing() : m_fCoefficient(1.5f), m_pVectorTable(nullptr), m_nVectorTableSize(0) {}

CVxGammaProcessing::CVxGammaProcessing(CVxImage* image)
    : CVxPointProcessing(image), m_fCoefficient(1.5f), m_pVectorTable(nullptr), m_nVectorTableSize(0) {}

CVxGammaProcessing::~CVxGammaProcessing() { delete[] m_pVectorTable; }

int CVxGammaProcessing::SetCoefficient(float coefficient) {
    m_fCoefficient = coefficient;
    if (m_nVectorTableSize == 0) CreateVectorTable(0);
    return TRUE;
}

float CVxGammaProcessing::GetCoefficient() { return m_fCoefficient; }

int CVxGammaProcessing::CreateVectorTable(int size) {
    delete[] m_pVectorTable;
    m_pVectorTable = nullptr;
    m_pVectorTable = BuildVectorTable(TableFormula::Power, m_fCoefficient, size);
    m_nVectorTableSize = size;
    return TRUE;
}

int CVxGammaProcessing::Gamma(CRect rect) { return ApplyVectorTable(m_pImage, m_pVectorTable, m_nVectorTableSize, rect); }
