#pragma once
// Points the dial plan log file at a temporary directory while it exists, so that a
// benchmark never touches the phone's own log file; removes the directory afterwards.

#include <string>

class ScratchLogFile {
public:
    ScratchLogFile();
    ~ScratchLogFile();
    ScratchLogFile(const ScratchLogFile&) = delete;
    ScratchLogFile& operator=(const ScratchLogFile&) = delete;

private:
    std::string m_directory;
    std::string m_path;
    const char* m_previous;
};
