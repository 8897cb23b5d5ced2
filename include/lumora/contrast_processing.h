// CVxContrastProcessing: remaps samples through a linear table.
#pragma once

#include <lumora/point_processing.h>

class LUMORA_API CVxContrastProcessing : public CVxPointProcessing {
public:
    CVxContrastProcessing();
    explicit CVxContrastProcessing(CVxImage* image);
    virtual ~CVxContrastProcessing();

    // Stores the coefficient; an existing table is kept as it is.
    int SetCoefficient(float coefficient);
    float GetCoefficient();
    // Builds `size` entries: entry i = trunc((float)(i * k) + 0.5), within 0..size-1.
    int CreateVectorTable(int size);
    // Applies the table to a region; warns and returns FALSE without a table.
    int Contrast(CRect rect = CRect(-1, -1, -1, -1));
    // Fixed answer: FALSE, no effect.
    int AutoContrast();

protected:
    float m_fCoefficient;
    int* m_pVectorTable;
    int m_nVectorTableSize;
};
