#pragma once
// The labels of the dial plan log file. Exported and writable so that a phone (or a test)
// can re-label the file or move it (dialPlanLoggerTexts_FileNameMips).

#include "DigitAnalysisServicePlugin.h"

extern "C" {
DAS_EXPORT extern const char* dialPlanLoggerTexts_terminator_sent;
DAS_EXPORT extern const char* dialPlanLoggerTexts_comment;
DAS_EXPORT extern const char* dialPlanLoggerTexts_special_number;
DAS_EXPORT extern const char* dialPlanLoggerTexts_terminator;
DAS_EXPORT extern const char* dialPlanLoggerTexts_timer;
DAS_EXPORT extern const char* dialPlanLoggerTexts_max_digit_length;
DAS_EXPORT extern const char* dialPlanLoggerTexts_min_digit_length;
DAS_EXPORT extern const char* dialPlanLoggerTexts_action;
DAS_EXPORT extern const char* dialPlanLoggerTexts_digit_string;
DAS_EXPORT extern const char* dialPlanLoggerTexts_entry_number;
DAS_EXPORT extern const char* dialPlanLoggerTexts_entry_header;
DAS_EXPORT extern const char* dialPlanLoggerTexts_separation_line;
DAS_EXPORT extern const char* dialPlanLoggerTexts_error_row;
DAS_EXPORT extern const char* dialPlanLoggerTexts_error;
DAS_EXPORT extern const char* dialPlanLoggerTexts_identity;
DAS_EXPORT extern const char* dialPlanLoggerTexts_enabled;
DAS_EXPORT extern const char* dialPlanLoggerTexts_header_last_line;
DAS_EXPORT extern const char* dialPlanLoggerTexts_header_creation_date;
DAS_EXPORT extern const char* dialPlanLoggerTexts_header_first_line;
DAS_EXPORT extern const char* dialPlanLoggerTexts_FileNameMips;
}
