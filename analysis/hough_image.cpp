#include <lumora/hough_image.h>

#include <algorithm>
#include <cstdint>

namespace {
constexpr DWORD kMinStart = 2147483647u;
}

CVxHoughImage::CVxHoughImage() { Initialize(); }

CVxHoughImage::CVxHoughImage(int rhoCount, int thetaCount) {
    Initialize();
    Create(rhoCount, thetaCount);
}

CVxHoughImage::CVxHoughImage(CVxHoughImage& other) {
    Initialize();
    *this = other;
}

CVxHoughImage::~CVxHoughImage() { Remove(); }

CVxHoughImage& CVxHoughImage::operator=(CVxHoughImage& other) {
    if (&other == this) return *this;
    Remove();
    if (!other.IsCreated()) return *this;
    Create(other.m_nRho, other.m_nTheta);
    for (int t = 0; t < m_nTheta; ++t) std::copy_n(other.m_ppRows[t], m_nRho, m_ppRows[t]);
    return *this;
}

void CVxHoughImage::Initialize() {
    m_ppRows = nullptr;
    m_nRho = 0;
    m_nTheta = 0;
}

// One block holds every row; the row table points into it.
void CVxHoughImage::Create(int rhoCount, int thetaCount) {
    Remove();
    if (rhoCount < 0 || thetaCount < 0) return;
    m_nRho = rhoCount;
    m_nTheta = thetaCount;
    DWORD* block = new DWORD[static_cast<size_t>(rhoCount) * thetaCount + 1]();
    m_ppRows = new DWORD*[static_cast<size_t>(thetaCount) + 1];
    for (int t = 0; t < thetaCount; ++t) m_ppRows[t] = block + static_cast<size_t>(t) * rhoCount;
    m_ppRows[thetaCount] = block;  // keeps the block reachable when there are no rows
}

void CVxHoughImage::Remove() {
    if (m_ppRows != nullptr) delete[] m_ppRows[m_nTheta];
    delete[] m_ppRows;
    Initialize();
}

DWORD* CVxHoughImage::GetThetaBuffer(int theta) {
    return m_ppRows != nullptr && theta >= 0 && theta < m_nTheta ? m_ppRows[theta] : nullptr;
}

DWORD CVxHoughImage::GetAt(int rho, int theta) {
    const DWORD* row = GetThetaBuffer(theta);
    return row != nullptr && rho >= 0 && rho < m_nRho ? row[rho] : 0;
}

void CVxHoughImage::SetAt(int rho, int theta, DWORD value) {
    DWORD* row = GetThetaBuffer(theta);
    if (row != nullptr && rho >= 0 && rho < m_nRho) row[rho] = value;
}

DWORD CVxHoughImage::GetMax() {
    DWORD best = 0;
    for (int t = 0; t < m_nTheta; ++t) best = std::max(best, GetThetaMax(t));
    return best;
}

DWORD CVxHoughImage::GetMin() {
    DWORD best = kMinStart;
    for (int t = 0; t < m_nTheta; ++t) best = std::min(best, GetThetaMin(t));
    return best;
}

DWORD CVxHoughImage::GetRhoMax(int rho) {
    DWORD best = 0;
    for (int t = 0; t < m_nTheta; ++t) best = std::max(best, GetAt(rho, t));
    return best;
}

DWORD CVxHoughImage::GetRhoMin(int rho) {
    DWORD best = kMinStart;
    for (int t = 0; t < m_nTheta; ++t) best = std::min(best, GetAt(rho, t));
    return best;
}

DWORD CVxHoughImage::GetThetaMax(int theta) {
    const DWORD* row = GetThetaBuffer(theta);
    return row != nullptr && m_nRho > 0 ? *std::max_element(row, row + m_nRho) : 0;
}

DWORD CVxHoughImage::GetThetaMin(int theta) {
    const DWORD* row = GetThetaBuffer(theta);
    return row != nullptr && m_nRho > 0 ? std::min(*std::min_element(row, row + m_nRho), kMinStart) : kMinStart;
}

double CVxHoughImage::GetMean() {
    if (m_nRho <= 0 || m_nTheta <= 0) return 0.0;
    std::uint64_t sum = 0;
    for (int t = 0; t < m_nTheta; ++t)
        for (int r = 0; r < m_nRho; ++r) sum += m_ppRows[t][r];
    return static_cast<double>(sum) / (static_cast<double>(m_nRho) * m_nTheta);
}

double CVxHoughImage::GetRhoMean(int rho) {
    if (m_nTheta <= 0) return 0.0;
    std::uint64_t sum = 0;
    for (int t = 0; t < m_nTheta; ++t) sum += GetAt(rho, t);
    return static_cast<double>(sum) / m_nTheta;
}

double CVxHoughImage::GetThetaMean(int theta) {
    const DWORD* row = GetThetaBuffer(theta);
    if (row == nullptr || m_nRho <= 0) return 0.0;
    std::uint64_t sum = 0;
    for (int r = 0; r < m_nRho; ++r) sum += row[r];
    return static_cast<double>(sum) / m_nRho;
}
