#pragma once
// Runs a shell command the way a user at a terminal would (das-sim, dasctl, nm) and keeps what
// it printed and how it ended. Add " 2>&1" to the command to keep its errors as well.

#include <sys/wait.h>

#include <cstdio>
#include <string>

struct ProgramRun {
    std::string output;  // standard output, byte for byte
    int status = -1;     // exit status; 128 + the signal when one ended it; -1 when it did not start
};

inline ProgramRun runCommand(const std::string& command)
{
    ProgramRun result;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return result;
    char buffer[4096];
    std::size_t count = 0;
    while ((count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) result.output.append(buffer, count);
    const int status = pclose(pipe);
    if (status != -1) result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}
