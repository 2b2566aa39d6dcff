// The system's text for an errno number, safe in every thread.
#pragma once

// Holds the text for its own lifetime; use it as a temporary in a trace call:
//     Debug.Print(1, "cannot open %s: %s", path, CErrorText(error).Get());
class CErrorText {
public:
    explicit CErrorText(int error);
    [[nodiscard]] const char* Get() const { return m_Text; }

private:
    const char* m_Text;
    char m_Buffer[64]{};
};
