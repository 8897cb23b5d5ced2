// Uses the installed headers and library: value counts of a tiny image.
#include <lumora/lumora.h>

#include <cstdio>

int main() {
    CVxImage image(CM_GRAY, 8, 4, 1, 0, nullptr, 255);
    const unsigned char samples[4] = {0, 0, 5, 255};
    for (int x = 0; x < 4; ++x) {
        unsigned char v = samples[x];
        image.SetPixel(x, 0, v);
    }
    CVxPointProcessing counts(&image);
    if (!counts.CalLookupTable() || counts.GetLookupTableCount() != 1) {
        std::puts("CalLookupTable failed");
        return 1;
    }
    const _PP_LOOKUP_TABLE& table = counts.GetLookupTable(0);
    if (table.nSize != 256 || table.pTable[0] != 2 || table.pTable[5] != 1 || table.pTable[255] != 1) {
        std::puts("unexpected counts");
        return 1;
    }
    std::puts("lumora package works");
    return 0;
}
