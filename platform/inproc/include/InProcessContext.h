#pragma once
// A framework context running in one process on a virtual clock: peers are looked up as in
// every context (DirectoryContext), timers expire only when the clock is advanced. Used by tests and the
// simulator. Thread-safe; expiries are delivered on the thread that advances the clock.

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "DirectoryContext.h"

class InProcessContext : public DirectoryContext {
public:
    InProcessContext();
    ~InProcessContext() override;

    int createTimer(Executable* owner, int durationMs) override;
    void startTimer(int timerId) override;
    void stopTimer(int timerId) override;
    void resetTimer(int timerId) override;
    void deleteTimer(int timerId) override;

    // While set, every createTimer fails with -1.
    void setTimerCreationFails(bool fails);
    // The next `count` createTimer calls fail with -1.
    void failNextTimerCreations(int count);

    // Virtual time in milliseconds since construction.
    long long now() const;
    // Moves the clock forward, delivering every expiry that falls due, in expiry order
    // (timers due at the same moment in the order they were started).
    void advance(long long milliseconds);
    // Delivers an expiry for `timerId` now, whether or not it is due or still exists (models
    // a late, stale expiry already on its way). A deleted timer's expiry still reaches the
    // owner it was created for; an id never created reaches no one.
    void deliverExpiry(int timerId);

    // A timer counting down now: when it falls due, in virtual time.
    struct RunningTimer {
        int timerId;
        int durationMs;
        long long dueAtMs;
    };
    // The timers counting down now, in the order they fall due (the order advance delivers them).
    std::vector<RunningTimer> runningTimers() const;

    bool timerExists(int timerId) const;
    bool timerRunning(int timerId) const;
    int timerDuration(int timerId) const;
    // Timer operations in the order they happened: "create <id> <ms>", "create-failed <ms>",
    // "start <id>", "stop <id>", "reset <id>", "delete <id>", "expire <id>".
    std::vector<std::string> timerOperations() const;
    void clearTimerOperations();

private:
    struct Timer {
        Executable* owner;
        int durationMs;
        bool running;
        long long deadline;
        long long startSequence;
    };

    mutable std::mutex m_mutex;
    std::map<int, Timer> m_timers;
    std::map<int, Executable*> m_formerOwners;  // owners of deleted timers, for stale expiries
    // Timer operations as they happened, kept as records and made into text only when asked
    // for: the service starts or resets a timer on most digits.
    struct TimerOperation {
        enum Kind : unsigned char { kCreate, kCreateFailed, kStart, kStop, kReset, kDelete, kExpire };
        Kind kind;
        int timerId;
        int durationMs;
    };
    std::vector<TimerOperation> m_operations;
    int m_nextTimerId = 1;
    long long m_now = 0;
    long long m_startSequence = 0;
    bool m_creationFails = false;
    int m_failuresToCome = 0;

    void record(TimerOperation::Kind kind, int timerId, int durationMs = 0);
    static std::string describe(const TimerOperation& operation);
};
