#pragma once
// Small text helpers the tests share: a whole file as text, a text as a whole file, and "does
// this text contain that".

#include <fstream>
#include <iterator>
#include <string>

// The file's bytes, all of them; empty when it cannot be read.
inline std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

// Writes `text` to `path`, replacing the file; returns the path.
inline std::string writeTextFile(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

inline bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }
