#pragma once
// The dial plan engineer's checker: reads a phone configuration as das-sim --config does,
// loads its dial plan into the real service and reports, at the place in the file, what the
// phone would reject (errors), silently coerce, cut or ignore, and rows that can never decide
// (warnings), with notes that give context. The service's own validation decides what is an
// error; the checker only adds where in the file it is and what the phone does about it.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "PluginLibrary.h"

struct Diagnostic {
    enum class Severity { kError, kWarning, kNote };
    Severity severity;
    int line;    // 1-based
    int column;  // 1-based, in bytes
    std::string text;
};

// "FILE:LINE:COLUMN: error: TEXT" (warning, note), the form compilers use.
std::string formatDiagnostic(const std::string& file, const Diagnostic& diagnostic);

// Makes the plug-in a check loads the plan into (a fresh one for each check).
using PluginLoader = std::function<std::unique_ptr<PluginLibrary>()>;

// Every diagnostic of one configuration text, in the order of their places in the text (a
// note right after the line it belongs to). Empty for a clean file. Throws PluginError when
// the plug-in cannot be loaded.
std::vector<Diagnostic> checkConfiguration(const std::string& text, const PluginLoader& loadPlugin);
