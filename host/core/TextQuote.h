#pragma once
// The quoted form of texts in the host's output lines: double quotes with C escapes
// (\" \\ \n \t, and \xHH for every other control or non-ASCII byte), so that each
// event stays on one line and any byte can be told apart.

#include <optional>
#include <string>

std::string quoteText(const std::string& text);

// The text a quoted form stands for, for tools that read the host's output lines back (the
// browser workbench reads das-sim's). Nothing when `quoted` is not exactly one quoted form:
// no quotes around it, an unescaped quote inside, an unknown escape or a \x without two hex
// digits. unquoteText(quoteText(t)) == t for every text t.
std::optional<std::string> unquoteText(const std::string& quoted);
