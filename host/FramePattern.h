#pragma once

#include <string>

/// The file of frame `index` (from 1) for a pattern: "%d" or "%04d" in it stands for the number.
/// Without such a place a single frame takes the pattern as it is, and of several each gets its
/// number before the extension.
std::string frameFile(const std::string& pattern, int index, int count);

/// Whether the pattern has a place for the number.
bool hasFrameNumber(const std::string& pattern);
