#include "ServiceHarness.h"

#include "DialPlanLoggerTexts.h"

ServiceHarness::ServiceHarness(bool withLocalMgmt) : m_previousLogFileName(dialPlanLoggerTexts_FileNameMips)
{
    m_logFilePath = m_logDirectory.path() + "/dial.plan.log";
    dialPlanLoggerTexts_FileNameMips = m_logFilePath.c_str();

    if (withLocalMgmt) context.registerExecutable("LocalMgmtIfc", &store);
    context.registerExecutable("DataAccessServiceIfc", &das);
    context.registerExecutable("MediaControlServiceIfc", &media);
    context.registerExecutable("TeamServiceIfc", &team);
    context.registerExecutable("ClockServiceIfc", &clock);
}

ServiceHarness::~ServiceHarness()
{
    destroy();
    dialPlanLoggerTexts_FileNameMips = m_previousLogFileName;
}

void ServiceHarness::setCanonicalSetting(const std::string& key, const std::string& value)
{
    store.setItem("canonicalDialSettings", key, value);
}

void ServiceHarness::setGermanCanonicalSettings()
{
    setCanonicalSetting("countryCode", "49");
    setCanonicalSetting("nationalPrefix", "0");
    setCanonicalSetting("areaCode", "89");
    setCanonicalSetting("localCallPrefix", "0");
    setCanonicalSetting("internationalPrefix", "00");
    setCanonicalSetting("minLocalNumberLength", "3");
}

void ServiceHarness::setUsCanonicalSettings()
{
    setCanonicalSetting("countryCode", "1");
    setCanonicalSetting("areaCode", "212");
    setCanonicalSetting("localCallPrefix", "9");
    setCanonicalSetting("internationalPrefix", "011");
    setCanonicalSetting("minLocalNumberLength", "7");
}

DigitAnalysisService& ServiceHarness::create()
{
    m_service = std::make_unique<DigitAnalysisService>();
    return *m_service;
}

DigitAnalysisService& ServiceHarness::start()
{
    create().init(context);
    return *m_service;
}

void ServiceHarness::destroy() { m_service.reset(); }
