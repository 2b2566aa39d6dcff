// The environment variables that the log header lists, with the values they had at start-up.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace trace {

// A fixed list of names and a recorded value for each.
class CVariableTable {
public:
    explicit CVariableTable(std::span<const char* const> names) : m_Names(names) {}

    // Takes the values from the environment, as copies: a module that changes a variable later
    // changes nothing here.
    void Record();

    [[nodiscard]] std::size_t Count() const { return m_Names.size(); }
    [[nodiscard]] const char* Name(std::size_t index) const { return m_Names[index]; }
    // The recorded value, or "NotSet".
    [[nodiscard]] const char* Value(std::size_t index) const;

private:
    std::span<const char* const> m_Names;
    std::vector<std::optional<std::string>> m_Values;
};

// The suite's environment, and the agent configuration that reaches it through the environment.
std::span<const char* const> EnvironmentNames();
std::span<const char* const> AgentConfigurationNames();

inline constexpr char kNotSet[] = "NotSet";

}  // namespace trace
