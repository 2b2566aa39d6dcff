// A value that was found, or the reason why there is none.
#pragma once

#include <optional>
#include <string>
#include <utility>

// Keeps "not readable" apart from zero and from empty. The reason is one line for people.
template <typename Value>
class CFinding {
public:
    // Absent, because nobody looked.
    CFinding() = default;
    // Found.
    explicit CFinding(Value value) : m_Value(std::move(value)) {}
    [[nodiscard]] static CFinding Absent(const std::string& reason) {
        CFinding finding;
        finding.m_Reason = reason;
        return finding;
    }
    // Found, or absent for that reason.
    [[nodiscard]] static CFinding From(std::optional<Value> value, const char* reason) {
        return value ? CFinding(std::move(*value)) : Absent(reason);
    }

    [[nodiscard]] bool IsKnown() const { return m_Value.has_value(); }
    // Only of a known one.
    [[nodiscard]] const Value& Get() const { return *m_Value; }
    [[nodiscard]] const std::optional<Value>& Optional() const { return m_Value; }
    // Why there is no value; empty when there is one.
    [[nodiscard]] std::string Reason() const { return IsKnown() ? std::string() : m_Reason; }

private:
    std::optional<Value> m_Value;
    std::string m_Reason = "not looked for";
};
