// Collects the rows of a bus table, and makes the one block that the caller of the C function gets.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

// `Table` has the members Count and Rows; the texts of a row are members of type const char*.
template <typename Table, typename Row>
class CBusTableBuilder {
public:
    static_assert(std::is_trivially_copyable_v<Row> && sizeof(Table) % alignof(Row) == 0);

    // Starts a row; its texts are empty until they are set.
    Row& AddRow() { return m_Rows.emplace_back(); }
    // Sets a text of the row that was added last. Ends at the first NUL, as its reader takes it.
    void SetText(const char* Row::*member, std::string_view text) {
        m_Texts.push_back({m_Rows.size() - 1, member, m_Pool.size()});
        m_Pool.append(text.substr(0, text.find('\0'))).push_back('\0');
    }

    // 0, or ENOMEM. The caller frees the block.
    [[nodiscard]] int Finish(Table** table, std::initializer_list<const char * Row::*> texts) {
        const std::size_t rowBytes = m_Rows.size() * sizeof(Row);
        m_Pool.push_back('\0');  // the empty text of whatever was not set
        char* const block =
            static_cast<char*>(std::malloc(sizeof(Table) + rowBytes + m_Pool.size()));
        if (block == nullptr) {
            return ENOMEM;
        }
        char* const pool = block + sizeof(Table) + rowBytes;
        std::copy(m_Pool.begin(), m_Pool.end(), pool);
        for (Row& row : m_Rows) {
            for (const auto member : texts) {
                row.*member = pool + m_Pool.size() - 1;
            }
        }
        for (const Text& text : m_Texts) {
            m_Rows[text.RowIndex].*text.Member = pool + text.Offset;
        }
        void* const place = block + sizeof(Table);
        Row* const rows = static_cast<Row*>(place);
        std::uninitialized_copy(m_Rows.begin(), m_Rows.end(), rows);
        *table = new (block) Table{m_Rows.size(), rows};
        return 0;
    }

private:
    struct Text {
        std::size_t RowIndex;
        const char* Row::*Member;
        std::size_t Offset;
    };
    std::vector<Row> m_Rows;
    std::vector<Text> m_Texts;
    std::string m_Pool;
};
