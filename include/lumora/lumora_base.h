// CVxLumoraBase: what every processing class is bound to.
#pragma once

#include <lumora/export.h>
#include <lumora/framework.h>
#include <lumora/imagestore.h>

// Holds non-owning pointers to the target image, an image series and an
// area-of-interest mask. A processing object never creates, copies or frees
// them; the caller keeps them alive while the object is used.
class LUMORA_API CVxLumoraBase {
public:
    CVxLumoraBase();
    explicit CVxLumoraBase(CVxImage* image, CVxImage* aoi = nullptr);
    explicit CVxLumoraBase(CVxImageArray* array, CVxImage* aoi = nullptr);
    CVxLumoraBase(const CVxLumoraBase& other) = default;
    ~CVxLumoraBase();

    CVxLumoraBase& operator=(const CVxLumoraBase& other);

    void SetImage(CVxImage* image) { m_pImage = image; }
    CVxImage* GetImage() { return m_pImage; }
    void SetImageArray(CVxImageArray* array) { m_pImageArray = array; }
    CVxImageArray* GetImageArray() { return m_pImageArray; }
    // A mask image: pixels whose 8-bit sample is 0 are left alone by the
    // operations that honour it. Null removes it.
    void SetAOIImage(CVxImage* aoi) { m_pAOIImage = aoi; }
    CVxImage* GetAOIImage() { return m_pAOIImage; }
    // The mask's row table, or null when no mask is set.
    unsigned char** GetAOIImage() const;

    // Extracts channel `index` of the target into a freshly created grey image.
    int GetPlane(int index, CVxImage& plane);
    // Writes a one-channel image into channel `index` of the target.
    int SetPlane(int index, CVxImage& plane);

protected:
    CVxImage* m_pImage;
    CVxImageArray* m_pImageArray;
    CVxImage* m_pAOIImage;
};
