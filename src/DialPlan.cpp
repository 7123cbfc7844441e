#define DAS_LOG_SOURCE "src/DialPlan"

#include "DialPlan.h"

#include "ServiceLog.h"

DialPlan::DialPlan() {}

DialPlan::~DialPlan() {}

void DialPlan::setEnabled(bool enabled) { m_enabled = enabled; }

void DialPlan::setImmediateDiallingEnabled(bool enabled) { m_immediateDiallingEnabled = enabled; }

void DialPlan::setOnhookDialling(bool onHook) { m_onHookDialling = onHook; }

void DialPlan::setContext(SvcRTEContext* context) { m_context = context; }

bool DialPlan::validateEntry(int index)
{
    (void)index;
    return false;
}

bool DialPlan::setDialPlanEntries(ManageableData* data)
{
    (void)data;
    return false;
}

bool DialPlan::setData(ManageableData& data)
{
    (void)data;
    return false;
}

bool DialPlan::getData(ManageableData& data)
{
    (void)data;
    return true;
}

unsigned int DialPlan::matchEntry(std::string* digits, unsigned int index)
{
    (void)digits;
    (void)index;
    return 0;
}

int DialPlan::getAction(std::string* digits, unsigned int* timer)
{
    (void)digits;
    if (timer != nullptr) *timer = 0;
    return DIAL_PLAN_ACTION_UNDEFINED;
}

bool DialPlan::isLockBypass(std::string& digits)
{
    (void)digits;
    return false;
}

void DialPlan::extractSpecialNumbers() {}

bool DialPlan::readDialPlanOverviewFromDAS() { return false; }

bool DialPlan::writeDialPlanOverviewToDAS() { return false; }

bool DialPlan::readDialPlanEntriesFromDAS() { return false; }

bool DialPlan::writeDialPlanEntriesToDAS() { return false; }

void DialPlan::logDialPlanHeader() {}

void DialPlan::logDialPlan() {}

void DialPlan::logDialPlanEntries() {}
