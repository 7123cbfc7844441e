#pragma once
// The framework context: how an executable finds its peers and drives framework timers.

#include <string>

class Executable;

// What every framework participant (invokers, proxies) can ask of the framework. Any thread;
// the look-ups take the framework's registry lock briefly and never call back.
class FrameworkContext {
public:
    virtual ~FrameworkContext();
    // The proxy that client `clientName` offers for `interfaceName`, or null (the default).
    // The proxy belongs to the framework and lives as long as the client's registration.
    virtual Executable* findProxy(const std::string& interfaceName, const std::string& clientName);
    // The name of the channel on which `executable` is reached; empty by default.
    virtual std::string findChannel(Executable* executable);
};

// The context handed to a service's init: peer look-up by interface name and one-shot timers.
// Any thread. The timer operations never call timerEvent themselves: expiries arrive apart
// (on the framework's timer thread; on the in-process platform, in InProcessContext::advance),
// so a caller may hold its own lock while it drives its timers.
class Context : public FrameworkContext {
public:
    static constexpr int kNoTimer = -1;

    // The executable registered under `interfaceName`, or null. It belongs to the framework;
    // cast it to the interface the name promises (a failed cast means it is not one).
    virtual Executable* findExecutable(const std::string& interfaceName) = 0;

    // A new, stopped one-shot timer whose expiry calls owner->timerEvent(id); -1 (kNoTimer)
    // when the framework has no timer to give. `owner` is borrowed and must delete its timers
    // before it goes away.
    [[nodiscard]] virtual int createTimer(Executable* owner, int durationMs) = 0;
    // Starts the countdown; at its end timerEvent(id) is called once. An unknown id is ignored.
    virtual void startTimer(int timerId) = 0;
    // Stops the countdown; an expiry already on its way may still arrive.
    virtual void stopTimer(int timerId) = 0;
    // Restarts a running countdown from the full duration; a stopped timer stays stopped.
    virtual void resetTimer(int timerId) = 0;
    // Destroys the timer; the id is not valid afterwards, and no expiry of it starts after.
    virtual void deleteTimer(int timerId) = 0;
};

// The service run-time environment context, as the dial plan names it.
using SvcRTEContext = Context;
