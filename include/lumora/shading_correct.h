// CLMRShadingCorrect: flat-field correction of the target against a blank image.
#pragma once

#include <lumora/lumora_base.h>

// Corrects the target in place: each sample becomes target x (blank mean of
// its channel) / blank sample. The blank image is owned by value; the target
// is not.
class LUMORA_API CLMRShadingCorrect : public CVxLumoraBase {
public:
    CLMRShadingCorrect();
    explicit CLMRShadingCorrect(CVxImage* target);
    // The bindings are shared, the means copied, the blank image duplicated.
    CLMRShadingCorrect(const CLMRShadingCorrect& other);
    CLMRShadingCorrect& operator=(const CLMRShadingCorrect& other);
    virtual ~CLMRShadingCorrect();

    // Copies *blank into the owned blank image, then computes its means.
    void SetBlankImage(CVxImage* blank);
    CVxImage* GetBlankImage() { return &m_BlankImage; }
    // Means of the owned blank image (the argument is not used). FALSE when
    // the blank image is not created. Float blanks add their samples to the
    // means' previous values.
    int GetMean(CVxImage* image);
    // FALSE without a target, without a blank image, or when their sizes or
    // layouts differ; TRUE with no change for float targets and channel
    // counts other than 1, 3 and 4. 16-bit results keep their low 8 bits.
    int ShadingCorrect();

protected:
    float m_fMean[4];  // per channel of the blank image, in model order
    CVxImage m_BlankImage;
};
