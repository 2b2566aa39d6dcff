#include "base/str_map.h"

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

TEST(StrMap, OrdersItsOwnNamesByBytesAndPutsAMissingOneLast) {
    CStrMap map;
    for (const char* name : {"b", static_cast<const char*>(nullptr), "a", "B", "", "\xC3\xA4"}) {
        std::string copy = name != nullptr ? name : "";
        map.Insert(name != nullptr ? copy.c_str() : nullptr, nullptr, 0);
        copy.assign(copy.size(), '?');
    }
    std::string names;
    for (const StrMapRow& row : map) {
        names += row.Name != nullptr ? row.Name + std::string(",") : "none";
    }
    EXPECT_EQ(names, ",B,a,b,\xC3\xA4,none");
    EXPECT_EQ(CStrMap::compare(nullptr, nullptr), 0);
    EXPECT_STREQ(map.Find("b")->Name, "b");
    EXPECT_EQ(map.Find(nullptr)->Name, nullptr);
    EXPECT_EQ(map.Find("c"), nullptr);
}

// Against std::map, with orders that fill, split and empty blocks in different ways.
TEST(StrMap, KeepsOrderThroughAnyMixOfInsertAndErase) {
    constexpr int kRows = 3000;
    std::mt19937 random(42);
    for (const int order : {0, 1, 2}) {
        std::vector<int> numbers(kRows);
        for (int i = 0; i < kRows; ++i) {
            numbers[static_cast<std::size_t>(i)] = order == 1 ? kRows - i : i;
        }
        if (order == 2) {
            std::shuffle(numbers.begin(), numbers.end(), random);
        }
        CStrMap map;
        std::map<std::string, std::uint32_t> model;
        for (const int number : numbers) {
            const std::string name = std::to_string(number);
            map.Insert(name.c_str(), nullptr, static_cast<std::uint32_t>(number));
            model[name] = static_cast<std::uint32_t>(number);
            if (number % 3 == 0) {
                const std::string victim = std::to_string(number / 2);
                if (const StrMapRow* row = map.Find(victim.c_str())) {
                    map.Erase(row);
                }
                model.erase(victim);
            }
        }
        ASSERT_EQ(map.Count(), static_cast<std::int32_t>(model.size()));
        EXPECT_EQ(map.Capacity() % 16, 0U);
        auto expected = model.begin();
        std::size_t ordinal = 0;
        for (const StrMapRow& row : map) {
            ASSERT_EQ(expected->first, row.Name);
            ASSERT_EQ(expected->second, row.Type);
            ASSERT_EQ(map.RowAt(ordinal++), &row);
            ++expected;
        }
        EXPECT_EQ(map.RowAt(ordinal), nullptr);
        while (map.Count() > 0) {
            map.Erase(map.RowAt(static_cast<std::size_t>(map.Count()) / 2));
        }
        EXPECT_EQ(map.Capacity(), 0U);
    }
}

}  // namespace
