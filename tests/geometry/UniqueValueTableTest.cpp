// Per-point entries: identical values at a point share one, while 0.0 against -0.0, a NaN and a
// point the walk never saw each get their own.
#include "geometry/UniqueValueTable.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace {

using Value = std::array<double, 3>;

TEST(PointValueTable, SharesIdenticalValuesOfAPointOnly) {
    const double nan = std::nan("");
    PointValueTable<Value> table;
    std::vector<Value> values;
    table.TrackPoints(3);
    const uint32_t a = table.IndexAt({0.5, 1, 2}, 0, values);
    const uint32_t seam = table.IndexAt({0.5, 1, 3}, 0, values);
    EXPECT_EQ(table.IndexAt({0.5, 1, 2}, 0, values), a);
    EXPECT_EQ(table.IndexAt({0.5, 1, 3}, 0, values), seam);
    EXPECT_NE(table.IndexAt({0.5, 1, 2}, 1, values), a); // another point's entry
    const uint32_t zero = table.IndexAt({0.0, 1, 0}, 2, values);
    EXPECT_EQ(table.IndexAt({0.0, 1, 0}, 2, values), zero);
    EXPECT_NE(table.IndexAt({-0.0, 1, 0}, 2, values), zero);
    EXPECT_NE(table.IndexAt({nan, 1, 0}, 2, values), table.IndexAt({nan, 1, 0}, 2, values));
    EXPECT_NE(table.IndexAt({1, 1, 1}, 7, values), table.IndexAt({1, 1, 1}, 7, values));
    EXPECT_EQ(values.size(), 9u);
    EXPECT_EQ(values[seam][2], 3.0);
}

} // namespace
