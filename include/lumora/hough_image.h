// CVxHoughImage: the Hough accumulator, one row of rho bins per theta bin.
#pragma once

#include <lumora/export.h>
#include <lumora/framework.h>

// Element (rho, theta) is GetBuffer()[theta][rho]. Indices off the table
// read as 0 (GetAt, and GetRhoMax/Min/Mean for a rho past the rows),
// writes off it are ignored, and GetThetaBuffer answers null for them.
class LUMORA_API CVxHoughImage {
public:
    CVxHoughImage();
    CVxHoughImage(int rhoCount, int thetaCount);
    CVxHoughImage(CVxHoughImage& other);
    virtual ~CVxHoughImage();
    CVxHoughImage& operator=(CVxHoughImage& other);

    // thetaCount rows of rhoCount zeroed counts; negative counts leave it empty.
    void Create(int rhoCount, int thetaCount);
    void Remove();
    void Initialize();
    int IsCreated() { return m_ppRows != nullptr ? TRUE : FALSE; }
    int GetRhoCount() { return m_nRho; }
    int GetThetaCount() { return m_nTheta; }

    DWORD** GetBuffer() { return m_ppRows; }
    DWORD* GetThetaBuffer(int theta);
    DWORD GetAt(int rho, int theta);
    void SetAt(int rho, int theta, DWORD value);

    // Maxima start from 0, minima from 2147483647; comparisons are unsigned.
    DWORD GetMax();
    DWORD GetMin();
    DWORD GetRhoMax(int rho);
    DWORD GetRhoMin(int rho);
    DWORD GetThetaMax(int theta);
    DWORD GetThetaMin(int theta);
    double GetMean();
    double GetRhoMean(int rho);
    double GetThetaMean(int theta);

private:
    DWORD** m_ppRows;
    int m_nRho;
    int m_nTheta;
};
