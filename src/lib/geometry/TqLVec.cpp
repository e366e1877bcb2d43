#include "geometry/TqLVec.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

TqLUnitVec3f::TqLUnitVec3f(TqLVec3f const& vec)
{
    // Outside this range of squares, components are brought to about 1 by a power of two first;
    // that changes no bit of the quotients.
    constexpr double smallest = 1e-250;
    constexpr double largest = 1e250;

    double const squared = vec.Dot(vec);
    if (squared >= smallest && squared <= largest) {
        double const length = std::sqrt(squared);
        m_vec.SetValue(vec[0] / length, vec[1] / length, vec[2] / length);
        return;
    }
    bool const isFinite = std::isfinite(vec[0]) && std::isfinite(vec[1]) && std::isfinite(vec[2]);
    double const greatest =
        std::max(std::fabs(vec[0]), std::max(std::fabs(vec[1]), std::fabs(vec[2])));
    if (!isFinite || greatest == 0.0) {
        m_vec.MakeZero();
        return;
    }
    int exponent = 0;
    std::frexp(greatest, &exponent);
    m_vec.SetValue(std::ldexp(vec[0], -exponent), std::ldexp(vec[1], -exponent),
                   std::ldexp(vec[2], -exponent));
    double const length = m_vec.Length();
    m_vec.SetValue(m_vec[0] / length, m_vec[1] / length, m_vec[2] / length);
}
