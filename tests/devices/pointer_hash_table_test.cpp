// The walk order of the receivers' table, for pointers whose buckets were
// worked out by hand from FNV-1a over their 8 little-endian bytes: by
// bucket, then by arrival, with 8 buckets and then 16 once a ninth comes.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "devices/pointer_hash_table.h"

namespace qv {
namespace {

struct Receiver {};

Receiver* At(uintptr_t address) { return reinterpret_cast<Receiver*>(address); }

std::vector<uintptr_t> Walk(CPointerHashTable<Receiver, int>& table) {
    std::vector<uintptr_t> order;
    table.ForEach([&](Receiver* key, int) { order.push_back(reinterpret_cast<uintptr_t>(key)); });
    return order;
}

TEST(PointerHashTableTest, WalksBucketByBucketThenByArrivalAndKeepsThatRuleWhenItGrows) {
    CPointerHashTable<Receiver, int> table;
    // Buckets of 8: 0x1000 -> 5, 0x1100 -> 2, 0x1200 -> 7, 0x1800 -> 5.
    for (uintptr_t address : {0x1000u, 0x1100u, 0x1200u, 0x1800u}) table.Insert(At(address), 0);
    EXPECT_EQ(Walk(table), (std::vector<uintptr_t>{0x1100, 0x1000, 0x1800, 0x1200}));
    EXPECT_EQ(table.BucketCount(), 8u);

    // Nine entries in 16 buckets: 0x1600 -> 3, 0x1300 -> 4, 0x1000 -> 5,
    // 0x1700 -> 8, 0x1400 -> 9, 0x1100 -> 10, 0x1800 -> 13, 0x1500 -> 14,
    // 0x1200 -> 15.
    for (uintptr_t address : {0x1300u, 0x1400u, 0x1500u, 0x1600u, 0x1700u}) table.Insert(At(address), 0);
    EXPECT_EQ(table.BucketCount(), 16u);
    EXPECT_EQ(Walk(table),
              (std::vector<uintptr_t>{0x1600, 0x1300, 0x1000, 0x1700, 0x1400, 0x1100, 0x1800, 0x1500, 0x1200}));

    EXPECT_TRUE(table.Erase(At(0x1000)));
    EXPECT_FALSE(table.Erase(At(0x1000)));
    EXPECT_EQ(table.Find(At(0x1000)), nullptr);
    ASSERT_NE(table.Find(At(0x1800)), nullptr);
    EXPECT_EQ(table.Size(), 8u);
}

}  // namespace
}  // namespace qv
