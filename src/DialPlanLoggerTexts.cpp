#include "DialPlanLoggerTexts.h"

const char* dialPlanLoggerTexts_terminator_sent = "\nterminator sent:       ";
const char* dialPlanLoggerTexts_comment = "\ncomment:               ";
const char* dialPlanLoggerTexts_special_number = "\nspecial number:        ";
const char* dialPlanLoggerTexts_terminator = "\nterminator:            ";
const char* dialPlanLoggerTexts_timer = "\ntimer:                 ";
const char* dialPlanLoggerTexts_max_digit_length = "\nmaximum digit length:  ";
const char* dialPlanLoggerTexts_min_digit_length = "\nminimum digit length:  ";
const char* dialPlanLoggerTexts_action = "\naction:                ";
const char* dialPlanLoggerTexts_digit_string = "\ndigit string:          ";
const char* dialPlanLoggerTexts_entry_number = "\nentry number: ++++++++ ";
const char* dialPlanLoggerTexts_entry_header = "      Dial plan entry details:        \n";
const char* dialPlanLoggerTexts_separation_line = "\n---------------------------------------------\n";
const char* dialPlanLoggerTexts_error_row = "\nerror row:  ";
const char* dialPlanLoggerTexts_error = "\nerror:      ";
const char* dialPlanLoggerTexts_identity = "\nidentity:   ";
const char* dialPlanLoggerTexts_enabled = "\nenabled:    ";
const char* dialPlanLoggerTexts_header_last_line =
    "\n#########################################################\n";
const char* dialPlanLoggerTexts_header_creation_date = "creation date:   \n";
const char* dialPlanLoggerTexts_header_first_line =
    "############## Tarnwheel Dial Plan Log File ##############\n";
const char* dialPlanLoggerTexts_FileNameMips = "/tmp/logs/dial.plan.log";
