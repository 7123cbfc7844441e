#pragma once
// The workbench's answers about a configuration as a whole, each from a service started for
// it alone and gone when it returns: the checker's diagnostics, the explanation of a number,
// and the dial plan as the service holds it. Every answer is one JSON object (docs/web.md);
// a configuration das-sim refuses gives {"error": "LINE:COLUMN: reason", "line", "column"}.
// Not while a WorkbenchSession lives in the same process: the service is one instance at a time.

#include <string>

#include "PlanChecker.h"

// {"diagnostics": [{"severity": "error"|"warning"|"note", "line", "column", "text"}], "errors", "warnings"}
std::string checkJson(const std::string& configText, const PluginLoader& loadPlugin);

// The explanation of `digits` dialled off hook (or on hook) on the phone of `configText`, in
// das-sim --explain --json's form.
std::string explainJson(const std::string& configText, const std::string& digits, bool onHook,
                        const PluginLoader& loadPlugin);

// {"enabled", "id", "error", "errorRow", "rows": [{"row": 1, "digit-string": ..., ...}]}: the
// dial plan management items the service answers after the configuration's plan was written.
std::string planJson(const std::string& configText, const PluginLoader& loadPlugin);
