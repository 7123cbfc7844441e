#pragma once
// A digit analysis service on the in-process platform: virtual-clock context, in-memory
// configuration store, recording peers and a recording dialler, each registered under the
// interface name the service looks for. The dial plan log file goes to a scratch directory
// of its own; the constructor throws when that cannot be made.

#include <memory>
#include <string>

#include "CapturingLogSink.h"
#include "DigitAnalysisService.h"
#include "InProcessContext.h"
#include "MemoryConfigStore.h"
#include "RecordingDialler.h"
#include "RecordingPeers.h"
#include "ScratchDirectory.h"

class ServiceHarness {
public:
    // Registers every peer; `withLocalMgmt` false leaves the configuration store out.
    explicit ServiceHarness(bool withLocalMgmt = true);
    ~ServiceHarness();

    InProcessContext context;
    MemoryConfigStore store;
    RecordingDataAccessService das;
    RecordingMediaControl media;
    RecordingTeamService team;
    FixedClock clock{2026, 11, 22, 9, 5, 7};
    RecordingDialler dialler;
    RecordingDialler provider;

    // The German settings: country 49, national prefix 0, area 89, access code 0,
    // international prefix 00, minimum local length 3.
    void setGermanCanonicalSettings();
    // The U.S. settings: country 1, area 212, access code 9, international prefix 011, minimum 7.
    void setUsCanonicalSettings();
    void setCanonicalSetting(const std::string& key, const std::string& value);

    // Creates the service (reading the hardware variant) and runs init.
    DigitAnalysisService& start();
    // Creates the service without init.
    DigitAnalysisService& create();
    DigitAnalysisService& service() { return *m_service; }
    void destroy();

    // The temporary path the dial plan log file is written to.
    const std::string& logFilePath() const { return m_logFilePath; }

private:
    std::unique_ptr<DigitAnalysisService> m_service;
    ScratchDirectory m_logDirectory{"das-test"};
    std::string m_logFilePath;
    const char* m_previousLogFileName;
};
