#include "point_support.h"

namespace lumora::detail {

// Groups of eight independent lookups, all loads before the stores, keep the
// load ports busy. The function stays out of line on purpose: where the
// compiler can see that the table is a local array apart from the run, gcc
// "vectorises" the loop by assembling every vector byte by byte through the
// stack, which runs at half the speed of this scalar loop. Behind a plain
// pointer the table might overlap the run, and the loop stays scalar.
void LookUpBytes(std::uint8_t* run, int count, const std::uint8_t* table) {
    int i = 0;
    for (; i + 8 <= count; i += 8) {
        const std::uint8_t a0 = table[run[i]], a1 = table[run[i + 1]], a2 = table[run[i + 2]], a3 = table[run[i + 3]];
        const std::uint8_t a4 = table[run[i + 4]], a5 = table[run[i + 5]], a6 = table[run[i + 6]], a7 = table[run[i + 7]];
        run[i] = a0;
        run[i + 1] = a1;
        run[i + 2] = a2;
        run[i + 3] = a3;
        run[i + 4] = a4;
        run[i + 5] = a5;
        run[i + 6] = a6;
        run[i + 7] = a7;
    }
    for (; i < count; ++i) run[i] = table[run[i]];
}

}  // namespace lumora::detail
