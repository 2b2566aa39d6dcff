#include "base/error_text.h"

#include <cstring>

CErrorText::CErrorText(int error)
    : m_Text(strerror_r(error, static_cast<char*>(m_Buffer), sizeof m_Buffer)) {}
