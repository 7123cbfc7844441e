#pragma once
// Sets (or unsets) one environment variable for the life of the object and puts back what
// was there before. Only for single-threaded test code: the environment is process-wide.

#include <stdlib.h>

#include <optional>
#include <string>

class ScopedEnvironment {
public:
    // `value` empty as std::nullopt: the variable is removed.
    ScopedEnvironment(std::string name, const std::optional<std::string>& value) : m_name(std::move(name))
    {
        if (const char* previous = std::getenv(m_name.c_str())) m_previous = previous;
        if (value) {
            setenv(m_name.c_str(), value->c_str(), 1);
        } else {
            unsetenv(m_name.c_str());
        }
    }
    ~ScopedEnvironment()
    {
        if (m_previous) {
            setenv(m_name.c_str(), m_previous->c_str(), 1);
        } else {
            unsetenv(m_name.c_str());
        }
    }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    std::string m_name;
    std::optional<std::string> m_previous;
};
