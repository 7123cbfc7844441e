#pragma once
// Reads dasctl's interactive input a line at a time: with line editing and a history of the
// session's lines (libedit) when standard input and output are a terminal, plainly from
// standard input otherwise (a pipe, a file, a test).

#include <string>

class LineReader {
public:
    // `prompt` is shown before each line when editing.
    explicit LineReader(std::string prompt);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    // The next line, without its line feed; false at the end of the input.
    bool read(std::string& line);

    // Whether lines are edited at a terminal.
    bool editing() const { return m_editing; }

private:
    std::string m_prompt;
    bool m_editing;
};
