#include "ScratchLogFile.h"

#include <cstdlib>
#include <filesystem>

#include "DialPlanLoggerTexts.h"

ScratchLogFile::ScratchLogFile() : m_previous(dialPlanLoggerTexts_FileNameMips)
{
    char pattern[] = "/tmp/das-bench-XXXXXX";
    const char* directory = mkdtemp(pattern);
    m_directory = directory != nullptr ? directory : "/tmp";
    m_path = m_directory + "/dial.plan.log";
    dialPlanLoggerTexts_FileNameMips = m_path.c_str();
}

ScratchLogFile::~ScratchLogFile()
{
    dialPlanLoggerTexts_FileNameMips = m_previous;
    if (m_directory == "/tmp") return;
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
}
