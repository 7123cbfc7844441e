#pragma once
// The digit analysis plug-in, loaded with dlopen: the host creates the service, its
// invoker and event proxies only through the plug-in's three exported factories.

#include <stdexcept>
#include <string>

class Executable;
class Invoker;
class Proxy;

class PluginError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The plug-in's exports when it is linked into the program instead of loaded (a fuzz target,
// a build without a dynamic loader): the three factories and the log file name label.
struct LinkedPlugin {
    Executable* (*createService)() = nullptr;
    Invoker* (*createInvoker)() = nullptr;
    Proxy* (*createEventProxy)() = nullptr;
    const char** dialPlanLogFileLabel = nullptr;
};

class PluginLibrary {
public:
    // Loads the plug-in at `path`; throws PluginError naming the path and the loader's reason.
    explicit PluginLibrary(const std::string& path);
    // The plug-in linked into the program; path() is "(linked in)".
    explicit PluginLibrary(const LinkedPlugin& linked);
    ~PluginLibrary();
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    // Where the plug-in is looked for when no path is given: beside the running program,
    // in its parent directory (the build tree), in ../lib, then where it is installed.
    static std::string defaultPath();

    const std::string& path() const { return m_path; }

    Executable* createService() const;
    Invoker* createInvoker() const;
    Proxy* createEventProxy() const;

    // Moves the plug-in's dial plan log file (its exported file name label).
    void setDialPlanLogFile(const std::string& fileName);

private:
    std::string m_path;
    void* m_handle = nullptr;
    Executable* (*m_createService)() = nullptr;
    Invoker* (*m_createInvoker)() = nullptr;
    Proxy* (*m_createEventProxy)() = nullptr;
    const char** m_logFileLabel = nullptr;
    std::string m_logFileName;

    void* symbol(const char* name) const;
};
