#pragma once
// A fresh directory for one test, removed with everything in it when the test ends. It is
// made under $TMPDIR (else /tmp) by mkdtemp, so it is new, empty and private (mode 0700);
// when it cannot be made the constructor throws and the test fails: there is no fallback to
// a shared directory, and the destructor only ever removes the directory this object made.
// Declare it before the members that use it, so that they are gone before it is.

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

class ScratchDirectory {
public:
    // Makes $TMPDIR/PREFIX-XXXXXX (/tmp when TMPDIR is unset or empty); throws
    // std::runtime_error, naming the pattern and the reason, when it cannot.
    explicit ScratchDirectory(const std::string& prefix)
    {
        const char* base = std::getenv("TMPDIR");
        const std::string pattern =
            std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/" + prefix + "-XXXXXX";
        std::string made = pattern;
        if (mkdtemp(made.data()) == nullptr) {
            throw std::runtime_error("cannot make a scratch directory like " + pattern + ": " +
                                     std::generic_category().message(errno));
        }
        m_path = made;
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
