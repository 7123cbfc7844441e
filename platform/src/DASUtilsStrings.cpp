#include "DataAccessServiceIfc.h"

const std::string DASUtilsStrings::ReadRequest = "ReadRequest";
const std::string DASUtilsStrings::WriteRequest = "WriteRequest";
const std::string DASUtilsStrings::UpdateRequest = "UpdateRequest";
const std::string DASUtilsStrings::DeleteRequest = "DeleteRequest";

const std::string DASUtilsStrings::DialPlanOverviewSchema = "DialPlanOverview";
const std::string DASUtilsStrings::DialPlanEntriesSchema = "DialPlanEntries";

const std::string DASUtilsStrings::DigitStringTagName = "DigitString";
const std::string DASUtilsStrings::ActionTagName = "Action";
const std::string DASUtilsStrings::MinimumDigitLengthTagName = "MinimumDigitLength";
const std::string DASUtilsStrings::MaximumDigitLengthTagName = "MaximumDigitLength";
const std::string DASUtilsStrings::TimerTagName = "Timer";
const std::string DASUtilsStrings::TerminatorTagName = "Terminator";
const std::string DASUtilsStrings::SpecialNumberTagName = "SpecialNumber";
const std::string DASUtilsStrings::CommentTagName = "Comment";
const std::string DASUtilsStrings::TerminatorSentTagName = "TerminatorSent";
