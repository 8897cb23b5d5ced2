#include <lumora/vximage.h>
#include <lumora/vximagearray.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

namespace {

// Rows start on 4-byte boundaries; the block itself is aligned for vector
// loads so that processing loops can use aligned rows when the stride allows.
constexpr std::align_val_t kBlockAlignment{64};

unsigned char* AllocateBlock(size_t bytes) {
    // Never zero bytes, so that a created image always has a non-null block.
    auto* p = static_cast<unsigned char*>(::operator new(bytes ? bytes : 1, kBlockAlignment));
    return p;
}

void FreeBlock(unsigned char* p) {
    if (p) ::operator delete(p, kBlockAlignment);
}

}  // namespace

CVxImage::CVxImage() : m_Palette(0), m_pBuffer(nullptr), m_ppRows(nullptr) { ResetAttributes(); }

CVxImage::CVxImage(const CVxImage& other) : CVxImage() { CopyFrom(other); }

CVxImage::CVxImage(CVxImage&& other) noexcept : CVxImage() { *this = std::move(other); }

CVxImage::CVxImage(COLOR_MODEL model, int bitsPerSample, int width, int height, int paletteSize, CVxCodecInfo* codec,
                   int last)
    : CVxImage() {
    Create(model, bitsPerSample, width, height, paletteSize, codec, last);
}

CVxImage::~CVxImage() { Remove(); }

const CVxImage& CVxImage::operator=(const CVxImage& other) {
    if (this != &other) CopyFrom(other);
    return *this;
}

CVxImage& CVxImage::operator=(CVxImage&& other) noexcept {
    if (this == &other) return *this;
    Remove();
    CopyAttributesFrom(other);
    m_Palette = std::move(other.m_Palette);
    m_pBuffer = std::exchange(other.m_pBuffer, nullptr);
    m_ppRows = std::exchange(other.m_ppRows, nullptr);
    other.ResetAttributes();
    return *this;
}

void CVxImage::CopyAttributesFrom(const CVxImage& other) {
    m_ColorModel = other.m_ColorModel;
    m_nChannel = other.m_nChannel;
    m_nBitsPerSample = other.m_nBitsPerSample;
    std::memcpy(m_BitsPerSampleEx, other.m_BitsPerSampleEx, sizeof m_BitsPerSampleEx);
    m_nWidth = other.m_nWidth;
    m_nHeight = other.m_nHeight;
    m_nBytesPerLine = other.m_nBytesPerLine;
    m_nImageSize = other.m_nImageSize;
    m_pBitsPerSampleEx = m_BitsPerSampleEx;
}

void CVxImage::ResetAttributes() {
    m_ColorModel = CM_GRAY;
    m_nChannel = 0;
    m_nBitsPerSample = 0;
    for (int& b : m_BitsPerSampleEx) b = 0;
    m_pBitsPerSampleEx = m_BitsPerSampleEx;
    m_nWidth = 0;
    m_nHeight = 0;
    m_nBytesPerLine = 0;
    m_nImageSize = 0;
}

void CVxImage::Create(COLOR_MODEL model, int bitsPerSample, int width, int height, int paletteSize,
                      CVxCodecInfo* /*codec*/, int /*last*/) {
    Remove();
    const int channels = CVxImageInfo::GetChannel(model);
    if (channels < 1 || bitsPerSample < 1 || width < 0 || height < 0) return;

    const std::int64_t rowBytes =
        (static_cast<std::int64_t>(width) * channels * CVxImageInfo::GetSampleBytes(bitsPerSample) + 3) & ~std::int64_t{3};
    const std::int64_t total = rowBytes * height;
    if (rowBytes > INT32_MAX || total > INT32_MAX) return;

    m_ColorModel = model;
    m_nChannel = channels;
    m_nBitsPerSample = bitsPerSample;
    for (int& b : m_BitsPerSampleEx) b = bitsPerSample;
    m_pBitsPerSampleEx = m_BitsPerSampleEx;
    m_nWidth = width;
    m_nHeight = height;
    m_nBytesPerLine = static_cast<int>(rowBytes);
    m_nImageSize = static_cast<int>(total);
    m_Palette.SetPaletteNum(paletteSize);

    AllocateRows(height, static_cast<int>(rowBytes));
}

void CVxImage::AllocateRows(int height, int bytesPerLine) {
    m_pBuffer = AllocateBlock(static_cast<size_t>(height) * static_cast<size_t>(bytesPerLine));
    m_ppRows = new void*[static_cast<size_t>(height) + 1];
    for (int y = 0; y < height; ++y) m_ppRows[y] = m_pBuffer + static_cast<size_t>(y) * static_cast<size_t>(bytesPerLine);
    m_ppRows[height] = nullptr;
}

void CVxImage::Remove() {
    FreeBlock(m_pBuffer);
    delete[] m_ppRows;
    m_pBuffer = nullptr;
    m_ppRows = nullptr;
    ResetAttributes();
}

void CVxImage::CopyFrom(const CVxImage& other) {
    if (!other.IsCreated()) {
        Remove();
        m_Palette = other.m_Palette;
        return;
    }
    // The block geometry is taken from the source as it is, not recomputed
    // from its attributes, so that a copy is exact even of an image whose
    // attributes a caller has edited after creating it.
    const bool sameShape =
        IsCreated() && m_nHeight == other.m_nHeight && m_nBytesPerLine == other.m_nBytesPerLine;
    if (!sameShape) {
        Remove();
        AllocateRows(other.m_nHeight, other.m_nBytesPerLine);
    }
    CopyAttributesFrom(other);
    m_Palette = other.m_Palette;
    const size_t bytes = static_cast<size_t>(other.m_nHeight) * static_cast<size_t>(other.m_nBytesPerLine);
    if (bytes > 0) std::memcpy(m_pBuffer, other.m_pBuffer, bytes);
}

void CVxImage::SetBitsPerSampleEx(int* bits) {
    if (!bits) return;
    std::memcpy(m_BitsPerSampleEx, bits, sizeof m_BitsPerSampleEx);
    m_pBitsPerSampleEx = m_BitsPerSampleEx;
}

void CVxImage::SetPixel(int x, int y, unsigned char& value) {
    if (!IsCreated() || m_nChannel != 1 || CVxImageInfo::GetSampleBytes(m_nBitsPerSample) != 1) return;
    if (x < 0 || y < 0 || x >= m_nWidth || y >= m_nHeight) return;
    static_cast<unsigned char*>(m_ppRows[y])[x] = value;
}

// ---------------------------------------------------------------------------

CVxImageInfo::CVxImageInfo(CVxImage* image)
    : m_ColorModel(image ? image->m_ColorModel : CM_GRAY),
      m_nChannel(image ? image->m_nChannel : 0),
      m_nBitsPerSample(image ? image->m_nBitsPerSample : 0),
      m_nWidth(image ? image->m_nWidth : 0),
      m_nHeight(image ? image->m_nHeight : 0) {}

int CVxImageInfo::GetChannel(COLOR_MODEL model) {
    switch (model) {
        case CM_BITMAP:
        case CM_GRAY:
        case CM_LOGL:
        case CM_INDEX:
            return 1;
        case CM_GRAYA:
            return 2;
        case CM_RGB:
        case CM_HSI:
        case CM_HSV:
        case CM_HLS:
        case CM_XYZ:
        case CM_YUV:
        case CM_YIQ:
        case CM_YCbCr:
        case CM_LUV:
        case CM_Lab:
        case CM_LOGLUV:
            return 3;
        case CM_RGBA:
        case CM_CMYK:
            return 4;
    }
    return 0;
}

int CVxImageInfo::GetSampleBytes(int bitsPerSample) {
    if (bitsPerSample <= 8) return 1;
    if (bitsPerSample <= 16) return 2;
    if (bitsPerSample <= 32) return 4;
    return 8;
}

// ---------------------------------------------------------------------------

namespace {

int HasModel(CVxImage* image, COLOR_MODEL model) { return (image && image->m_ColorModel == model) ? TRUE : FALSE; }

int HasModel16(CVxImage* image, COLOR_MODEL model) {
    return (HasModel(image, model) && image->m_nBitsPerSample > 8 && image->m_nBitsPerSample <= 16) ? TRUE : FALSE;
}

}  // namespace

int VXISBITMAP(CVxImage* image) { return HasModel(image, CM_BITMAP); }
int VXISGRAY(CVxImage* image) { return HasModel(image, CM_GRAY); }
int VXISGRAYA(CVxImage* image) { return HasModel(image, CM_GRAYA); }
int VXISGRAY16(CVxImage* image) { return HasModel16(image, CM_GRAY); }
int VXISGRAYA16(CVxImage* image) { return HasModel16(image, CM_GRAYA); }
int VXISINDEX(CVxImage* image) { return HasModel(image, CM_INDEX); }
int VXISRGB(CVxImage* image) { return HasModel(image, CM_RGB); }
int VXISRGBA(CVxImage* image) { return HasModel(image, CM_RGBA); }
int VXISRGB16(CVxImage* image) { return HasModel16(image, CM_RGB); }
int VXISRGBA16(CVxImage* image) { return HasModel16(image, CM_RGBA); }
int VXISCMYK(CVxImage* image) { return HasModel(image, CM_CMYK); }
int VXISHSI(CVxImage* image) { return HasModel(image, CM_HSI); }
int VXISHSV(CVxImage* image) { return HasModel(image, CM_HSV); }
int VXISHLS(CVxImage* image) { return HasModel(image, CM_HLS); }
int VXISXYZ(CVxImage* image) { return HasModel(image, CM_XYZ); }
int VXISYUV(CVxImage* image) { return HasModel(image, CM_YUV); }
int VXISYIQ(CVxImage* image) { return HasModel(image, CM_YIQ); }
int VXISYCbCr(CVxImage* image) { return HasModel(image, CM_YCbCr); }
int VXISLUV(CVxImage* image) { return HasModel(image, CM_LUV); }
int VXISLab(CVxImage* image) { return HasModel(image, CM_Lab); }
int VXISLOGL(CVxImage* image) { return HasModel(image, CM_LOGL); }
int VXISLOGLUV(CVxImage* image) { return HasModel(image, CM_LOGLUV); }

int VXCOMPARE_SIZE(CVxImage* a, CVxImage* b) {
    return (a && b && a->m_nWidth == b->m_nWidth && a->m_nHeight == b->m_nHeight) ? TRUE : FALSE;
}

// ---------------------------------------------------------------------------

CVxImageArray::~CVxImageArray() = default;

int CVxImageArray::Add(CVxImage* image) {
    m_Images.push_back(image);
    return GetSize() - 1;
}

CVxImage* CVxImageArray::GetAt(int index) const {
    if (index < 0 || index >= GetSize()) return nullptr;
    return m_Images[static_cast<size_t>(index)];
}

void CVxImageArray::SetAt(int index, CVxImage* image) {
    if (index >= 0 && index < GetSize()) m_Images[static_cast<size_t>(index)] = image;
}

void CVxImageArray::RemoveAt(int index) {
    if (index >= 0 && index < GetSize()) m_Images.erase(m_Images.begin() + index);
}
