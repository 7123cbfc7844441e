#include "LineReader.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include <editline/readline.h>

LineReader::LineReader(std::string prompt)
    : m_prompt(std::move(prompt)), m_editing(::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1)
{
    if (m_editing) using_history();
}

LineReader::~LineReader()
{
    if (m_editing) clear_history();
}

bool LineReader::read(std::string& line)
{
    if (!m_editing) return static_cast<bool>(std::getline(std::cin, line));
    char* text = readline(m_prompt.c_str());
    if (text == nullptr) return false;
    line = text;
    std::free(text);  // NOLINT(cppcoreguidelines-no-malloc): readline's line is malloc'ed
    if (!line.empty()) add_history(line.c_str());
    return true;
}
