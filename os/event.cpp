// Handles and bodies of events: construction, sharing, attributes, destruction.
#include "os/event.h"

#include <cstddef>
#include <cstring>
#include <ctime>
#include <new>

#include "base/cancellation.h"
#include "base/critical_section.h"
#include "base/owned_text.h"
#include "base/str_map.h"
#include "os/event_body.h"
#include "trace/debug.h"

namespace {

constexpr unsigned int kTraceDetail = 5;
constexpr timespec kDestroyStep{1, 0};  // between two looks whether the waiters have left

}  // namespace

struct CEvent::ProcessState {
    CCriticalSection Lock;  // the events lock
    CStrMap Names;          // Data is the Body; Type is not used
};

// Never destroyed: events with static storage may outlive everything that could own it. And not
// allocated: the first to ask may be a destructor.
CEvent::ProcessState& CEvent::State() {
    // NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): one table per process
    alignas(ProcessState) static std::byte storage[sizeof(ProcessState)];
    static auto& state = *new (static_cast<void*>(storage)) ProcessState;
    // NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)
    return state;
}

CEvent::Body::Body(bool initialState, bool manualReset, const char* name)
    : IsManual(manualReset), IsSignaled(initialState), Name(CopyOfText(name)) {
    pthread_condattr_init(&Attribute);
    if (const int error = pthread_condattr_setclock(&Attribute, CLOCK_MONOTONIC); error != 0) {
        Debug.Print(3,
                    "pthread_condattr_setclock(): ## ERROR ##: Set CLOCK_MONOTONIC failed (ret=%d) "
                    "for event %p <%s> (IsSignaled=%d)\n",
                    error, TraceId(), TraceName(), Signaled());
    }
    if (const int error = pthread_cond_init(&Condition, &Attribute); error != 0) {
        Debug.Print(3,
                    "pthread_cond_init(), CLOCK_MONOTONIC: ## ERROR ##: failed (ret=%d) on event "
                    "%p <%s> (IsSignaled=%d)\n",
                    error, TraceId(), TraceName(), Signaled());
    }
    if (const int error = pthread_mutex_init(&Mutex, nullptr); error != 0) {
        Debug.Print(3,
                    "pthread_mutex_init(), CLOCK_MONOTONIC: ## ERROR ##: failed (ret=%d) on event "
                    "%p <%s> (IsSignaled=%d)\n",
                    error, TraceId(), TraceName(), Signaled());
    }
}

CEvent::Body::~Body() {
    pthread_cond_destroy(&Condition);
    pthread_condattr_destroy(&Attribute);
    pthread_mutex_destroy(&Mutex);
    Debug.Print(kTraceDetail, "deleting event %p <%s> (IsSignaled=%d)\n", TraceId(), TraceName(),
                Signaled());
}

bool CEvent::Body::HasWaiters() {
    const CBodyLock lock(*this);
    return Waiters > 0;
}

CEvent::CEvent(bool initialState, bool manualReset, const char* name) {
    const CCancellationHold hold;  // an unwound constructor would leave its reference behind
    std::unique_ptr<Body> body;
    if (name == nullptr) {
        body = std::make_unique<Body>(initialState, manualReset, name);
    } else {
        ProcessState& state = State();
        const CCriticalSectionGuard eventsGuard(state.Lock);
        const CCriticalSectionGuard namesGuard(state.Names);
        if (const StrMapRow* row = state.Names.Find(name)) {
            Share(*static_cast<Body*>(row->Data), manualReset);
            return;
        }
        body = std::make_unique<Body>(initialState, manualReset, name);
        state.Names.Insert(name, body.get(), 0);
    }
    Debug.Print(kTraceDetail, "creating event %p <%s> (IsSignaled=%d)\n", body->TraceId(),
                body->TraceName(), body->Signaled());
    m_Body = body.release();
}

// Opens this handle on a body that has other handles. Under the events lock.
void CEvent::Share(Body& body, bool manualReset) {
    ++body.References;
    m_Body = &body;
    Debug.Print(3, "refCount for event %p <%s> incremented (IsSignaled=%d)\n", body.TraceId(),
                body.TraceName(), body.Signaled());
    if (body.IsManual != manualReset) {
        Debug.Print(1, "WARNING: manual setting mismatch for event %p <%s>\n", body.TraceId(),
                    body.TraceName());
    }
}

CEvent::~CEvent() {
    const CCancellationHold hold;
    Body* body = m_Body;
    {
        ProcessState& state = State();
        const CCriticalSectionGuard eventsGuard(state.Lock);
        if (--body->References > 0) {
            Debug.Print(kTraceDetail, "decr refcount on event %p <%s> (IsSignaled=%d)\n",
                        body->TraceId(), body->TraceName(), body->Signaled());
            return;
        }
        if (body->Name != nullptr) {
            const CCriticalSectionGuard namesGuard(state.Names);
            state.Names.Erase(state.Names.Find(body->Name.get()));
        }
    }
    // Not in the table any more, so that nobody new can come: only waits that have begun are left.
    const std::unique_ptr<Body> last(body);
    while (last->HasWaiters()) {
        nanosleep(&kDestroyStep, nullptr);
    }
}

CEvent& CEvent::operator=(const CEvent& other) {
    if (this == &other) {
        return *this;
    }
    const CCriticalSectionGuard eventsGuard(State().Lock);
    Body* body = other.m_Body;
    m_Body = body;
    m_IsClosed = false;
    ++body->References;
    Debug.Print(kTraceDetail, "incr refcount on event %p <%s> (IsSignaled=%d,IsManual=%d)\n",
                body->TraceId(), body->TraceName(), body->Signaled(), body->Manual());
    return *this;
}

bool CEvent::Create(bool initialState, bool manualReset, const char* /*name*/) {
    Body* body = OpenBody();
    if (body == nullptr) {
        return false;
    }
    const CBodyLock lock(*body);
    if (body->Waiters > 0) {
        return false;
    }
    if (body->IsManual == manualReset && body->IsSignaled == initialState) {
        return true;
    }
    Debug.Print(kTraceDetail,
                "Create event %p <%s>, changing attributes (IsSignaled=%d,IsManual=%d) --> "
                "(IsSignaled=%d,IsManual=%d)\n",
                body->TraceId(), body->TraceName(), body->Signaled(), body->Manual(),
                static_cast<int>(initialState), static_cast<int>(manualReset));
    body->IsManual = manualReset;
    body->IsSignaled = initialState;
    return true;
}

// The body, or null when this handle is closed.
CEvent::Body* CEvent::OpenBody() const {
    return m_IsClosed ? nullptr : m_Body.load();
}
