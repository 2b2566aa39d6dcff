// A sorted table of named rows that carries its own lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/critical_section.h"
#include "base/export.h"

// One row. `Name` belongs to the table; `Data` is the user's (the table never looks at it).
struct StrMapRow {
    char* Name;  // zero-terminated, or null: such a row sorts after every named one
    void* Data;
    std::uint32_t Type;
};

// Rows are kept in the order of compare(). The table stores them in blocks that grow 16 rows at a
// time and split when they are full, so that an insertion moves a few kilobytes at most and n
// insertions cost n log n, in any order.
//
// The base class is the lock that users take around lookups and changes; no operation here takes
// it. Row pointers and iterators stay valid until the next Insert or Erase.
class MORLA_API CStrMap : public CCriticalSection {
public:
    CStrMap() = default;
    ~CStrMap();  // releases every name and the rows; what Data points to is the user's

    // Order of two names, either of which may be null: both null 0; a null one after any other;
    // else as strcmp. The result's sign counts.
    static int compare(const char* left, const char* right);

    // The row of that name, or null; one of them where several have it.
    [[nodiscard]] StrMapRow* Find(const char* name);
    [[nodiscard]] const StrMapRow* Find(const char* name) const;

    // True when the name sorts behind every row: Find would miss, and Insert appends.
    [[nodiscard]] bool IsBehindLast(const char* name) const;

    // Adds a row under a copy of `name` (which may be null) and returns it. It does not look for
    // an equal name: a caller that wants unique names asks Find first. Throws std::bad_alloc with
    // the table unchanged.
    StrMapRow* Insert(const char* name, void* data, std::uint32_t type);

    // Removes a row that Find, Insert or an iterator gave, and releases its name.
    void Erase(const StrMapRow* row);

    void Clear();

    [[nodiscard]] std::int32_t Count() const { return m_Count; }
    [[nodiscard]] std::uint32_t Capacity() const;  // rows allocated: a multiple of 16

    // The row at that place of the order, from 0; null past the end.
    [[nodiscard]] StrMapRow* RowAt(std::size_t ordinal);

private:
    using Block = std::vector<StrMapRow>;  // never empty

    struct Place {
        std::size_t BlockIndex;
        std::size_t RowIndex;
    };

public:
    // Walks the rows in order; enough of a forward iterator for a range-for loop.
    template <typename Blocks, typename Row>
    class CIterator {
    public:
        CIterator(Blocks& blocks, std::size_t block) : m_Blocks(&blocks), m_Block(block) {}
        Row& operator*() const { return (*m_Blocks)[m_Block][m_Row]; }
        Row* operator->() const { return &**this; }
        CIterator& operator++() {
            if (++m_Row == (*m_Blocks)[m_Block].size()) {
                m_Row = 0;
                ++m_Block;
            }
            return *this;
        }
        bool operator==(const CIterator& other) const {
            return m_Block == other.m_Block && m_Row == other.m_Row;
        }

    private:
        Blocks* m_Blocks;
        std::size_t m_Block;
        std::size_t m_Row = 0;
    };
    auto begin() { return CIterator<std::vector<Block>, StrMapRow>(m_Blocks, 0); }
    auto end() { return CIterator<std::vector<Block>, StrMapRow>(m_Blocks, m_Blocks.size()); }
    auto begin() const { return CIterator<const std::vector<Block>, const StrMapRow>(m_Blocks, 0); }
    auto end() const {
        return CIterator<const std::vector<Block>, const StrMapRow>(m_Blocks, m_Blocks.size());
    }

private:
    [[nodiscard]] std::size_t BlockOf(const char* name) const;
    [[nodiscard]] Place UpperBound(const char* name) const;
    static void Grow(Block& block);
    void Split(std::size_t blockIndex);

    std::vector<Block> m_Blocks;
    std::int32_t m_Count = 0;
};
