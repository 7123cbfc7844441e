#pragma once
// The quoted form of texts in the host's output lines: double quotes with C escapes
// (\" \\ \n \t, and \xHH for every other control or non-ASCII byte), so that each
// event stays on one line and any byte can be told apart.

#include <string>

std::string quoteText(const std::string& text);
