// The registry in constructors and destructors of static objects.
#include <cstdlib>

#include <gtest/gtest.h>

#include "os/registry.h"

namespace {

// Uses the registry before main and, in its destructor, after it.
class CEarlyUser {
public:
    CEarlyUser() { m_Result = m_Registry.Open("HKEY_USERS", nullptr, -1); }
    ~CEarlyUser() {
        if (m_Registry.SetValue("v", 1U) != 0) {
            std::_Exit(EXIT_FAILURE);
        }
    }
    [[nodiscard]] int Result() const { return m_Result; }

private:
    CRegistry m_Registry;
    int m_Result = -1;
};

const CEarlyUser kUser;

TEST(RegistryStatic, IsReadyBeforeMain) {
    EXPECT_EQ(kUser.Result(), 0);
}

}  // namespace
