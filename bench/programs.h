#pragma once
#include <string>
#include <vector>

/// Starts a program and waits for its end; its output goes nowhere. @return whether it ended with status 0
bool runQuietly(std::vector<std::string> words);
