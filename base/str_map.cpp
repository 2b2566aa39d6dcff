#include "base/str_map.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include "base/owned_text.h"

namespace {

constexpr std::size_t kGrowRows = 16;
constexpr std::size_t kBlockRows = 256;  // 6 KiB: a move inside one stays in the first-level cache

}  // namespace

CStrMap::~CStrMap() {
    Clear();
}

int CStrMap::compare(const char* left, const char* right) {
    if (left != nullptr && right != nullptr) [[likely]] {
        return std::strcmp(left, right);
    }
    return static_cast<int>(left == nullptr) - static_cast<int>(right == nullptr);
}

// The last block that begins with a name which is not greater; the first when there is none.
std::size_t CStrMap::BlockOf(const char* name) const {
    const auto next = std::upper_bound(m_Blocks.begin(), m_Blocks.end(), name,
                                       [](const char* wanted, const Block& candidate) {
                                           return compare(wanted, candidate.front().Name) < 0;
                                       });
    const auto blocks = static_cast<std::size_t>(std::distance(m_Blocks.begin(), next));
    return blocks == 0 ? 0 : blocks - 1;
}

// The place behind the last row that is not greater than `name`. Its block exists, unless the table
// is empty; its row index may be one past the end of the block.
CStrMap::Place CStrMap::UpperBound(const char* name) const {
    if (IsBehindLast(name)) {  // names that arrive in order
        return m_Blocks.empty() ? Place{0, 0} : Place{m_Blocks.size() - 1, m_Blocks.back().size()};
    }
    const std::size_t block = BlockOf(name);
    const Block& home = m_Blocks[block];
    const auto row = std::upper_bound(
        home.begin(), home.end(), name,
        [](const char* wanted, const StrMapRow& other) { return compare(wanted, other.Name) < 0; });
    return {block, static_cast<std::size_t>(std::distance(home.begin(), row))};
}

// A search that ends at the first match: half the comparisons of UpperBound in a small table.
const StrMapRow* CStrMap::Find(const char* name) const {
    if (m_Blocks.empty()) {
        return nullptr;
    }
    const Block& home = m_Blocks.size() > 1 ? m_Blocks[BlockOf(name)] : m_Blocks.front();
    const StrMapRow* first = home.data();
    std::size_t count = home.size();
    while (count > 0) {
        const std::size_t half = count / 2;
        const int order = compare(name, first[half].Name);
        if (order == 0) {
            return first + half;
        }
        if (order > 0) {
            first += half + 1;
            count -= half + 1;
        } else {
            count = half;
        }
    }
    return nullptr;
}

StrMapRow* CStrMap::Find(const char* name) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): this table is not const
    return const_cast<StrMapRow*>(std::as_const(*this).Find(name));
}

bool CStrMap::IsBehindLast(const char* name) const {
    return m_Blocks.empty() || compare(name, m_Blocks.back().back().Name) > 0;
}

StrMapRow* CStrMap::Insert(const char* name, void* data, std::uint32_t type) {
    auto ownName = CopyOfText(name);
    Place place = UpperBound(name);
    if (m_Blocks.empty()) {
        Block first;
        Grow(first);
        m_Blocks.push_back(std::move(first));
    } else if (m_Blocks[place.BlockIndex].size() == kBlockRows) {
        Split(place.BlockIndex);
        place = UpperBound(name);
    }
    Block& block = m_Blocks[place.BlockIndex];
    Grow(block);
    const auto at = block.begin() + static_cast<std::ptrdiff_t>(place.RowIndex);
    const auto row = block.insert(at, StrMapRow{ownName.get(), data, type});
    (void)ownName.release();  // the row owns it now
    ++m_Count;
    return &*row;
}

// Makes room for one more row, 16 at a time.
void CStrMap::Grow(Block& block) {
    if (block.size() == block.capacity()) {
        block.reserve(block.size() + kGrowRows);
    }
}

// Moves the upper half of a full block into a new one behind it. The last block keeps nearly all
// of its rows instead, so that names which arrive in order fill their blocks.
void CStrMap::Split(std::size_t blockIndex) {
    const bool isLast = blockIndex + 1 == m_Blocks.size();
    const std::size_t keep = isLast ? kBlockRows - kGrowRows : kBlockRows / 2;
    Block upper;
    upper.reserve(kBlockRows - keep);
    const Block& full = m_Blocks[blockIndex];
    upper.assign(full.begin() + static_cast<std::ptrdiff_t>(keep), full.end());
    m_Blocks.insert(m_Blocks.begin() + static_cast<std::ptrdiff_t>(blockIndex) + 1,
                    std::move(upper));
    m_Blocks[blockIndex].resize(keep);
}

void CStrMap::Erase(const StrMapRow* row) {
    // Rows of one name may reach back over several blocks.
    for (std::size_t i = BlockOf(row->Name) + 1; i-- > 0;) {
        Block& block = m_Blocks[i];
        const std::less<> isBefore;
        if (isBefore(row, block.data()) || !isBefore(row, block.data() + block.size())) {
            continue;
        }
        const std::unique_ptr<char[]> name(row->Name);
        block.erase(block.begin() + (row - block.data()));
        --m_Count;
        if (block.empty()) {
            m_Blocks.erase(m_Blocks.begin() + static_cast<std::ptrdiff_t>(i));
        }
        return;
    }
}

void CStrMap::Clear() {
    for (const StrMapRow& row : *this) {
        const std::unique_ptr<char[]> name(row.Name);
    }
    m_Blocks.clear();
    m_Count = 0;
}

std::uint32_t CStrMap::Capacity() const {
    std::size_t rows = 0;
    for (const Block& block : m_Blocks) {
        rows += block.capacity();
    }
    return static_cast<std::uint32_t>(rows);
}

StrMapRow* CStrMap::RowAt(std::size_t ordinal) {
    for (Block& block : m_Blocks) {
        if (ordinal < block.size()) {
            return &block[ordinal];
        }
        ordinal -= block.size();
    }
    return nullptr;
}
