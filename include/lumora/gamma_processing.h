// CVxGammaProcessing: remaps samples through an (unnormalised) power table.
#pragma once

#include <lumora/point_processing.h>

class LUMORA_API CVxGammaProcessing : public CVxPointProcessing {
public:
    CVxGammaProcessing();
    explicit CVxGammaProcessing(CVxImage* image);
    virtual ~CVxGammaProcessing();

    // Stores the coefficient; an existing table is kept as it is.
    int SetCoefficient(float coefficient);
    float GetCoefficient();
    // Builds `size` entries: entry i = trunc((float)pow(i, k)), within 0..size-1.
    int CreateVectorTable(int size);
    // Applies the table to a region; warns and returns FALSE without a table.
    int Gamma(CRect rect = CRect(-1, -1, -1, -1));

protected:
    float m_fCoefficient;
    int* m_pVectorTable;
    int m_nVectorTableSize;
};
