#pragma once
// The telephone's dial plan: up to 50 entries that say, digit by digit, when a dialled
// number is complete. Validated from configuration, matched against dialled digits,
// stored through the data access service and shown in a log file.

#include <cstdint>
#include <string>

#include "DigitAnalysisTypes.h"
#include "FrameworkContext.h"
#include "ManageableData.h"

class ClockServiceIfc;
class DataAccessServiceIfc;
class LocalMgmtIfc;

class DialPlan {
public:
    static constexpr int kMaxEntries = 50;

    DialPlan();
    ~DialPlan();
    DialPlan(const DialPlan&) = delete;
    DialPlan& operator=(const DialPlan&) = delete;

    // Switches and peers.
    void setEnabled(bool enabled);
    void setImmediateDiallingEnabled(bool enabled);
    void setOnhookDialling(bool onHook);
    void setDAS(DataAccessServiceIfc* dataAccessService) { m_dataAccessService = dataAccessService; }
    void setContext(SvcRTEContext* context);

    bool getEnabled() const { return m_enabled; }
    bool getError() const { return m_error; }
    std::uint32_t getErrorRow() const { return m_errorRow; }
    int getNumberOfEntries() const { return m_numberOfEntries; }
    // The entry at a 0-based index; the caller keeps the index below the number of entries.
    t_dialPlanEntry* getEntry(int index) { return &m_entries[index]; }
    DataAccessServiceIfc* getDAS() const { return m_dataAccessService; }
    std::string getIdentity() const { return m_identity; }
    bool getImmediateDiallingEnabled() const { return m_immediateDiallingEnabled; }
    bool getOnhookDialling() const { return m_onHookDialling; }
    // The digits of the latest getAction call on an enabled plan.
    std::string getDialledDigits() const { return m_dialledDigits; }

    // Configuration.
    bool validateEntry(int index);
    bool setDialPlanEntries(ManageableData* data);
    bool setData(ManageableData& data);
    bool getData(ManageableData& data);

    // Matching.
    unsigned int matchEntry(std::string* digits, unsigned int index);
    int getAction(std::string* digits, unsigned int* timer);
    bool isLockBypass(std::string& digits);
    void extractSpecialNumbers();
    std::string getEmergencyNumbers() const { return m_emergencyNumbers; }
    std::string getLockBypassNumbers() const { return m_lockBypassNumbers; }

    // Storage.
    bool readDialPlanOverviewFromDAS();
    bool writeDialPlanOverviewToDAS();
    bool readDialPlanEntriesFromDAS();
    bool writeDialPlanEntriesToDAS();

    // Log file.
    void logDialPlanHeader();
    void logDialPlan();
    void logDialPlanEntries();

    // Used by the storage parsers to fill the plan.
    void setIdentity(const std::string& identity) { m_identity = identity; }
    void setError(bool error) { m_error = error; }
    void setErrorRow(std::uint32_t row) { m_errorRow = row; }
    void setNumberOfEntries(int count) { m_numberOfEntries = count; }

private:
    void readImmediateDiallingSwitch();
    // The number of entries, kept within the capacity of the entry table.
    int entriesInUse() const;
    void readConfigurationRow(const ManageableData& data, const std::string& prefix, int rowNumber,
                              const std::string& digitString);
    void logEntryData(int rowNumber);
    void applyConfigurationItem(ManageableData& data, const std::string& name, const std::string& value);
    void applyIdentity(const std::string& identity);
    void addEntryItems(ManageableData& data, int index);
    int getImmediateAction(std::string& digits, unsigned int* timer);
    // matchEntry's result for the entry at `index`, after "valid entry found at index %d": the
    // scans' way when trace logging is on.
    unsigned int tracedEntryResult(std::string& digits, int index);
    // The scans' way with trace logging off, writing nothing: the index of the first entry
    // whose match result is one of `decidingResults` (a bit per result), with the result;
    // -1 when none decides before the end of the entries in use or an entry with an empty
    // digit string (which ends the list).
    int firstDecidingEntry(const std::string& digits, unsigned int decidingResults, unsigned int& result) const;
    // getAction's code off-hook (or with immediate dialling) for the entry that decided.
    static int immediateDecision(const t_dialPlanEntry& entry, unsigned int result, std::string& digits,
                                 unsigned int* timer);
    int getOnHookAction(std::string& digits);
    void appendSpecialNumber(const t_dialPlanEntry& entry);
    void appendEntryLogText(const char* label, const std::string& value);
    std::string creationDate();

    SvcRTEContext* m_context = nullptr;
    std::string m_dialledDigits;
    ManageableData m_managementData;
    ClockServiceIfc* m_clockService = nullptr;
    LocalMgmtIfc* m_localMgmt = nullptr;
    DataAccessServiceIfc* m_dataAccessService = nullptr;
    bool m_enabled = false;
    std::string m_identity;
    bool m_error = false;
    std::uint32_t m_errorRow = 0;
    t_dialPlanEntry m_entries[kMaxEntries];
    bool m_immediateDiallingEnabled = false;
    std::string m_emergencyNumbers;
    std::string m_lockBypassNumbers;
    int m_numberOfEntries = 0;
    std::string m_logFileName;
    std::string m_headerLogText;
    std::string m_planLogText;
    std::string m_entriesLogText;
    bool m_onHookDialling = false;
};
