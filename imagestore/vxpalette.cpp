#include <lumora/vxpalette.h>

#include <algorithm>
#include <cstring>
#include <utility>

CVxPalette::CVxPalette(int n) { SetPaletteNum(n); }

CVxPalette::CVxPalette(const CVxPalette& other) { *this = other; }

CVxPalette::CVxPalette(CVxPalette&& other) noexcept { *this = std::move(other); }

CVxPalette::~CVxPalette() { delete[] m_pEntries; }

CVxPalette& CVxPalette::operator=(const CVxPalette& other) {
    if (this == &other) return *this;
    SetPaletteNum(other.m_nEntries);
    if (m_nEntries > 0) std::memcpy(m_pEntries, other.m_pEntries, sizeof(tagRGBA) * static_cast<size_t>(m_nEntries));
    return *this;
}

CVxPalette& CVxPalette::operator=(CVxPalette&& other) noexcept {
    if (this == &other) return *this;
    delete[] m_pEntries;
    m_pEntries = std::exchange(other.m_pEntries, nullptr);
    m_nEntries = std::exchange(other.m_nEntries, 0);
    return *this;
}

tagRGBA* CVxPalette::GetPaletteItem(int index) {
    if (index < 0 || index >= m_nEntries) return nullptr;
    return m_pEntries + index;
}

void CVxPalette::SetGrayPalette() {
    for (int i = 0; i < m_nEntries; ++i) {
        const BYTE v = m_nEntries > 1 ? static_cast<BYTE>(i * 255 / (m_nEntries - 1)) : 0;
        m_pEntries[i] = tagRGBA{v, v, v, 0};
    }
}

void CVxPalette::SetPaletteNum(int n) {
    delete[] m_pEntries;
    m_pEntries = nullptr;
    m_nEntries = std::max(n, 0);
    if (m_nEntries > 0) m_pEntries = new tagRGBA[static_cast<size_t>(m_nEntries)]();
}
