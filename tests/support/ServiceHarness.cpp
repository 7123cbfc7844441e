#include "ServiceHarness.h"

#include <cstdlib>
#include <filesystem>

#include "DialPlanLoggerTexts.h"

ServiceHarness::ServiceHarness(bool withLocalMgmt) : m_previousLogFileName(dialPlanLoggerTexts_FileNameMips)
{
    char pattern[] = "/tmp/das-test-XXXXXX";
    const char* directory = mkdtemp(pattern);
    m_logDirectory = directory != nullptr ? directory : "/tmp";
    m_logFilePath = m_logDirectory + "/dial.plan.log";
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
    std::error_code ignored;
    std::filesystem::remove_all(m_logDirectory, ignored);
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
