// The entry points of libswitch.so: what is handed out, and when it ends.
#include <thread>
#include <vector>

#include "tests/switch/switch_fixture.h"

class SwitchEntry : public CSwitchTest {
protected:
    // Whether the object is still alive, told by its modules, which end with it.
    static bool IsAlive() { return TextsWith("alpha: destroyed").empty(); }
};

TEST_F(SwitchEntry, HandsOutOneObjectUntilTheLastReferenceGoesInAnyThread) {
    SwitchInterface* object = nullptr;
    EXPECT_TRUE(m_Library.QueryInterface(0, &object));
    EXPECT_EQ(object, m_Switch);
    EXPECT_FALSE(m_Library.QueryInterface(1, &object));
    EXPECT_EQ(object, nullptr);
    EXPECT_FALSE(m_Library.QueryInterface(0, nullptr));
    Install("alpha");
    ASSERT_TRUE(Load());
    m_Library.Release();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int round = 0; round < 1000; ++round) {
                SwitchInterface* same = nullptr;
                EXPECT_TRUE(m_Library.QueryInterface(0, &same));
                m_Library.AddRef();
                m_Library.Release();
                m_Library.Release();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(IsAlive());
    m_Library.Release();
    EXPECT_FALSE(IsAlive());
    m_Library.Release();  // one too many
    m_Library.AddRef();   // of nothing
    ASSERT_TRUE(m_Library.QueryInterface(0, &m_Switch));
    EXPECT_TRUE(Load());
}
