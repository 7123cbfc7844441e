#pragma once
// The framework context: how an executable finds its peers and drives framework timers.

#include <string>

class Executable;

// What every framework participant (invokers, proxies) can ask of the framework.
class FrameworkContext {
public:
    virtual ~FrameworkContext();
    // The proxy that client `clientName` offers for `interfaceName`, or null (the default).
    virtual Executable* findProxy(const std::string& interfaceName, const std::string& clientName);
    // The name of the channel on which `executable` is reached; empty by default.
    virtual std::string findChannel(Executable* executable);
};

// The context handed to a service's init: peer look-up by interface name and one-shot timers.
class Context : public FrameworkContext {
public:
    static constexpr int kNoTimer = -1;

    // The executable registered under `interfaceName`, or null.
    virtual Executable* findExecutable(const std::string& interfaceName) = 0;

    // A new, stopped one-shot timer whose expiry calls owner->timerEvent(id); -1 on failure.
    virtual int createTimer(Executable* owner, int durationMs) = 0;
    virtual void startTimer(int timerId) = 0;
    virtual void stopTimer(int timerId) = 0;
    // Restarts the countdown from the full duration.
    virtual void resetTimer(int timerId) = 0;
    virtual void deleteTimer(int timerId) = 0;
};

// The service run-time environment context, as the dial plan names it.
using SvcRTEContext = Context;
