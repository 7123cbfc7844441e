#pragma once
// The digit analysis plug-in: the host creates the service, its invoker and event proxies
// only through the plug-in's three exported factories. Natively the plug-in is loaded with
// dlopen (PluginLoading.cpp); a build without a dynamic loader (the browser's) links the
// service in and gives the same constructor the linked-in factories (LinkedPluginLoading.cpp).

#include <memory>
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
    // Where the service is linked in, `path` is not used and the linked-in plug-in is taken.
    explicit PluginLibrary(const std::string& path);
    // The plug-in linked into the program; path() is "(linked in)".
    explicit PluginLibrary(const LinkedPlugin& linked);
    ~PluginLibrary();
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    // Where the plug-in is looked for when no path is given: beside the running program,
    // in its parent directory (the build tree), in ../lib, then where it is installed;
    // "(linked in)" where the service is linked in.
    static std::string defaultPath();

    const std::string& path() const { return m_path; }

    Executable* createService() const;
    Invoker* createInvoker() const;
    Proxy* createEventProxy() const;

    // Moves the plug-in's dial plan log file (its exported file name label).
    void setDialPlanLogFile(const std::string& fileName);

private:
    std::string m_path;
    // The loaded library, closed by the loader's own function; empty for a linked-in plug-in.
    std::unique_ptr<void, int (*)(void*)> m_handle{nullptr, nullptr};
    Executable* (*m_createService)() = nullptr;
    Invoker* (*m_createInvoker)() = nullptr;
    Proxy* (*m_createEventProxy)() = nullptr;
    const char** m_logFileLabel = nullptr;
    std::string m_logFileName;

    void* symbol(const char* name) const;
};
