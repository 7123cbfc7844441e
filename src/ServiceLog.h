#pragma once
// Logging for the service's sources: every line is guarded by loggingOnAppVex, so its
// arguments are only formatted when the level is on. Each source file defines
// DAS_LOG_SOURCE (its name as it appears in log lines) before including this header.

#include "Logging.h"

constexpr const char* kDasLogComponent = "DigitAnalysisService";

constexpr int kLogError = 2;
constexpr int kLogWarning = 3;
constexpr int kLogTrace = 5;

#define DAS_LOG(level, ...)                                                                   \
    do {                                                                                      \
        if (loggingOnAppVex(kDasLogComponent, (level)))                                       \
            logAppVex(kDasLogComponent, DAS_LOG_SOURCE, (level), __LINE__, __VA_ARGS__);     \
    } while (0)

#define DAS_TRACE(...) DAS_LOG(kLogTrace, __VA_ARGS__)
