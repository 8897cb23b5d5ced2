// A non-owning, ordered collection of images (a series of frames).
#pragma once

#include <vector>
#include <lumora/export.h>
#include <lumora/vximage.h>

class LUMORA_IMAGESTORE_API CVxImageArray {
public:
    CVxImageArray() = default;
    virtual ~CVxImageArray();

    // Appends without taking ownership; returns the new index.
    int Add(CVxImage* image);
    // Null for an index outside the collection.
    CVxImage* GetAt(int index) const;
    int GetSize() const { return static_cast<int>(m_Images.size()); }
    void SetAt(int index, CVxImage* image);
    void RemoveAt(int index);
    void RemoveAll() { m_Images.clear(); }

private:
    std::vector<CVxImage*> m_Images;
};
