// The entry points of libswitch.so: what is handed out, and when it ends.
#include <thread>
#include <vector>

#include "tests/switch/switch_fixture.h"

class SwitchEntry : public CSwitchTest {
protected:
    // Whether the object is still alive, told by its modules, which end with it.
    void ExpectAlive(bool isAlive) {
        EXPECT_EQ(TextsWith("alpha: destroyed").size(), isAlive ? 0U : 1U);
    }
};

TEST_F(SwitchEntry, HandsOutOneObjectForSelectorZero) {
    SwitchInterface* object = nullptr;
    EXPECT_TRUE(m_Library.QueryInterface(0, &object));
    EXPECT_EQ(object, m_Switch);
    m_Library.Release();
    EXPECT_FALSE(m_Library.QueryInterface(1, &object));
    EXPECT_EQ(object, nullptr);
    EXPECT_FALSE(m_Library.QueryInterface(0, nullptr));
}

TEST_F(SwitchEntry, KeepsTheObjectUntilTheLastReferenceGoes) {
    Install("alpha");
    ASSERT_TRUE(Load());
    m_Library.AddRef();
    m_Library.Release();
    ExpectAlive(true);
    m_Library.Release();
    ExpectAlive(false);
    m_Library.Release();  // one too many
    m_Library.AddRef();   // of nothing
    ASSERT_TRUE(m_Library.QueryInterface(0, &m_Switch));
    EXPECT_TRUE(Load());
}

TEST_F(SwitchEntry, CountsReferencesOfAllThreads) {
    Install("alpha");
    ASSERT_TRUE(Load());
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int round = 0; round < 1000; ++round) {
                SwitchInterface* object = nullptr;
                EXPECT_TRUE(m_Library.QueryInterface(0, &object));
                m_Library.AddRef();
                m_Library.Release();
                m_Library.Release();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ExpectAlive(true);
    m_Library.Release();
    m_Switch = nullptr;
    ExpectAlive(false);
}
