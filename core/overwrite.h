// Preparing a destination that an operation is about to overwrite.
//
// Most operations begin with dest = source and then write their results
// over that copy. Where every sample is written again, copying the samples
// first is a wasted pass over the image, as long as the copy of the fastest
// operations themselves.
#pragma once

#include <lumora/imagestore.h>

namespace lumora::detail {

// Makes dest what `dest = source` makes it, except for the samples (the
// first width x channels samples of every row), which the caller then
// writes, every one of them; the bytes that pad each row are copied. Where
// the assignment would not keep dest's pixel block (dest not created, other
// height or row length), where rows are not laid out as the store creates
// them, or where DispatchLayout(source, channels) would refuse the source, it
// is the plain assignment.
void AssignForOverwrite(CVxImage& source, CVxImage& dest, int channels);

// The same test without the assignment: true when AssignForOverwrite would
// leave the samples to the caller. Changes nothing.
bool CanSkipSampleCopy(CVxImage& source, CVxImage& dest, int channels);

}  // namespace lumora::detail
