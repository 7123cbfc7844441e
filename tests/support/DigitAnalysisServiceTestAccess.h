#pragma once
// The test seam of the digit analysis service: its timer record operations and its read-only
// views, which are private because only the service itself uses them, reached by the tests
// and benchmarks through this friend. Read the views between operations, from the thread
// driving the service: they take no lock.

#include <map>
#include <string>
#include <vector>

#include "DigitAnalysisService.h"

struct DigitAnalysisServiceTestAccess {
    using Service = DigitAnalysisService;

    // The timer record operations.
    static void initTimerDetails(Service& service, TimerDetails* details, int duration)
    {
        service.initTimerDetails(details, duration);
    }
    static bool makeTimer(Service& service, TimerDetails* details) { return service.makeTimer(details); }
    static void beginTimer(Service& service, TimerDetails* details) { service.beginTimer(details); }
    static void endTimer(Service& service, TimerDetails* details) { service.endTimer(details); }
    static bool actionTimeout(Service& service, TimerDetails* details, int timerId)
    {
        return service.actionTimeout(details, timerId);
    }
    static void actOnInitialDigitTimeout(Service& service, bool actioned) { service.actOnInitialDigitTimeout(actioned); }
    // For the check that makeTimer stays out of the service's virtual table.
    static auto makeTimerMember() { return &Service::makeTimer; }

    // The read-only views.
    static int getSoftwareType(const Service& service) { return service.getSoftwareType(); }
    static const TimerDetails& autoDialTimer(const Service& service) { return service.autoDialTimer(); }
    static const TimerDetails& initialDigitTimer(const Service& service) { return service.initialDigitTimer(); }
    static const TimerDetails& partyDetailsTimer(const Service& service) { return service.partyDetailsTimer(); }
    static const TimerDetails& extendedInitialDigitTimer(const Service& service)
    {
        return service.extendedInitialDigitTimer();
    }
    static const TimerDetails& dialPlanTimer(const Service& service) { return service.dialPlanTimer(); }
    static DialPlan* getDialPlan(const Service& service) { return service.getDialPlan(); }
    static std::map<std::string, std::string> canonicalSettings(const Service& service)
    {
        return service.canonicalSettings();
    }
    static const std::multimap<std::string, std::string>& localCodeLookup(const Service& service)
    {
        return service.localCodeLookup();
    }
    static const std::string& emergencyE164(const Service& service) { return service.emergencyE164(); }
    static bool phoneLockActive(const Service& service) { return service.phoneLockActive(); }
    static int hotWarmPhoneType(const Service& service) { return service.hotWarmPhoneType(); }
    static const std::string& hotWarmPhoneDigits(const Service& service) { return service.hotWarmPhoneDigits(); }
    static bool ringCentralServer(const Service& service) { return service.ringCentralServer(); }
    static const std::vector<std::string>& facPrefixes(const Service& service) { return service.facPrefixes(); }
    static LocalMgmtIfc* localMgmt(const Service& service) { return service.localMgmt(); }
    static TeamServiceIfc* teamService(const Service& service) { return service.teamService(); }
    static MediaControlServiceIfc* mediaControlService(const Service& service)
    {
        return service.mediaControlService();
    }
    static DataAccessServiceIfc* dataAccessService(const Service& service) { return service.dataAccessService(); }
};
