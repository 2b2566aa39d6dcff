// The lock, the sorted table and the events.
#include <pthread.h>
#include <sched.h>

#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/critical_section.h"
#include "base/str_map.h"
#include "bench/comparison.h"
#include "os/event.h"

namespace bench {

namespace {

template <auto Lock, auto Unlock, typename T>
Sample TimeLocking(T& lock) {
    return TimePerCall([&lock](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            (lock.*Lock)();
            Keep(&lock);
            (lock.*Unlock)();
        }
    });
}

Outcome Lock(const Settings& settings, bool isHeld) {
    CCriticalSection section;
    std::recursive_mutex mutex;
    // The C library leaves the atomic operations out while a process has one thread; the daemon has
    // more.
    std::mutex stop;
    stop.lock();
    std::thread second([&] { stop.lock(); });
    if (isHeld) {
        section.Enter();
        mutex.lock();
    }
    const Ratio ratio =
        ComparePairs(TimeLocking<&CCriticalSection::Enter, &CCriticalSection::Leave>(section),
                     TimeLocking<&std::recursive_mutex::lock, &std::recursive_mutex::unlock>(mutex),
                     settings.Pairs());
    if (isHeld) {
        section.Leave();
        mutex.unlock();
    }
    stop.unlock();
    second.join();
    return {ratio};
}

std::vector<std::string> Names(std::size_t count) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < count; ++i) {
        // Scattered, each once: the factor is odd and the modulus a power of two.
        names.push_back("Sensor" + std::to_string(i * 40'503U % 65'536U));
    }
    return names;
}

Outcome Find(const Settings& settings) {
    const std::vector<std::string> names = Names(1'000);
    CStrMap table;
    std::map<std::string, void*> map;
    for (const std::string& name : names) {
        table.Insert(name.c_str(), nullptr, 0);
        map[name] = nullptr;
    }
    const auto ours = [&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            Keep(table.Find(names[i % names.size()].c_str()));
        }
    };
    const auto peer = [&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            Keep(&*map.find(names[i % names.size()]));
        }
    };
    return {ComparePairs(TimePerCall(ours), TimePerCall(peer), settings.Pairs())};
}

Outcome Insert(const Settings& settings) {
    const std::vector<std::string> names = Names(10'000);
    const auto ours = [&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            CStrMap table;
            for (const std::string& name : names) {
                table.Insert(name.c_str(), nullptr, 0);
            }
            Keep(table.Count());
        }
    };
    const auto peer = [&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            std::map<std::string, void*> map;
            for (const std::string& name : names) {
                map.emplace(name, nullptr);
            }
            Keep(map.size());
        }
    };
    return {ComparePairs(TimePerCall(ours), TimePerCall(peer), settings.Pairs())};
}

// The bare calls that an event stands on.
class CBareEvent {
public:
    void Set() {
        pthread_mutex_lock(&m_Mutex);
        m_IsSignaled = true;
        pthread_cond_signal(&m_Condition);
        pthread_mutex_unlock(&m_Mutex);
        sched_yield();
    }
    void Wait() {
        pthread_mutex_lock(&m_Mutex);
        while (!m_IsSignaled) {
            pthread_cond_wait(&m_Condition, &m_Mutex);
        }
        m_IsSignaled = false;
        pthread_mutex_unlock(&m_Mutex);
    }

private:
    pthread_mutex_t m_Mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t m_Condition = PTHREAD_COND_INITIALIZER;
    bool m_IsSignaled = false;
};

// One round: there and back between two threads.
template <typename SetThere, typename WaitThere, typename SetBack, typename WaitBack>
Work PingPong(SetThere setThere, WaitThere waitThere, SetBack setBack, WaitBack waitBack) {
    return [=](std::size_t count) {
        std::thread other([&] {
            for (std::size_t i = 0; i < count; ++i) {
                waitThere();
                setBack();
            }
        });
        for (std::size_t i = 0; i < count; ++i) {
            setThere();
            waitBack();
        }
        other.join();
    };
}

// Both threads on one core, so that the scheduler's choice of a core does not decide; and in
// processor time, because what others do with the core after a yield is not ours.
Outcome Event(const Settings& settings) {
    const CPinnedToOneCore pinned;
    CEvent there(false, false, nullptr);
    CEvent back(false, false, nullptr);
    CBareEvent bareThere;
    CBareEvent bareBack;
    const Work ours = PingPong([&] { there.Set(); }, [&] { (void)there.Wait(kWaitInfinite); },
                               [&] { back.Set(); }, [&] { (void)back.Wait(kWaitInfinite); });
    const Work peer = PingPong([&] { bareThere.Set(); }, [&] { bareThere.Wait(); },
                               [&] { bareBack.Set(); }, [&] { bareBack.Wait(); });
    return {ComparePairs(TimePerCall(ours, Clock::kProcess), TimePerCall(peer, Clock::kProcess),
                         settings.Pairs())};
}

}  // namespace

Comparisons FoundationComparisons() {
    return {
        {"17", "lock free", "critical section, free", "std::recursive_mutex", 0.9, "ns",
         [](const Settings& s) {
             return Lock(s, false);
         }},
        {"17", "lock re-entered", "critical section, re-entered", "std::recursive_mutex", 0.5, "ns",
         [](const Settings& s) {
             return Lock(s, true);
         }},
        {"18", "table find", "string table: find among 1,000", "std::map<std::string>", 1.0, "ns",
         Find},
        {"18", "table insert", "string table: insert 10,000", "std::map<std::string>", 2.0, "ns",
         Insert},
        {"19", "event", "event: Set and Wait, two threads", "bare pthread calls and yield", 1.05,
         "ns", Event},
    };
}

}  // namespace bench
