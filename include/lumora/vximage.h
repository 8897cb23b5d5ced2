// The minimal image store: images, their colour models and descriptions.
//
// Pixel memory is one block of rows, top to bottom, each row padded to a
// multiple of four bytes; Get2DBuffer() offers a table of row pointers into
// it. Samples of one pixel are interleaved in the channel order of the model
// (blue, green, red, alpha for RGB and RGBA).
#pragma once

#include <lumora/export.h>
#include <lumora/framework/win32.h>
#include <lumora/vxpalette.h>

// A fixed underlying type: images and blocks from outside can carry model
// numbers this store has no name for (23 and up), and reading one must be
// defined behaviour so that operations can refuse it.
enum COLOR_MODEL : int {
    CM_BITMAP = 0,
    CM_GRAY = 1,
    CM_LOGL = 2,
    CM_INDEX = 3,
    CM_GRAYA = 4,
    CM_RGB = 10,
    CM_RGBA = 11,
    CM_CMYK = 12,
    CM_HSI = 13,
    CM_HSV = 14,
    CM_HLS = 15,
    CM_XYZ = 16,
    CM_YUV = 17,
    CM_YIQ = 18,
    CM_YCbCr = 19,
    CM_LUV = 20,
    CM_Lab = 21,
    CM_LOGLUV = 22
};

// Codec settings belong to file formats, which this store does not handle;
// the type exists so that Create keeps its full signature.
class CVxCodecInfo {};

class LUMORA_IMAGESTORE_API CVxImage {
public:
    CVxImage();
    CVxImage(const CVxImage& other);
    CVxImage(CVxImage&& other) noexcept;
    CVxImage(COLOR_MODEL model, int bitsPerSample, int width, int height, int paletteSize = 0,
             CVxCodecInfo* codec = nullptr, int last = 255);
    virtual ~CVxImage();

    const CVxImage& operator=(const CVxImage& other);
    CVxImage& operator=(CVxImage&& other) noexcept;

    // (Re)allocates the pixel block. Arguments that cannot describe an image
    // (negative width or height, bits per sample below 1, a block larger
    // than 2 GiB, an unknown model) leave the image not created. The pixels
    // are not initialised: every operation writes what it creates.
    void Create(COLOR_MODEL model, int bitsPerSample, int width, int height, int paletteSize = 0,
                CVxCodecInfo* codec = nullptr, int last = 255);
    void Remove();
    int IsCreated() const { return m_pBuffer != nullptr ? TRUE : FALSE; }

    void** Get2DBuffer() { return m_ppRows; }
    void* GetBuffer() { return m_pBuffer; }
    const void* GetBuffer() const { return m_pBuffer; }

    void SetBitsPerSampleEx(int* bits);
    // Writes one 8-bit sample of a one-channel image; ignored outside it.
    void SetPixel(int x, int y, unsigned char& value);

    CVxPalette& GetPalette() { return m_Palette; }
    const CVxPalette& GetPalette() const { return m_Palette; }

    COLOR_MODEL m_ColorModel;
    int m_nChannel;
    int m_nBitsPerSample;
    int* m_pBitsPerSampleEx;
    int m_nWidth;
    int m_nHeight;
    int m_nBytesPerLine;
    int m_nImageSize;
    CVxPalette m_Palette;

private:
    void CopyFrom(const CVxImage& other);
    void ResetAttributes();
    void CopyAttributesFrom(const CVxImage& other);
    void AllocateRows(int height, int bytesPerLine);

    int m_BitsPerSampleEx[4];
    unsigned char* m_pBuffer;
    void** m_ppRows;
};

class LUMORA_IMAGESTORE_API CVxImageInfo {
public:
    explicit CVxImageInfo(CVxImage* image);

    // Channel count of a model; 0 for a number that is no model.
    static int GetChannel(COLOR_MODEL model);
    // Bytes one sample takes for a bits-per-sample value: 1, 2, 4, or 8 above 32.
    static int GetSampleBytes(int bitsPerSample);

    COLOR_MODEL GetColorModel() const { return m_ColorModel; }
    int GetChannel() const { return m_nChannel; }
    int GetBitsPerSample() const { return m_nBitsPerSample; }
    int GetWidth() const { return m_nWidth; }
    int GetHeight() const { return m_nHeight; }

private:
    COLOR_MODEL m_ColorModel;
    int m_nChannel;
    int m_nBitsPerSample;
    int m_nWidth;
    int m_nHeight;
};

// Colour-model predicates. A null image answers FALSE; the names ending in 16
// also require 9 to 16 bits per sample.
LUMORA_IMAGESTORE_API int VXISBITMAP(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISGRAY(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISGRAYA(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISGRAY16(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISGRAYA16(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISINDEX(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISRGB(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISRGBA(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISRGB16(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISRGBA16(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISCMYK(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISHSI(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISHSV(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISHLS(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISXYZ(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISYUV(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISYIQ(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISYCbCr(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISLUV(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISLab(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISLOGL(CVxImage* image);
LUMORA_IMAGESTORE_API int VXISLOGLUV(CVxImage* image);
// TRUE when both images exist and have the same width and height.
LUMORA_IMAGESTORE_API int VXCOMPARE_SIZE(CVxImage* a, CVxImage* b);
