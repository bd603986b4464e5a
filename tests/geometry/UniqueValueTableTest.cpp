// The batched, per-point look-up must give the very indices of the plain one, value for value,
// also where exact equality is not bit equality: 0.0 against -0.0, NaN, and a table that grows.
#include "geometry/UniqueValueTable.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace {

using Value = std::array<double, 3>;
using Table = UniqueValueTable<Value, ExactEqual<Value, 3>>;

TEST(UniqueValueTable, BatchedPerPointLookUpMatchesThePlainOne) {
    const double nan = std::nan("");
    const Value odd[] = {{0.0, 1, 0}, {-0.0, 1, 0}, {nan, 1, 0}, {0.5, -0.0, 2}, {0.5, 0.0, 2}};
    Table plainTable, batchedTable;
    std::vector<Value> plainValues, batchedValues;
    std::vector<uint32_t> plainIndex, batchedIndex;
    LookupBatch<Value, ExactEqual<Value, 3>> batch(batchedTable, batchedValues, batchedIndex);
    batchedTable.TrackPoints(2000);
    for (uint32_t corner = 0; corner < 30000; ++corner) {
        // Points come back a few corners later, mostly with their last value; some take turns
        // between two values, a few carry the zero and NaN cases; point 2000 is not tracked.
        const uint32_t point = corner % 7 == 0 ? 2000 : (corner * 37 / 11) % 2000;
        Value value = {0.25 + point, 1.0 / (1 + point), 1.0 + (corner % 3 == 0 && point % 5 == 0)};
        if (point % 23 == 0) value = odd[(corner / 23) % 5];
        plainIndex.push_back(plainTable.IndexOf(value, plainValues));
        batch.Add(value, point);
    }
    batch.Flush();
    ASSERT_EQ(batchedIndex, plainIndex);
    ASSERT_EQ(batchedValues.size(), plainValues.size());
    EXPECT_EQ(
        std::memcmp(batchedValues.data(), plainValues.data(), plainValues.size() * sizeof(Value)),
        0);
    EXPECT_GT(plainValues.size(), 2048u); // the table grew several times
}

} // namespace
