#pragma once
// A fresh directory under /tmp for one test, removed with everything in it when the test
// ends. Declare it before the members that use it, so that they are gone before it is.

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

class ScratchDirectory {
public:
    // Makes /tmp/PREFIX-XXXXXX.
    explicit ScratchDirectory(const std::string& prefix)
    {
        std::string pattern = "/tmp/" + prefix + "-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a directory like " + pattern);
        m_path = pattern;
    }
    ~ScratchDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};
