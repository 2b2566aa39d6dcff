#include "base/str_map.h"

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::vector<std::string> Names(const CStrMap& map) {
    std::vector<std::string> names;
    for (const StrMapRow& row : map) {
        names.emplace_back(row.Name != nullptr ? row.Name : "<none>");
    }
    return names;
}

TEST(StrMap, OrdersByBytesAndPutsAMissingNameLast) {
    CStrMap map;
    for (const char* name : {"b", static_cast<const char*>(nullptr), "a", "B", "", "\xC3\xA4"}) {
        map.Insert(name, nullptr, 0);
    }
    EXPECT_EQ(Names(map), (std::vector<std::string>{"", "B", "a", "b", "\xC3\xA4", "<none>"}));
    EXPECT_EQ(CStrMap::compare(nullptr, nullptr), 0);
    ASSERT_NE(map.Find("b"), nullptr);
    EXPECT_STREQ(map.Find("b")->Name, "b");
    EXPECT_EQ(map.Find(nullptr)->Name, nullptr);
    EXPECT_EQ(map.Find("c"), nullptr);
}

TEST(StrMap, OwnsItsNames) {
    std::string name = "volatile";
    CStrMap map;
    map.Insert(name.c_str(), nullptr, 7);
    name = "changed.";
    ASSERT_NE(map.Find("volatile"), nullptr);
    EXPECT_EQ(map.Find("volatile")->Type, 7U);
}

TEST(StrMap, GrowsBySixteenRows) {
    CStrMap map;
    EXPECT_EQ(map.Capacity(), 0U);
    for (int i = 0; i < 17; ++i) {
        map.Insert(std::to_string(i).c_str(), nullptr, 0);
        EXPECT_EQ(map.Capacity(), i < 16 ? 16U : 32U);
    }
}

// Against std::multimap, with orders that fill, split and empty blocks in different ways.
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
