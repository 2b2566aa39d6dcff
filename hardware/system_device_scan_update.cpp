// The update thread, which keeps the volumes fresh, and the end of a device scan.
#include <cxxabi.h>
#include <pthread.h>

#include "base/cancellation.h"
#include "hardware/scan_access.h"
#include "hardware/system_device_scan.h"
#include "os/wait_result.h"
#include "trace/debug.h"

namespace {

constexpr unsigned int kAccessMs = 90000;
constexpr unsigned int kUpdateSeconds = 60;
constexpr unsigned int kMillisecondsPerSecond = 1000;
constexpr unsigned long kUpdatePriority = 63;
constexpr char kUpdateName[] = "WatchPartitions";

int Seconds(unsigned int milliseconds) {
    return static_cast<int>(milliseconds / kMillisecondsPerSecond);
}

}  // namespace

// Tells the end of the update thread, also of a cancelled one; the last that the thread does with
// the object.
class CSystemDeviceScan::CUpdateEndMark {
public:
    explicit CUpdateEndMark(CSystemDeviceScan& scan) : m_Scan(scan) {}
    ~CUpdateEndMark() {
        const CCancellationHold hold;
        m_Scan.m_UpdateEnded.Set();
    }
    CUpdateEndMark(const CUpdateEndMark&) = delete;
    CUpdateEndMark& operator=(const CUpdateEndMark&) = delete;

private:
    CSystemDeviceScan& m_Scan;
};

CSystemDeviceScan::~CSystemDeviceScan() {
    const CCancellationHold hold;
    Debug.Print(3, "\nCSystemDeviceScan   : CLASS DESTROYED!\n");
    m_ExitRequest = true;
    m_StopEvent.Set();
    KillUpdateThread(m_UpdateStarts);
    m_UpdateEnded.Wait(kWaitInfinite);
}

bool CSystemDeviceScan::IsUpdateThreadRunning() {
    return !m_UpdateEnded.IsSet();
}

bool CSystemDeviceScan::StartUpdateThread() {
    if ((m_ScanFlags & kAllowUpdateThread) == 0) {
        Debug.Print(2, "\nCSystemDeviceScan   : WatchPartitions() skipped!");
        return true;
    }
    const CCriticalSectionGuard guard(m_UpdateLock);
    if (IsUpdateThreadRunning()) {
        return true;
    }
    m_ExitRequest = m_Terminated.load();
    m_StopEvent.Reset();
    m_UpdateEnded.Reset();
    ++m_UpdateStarts;
    // Detached: a thread that hangs must not hold up who stops it.
    if (!m_UpdateThread.Start(LaunchAsThread_WatchPartitions, this, kUpdatePriority, false, 0, 0,
                              false)) {
        m_UpdateEnded.Set();
    }
    return true;
}

bool CSystemDeviceScan::StopUpdateThread(unsigned int timeoutMs) {
    std::uint64_t start = 0;
    {
        const CCriticalSectionGuard guard(m_UpdateLock);
        start = m_UpdateStarts;
        if (!IsUpdateThreadRunning()) {
            Debug.Print(3, "\nCSystemDeviceScan   : Update thread not running!");
            return true;
        }
        Debug.Print(3, "\nCSystemDeviceScan   : Signale \"Exit\" to update thread");
        m_ExitRequest = true;
        m_StopEvent.Set();
    }
    Debug.Print(3, "\nCSystemDeviceScan   : Wait %d seconds for thread termination ...",
                Seconds(timeoutMs));
    const bool hasEnded = m_UpdateEnded.Wait(timeoutMs) == kWaitSignaled;
    if (hasEnded) {
        Debug.Print(3, "\nCSystemDeviceScan   : Update thread did exit!");
    } else {
        Debug.Print(1,
                    "\nCSystemDeviceScan   : ERROR! Update thread did not terminate within %d "
                    "seconds!",
                    Seconds(timeoutMs));
    }
    KillUpdateThread(start);
    return hasEnded;
}

// Kills the thread of that start; one that was started since then stays.
void CSystemDeviceScan::KillUpdateThread(std::uint64_t start) {
    const CCriticalSectionGuard guard(m_UpdateLock);
    if (start == m_UpdateStarts) {
        m_UpdateThread.Kill(kWaitInfinite);
    }
}

void CSystemDeviceScan::Terminate(unsigned int timeoutMs) {
    Debug.Print(1, "\nCSystemDeviceScan   : ### TERMINATE ###");
    m_Terminated = true;
    Debug.Print(3, "\nCSystemDeviceScan   : Stop update thread...");
    StopUpdateThread(timeoutMs);
    Debug.Print(3, "\nCSystemDeviceScan   : Start termination sequence...");
    if (m_AccessEvent.Wait(timeoutMs) != kWaitSignaled) {
        Debug.Print(1,
                    "\nCSystemDeviceScan   : WARNING! Pending calls not terminated within %d "
                    "seconds!\n",
                    Seconds(timeoutMs));
    }
    m_AccessEvent.Set();
    Debug.Print(3, "\nCSystemDeviceScan   : ... termination sequence completed!");
}

bool CSystemDeviceScan::ScanVolumes() {
    return ScanVolumesUnless(nullptr);
}

bool CSystemDeviceScan::ScanVolumesUnless(const std::atomic<bool>* giveUp) {
    CScanAccess access(m_AccessEvent, m_ListsLock);
    if (!access.Take(kAccessMs, giveUp)) {
        if (giveUp == nullptr || !*giveUp) {
            Debug.Print(1, "\nCSystemDeviceScan   : WARNING! ScanVolumes(): Access timeout!\n");
        }
        return false;
    }
    if (!m_Terminated) {
        ScanSystemVolumes();
    }
    return true;
}

void* CSystemDeviceScan::LaunchAsThread_WatchPartitions(void* deviceScan) {
    auto& scan = *static_cast<CSystemDeviceScan*>(deviceScan);
    const CUpdateEndMark mark(scan);
    pthread_setname_np(pthread_self(), static_cast<const char*>(kUpdateName));
    scan.WatchPartitions();
    return nullptr;
}

void CSystemDeviceScan::WatchPartitions() {
    Debug.Print(1, "\nCSystemDeviceScan   : START THREAD WatchPartitions()");
    if (m_ExitRequest) {
        Debug.Print(2, "\nCSystemDeviceScan   : WatchPartitions() terminated!");
        return;
    }
    do {
        Debug.Print(3, "\nCSystemDeviceScan   : Scan system volumes ...");
        try {
            (void)ScanVolumesUnless(&m_ExitRequest);
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) {
            // Out of memory: the next scan may have some.
        }
    } while (WaitForNextUpdate());
    Debug.Print(1, "\nCSystemDeviceScan   : EXIT THREAD WatchPartitions()");
}

// False when the thread has to end.
bool CSystemDeviceScan::WaitForNextUpdate() {
    Debug.Print(3,
                "\nCSystemDeviceScan   : Wait %d seconds for next volume information update scan",
                static_cast<int>(kUpdateSeconds));
    return m_StopEvent.Wait(kUpdateSeconds * kMillisecondsPerSecond) == kWaitTimeout &&
           !m_ExitRequest;
}
