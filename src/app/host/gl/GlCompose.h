// Matrices on their way to a shader: composed in double, handed over in float.
#pragma once

#include "geometry/TqLMatrix.h"

namespace host
{

/// Row `row` of affine * matrix, without forming the rest.
inline void ComposeRow(TqLAffine3f const& affine, TqLMatrix4f const& matrix, int row, float* out)
{
    double const* a = affine[row];
    for (int column = 0; column < 4; ++column) {
        double sum = a[0] * matrix[0][column] + a[1] * matrix[1][column] + a[2] * matrix[2][column];
        if (row == 3) {
            sum += matrix[3][column];
        }
        out[column] = static_cast<float>(sum);
    }
}

} // namespace host
