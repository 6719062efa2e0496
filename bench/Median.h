#pragma once

#include <algorithm>
#include <vector>

namespace Bench {

// The median of a series of measures (the mean of the middle two for an even
// count); 0 for none.
inline double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

} // namespace Bench
