// Reading the text of a tree file into a node.
#include <vector>

#include "base/bounded_text.h"
#include "os/registry_line.h"
#include "os/registry_node.h"

namespace {

using Kind = RegistryLine::Kind;
using Outcome = CRegistryNode::Outcome;

class CRegistryReader {
public:
    explicit CRegistryReader(std::string_view text) : m_Lines(text) {}

    // Stores the lines that follow as values of `node`, up to the end of the node or the text (End)
    // or to a subkey (Subkey), whose name is in Name() then.
    Kind ReadValues(CRegistryNode& node) {
        const CCriticalSectionGuard guard(node);  // once, not for every value
        std::string_view line;
        while (m_Lines.Next(line)) {
            const RegistryLine parts = ParseRegistryLine(line);
            (void)CopyText(m_Name, parts.Name);
            if (parts.What == Kind::End || parts.What == Kind::Subkey) {
                return parts.What;
            }
            if (parts.What == Kind::Value) {
                CRegistryData data = ParseRegistryData(parts);
                NoteStored(node.Store(m_Name, data));
            }
        }
        m_IsAtEnd = true;
        return Kind::End;
    }

    void NoteStored(Outcome outcome) { m_IsAnythingStored |= outcome != Outcome::Dead; }

    [[nodiscard]] const char* Name() const { return m_Name; }
    [[nodiscard]] bool IsAtEnd() const { return m_IsAtEnd; }
    [[nodiscard]] bool IsAnythingStored() const { return m_IsAnythingStored; }

private:
    CRegistryLines m_Lines;
    bool m_IsAtEnd = false;
    bool m_IsAnythingStored = false;
    char m_Name[kRegistryLineMax + 1] = "";
};

}  // namespace

bool CRegistryNode::restoreNode(std::string_view text) {
    CRegistryReader reader(text);
    // The nodes from this one down to the one that is being read. They are referred to, because a
    // key may be deleted while it is read.
    std::vector<CRegistryNodeRef> path;
    path.emplace_back(this);
    while (!path.empty() && !reader.IsAtEnd()) {  // the end of the text ends every node
        if (reader.ReadValues(*path.back()) == Kind::End) {
            path.pop_back();
            continue;
        }
        CRegistryData data = CRegistryData::MakeSubkey(std::make_unique<CRegistryNode>().release());
        path.emplace_back(static_cast<CRegistryNode*>(data.Get()));
        CRegistryNode& parent = *path[path.size() - 2];
        // An entry below means this one here, so it counts for the whole text.
        reader.NoteStored(parent.Store(reader.Name(), data));
    }
    return reader.IsAnythingStored();
}
