// CVxHoughTransform: straight lines of the bound 8-bit grey image by the
// Hough transform, their end points and the accumulator as a picture.
#pragma once

#include <lumora/framework.h>
#include <lumora/hough_image.h>
#include <lumora/lumora_base.h>

// The lines found at one angle: rho bins and, per rho, the two points (column,
// row) where the line as Inverse draws it leaves the image.
struct ThetaRhoRecord {
    int nTheta;
    CArray<int, int> arrRho;
    CArray<CPoint, CPoint> arrPoint1, arrPoint2;
};

class LUMORA_API CVxHoughTransform : public CVxLumoraBase {
public:
    CVxHoughTransform();
    explicit CVxHoughTransform(CVxImage* image);
    virtual ~CVxHoughTransform();
    CVxHoughTransform(const CVxHoughTransform&) = delete;
    CVxHoughTransform& operator=(const CVxHoughTransform&) = delete;

    // Votes every pixel's grey value at 360 half-degree angles. FALSE unless
    // the target is an 8-bit one-channel image.
    int Direct();
    void ComputeSINCOS();
    // Dominant angles, then dominant distances per angle; `lines` receives
    // the drawn lines. FALSE before a successful Direct.
    int DetectLine(CVxImage& lines);
    // Draws every bin of `peaks` with a count of 128 or more as a line.
    int Inverse(CVxImage& lines, CVxHoughImage& peaks);
    void SetLineInfo();
    // The accumulator scaled to 0..255 (all black when it is all zero).
    int GetDisplayImage(CVxImage& picture);
    void RemoveThetaRhoArray();

    // Records are ThetaRhoRecord*, owned by this object.
    CPtrArray& GetThetaRhoArray() { return m_arrThetaRho; }
    CVxHoughImage& GetHoughImage() { return m_HoughImage; }
    double GetRhoMax() const { return m_dRhoMax; }
    double GetRhoStep() const { return m_dRhoStep; }
    double GetThetaMin() const { return m_dThetaMin; }
    double GetThetaStep() const { return m_dThetaStep; }

private:
    bool HasTables();
    void EndPoints(int theta, int rho, int width, int height, CPoint& first, CPoint& second);

    CVxHoughImage m_HoughImage;
    double m_dRhoMax, m_dRhoMin;
    double m_dThetaMax, m_dThetaMin;
    double m_dRhoStep, m_dThetaStep;
    double m_dRhoScale, m_dThetaScale;
    double* m_pSin;
    double* m_pCos;
    int m_nTables;
    CPtrArray m_arrThetaRho;
};
