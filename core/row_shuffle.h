// Rows rebuilt from a fixed byte map: out[j] = in[index[j]] for every row
// of an image, the map being the same for all of them (the column tables
// of the resizes, expanded to bytes).
//
// Where the processor has a byte shuffle, the map is cut once into blocks
// of sixteen output bytes; a block whose sources lie within 32 bytes of
// each other becomes two 16-byte loads and two shuffles, so a row costs a
// few instructions per sixteen bytes instead of a load and a store per
// byte. Blocks whose sources are further apart (reductions by more than
// about two) and the last partial block are copied byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumora::detail {

class RowShuffle {
public:
    // index[0..count-1]: byte offsets into a source row, each below
    // sourceBytes (the bytes that may be read from a row's start).
    RowShuffle(const int* index, size_t count, size_t sourceBytes);

    // False when the processor has no byte shuffle, or too few blocks of
    // the map gain from it: the caller then copies whole pixels itself.
    bool Usable() const { return usable_; }

    // out[j] = in[index[j]], j < count; only when Usable().
    void Run(const std::uint8_t* in, std::uint8_t* out) const;

private:
    std::vector<int> index_;
    std::vector<int> base_;              // per block: first byte read, or -1 for a byte copy
    std::vector<std::uint8_t> masks_;    // per block: shuffle of the low and of the high 16 bytes
    bool usable_ = false;
};

}  // namespace lumora::detail
