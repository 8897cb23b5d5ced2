// Internal entry to the constant arithmetic, shared by the arithmetic and
// brightness classes.
#pragma once

#include <cstdint>
#include <lumora/lumora_base.h>

namespace lumora::detail {

enum class ConstantOp { Add, Sub, Mul };

// Runs ADD, SUB or MUL with an integer constant on `image` in place. The
// constant is taken in 64 bits so that a negated INT32_MIN (Brightness) is
// still the value it means.
int ApplyIntegerConstant(CVxImage* image, CRect rect, ConstantOp op, std::int64_t value);

}  // namespace lumora::detail
