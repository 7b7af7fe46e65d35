#pragma once

// ConvertHandles: turns an array of 1-based cell numbers, in place, into 0-based handles.
#include "core/array/IArray.h"

namespace kelvara::eclipse {

// For an Array<int,1>, Array<int,3>, Array<float,1> or Array<float,3> (tried in this order; the
// rank-3 arrays derive from the rank-1 ones), every element v becomes
// k*nx*ny + (v - k*nx*ny) - 1 with k = (v - 1) / (nx*ny), that is v - 1; a float element is
// first truncated toward zero to a 32-bit integer. The storage is written directly: observers
// are not told and the shape stays. nz is not used. False, with nothing changed, for a null
// pointer or any other array. A non-empty array with nx*ny of 0 ends the process, as the
// division by zero would.
bool ConvertHandles(int p_nx, int p_ny, int p_nz, ostrel::core::IArray* p_array);

}  // namespace kelvara::eclipse
